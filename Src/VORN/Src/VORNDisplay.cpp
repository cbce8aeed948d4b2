// VORNDisplay.cpp - the display subsystem: draw callbacks by phase and key
// sniffers, plug-in windows (z-order, focus, dragging), hot keys, and the
// dispatch of the host's drawing steps and input events to all of them.

#include "VORNDisplayInternal.h"

#include "VORNDLLUtils.h"
#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORNLoaderInternal.h"

#include <map>
#include <cstdint>
#include <memory>
#include <tuple>
#include <unordered_set>
#include <utility>
#include <vector>

namespace {

// The newest record of each (phase, wantsBefore) bucket. The phases the host
// draws, with "before" 0 or 1, have a slot of their own, so that the many
// drawing steps of a frame that nobody draws in cost one array read each;
// other pairs are looked up.
const int kTablePhases = 128;
VORNDrawCallbackRecord* gDrawHeads[kTablePhases][2] = {};
std::map<std::pair<int32_t, int32_t>, VORNDrawCallbackRecord*> gOtherDrawHeads;

bool HasSlot(int32_t phase, int32_t before)
{
    return phase >= 0 && phase < kTablePhases && (before == 0 || before == 1);
}

// The head of the bucket, or null when the pair has none.
VORNDrawCallbackRecord** FindHead(int32_t phase, int32_t before)
{
    if (HasSlot(phase, before))
        return &gDrawHeads[phase][before];
    auto found = gOtherDrawHeads.find({phase, before});
    return found != gOtherDrawHeads.end() ? &found->second : nullptr;
}

// The head of the bucket, created empty if need be (may throw).
VORNDrawCallbackRecord*& HeadFor(int32_t phase, int32_t before)
{
    return HasSlot(phase, before) ? gDrawHeads[phase][before] : gOtherDrawHeads[{phase, before}];
}

void LinkIntoBucket(VORNDrawCallbackRecord* record, VORNDrawCallbackRecord*& head)
{
    record->bucketPrev = nullptr;
    record->bucketNext = head;
    if (head != nullptr)
        head->bucketPrev = record;
    head = record;
}

// Told by gDrawCallbacks whenever a record leaves it.
void UnlinkFromBucket(VORNDrawCallbackRecord* record)
{
    VORNDrawCallbackRecord** head = FindHead(record->phase, record->wantsBefore);
    if (*head == record)
        *head = record->bucketNext;
    if (record->bucketPrev != nullptr)
        record->bucketPrev->bucketNext = record->bucketNext;
    if (record->bucketNext != nullptr)
        record->bucketNext->bucketPrev = record->bucketPrev;
    if (*head == nullptr && !HasSlot(record->phase, record->wantsBefore))
        gOtherDrawHeads.erase({record->phase, record->wantsBefore});
}

// The first record of the bucket that same accepts, dead ones included.
template <typename Same>
VORNDrawCallbackRecord* FindInBucket(VORNDrawCallbackRecord* head, Same same)
{
    for (VORNDrawCallbackRecord* r = head; r != nullptr; r = r->bucketNext) {
        if (same(*r))
            return r;
    }
    return nullptr;
}

}  // namespace

VORNResourceList<VORNDrawCallbackRecord> gDrawCallbacks(UnlinkFromBucket);
VORNResourceList<VORNKeySnifferRecord> gKeyCallbacks;

