// VORNDisplayWindows.cpp - plug-in windows: the registry and its API
// (z-order, keyboard focus, geometry, the screen size and pointer position
// they are placed by) and the windows' side of the input dispatch: drawing
// them, mouse capture and dragging, keys to the focus window, cursor and
// wheel.

#include "VORNDisplayInternal.h"

#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORNLoaderInternal.h"

#include <cstdint>
#include <memory>
#include <unordered_set>
#include <vector>

namespace {

void ForgetWindow(VORNWindowRecord* window);

using WindowList = VORNResourceList<VORNWindowRecord>;

struct WindowState {
    // Front to back: the newest or last raised window first.
    WindowList windows{ForgetWindow};
    // Ids of the windows linked in windows (a destroyed one until it leaves
    // the list), so that checking an id costs one look-up however many are
    // open.
    std::unordered_set<const void*> linkedWindows;
    // The window that receives keys (null: the host has the keyboard).
    VORNWindowRecord* focusWindow = nullptr;
    // The window that took the last mouse-down and receives drags and the up.
    VORNWindowRecord* dragWindow = nullptr;
    // The window whose key callback is being told that it loses the focus.
    VORNWindowRecord* tellingLoss = nullptr;
    // Buffers of the window walks that are running, innermost last; kept for
    // reuse so that a walk allocates nothing once the buffers have grown.
    std::vector<std::unique_ptr<std::vector<VORNWindowRecord*>>> walkBuffers;
    size_t walkDepth = 0;
};
WindowState gWindowState;

// A window leaving the list is about to be freed: nothing may point at it.
void ForgetWindow(VORNWindowRecord* window)
{
    gWindowState.linkedWindows.erase(window);
    if (gWindowState.focusWindow == window)
        gWindowState.focusWindow = nullptr;
    if (gWindowState.dragWindow == window)
        gWindowState.dragWindow = nullptr;
}

// The windows front to back as they stood when the walk began (all of them,
// or one plug-in's), with an iteration of the list open for the walk's
// lifetime. Callbacks run during the walk may create, destroy, raise or hide
// windows: new windows are not visited, destroyed ones stay allocated (dead)
// until the walk ends, and a raised window is still visited once, in its old
// place, instead of sending the walk round again.
class StWindowWalk {
public:
    StWindowWalk() : mIterate(gWindowState.windows)
    {
        Take(gWindowState.windows.First(), [](VORNWindowRecord* w) { return WindowList::Next(w); });
    }

    explicit StWindowWalk(int32_t owner) : mIterate(gWindowState.windows)
    {
        Take(gWindowState.windows.FirstOwnedBy(owner),
             [](VORNWindowRecord* w) { return WindowList::NextOwned(w); });
    }
    ~StWindowWalk() { --gWindowState.walkDepth; }
    StWindowWalk(const StWindowWalk&) = delete;
    StWindowWalk& operator=(const StWindowWalk&) = delete;

    const std::vector<VORNWindowRecord*>& FrontToBack() const { return *mOrder; }

private:
    // Fills the buffer of this walk's depth with first and the records that
    // next leads on to.
    template <typename Next>
    void Take(VORNWindowRecord* first, Next next)
    {
        auto& buffers = gWindowState.walkBuffers;
        if (gWindowState.walkDepth == buffers.size())
            buffers.push_back(std::make_unique<std::vector<VORNWindowRecord*>>());
        mOrder = buffers[gWindowState.walkDepth].get();
        mOrder->clear();
        for (VORNWindowRecord* w = first; w != nullptr; w = next(w))
            mOrder->push_back(w);
        ++gWindowState.walkDepth;
    }

