// LibraryReset.h - the library's process-wide state back to "just loaded", without a host table or
// gtest: for the unit-test fixture and the API-sequence fuzzer, which both run many library
// lifetimes in one process. Data-ref records outlive it: callers use names of their own.
#ifndef VORN_TEST_LIBRARY_RESET_H
#define VORN_TEST_LIBRARY_RESET_H

#include "VORNLoaderInternal.h"

namespace vorntest {
inline void ResetLibraryState() { VORNResetLibrary(); }
}  // namespace vorntest

#endif