namespace {

template <typename T, typename Same>
T* FindFirst(VORNResourceList<T>& list, Same same)
{
    for (T* node = list.First(); node != nullptr; node = list.Next(node)) {
        if (same(*node))
            return node;
    }
    return nullptr;
}

// Links record in front unless a record with the same values (dead ones
// included) is already there; the refused record is freed.
template <typename T, typename Same>
int RegisterUnique(VORNResourceList<T>& list, std::unique_ptr<T> record, Same same)
{
    StIterate<T> iterate(list);
    if (FindFirst(list, same) != nullptr)
        return 0;
    list.PushFront(record.release());
    return 1;
}

// Removes record; callers hold an iteration open, so it is freed (or moved
// out of the way of running walks) when that iteration ends.
template <typename T>
void KillRecord(VORNResourceList<T>& list, T* record)
{
    list.VORNKillResource(record, true);
}

// Removes the first record with the given values; 1 when there was one.
template <typename T, typename Same>
int UnregisterFirst(VORNResourceList<T>& list, Same same)
{
    StIterate<T> iterate(list);
    T* record = FindFirst(list, same);
    if (record == nullptr)
        return 0;
    KillRecord(list, record);
    return 1;
}

template <typename T, typename Pred>
void KillWhere(VORNResourceList<T>& list, Pred pred)
{
    StIterate<T> iterate(list);
    for (T* record = list.First(); record != nullptr; record = list.Next(record)) {
        if (pred(*record))
            KillRecord(list, record);
    }
}

auto SameDraw(VORNDrawCallback_f callback, int phase, int wantsBefore, void* refcon)
{
    return [=](const VORNDrawCallbackRecord& r) {
        return r.callback == callback && r.phase == phase && r.wantsBefore == wantsBefore &&
               r.refcon == refcon;
    };
}

auto SameSniffer(VORNKeySniffer_f callback, int beforeWindows, void* refcon)
{
    return [=](const VORNKeySnifferRecord& r) {
        return r.callback == callback && r.beforeWindows == beforeWindows && r.refcon == refcon;
    };
}

bool WantsThisDraw(const VORNDrawCallbackRecord& r, int phase, int isBefore, int reflectionFlag)
{
    return !r.dead && r.phase == phase && r.wantsBefore == isBefore &&
           (reflectionFlag != 1 || VORNHasFeatureInternal(r.owner, kFeatureWantsReflections) != 0);
}

}  // namespace

VORN_EXPORT int VORNRegisterDrawCallback(VORNDrawCallback_f callback, int phase, int wantsBefore,
                                         void* refcon)
{
    return VORNNoThrow(0, [&] {
        auto record = std::make_unique<VORNDrawCallbackRecord>();
        record->callback = callback;
        record->owner = VORNGetDispatchedPlugin();
        record->phase = phase;
        record->wantsBefore = wantsBefore;
        record->refcon = refcon;
        // Equal registrations share a bucket, in the list's order: the
        // bucket alone answers for duplicates.
        StIterate<VORNDrawCallbackRecord> iterate(gDrawCallbacks);
        VORNDrawCallbackRecord*& head = HeadFor(phase, wantsBefore);
        if (FindInBucket(head, SameDraw(callback, phase, wantsBefore, refcon)) != nullptr)
            return 0;
        gDrawCallbacks.PushFront(record.get());
        LinkIntoBucket(record.release(), head);
        return 1;
    });
}

VORN_EXPORT int VORNUnregisterDrawCallback(VORNDrawCallback_f callback, int phase,
                                           int wantsBefore, void* refcon)
{
    StIterate<VORNDrawCallbackRecord> iterate(gDrawCallbacks);
    VORNDrawCallbackRecord** head = FindHead(phase, wantsBefore);
    VORNDrawCallbackRecord* record =
        head != nullptr ? FindInBucket(*head, SameDraw(callback, phase, wantsBefore, refcon))
                        : nullptr;
    if (record == nullptr)
        return 0;
    KillRecord(gDrawCallbacks, record);
    return 1;
}

VORN_EXPORT int VORNRegisterKeySniffer(VORNKeySniffer_f callback, int beforeWindows, void* refcon)
{
    return VORNNoThrow(0, [&] {
        auto record = std::make_unique<VORNKeySnifferRecord>();
        record->callback = callback;
        record->owner = VORNGetDispatchedPlugin();
        record->beforeWindows = beforeWindows;
        record->refcon = refcon;
        return RegisterUnique(gKeyCallbacks, std::move(record),
                              SameSniffer(callback, beforeWindows, refcon));
    });
}