    StIterate<VORNWindowRecord> mIterate;
    std::vector<VORNWindowRecord*>* mOrder = nullptr;
};

// Keeps every window record allocated for the scope, destroyed ones
// included, while callbacks run that may destroy windows.
class StKeepWindows : public StIterate<VORNWindowRecord> {
public:
    StKeepWindows() : StIterate<VORNWindowRecord>(gWindowState.windows) {}
};

// The record of window id, destroyed ones still in the list included, or
// null. Like every walk, the look-up first takes out windows destroyed
// during inner iterations. Inline: every window call of a plug-in starts
// with it, and this file alone is too small for the compiler to inline it
// unasked.
inline VORNWindowRecord* FindWindow(VORNWindowID id)
{
    StKeepWindows lookUp;
    return gWindowState.linkedWindows.count(id) != 0 ? static_cast<VORNWindowRecord*>(id)
                                                     : nullptr;
}

VORNWindowRecord* LiveWindow(VORNWindowID id)
{
    VORNWindowRecord* window = FindWindow(id);
    return (window != nullptr && !window->dead) ? window : nullptr;
}

VORNWindowID CreateWindowFrom(const VORNCreateWindow_t& params)
{
    auto window = std::make_unique<VORNWindowRecord>();
    window->left = params.left;
    window->top = params.top;
    window->right = params.right;
    window->bottom = params.bottom;
    window->visible = params.visible;
    window->drawCallback = params.drawWindowFunc;
    window->keyCallback = params.handleKeyFunc;
    window->mouseCallback = params.handleMouseClickFunc;
    window->cursorCallback = params.handleCursorFunc;
    window->wheelCallback = params.handleMouseWheelFunc;
    window->owner = VORNGetDispatchedPlugin();
    window->refcon = params.refcon;
    VORNLinkWithId(gWindowState.windows, gWindowState.linkedWindows, window.get());
    return window.release();
}

// Tells old, through its key callback, that it loses the focus; the window
// argument is the caller's, as given. A window already being told (its
// callback gave the focus away again, or destroyed itself) is not told twice.
void TellFocusLost(VORNWindowRecord& old, VORNWindowID given)
{
    if (&old == gWindowState.tellingLoss || old.keyCallback == nullptr)
        return;
    VORNWindowRecord* const outer = gWindowState.tellingLoss;
    gWindowState.tellingLoss = &old;
    VORNCallPlugin(VORNCallKind::kKey, old.owner,
                   [&] { old.keyCallback(given, 0, 0, 0, old.refcon, 1); });
    gWindowState.tellingLoss = outer;
}

// Removes window; callers keep the windows allocated, so it is freed (or
// kept for running walks) when their iteration ends.
void KillWindow(VORNWindowRecord* window)
{
    gWindowState.windows.VORNKillResource(window, true);
}

}  // namespace

VORN_EXPORT VORNWindowID VORNCreateWindow(int left, int top, int right, int bottom, int visible,
                                          VORNDrawWindow_f drawWindowFunc,
                                          VORNHandleKey_f handleKeyFunc,
                                          VORNHandleMouseClick_f handleMouseClickFunc,
                                          void* refcon)
{
    VORN_CHECK_THREAD(nullptr);
    VORNCreateWindow_t params{};
    params.structSize = sizeof params;
    params.left = left;
    params.top = top;
    params.right = right;
    params.bottom = bottom;
    params.visible = visible;
    params.drawWindowFunc = drawWindowFunc;
    params.handleKeyFunc = handleKeyFunc;
    params.handleMouseClickFunc = handleMouseClickFunc;
    params.refcon = refcon;
    return VORNNoThrow<VORNWindowID>(nullptr, [&] { return CreateWindowFrom(params); });
}

VORN_EXPORT VORNWindowID VORNCreateWindowEx(const VORNCreateWindow_t* params)
{
    VORN_CHECK_THREAD(nullptr);
    if (params == nullptr || params->structSize != static_cast<int>(sizeof(VORNCreateWindow_t)))
        return nullptr;
    return VORNNoThrow<VORNWindowID>(nullptr, [&] { return CreateWindowFrom(*params); });
}

VORN_EXPORT void VORNDestroyWindow(VORNWindowID id)
{
    VORN_CHECK_THREAD_VOID();
    // The open iteration keeps the record alive through the focus callback,
    // which may destroy this or any other window itself.
    StKeepWindows keepRecords;
    VORNWindowRecord* window = LiveWindow(id);
    if (window == nullptr)
        return;
    if (gWindowState.focusWindow == window)
        VORNTakeKeyboardFocus(nullptr);
    if (gWindowState.dragWindow == window)
        gWindowState.dragWindow = nullptr;
    KillWindow(window);
}

VORN_EXPORT void VORNTakeKeyboardFocus(VORNWindowID id)
{
    VORN_CHECK_THREAD_VOID();
    StKeepWindows keepRecords;
    VORNWindowRecord* target = LiveWindow(id);
    if (target == gWindowState.focusWindow ||
        (target != nullptr && VORNIsPluginEnabled(target->owner) == 0))
        return;
    if (gWindowState.focusWindow != nullptr)
        TellFocusLost(*gWindowState.focusWindow, id);
    // The losing window's callback may have destroyed the target or
    // disabled its plug-in: the host gets the keyboard instead.
    if (target != nullptr && (target->dead || VORNIsPluginEnabled(target->owner) == 0))
        target = nullptr;
    gWindowState.focusWindow = target;
    gHooks->TakeKeyboardFocus(target != nullptr ? 1 : 0);
}

