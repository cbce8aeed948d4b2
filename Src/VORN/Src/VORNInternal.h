// VORNInternal.h - helpers shared by every source file of the library.
#ifndef VORN_INTERNAL_H
#define VORN_INTERNAL_H

#include <cstdint>
#include <exception>

// Marks a function as part of the exported C API. The version script is the
// final gate; this keeps the compiler's view in line with it.
#define VORN_EXPORT extern "C" __attribute__((visibility("default")))

// Diagnostic modes the host can switch on. While off, each costs one
// predictable branch where it hooks in: time accounting in the call into
// plug-in code, checked mode at the entry of the API functions.
enum : uint8_t { kDiagnoseTiming = 1, kDiagnoseThreads = 2 };
// Shared: read inline by every call into plug-in code and every API entry.
extern __attribute__((visibility("hidden"))) uint8_t gDiagnostics;

// Runs the body of an exported function so that no C++ exception ever leaves
// the library: any exception (an allocation failure, or one thrown by a C++
// plug-in's callback) ends the call with `fallback`.
template <typename R, typename F>
inline R VORNNoThrow(R fallback, F&& body) noexcept
{
    try {
        return body();
    } catch (...) {
        return fallback;
    }
}

template <typename F>
inline void VORNNoThrow(F&& body) noexcept
{
    try {
        body();
    } catch (...) {
    }
}

#endif