VORN_EXPORT int VORNUnregisterKeySniffer(VORNKeySniffer_f callback, int beforeWindows,
                                         void* refcon)
{
    return UnregisterFirst(gKeyCallbacks, SameSniffer(callback, beforeWindows, refcon));
}

namespace {

// Calls the bucket's callbacks. Kept out of line so that the far more
// common empty dispatch needs no stack frame.
__attribute__((noinline)) int DrawBucket(VORNDrawCallbackRecord* head, int phase, int isBefore,
                                         int reflectionFlag)
{
    int result = 1;
    StIterate<VORNDrawCallbackRecord> iterate(gDrawCallbacks);
    for (auto* r = head; r != nullptr; r = r->bucketNext) {
        if (!WantsThisDraw(*r, phase, isBefore, reflectionFlag))
            continue;
        result &= VORNCallPlugin(VORNCallKind::kDraw, r->owner, 1,
                                 [&] { return r->callback(phase, isBefore, r->refcon); });
    }
    return result;
}

}  // namespace

int VORNDispatchDrawingHook(int phase, int isBefore, int reflectionFlag)
{
    VORNDrawCallbackRecord* const* head = FindHead(phase, isBefore);
    if (head == nullptr || *head == nullptr)
        return 1;
    return DrawBucket(*head, phase, isBefore, reflectionFlag);
}

int VORNDispatchKeySniffers(char key, int flags, char virtualKey, bool beforeWindows)
{
    StIterate<VORNKeySnifferRecord> iterate(gKeyCallbacks);
    for (auto* r = gKeyCallbacks.First(); r != nullptr; r = gKeyCallbacks.Next(r)) {
        if (r->dead || (r->beforeWindows != 0) != beforeWindows)
            continue;
        if (VORNCallPlugin(VORNCallKind::kKeySniffer, r->owner, 1, [&] {
                return r->callback(key, flags, virtualKey, r->refcon);
            }) == 0)
            return 0;
    }
    return 1;
}

// ==== Windows ===================================================================

VORNWindowRecord* gFocusWindow = nullptr;
VORNWindowRecord* gDragWindow = nullptr;

namespace {

// Ids of the windows linked in gWindows (a destroyed one until it leaves the
// list), so that checking an id costs one look-up however many are open.
std::unordered_set<const void*> gLinkedWindows;

// The window whose key callback is being told that it loses the focus.
VORNWindowRecord* gTellingLoss = nullptr;

// Buffers of the window walks that are running, innermost last; kept for
// reuse so that a walk allocates nothing once the buffers have grown.
std::vector<std::unique_ptr<std::vector<VORNWindowRecord*>>> gWalkBuffers;
size_t gWalkDepth = 0;

// A window leaving the list is about to be freed: nothing may point at it.
void ForgetWindow(VORNWindowRecord* window)
{
    gLinkedWindows.erase(window);
    if (gFocusWindow == window)
        gFocusWindow = nullptr;
    if (gDragWindow == window)
        gDragWindow = nullptr;
}

}  // namespace

VORNResourceList<VORNWindowRecord> gWindows(ForgetWindow);

namespace {

// The windows front to back as they stood when the walk began, with an
// iteration of gWindows open for the walk's lifetime. Callbacks run during
// the walk may create, destroy, raise or hide windows: new windows are not
// visited, destroyed ones stay allocated (dead) until the walk ends, and a
// raised window is still visited once, in its old place, instead of
// sending the walk round again.
class StWindowWalk {
public:
    StWindowWalk() : mIterate(gWindows)
    {
        if (gWalkDepth == gWalkBuffers.size())
            gWalkBuffers.push_back(std::make_unique<std::vector<VORNWindowRecord*>>());
        mOrder = gWalkBuffers[gWalkDepth].get();
        mOrder->clear();
        for (auto* w = gWindows.First(); w != nullptr; w = gWindows.Next(w))
            mOrder->push_back(w);
        ++gWalkDepth;
    }
    ~StWindowWalk() { --gWalkDepth; }
    StWindowWalk(const StWindowWalk&) = delete;
    StWindowWalk& operator=(const StWindowWalk&) = delete;

