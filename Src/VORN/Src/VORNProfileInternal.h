// VORNProfileInternal.h - time accounting of the calls into plug-in code: per
// plug-in and kind of call, and per plug-in and frame. The call function
// (VORNLoaderInternal.h) reaches it through VORNTimingBegin/VORNTimingEnd
// only while accounting is on.
#ifndef VORN_PROFILE_H
#define VORN_PROFILE_H

#include "VORNInternal.h"

// True while the host has time accounting on.
inline bool VORNTimingOn()
{
    return (gDiagnostics & kDiagnoseTiming) != 0;
}

// The host sent event (VORNEventHook). Event 0 ends the frame that is
// running and starts the next; events 0 and 10 tell which phase of flight
// loops their pass runs. Call only while VORNTimingOn().
void VORNTimingHostEvent(int event);

// The plug-ins were all unloaded together and ids start again from 0: their
// figures go, the switch, the budget and the observer stay.
void VORNTimingForgetPlugins();

// Back to the state at load: off, no budget, no observer, no figures.
void VORNResetProfile();

#endif