VORN_EXPORT void VORNGetWindowGeometry(VORNWindowID id, int* outLeft, int* outTop, int* outRight,
                                       int* outBottom)
{
    VORN_CHECK_THREAD_VOID();
    const VORNWindowRecord* window = FindWindow(id);
    if (window == nullptr)
        return;
    if (outLeft != nullptr)
        *outLeft = window->left;
    if (outTop != nullptr)
        *outTop = window->top;
    if (outRight != nullptr)
        *outRight = window->right;
    if (outBottom != nullptr)
        *outBottom = window->bottom;
}

VORN_EXPORT void VORNSetWindowGeometry(VORNWindowID id, int left, int top, int right, int bottom)
{
    VORN_CHECK_THREAD_VOID();
    if (VORNWindowRecord* window = FindWindow(id)) {
        window->left = left;
        window->top = top;
        window->right = right;
        window->bottom = bottom;
    }
}

VORN_EXPORT int VORNGetWindowIsVisible(VORNWindowID id)
{
    VORN_CHECK_THREAD(0);
    const VORNWindowRecord* window = FindWindow(id);
    return window != nullptr ? window->visible : 0;
}

VORN_EXPORT void VORNSetWindowIsVisible(VORNWindowID id, int visible)
{
    VORN_CHECK_THREAD_VOID();
    StKeepWindows keepRecords;
    VORNWindowRecord* window = FindWindow(id);
    if (window == nullptr)
        return;
    if (visible == 0 && window->visible != 0 && gWindowState.focusWindow == window)
        VORNTakeKeyboardFocus(nullptr);
    window->visible = visible;
}

VORN_EXPORT void* VORNGetWindowRefCon(VORNWindowID id)
{
    VORN_CHECK_THREAD(nullptr);
    const VORNWindowRecord* window = FindWindow(id);
    return window != nullptr ? window->refcon : nullptr;
}

VORN_EXPORT void VORNSetWindowRefCon(VORNWindowID id, void* refcon)
{
    VORN_CHECK_THREAD_VOID();
    if (VORNWindowRecord* window = FindWindow(id))
        window->refcon = refcon;
}

VORN_EXPORT void VORNBringWindowToFront(VORNWindowID id)
{
    VORN_CHECK_THREAD_VOID();
    // A destroyed window waiting to be freed keeps its place.
    if (VORNWindowRecord* window = LiveWindow(id))
        gWindowState.windows.MoveToFront(window);
}

VORN_EXPORT int VORNIsWindowInFront(VORNWindowID id)
{
    VORN_CHECK_THREAD(0);
    const VORNWindowRecord* window = FindWindow(id);
    if (window == nullptr)
        return 0;
    auto& windows = gWindowState.windows;
    for (auto* w = windows.First(); w != nullptr; w = windows.Next(w)) {
        if (!w->dead && w->visible != 0)
            return w == window ? 1 : 0;
    }
    return 0;
}

VORN_EXPORT void VORNGetScreenSize(int* outWidth, int* outHeight)
{
    gHooks->GetScreenSize(outWidth, outHeight);
}

VORN_EXPORT void VORNGetMouseLocation(int* outX, int* outY)
{
    gHooks->GetMouseLocation(outX, outY, 1);
}

// ==== The windows' side of the input dispatch ========================================

namespace {

// Left and bottom edges are inside, right and top edges outside.
bool IsHit(const VORNWindowRecord& w, int x, int y)
{
    return !w.dead && w.visible != 0 && w.left <= x && x < w.right && w.bottom <= y && y < w.top;
}

// Offers an event at (x, y) to the windows under it, front to back,
// skipping owners that cannot be called, until offer returns non-zero;
// returns that value, or 0 when no window took it.
template <typename Offer>
int OfferToWindowsAt(int x, int y, Offer offer)
{
    StWindowWalk walk;
    for (VORNWindowRecord* w : walk.FrontToBack()) {
        if (!IsHit(*w, x, y) || !VORNIsCallable(w->owner))
            continue;
        if (const int result = offer(*w))
            return result;
    }
    return 0;
}

int MouseDown(int x, int y)
{
    const int taken = OfferToWindowsAt(x, y, [&](VORNWindowRecord& w) {
        if (w.mouseCallback == nullptr ||
            VORNCallPlugin(VORNCallKind::kMouseClick, w.owner, 0,
                           [&] { return w.mouseCallback(&w, x, y, 1, w.refcon); }) == 0)
            return 0;
        // A window that destroyed itself, or whose callback disabled its
        // plug-in (the disable hook has run already), takes no drags.
        if (!w.dead && VORNIsCallable(w.owner))
            gWindowState.dragWindow = &w;
        return 1;
    });
    return taken != 0 ? 0 : 1;
}

// Drags and the up go to the drag window wherever the pointer is.
int MouseDragOrUp(int x, int y, int status)
{
    VORNWindowRecord* window = gWindowState.dragWindow;
    if (window == nullptr)
        return 1;
    StKeepWindows keepRecords;
    // Cleared before the up is delivered, so that a disable or destroy
    // reached from inside that callback cannot deliver a second up.
    if (status == 3)
        gWindowState.dragWindow = nullptr;
    const bool called = VORNCallPlugin(VORNCallKind::kMouseClick, window->owner, [&] {
        if (window->mouseCallback != nullptr)
            window->mouseCallback(window, x, y, status, window->refcon);
    });
    return called ? 0 : 1;
}

// Sends the pointer's current position to the drag window as status.
void SendPointerToDragWindow(int status)
{
    int x = 0;
    int y = 0;
    gHooks->GetMouseLocation(&x, &y, 0);
    VORNDispatchWindowMouseClick(x, y, status);
}

// Removes plug-in id's windows, giving back focus and drag first.
void KillWindowsOf(int32_t id)
{
    StWindowWalk walk(id);
    for (VORNWindowRecord* w : walk.FrontToBack()) {
        if (gWindowState.focusWindow == w)
            VORNTakeKeyboardFocus(nullptr);
        if (gWindowState.dragWindow == w)
            gWindowState.dragWindow = nullptr;
        KillWindow(w);
    }
}

}  // namespace