    const std::vector<VORNWindowRecord*>& FrontToBack() const { return *mOrder; }

private:
    StIterate<VORNWindowRecord> mIterate;
    std::vector<VORNWindowRecord*>* mOrder = nullptr;
};

// The record of window id, destroyed ones still in the list included, or
// null. Like every walk, the look-up first takes out windows destroyed
// during inner iterations.
VORNWindowRecord* FindWindow(VORNWindowID id)
{
    StIterate<VORNWindowRecord> lookUp(gWindows);
    return gLinkedWindows.count(id) != 0 ? static_cast<VORNWindowRecord*>(id) : nullptr;
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
    gLinkedWindows.insert(window.get());
    gWindows.PushFront(window.get());
    return window.release();
}

// Tells old, through its key callback, that it loses the focus; the window
// argument is the caller's, as given. A window already being told (its
// callback gave the focus away again, or destroyed itself) is not told twice.
void TellFocusLost(VORNWindowRecord& old, VORNWindowID given)
{
    if (&old == gTellingLoss || old.keyCallback == nullptr)
        return;
    VORNWindowRecord* const outer = gTellingLoss;
    gTellingLoss = &old;
    VORNCallPlugin(VORNCallKind::kKey, old.owner,
                   [&] { old.keyCallback(given, 0, 0, 0, old.refcon, 1); });
    gTellingLoss = outer;
}

}  // namespace

VORN_EXPORT VORNWindowID VORNCreateWindow(int left, int top, int right, int bottom, int visible,
                                          VORNDrawWindow_f drawWindowFunc,
                                          VORNHandleKey_f handleKeyFunc,
                                          VORNHandleMouseClick_f handleMouseClickFunc,
                                          void* refcon)
{
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
    if (params == nullptr || params->structSize != static_cast<int>(sizeof(VORNCreateWindow_t)))
        return nullptr;
    return VORNNoThrow<VORNWindowID>(nullptr, [&] { return CreateWindowFrom(*params); });
}

VORN_EXPORT void VORNDestroyWindow(VORNWindowID id)
{
    // The open iteration keeps the record alive through the focus callback,
    // which may destroy this or any other window itself.
    StIterate<VORNWindowRecord> keepRecords(gWindows);
    VORNWindowRecord* window = LiveWindow(id);
    if (window == nullptr)
        return;
    if (gFocusWindow == window)
        VORNTakeKeyboardFocus(nullptr);
    if (gDragWindow == window)
        gDragWindow = nullptr;
    KillRecord(gWindows, window);
}

VORN_EXPORT void VORNTakeKeyboardFocus(VORNWindowID id)
{
    StIterate<VORNWindowRecord> keepRecords(gWindows);
    VORNWindowRecord* target = LiveWindow(id);
    if (target == gFocusWindow || (target != nullptr && VORNIsPluginEnabled(target->owner) == 0))
        return;
    if (gFocusWindow != nullptr)
        TellFocusLost(*gFocusWindow, id);
    // The losing window's callback may have destroyed the target or
    // disabled its plug-in: the host gets the keyboard instead.
    if (target != nullptr && (target->dead || VORNIsPluginEnabled(target->owner) == 0))
        target = nullptr;
    gFocusWindow = target;
    gHooks->TakeKeyboardFocus(target != nullptr ? 1 : 0);
}

VORN_EXPORT void VORNGetWindowGeometry(VORNWindowID id, int* outLeft, int* outTop, int* outRight,
                                       int* outBottom)
{
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
    if (VORNWindowRecord* window = FindWindow(id)) {
        window->left = left;
        window->top = top;
        window->right = right;
        window->bottom = bottom;
    }
}

