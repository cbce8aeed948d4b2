// ApiSequence.h - an interpreter of programs of library calls made by three
// plug-ins and the host, shared by the API-sequence fuzz target and its replay
// test. It keeps a model of what each plug-in owns and checks the library
// against it after every step; a mismatch is a finding: the interpreter
// prints it on stderr and traps.
//
// A program is a sequence of steps, each five bytes [op][who][a][b][c]; who's
// low six bits pick the plug-in, bit 0x80 flips whether it refuses to be
// enabled. A plug-in step that registers something (or whose who byte has bit
// 0x40: then it is the plug-in's message script) is followed by a script: [n]
// and n actions of four bytes [op][a][b][c] (n taken modulo 4). The script
// runs every time the callback is called, as its owner. Missing bytes read
// as 0.
#ifndef VORN_FUZZ_API_SEQUENCE_H
#define VORN_FUZZ_API_SEQUENCE_H

#include <cstddef>
#include <cstdint>

namespace vornfuzz {

struct SequenceStats {
    int steps = 0;      // steps run (at most 400 per program)
    int callbacks = 0;  // plug-in callbacks the library made
};

// Runs one program on a freshly reset library and leaves the library reset
// (no host table installed).
SequenceStats RunApiSequence(const uint8_t* data, size_t size);

}  // namespace vornfuzz

#endif
