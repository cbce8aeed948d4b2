// VORNDisplayInternal.h - the display subsystem's records and what its parts
// offer each other, the host's display entry points and the loader.
//
// The subsystem's entry is VORNDisplay.cpp (the host's drawing steps and
// input events, the lifecycle hooks); each registry lives in a part of its
// own: VORNDisplayDraw.cpp (draw callbacks by phase and key sniffers),
// VORNDisplayWindows.cpp (windows with their side of the input dispatch),
// VORNDisplayHotKeys.cpp (hot keys). A part's state is private to its file.
#ifndef VORN_DISPLAY_INTERNAL_H
#define VORN_DISPLAY_INTERNAL_H

#include "VORNResourceList.h"
#include "VORN/VORNDisplay.h"
#include "VORN/VORNHostHooks.h"

#include <cstdint>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

// A draw callback. Each (phase, wantsBefore) pair keeps its callbacks in a
// list of its own, newest first, so that a drawing step walks only those of
// its own phase.
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

// A hot key; its id is the record's address. It owns its description. Its
// list serial (the registration order) orders equal key combinations.
struct VORNHotKeyInfoRecord : VORNResource_t {
    int32_t owner = VORN_NO_PLUGIN_ID;
    char virtualKey = 0;
    int32_t flags = 0;
    std::string description;
    VORNHotKey_f callback = nullptr;
    void* refcon = nullptr;
};

// Links record at the front of list and enters its id in ids (the registry's
// set of linked ids, windows' or hot keys'), both or neither: the id's entry
// is made first, so that once the list has taken the record nothing can fail.
template <typename T>
void VORNLinkWithId(VORNResourceList<T>& list, std::unordered_set<const void*>& ids, T* record)
{
    std::unordered_set<const void*> staging{record};
    auto id = staging.extract(staging.begin());
    ids.reserve(ids.size() + 1);  // the insert below cannot rehash
    list.PushFront(record);
    ids.insert(std::move(id));
}

// ---- Host entry points (VORNDisplay.cpp) ------------------------------------------
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

// ---- Loader fan-outs (VORNDisplay.cpp) ----------------------------------------------
// Plug-in id is being disabled: takes back its keyboard focus and ends its
// drag (with an up event through the normal dispatch).
void VORNDisplayDisableHook(int id);
// Removes everything plug-in id registered with the display: draw callbacks,
// key sniffers, windows, hot keys, in that order.
void VORNDisplayCleanupHook(int id);
// Fills the draw callback, key sniffer, window and hot key counts of
// plug-in id into inventory.
void VORNCountDisplayHoldings(int id, VORNPluginInventory* inventory);
// Frees every display registration and window (shutdown, tests).
void VORNResetDisplay();

// ---- Draw callbacks and key sniffers (VORNDisplayDraw.cpp) ---------------------------
// Calls the draw callbacks registered for phase and isBefore, newest first.
// reflectionFlag 1 limits the call to plug-ins that enabled reflections.
// Returns 0 when any of them returned 0 (the host must not draw the phase).
int VORNDispatchDrawingHook(int phase, int isBefore, int reflectionFlag);
// Offers a key to the sniffers of one stage (beforeWindows true: those
// registered to see keys before the windows), newest first. Returns 0 as
// soon as one consumes it, else 1.
int VORNDispatchKeySniffers(char key, int flags, char virtualKey, bool beforeWindows);
// Removes the draw callbacks, then the key sniffers, of plug-in id.
void VORNDrawCleanupHook(int id);
void VORNCountDrawHoldings(int id, VORNPluginInventory* inventory);
void VORNResetDraw();
// True while a walk of any draw-callback or key-sniffer list is open (tests).
bool VORNDrawWalksRunning();
// Every draw-callback record linked in a list, removed ones not yet taken out
// included (tests).
std::vector<const VORNDrawCallbackRecord*> VORNLinkedDrawCallbacks();

// ---- Windows (VORNDisplayWindows.cpp) ---------------------------------------------------
// Draws the visible windows back to front.
void VORNDispatchWindowDraw();
// A mouse event, as VORNDisplayMouseClickHook answers it.
int VORNDispatchWindowMouseClick(int x, int y, int status);
// One drag event at the pointer's position to the window being dragged, if any.
void VORNDispatchWindowMouseDrag();
// Stage 1 of a key press: 0 when the focus window took the key.
int VORNDispatchWindowKey(char key, int flags, char virtualKey);
// As VORNDisplayCursorHook and VORNDisplayScrollWheelHook answer them.
int VORNDispatchWindowCursor(int x, int y);
int VORNDispatchWindowScrollWheel(int x, int y, int wheel, int clicks);
// Takes back the focus and ends the drag of plug-in id's windows.
void VORNWindowDisableHook(int id);
// Removes plug-in id's windows, giving back their focus and drag first.
void VORNWindowCleanupHook(int id);
void VORNCountWindowHoldings(int id, VORNPluginInventory* inventory);
void VORNResetWindows();
// The window that receives keys (null: the host has the keyboard).
VORNWindowRecord* VORNFocusWindow();
// The window that took the last mouse-down and receives drags and the up.
VORNWindowRecord* VORNDragWindow();
// Windows not destroyed, whoever owns them (tests).
int32_t VORNLiveWindowCount();
// True while a walk of the windows is open (tests).
bool VORNWindowWalksRunning();

// ---- Hot keys (VORNDisplayHotKeys.cpp) ----------------------------------------------------
// Stage 0 after the sniffers: 0 when a hot key bound to exactly this virtual
// key and these flags took the key, else 1.
int VORNDispatchHotKeys(char virtualKey, int flags);
void VORNHotKeyCleanupHook(int id);
void VORNCountHotKeyHoldings(int id, VORNPluginInventory* inventory);
void VORNResetHotKeys();
// True while a walk of the hot keys is open (tests).
bool VORNHotKeyWalksRunning();

#endif
