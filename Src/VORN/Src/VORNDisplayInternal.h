// VORNDisplayInternal.h - the display registries (draw callbacks, key
// sniffers, windows, hot keys) and the display entry points of the host and
// the loader.
#ifndef VORN_DISPLAY_INTERNAL_H
#define VORN_DISPLAY_INTERNAL_H

#include "VORNResourceList.h"
#include "VORN/VORNDisplay.h"
#include "VORN/VORNHostHooks.h"

#include <cstdint>
#include <string>

// Draw callbacks are linked twice: in gDrawCallbacks (every registration,
// newest first) and in the bucket of their (phase, wantsBefore) pair, newest
// first too, so that a drawing step walks only the callbacks of its own
// phase. A record leaves its bucket when it leaves the list and, like there,
// keeps its own bucket links so that a walk standing on it can move on.
struct VORNDrawCallbackRecord : VORNResource_t {
    VORNDrawCallback_f callback = nullptr;
    int32_t owner = VORN_NO_PLUGIN_ID;
    int32_t phase = 0;
    int32_t wantsBefore = 0;
    void* refcon = nullptr;
    VORNDrawCallbackRecord* bucketNext = nullptr;
    VORNDrawCallbackRecord* bucketPrev = nullptr;
};

struct VORNKeySnifferRecord : VORNResource_t {
    VORNKeySniffer_f callback = nullptr;
    int32_t owner = VORN_NO_PLUGIN_ID;
    int32_t beforeWindows = 0;
    void* refcon = nullptr;
};

// A window; its id is the record's address. Key before mouse here, while
// the creation record has them the other way round.
struct VORNWindowRecord : VORNResource_t {
    int32_t left = 0;
    int32_t top = 0;
    int32_t right = 0;
    int32_t bottom = 0;
    int32_t visible = 0;
    VORNDrawWindow_f drawCallback = nullptr;
    VORNHandleKey_f keyCallback = nullptr;
    VORNHandleMouseClick_f mouseCallback = nullptr;
    VORNHandleCursor_f cursorCallback = nullptr;
    VORNHandleMouseWheel_f wheelCallback = nullptr;
    int32_t owner = VORN_NO_PLUGIN_ID;
    void* refcon = nullptr;
};

// A hot key; its id is the record's address. It owns its description.
struct VORNHotKeyInfoRecord : VORNResource_t {
    uint64_t serial = 0;  // increases with every registration: the list's order
    int32_t owner = VORN_NO_PLUGIN_ID;
    char virtualKey = 0;
    int32_t flags = 0;
    std::string description;
    VORNHotKey_f callback = nullptr;
    void* refcon = nullptr;
};

extern VORNResourceList<VORNDrawCallbackRecord> gDrawCallbacks;
extern VORNResourceList<VORNKeySnifferRecord> gKeyCallbacks;
extern VORNResourceList<VORNWindowRecord> gWindows;
extern VORNResourceList<VORNHotKeyInfoRecord> gHotKeys;
// The window that receives keys (null: the host has the keyboard) and the
// window that took the last mouse-down and receives drags and the up.
extern VORNWindowRecord* gFocusWindow;
extern VORNWindowRecord* gDragWindow;

// Calls the draw callbacks registered for phase and isBefore, newest first.
// reflectionFlag 1 limits the call to plug-ins that enabled reflections.
// Returns 0 when any of them returned 0 (the host must not draw the phase).
int VORNDispatchDrawingHook(int phase, int isBefore, int reflectionFlag);

// Offers a key to the sniffers of one stage (beforeWindows true: those
// registered to see keys before the windows), newest first. Returns 0 as
// soon as one consumes it, else 1.
int VORNDispatchKeySniffers(char key, int flags, char virtualKey, bool beforeWindows);

// Fills the draw callback, key sniffer, window and hot key counts of
// plug-in id into inventory.
void VORNCountDisplayHoldings(int id, VORNPluginInventory* inventory);

// ---- Host entry points ---------------------------------------------------------
// Host drawing step 1..26: runs the plug-in phase(s) of that step. Returns 0
// when the host must not draw the step itself.
int VORNDisplayDoDrawingHook(int step, int reflectionFlag);
// status 1 down, 2 drag, 3 up. Returns 0 when a window consumed it.
int VORNDisplayMouseClickHook(int x, int y, int status);
// Feeds the pointer position to the window being dragged, if any.
void VORNDisplayMouseDragHook();
// stage 0 before the windows, 1 the focus window, 2 after. 0 = consumed.
int VORNDisplayKeyPressHook(char key, int flags, char virtualKey, int stage);
// The cursor status of the front-most window under (x, y) that sets one.
int VORNDisplayCursorHook(int x, int y);
// 0 when a window under (x, y) consumed the wheel event.
int VORNDisplayScrollWheelHook(int x, int y, int wheel, int clicks);

// ---- Loader fan-outs -----------------------------------------------------------
// Plug-in id is being disabled: takes back its keyboard focus and ends its
// drag (with an up event through the normal dispatch).
void VORNDisplayDisableHook(int id);
// Removes everything plug-in id registered with the display: draw callbacks,
// key sniffers, windows, hot keys, in that order.
void VORNDisplayCleanupHook(int id);

// Frees every display registration and window (shutdown, tests).
void VORNResetDisplay();

#endif