void VORNDispatchWindowDraw()
{
    StWindowWalk walk;
    const auto& order = walk.FrontToBack();
    for (auto it = order.rbegin(); it != order.rend(); ++it) {
        VORNWindowRecord* w = *it;
        if (w->dead || w->visible == 0 || w->drawCallback == nullptr)
            continue;
        VORNCallPlugin(VORNCallKind::kWindowDraw, w->owner, [&] { w->drawCallback(w, w->refcon); });
    }
}

int VORNDispatchWindowMouseClick(int x, int y, int status)
{
    return status == 1 ? MouseDown(x, y) : MouseDragOrUp(x, y, status);
}

void VORNDispatchWindowMouseDrag()
{
    if (gWindowState.dragWindow != nullptr)
        SendPointerToDragWindow(2);
}

int VORNDispatchWindowKey(char key, int flags, char virtualKey)
{
    VORNWindowRecord* window = gWindowState.focusWindow;
    if (window == nullptr || window->dead)
        return 1;
    StKeepWindows keepRecords;
    const bool called = VORNCallPlugin(VORNCallKind::kKey, window->owner, [&] {
        if (window->keyCallback != nullptr)
            window->keyCallback(window, key, flags, virtualKey, window->refcon, 0);
    });
    // The focus window takes every key, whatever its callback did.
    return called ? 0 : 1;
}

int VORNDispatchWindowCursor(int x, int y)
{
    return OfferToWindowsAt(x, y, [&](VORNWindowRecord& w) {
        if (w.cursorCallback == nullptr)
            return 0;
        return VORNCallPlugin(VORNCallKind::kCursor, w.owner, 0,
                              [&] { return w.cursorCallback(&w, x, y, w.refcon); });
    });
}

int VORNDispatchWindowScrollWheel(int x, int y, int wheel, int clicks)
{
    const int taken = OfferToWindowsAt(x, y, [&](VORNWindowRecord& w) {
        if (w.wheelCallback == nullptr)
            return 0;
        return VORNCallPlugin(VORNCallKind::kWheel, w.owner, 0,
                              [&] { return w.wheelCallback(&w, x, y, wheel, clicks, w.refcon); });
    });
    return taken != 0 ? 0 : 1;
}

// ==== Disable, clean-up and inventory ===================================================

void VORNWindowDisableHook(int id)
{
    if (gWindowState.focusWindow != nullptr && gWindowState.focusWindow->owner == id)
        VORNTakeKeyboardFocus(nullptr);
    if (gWindowState.dragWindow != nullptr && gWindowState.dragWindow->owner == id)
        SendPointerToDragWindow(3);
}

void VORNWindowCleanupHook(int id)
{
    KillWindowsOf(id);
}

void VORNCountWindowHoldings(int id, VORNPluginInventory* inventory)
{
    inventory->windows = gWindowState.windows.CountOwnedBy(id);
}

void VORNResetWindows()
{
    gWindowState = WindowState();
}

VORNWindowRecord* VORNFocusWindow()
{
    return gWindowState.focusWindow;
}

VORNWindowRecord* VORNDragWindow()
{
    return gWindowState.dragWindow;
}

int32_t VORNLiveWindowCount()
{
    return gWindowState.windows.CountIf([](const VORNWindowRecord&) { return true; });
}

bool VORNWindowWalksRunning()
{
    return gWindowState.windows.Depth() != 0 || gWindowState.walkDepth != 0;
}