VORN_EXPORT int VORNGetWindowIsVisible(VORNWindowID id)
{
    const VORNWindowRecord* window = FindWindow(id);
    return window != nullptr ? window->visible : 0;
}

VORN_EXPORT void VORNSetWindowIsVisible(VORNWindowID id, int visible)
{
    StIterate<VORNWindowRecord> keepRecords(gWindows);
    VORNWindowRecord* window = FindWindow(id);
    if (window == nullptr)
        return;
    if (visible == 0 && window->visible != 0 && gFocusWindow == window)
        VORNTakeKeyboardFocus(nullptr);
    window->visible = visible;
}

VORN_EXPORT void* VORNGetWindowRefCon(VORNWindowID id)
{
    const VORNWindowRecord* window = FindWindow(id);
    return window != nullptr ? window->refcon : nullptr;
}

VORN_EXPORT void VORNSetWindowRefCon(VORNWindowID id, void* refcon)
{
    if (VORNWindowRecord* window = FindWindow(id))
        window->refcon = refcon;
}

VORN_EXPORT void VORNBringWindowToFront(VORNWindowID id)
{
    // A destroyed window waiting to be freed keeps its place.
    if (VORNWindowRecord* window = LiveWindow(id))
        gWindows.MoveToFront(window);
}

VORN_EXPORT int VORNIsWindowInFront(VORNWindowID id)
{
    const VORNWindowRecord* window = FindWindow(id);
    if (window == nullptr)
        return 0;
    for (auto* w = gWindows.First(); w != nullptr; w = gWindows.Next(w)) {
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

// ==== Hot keys ==================================================================

namespace {

// Hot keys by key combination, newest first within one combination, so
// that a key press looks up its own combination instead of walking every
// hot key. Records only ever join the front of gHotKeys, so their
// registration serials, largest first, are the list's order.
using Combination = std::tuple<char, int32_t, uint64_t>;  // key, flags, newest first
std::map<Combination, VORNHotKeyInfoRecord*> gHotKeysByCombination;
uint64_t gHotKeySerial = 0;

// Ids of the hot keys linked in gHotKeys (a removed one until it leaves the
// list), so that checking an id costs one look-up.
std::unordered_set<const void*> gLinkedHotKeys;

Combination CombinationOf(const VORNHotKeyInfoRecord& record)
{
    return Combination(record.virtualKey, record.flags, UINT64_MAX - record.serial);
}

// A hot key leaving the list is about to be freed: no index may keep it.
void ForgetHotKey(VORNHotKeyInfoRecord* record)
{
    gLinkedHotKeys.erase(record);
    gHotKeysByCombination.erase(CombinationOf(*record));
}

}  // namespace

VORNResourceList<VORNHotKeyInfoRecord> gHotKeys(ForgetHotKey);

namespace {

// Callers hold an iteration of gHotKeys open.
VORNHotKeyInfoRecord* FindHotKey(VORNHotKeyID id)
{
    return gLinkedHotKeys.count(id) != 0 ? static_cast<VORNHotKeyInfoRecord*>(id) : nullptr;
}

// Stage 0 after the sniffers: the newest live hot key bound to exactly this
// virtual key and these flags whose owner can be called takes the key.
int DispatchHotKeys(char virtualKey, int flags)
{
    StIterate<VORNHotKeyInfoRecord> iterate(gHotKeys);
    for (auto it = gHotKeysByCombination.lower_bound(Combination(virtualKey, flags, 0));
         it != gHotKeysByCombination.end() && std::get<0>(it->first) == virtualKey &&
         std::get<1>(it->first) == flags;
         ++it) {
        VORNHotKeyInfoRecord* r = it->second;
        if (r->dead)
            continue;
        // The walk ends here, before the callback can change the index.
        if (VORNCallPlugin(VORNCallKind::kHotKey, r->owner, [&] {
                if (r->callback != nullptr)
                    r->callback(r->refcon);
            }))
            return 0;
    }
    return 1;
}

}  // namespace

VORN_EXPORT VORNHotKeyID VORNRegisterHotKey(char virtualKey, int flags, const char* description,
                                            VORNHotKey_f callback, void* refcon)
{
    return VORNNoThrow<VORNHotKeyID>(nullptr, [&] {
        auto record = std::make_unique<VORNHotKeyInfoRecord>();
        record->serial = ++gHotKeySerial;
        record->owner = VORNGetDispatchedPlugin();
        record->virtualKey = virtualKey;
        record->flags = flags;
        record->description = description != nullptr ? description : "";
        record->callback = callback;
        record->refcon = refcon;
        // Allocate the index entry first; after the id set has taken the
        // record nothing may fail.
        std::map<Combination, VORNHotKeyInfoRecord*> staging{
            {CombinationOf(*record), record.get()}};
        auto entry = staging.extract(staging.begin());
        StIterate<VORNHotKeyInfoRecord> iterate(gHotKeys);
        gLinkedHotKeys.insert(record.get());
        gHotKeysByCombination.insert(std::move(entry));
        gHotKeys.PushFront(record.get());
        return static_cast<VORNHotKeyID>(record.release());
    });
}

VORN_EXPORT void VORNUnregisterHotKey(VORNHotKeyID id)
{
    StIterate<VORNHotKeyInfoRecord> iterate(gHotKeys);
    if (VORNHotKeyInfoRecord* record = FindHotKey(id))
        KillRecord(gHotKeys, record);
}

VORN_EXPORT int VORNCountHotKeys(void)
{
    StIterate<VORNHotKeyInfoRecord> iterate(gHotKeys);
    return gHotKeys.CountIf([](const VORNHotKeyInfoRecord&) { return true; });
}

VORN_EXPORT VORNHotKeyID VORNGetNthHotKey(int index)
{
    StIterate<VORNHotKeyInfoRecord> iterate(gHotKeys);
    auto remaining = static_cast<unsigned>(index);  // negative: past any count
    for (auto* r = gHotKeys.First(); r != nullptr; r = gHotKeys.Next(r)) {
        if (!r->dead && remaining-- == 0)
            return r;
    }
    return nullptr;
}

VORN_EXPORT void VORNGetHotKeyInfo(VORNHotKeyID id, char* outVirtualKey, int* outFlags,
                                   char* outDescription, VORNPluginID* outPlugin)
{
    StIterate<VORNHotKeyInfoRecord> iterate(gHotKeys);
    const VORNHotKeyInfoRecord* record = FindHotKey(id);
    if (record == nullptr)
        return;
    if (outVirtualKey != nullptr)
        *outVirtualKey = record->virtualKey;
    if (outFlags != nullptr)
        *outFlags = record->flags;
    if (outDescription != nullptr)
        strcpytrunc(outDescription, record->description, VORN_PATH_BUFFER_SIZE);
    if (outPlugin != nullptr)
        *outPlugin = record->owner;
}

VORN_EXPORT void VORNSetHotKeyCombination(VORNHotKeyID id, char virtualKey, int flags)
{
    StIterate<VORNHotKeyInfoRecord> iterate(gHotKeys);
    if (VORNHotKeyInfoRecord* record = FindHotKey(id)) {
        auto entry = gHotKeysByCombination.extract(CombinationOf(*record));
        record->virtualKey = virtualKey;
        record->flags = flags;
        entry.key() = CombinationOf(*record);
        gHotKeysByCombination.insert(std::move(entry));
    }
}

// ==== Display input dispatch ======================================================

namespace {

// What a host drawing step runs: one "before" or "after" dispatch of its
// phase, both in a row (with the "before" result or always 1), or the window
// step.
enum DrawStepKind { kBefore, kAfter, kBeforeAfter, kBeforeAfterResultOne, kWindowStep };

struct DrawStep {
    int32_t phase;
    DrawStepKind kind;
};

// Host steps 1 to 26. Steps 21/22 serve phase 101 and 23/24 phase 100: the
// host draws 101 first.
const DrawStep kDrawSteps[] = {
    {0, kBeforeAfter},           {5, kBefore},   {5, kAfter},    {10, kBefore},
    {10, kAfter},                {15, kBefore},  {15, kAfter},   {20, kBefore},
    {20, kAfter},                {25, kBefore},  {25, kAfter},   {30, kBeforeAfterResultOne},
    {35, kBeforeAfter},          {40, kBefore},  {40, kAfter},   {45, kBefore},
    {45, kAfter},                {55, kBeforeAfterResultOne},    {50, kBefore},
    {50, kWindowStep},           {101, kBefore}, {101, kAfter},  {100, kBefore},
    {100, kAfter},               {102, kBefore}, {102, kAfter},
};
static_assert(sizeof kDrawSteps / sizeof kDrawSteps[0] == 26, "the host has 26 drawing steps");

// Left and bottom edges are inside, right and top edges outside.
bool IsHit(const VORNWindowRecord& w, int x, int y)
{
    return !w.dead && w.visible != 0 && w.left <= x && x < w.right && w.bottom <= y && y < w.top;
}

void DrawWindows()
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

int RunDrawStep(const DrawStep& step, int reflectionFlag)
{
    switch (step.kind) {
    case kBefore:
        return VORNDispatchDrawingHook(step.phase, 1, reflectionFlag);
    case kAfter:
        VORNDispatchDrawingHook(step.phase, 0, reflectionFlag);
        return 1;
    case kBeforeAfter: {
        const int before = VORNDispatchDrawingHook(step.phase, 1, reflectionFlag);
        VORNDispatchDrawingHook(step.phase, 0, reflectionFlag);
        return before;
    }
    case kBeforeAfterResultOne:
        VORNDispatchDrawingHook(step.phase, 1, reflectionFlag);
        VORNDispatchDrawingHook(step.phase, 0, reflectionFlag);
        return 1;
    case kWindowStep:
        VORNDisplayMouseDragHook();  // one drag event per frame, moved or not
        DrawWindows();
        VORNDispatchDrawingHook(step.phase, 0, reflectionFlag);
        return 1;
    }
    return 1;
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
            gDragWindow = &w;
        return 1;
    });
    return taken != 0 ? 0 : 1;
}

// Drags and the up go to the drag window wherever the pointer is.
int MouseDragOrUp(int x, int y, int status)
{
    VORNWindowRecord* window = gDragWindow;
    if (window == nullptr)
        return 1;
    StIterate<VORNWindowRecord> keepRecords(gWindows);
    // Cleared before the up is delivered, so that a disable or destroy
    // reached from inside that callback cannot deliver a second up.
    if (status == 3)
        gDragWindow = nullptr;
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
    VORNDisplayMouseClickHook(x, y, status);
}

int KeyToFocusWindow(char key, int flags, char virtualKey)
{
    VORNWindowRecord* window = gFocusWindow;
    if (window == nullptr || window->dead)
        return 1;
    StIterate<VORNWindowRecord> keepRecords(gWindows);
    const bool called = VORNCallPlugin(VORNCallKind::kKey, window->owner, [&] {
        if (window->keyCallback != nullptr)
            window->keyCallback(window, key, flags, virtualKey, window->refcon, 0);
    });
    // The focus window takes every key, whatever its callback did.
    return called ? 0 : 1;
}

}  // namespace

