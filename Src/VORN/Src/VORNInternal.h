// VORNInternal.h - helpers shared by every source file of the library.
#ifndef VORN_INTERNAL_H
#define VORN_INTERNAL_H

#include <exception>

// Marks a function as part of the exported C API. The version script is the
// final gate; this keeps the compiler's view in line with it.
#define VORN_EXPORT extern "C" __attribute__((visibility("default")))

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
