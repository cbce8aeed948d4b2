// Fuzzes sequences of library calls made by three plug-ins and the host,
// including calls from inside the callbacks being dispatched; the interpreter
// (ApiSequence.cpp) checks the library against its model after every step.

#include "ApiSequence.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    vornfuzz::RunApiSequence(data, size);
    return 0;
}