int VORNDisplayDoDrawingHook(int step, int reflectionFlag)
{
    if (step < 1 || step > 26)
        return 1;
    return RunDrawStep(kDrawSteps[step - 1], reflectionFlag);
}

int VORNDisplayMouseClickHook(int x, int y, int status)
{
    return status == 1 ? MouseDown(x, y) : MouseDragOrUp(x, y, status);
}

void VORNDisplayMouseDragHook()
{
    if (gDragWindow != nullptr)
        SendPointerToDragWindow(2);
}

int VORNDisplayKeyPressHook(char key, int flags, char virtualKey, int stage)
{
    if (key == 0 && flags == 0 && virtualKey == 0)
        return 1;
    switch (stage) {
    case 0:
        if (VORNDispatchKeySniffers(key, flags, virtualKey, true) == 0)
            return 0;
        return DispatchHotKeys(virtualKey, flags);
    case 1:
        return KeyToFocusWindow(key, flags, virtualKey);
    case 2:
        return VORNDispatchKeySniffers(key, flags, virtualKey, false);
    default:
        return 1;
    }
}

int VORNDisplayCursorHook(int x, int y)
{
    return OfferToWindowsAt(x, y, [&](VORNWindowRecord& w) {
        if (w.cursorCallback == nullptr)
            return 0;
        return VORNCallPlugin(VORNCallKind::kCursor, w.owner, 0,
                              [&] { return w.cursorCallback(&w, x, y, w.refcon); });
    });
}

