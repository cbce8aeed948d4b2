// VORNCheckedInternal.h - checked mode for plug-in authors: API calls from a
// thread other than the one that started the library are refused
// (VORN_CHECK_THREAD in VORNInternal.h) and reported on the main thread.
#ifndef VORN_CHECKED_H
#define VORN_CHECKED_H

#include "VORNInternal.h"

// True while checked mode is on.
inline bool VORNCheckedOn()
{
    return (gDiagnostics & kDiagnoseThreads) != 0;
}

// The library starts on the calling thread: it becomes the main thread, and
// VORN_CHECKED=1 in the environment switches checked mode on.
void VORNCheckedStart();

// Reports the calls refused since the last time, once per plug-in and
// function: through the caller's error callback and the log. Main thread.
void VORNReportRefusedCalls();

// Back to the state at load: off, no main thread, nothing noted.
void VORNResetChecked();

#endif
