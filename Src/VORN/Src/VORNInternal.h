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

// Checked mode: the API belongs to the thread that started the library.
// True on that thread only (set by VORNInitializePlugins). Initial-exec, so
// that reading it is one load, with no call.
extern __thread __attribute__((visibility("hidden"), tls_model("initial-exec"))) bool
    gOnMainThread;

// Notes that function was called, from the code at caller, on another thread
// (reported on the main thread later) and returns refused.
__attribute__((cold)) void VORNRefuseCall(const char* function, void* caller) noexcept;
template <typename R>
__attribute__((noinline, cold)) R VORNRefuseCall(const char* function, void* caller,
                                                R refused) noexcept
{
    VORNRefuseCall(function, caller);
    return refused;
}

// First statement of an API function a plug-in may call: while checked mode
// is on, a call from another thread returns `refused` at once
// (VORN_CHECK_THREAD_VOID: returns). Off, it is one predictable branch; the
// refusal is a tail call, so the check needs no stack frame of its own.
#define VORN_CHECK_THREAD_RETURNING(...)                                            \
    do {                                                                            \
        if (__builtin_expect(gDiagnostics & kDiagnoseThreads, 0) && !gOnMainThread) \
            return VORNRefuseCall(__func__, __builtin_return_address(0) __VA_ARGS__);   \
    } while (0)
#define VORN_CHECK_THREAD(refused) VORN_CHECK_THREAD_RETURNING(, refused)
#define VORN_CHECK_THREAD_VOID() VORN_CHECK_THREAD_RETURNING()

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