int VORNDisplayScrollWheelHook(int x, int y, int wheel, int clicks)
{
    const int taken = OfferToWindowsAt(x, y, [&](VORNWindowRecord& w) {
        if (w.wheelCallback == nullptr)
            return 0;
        return VORNCallPlugin(VORNCallKind::kWheel, w.owner, 0,
                              [&] { return w.wheelCallback(&w, x, y, wheel, clicks, w.refcon); });
    });
    return taken != 0 ? 0 : 1;
}

// ==== Disable, clean-up and inventory ===============================================

void VORNDisplayDisableHook(int id)
{
    if (gFocusWindow != nullptr && gFocusWindow->owner == id)
        VORNTakeKeyboardFocus(nullptr);
    if (gDragWindow != nullptr && gDragWindow->owner == id)
        SendPointerToDragWindow(3);
}

namespace {

// Removes the windows for which pred holds, giving back focus and drag first.
template <typename Pred>
void KillWindowsWhere(Pred pred)
{
    StWindowWalk walk;
    for (VORNWindowRecord* w : walk.FrontToBack()) {
        if (!pred(*w))
            continue;
        if (gFocusWindow == w)
            VORNTakeKeyboardFocus(nullptr);
        if (gDragWindow == w)
            gDragWindow = nullptr;
        KillRecord(gWindows, w);
    }
}

}  // namespace

