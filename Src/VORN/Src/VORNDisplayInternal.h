// VORNDisplayInternal.h - draw callback and key sniffer registries, shared
// with the display input dispatch.
#ifndef VORN_DISPLAY_INTERNAL_H
#define VORN_DISPLAY_INTERNAL_H

#include "VORNResourceList.h"
#include "VORN/VORNDisplay.h"

#include <cstdint>

struct VORNDrawCallbackRecord : VORNResource_t {
    VORNDrawCallback_f callback = nullptr;
    int32_t owner = VORN_NO_PLUGIN_ID;
    int32_t phase = 0;
    int32_t wantsBefore = 0;
    void* refcon = nullptr;
};

struct VORNKeySnifferRecord : VORNResource_t {
    VORNKeySniffer_f callback = nullptr;
    int32_t owner = VORN_NO_PLUGIN_ID;
    int32_t beforeWindows = 0;
    void* refcon = nullptr;
};

extern VORNResourceList<VORNDrawCallbackRecord> gDrawCallbacks;
extern VORNResourceList<VORNKeySnifferRecord> gKeyCallbacks;

// Calls the draw callbacks registered for phase and isBefore, newest first.
// reflectionFlag 1 limits the call to plug-ins that enabled reflections.
// Returns 0 when any of them returned 0 (the host must not draw the phase).
int VORNDispatchDrawingHook(int phase, int isBefore, int reflectionFlag);

// Offers a key to the sniffers of one stage (beforeWindows true: those
// registered to see keys before the windows), newest first. Returns 0 as
// soon as one consumes it, else 1.
int VORNDispatchKeySniffers(char key, int flags, char virtualKey, bool beforeWindows);

// Counts the live draw callbacks and key sniffers plug-in id registered.
void VORNCountDisplayHoldings(int id, int32_t* outDrawCallbacks, int32_t* outKeySniffers);

// Removes everything plug-in id registered with the display.
void VORNDisplayCleanupHook(int id);

// Frees every draw callback and key sniffer (shutdown, tests).
void VORNDisplayReset();

#endif