void VORNDisplayCleanupHook(int id)
{
    KillWhere(gDrawCallbacks, [id](const VORNDrawCallbackRecord& r) { return r.owner == id; });
    KillWhere(gKeyCallbacks, [id](const VORNKeySnifferRecord& r) { return r.owner == id; });
    KillWindowsWhere([id](const VORNWindowRecord& r) { return r.owner == id; });
    KillWhere(gHotKeys, [id](const VORNHotKeyInfoRecord& r) { return r.owner == id; });
}

void VORNCountDisplayHoldings(int id, VORNPluginInventory* inventory)
{
    auto ownedBy = [id](const auto& r) { return r.owner == id; };
    inventory->drawCallbacks = gDrawCallbacks.CountIf(ownedBy);
    inventory->keySniffers = gKeyCallbacks.CountIf(ownedBy);
    inventory->windows = gWindows.CountIf(ownedBy);
    inventory->hotKeys = gHotKeys.CountIf(ownedBy);
}

void VORNResetDisplay()
{
    auto all = [](const auto&) { return true; };
    KillWhere(gDrawCallbacks, all);
    KillWhere(gKeyCallbacks, all);
    gFocusWindow = nullptr;  // nobody left to tell: the library is shutting down
    gDragWindow = nullptr;
    KillWindowsWhere(all);
    KillWhere(gHotKeys, all);
}
