// VORNDisplayDraw.cpp - draw callbacks by phase and key sniffers: their
// registries, the plug-in API and their dispatch.

#include "VORNDisplayInternal.h"

#include "VORNInternal.h"
#include "VORNLoaderInternal.h"

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace {

using DrawBucket = VORNResourceList<VORNDrawCallbackRecord>;
using DrawPair = std::pair<int32_t, int32_t>;  // phase, wantsBefore

// The phases the host draws, with "before" 0 or 1, have a bucket of their
// own in an array, so that the many drawing steps of a frame that nobody
// draws in cost one array read each; other pairs are looked up.
const int kTablePhases = 128;

struct DrawState {
    // The draw callbacks of each (phase, wantsBefore) pair, newest first.
    DrawBucket drawCallbacks[kTablePhases][2];
    // Pairs outside the array; a pair's entry goes once it is empty and no
    // walk of it is running.
    std::map<DrawPair, DrawBucket> otherDrawCallbacks;
    // Per plug-in: the pairs whose buckets hold its draw callbacks.
    VORNListsByOwner<DrawPair> drawPairs;
    VORNResourceList<VORNKeySnifferRecord> keyCallbacks;
};
DrawState gDrawState;

bool HasSlot(int32_t phase, int32_t before)
{
    return phase >= 0 && phase < kTablePhases && (before == 0 || before == 1);
}

// The bucket of the pair, or null when the pair has none.
DrawBucket* FindBucket(int32_t phase, int32_t before)
{
    if (HasSlot(phase, before))
        return &gDrawState.drawCallbacks[phase][before];
    auto found = gDrawState.otherDrawCallbacks.find({phase, before});
    return found != gDrawState.otherDrawCallbacks.end() ? &found->second : nullptr;
}

// The bucket of the pair, created empty if need be (may throw).
DrawBucket& BucketFor(int32_t phase, int32_t before)
{
    return HasSlot(phase, before) ? gDrawState.drawCallbacks[phase][before]
                                  : gDrawState.otherDrawCallbacks[{phase, before}];
}

bool Unused(DrawBucket& bucket)
{
    return bucket.Depth() == 0 && bucket.First() == nullptr;
}

// Drops the entry of a pair outside the array once nothing uses it.
void DropIfUnused(int32_t phase, int32_t before)
{
    if (HasSlot(phase, before))
        return;
    auto found = gDrawState.otherDrawCallbacks.find({phase, before});
    if (found != gDrawState.otherDrawCallbacks.end() && Unused(found->second))
        gDrawState.otherDrawCallbacks.erase(found);
}

template <typename F>
void ForEachBucket(F f)
{
    for (auto& halves : gDrawState.drawCallbacks) {
        for (DrawBucket& bucket : halves)
            f(bucket);
    }
    for (auto& entry : gDrawState.otherDrawCallbacks)
        f(entry.second);
}

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
    list.PushFront(record.get());
    record.release();
    return 1;
}

// Removes the first record with the given values; 1 when there was one, whose
// owner goes to outOwner if given. The open iteration frees it (or, while
// walks run, keeps it for them) at its end.
template <typename T, typename Same>
int UnregisterFirst(VORNResourceList<T>& list, Same same, int32_t* outOwner = nullptr)
{
    StIterate<T> iterate(list);
    T* record = FindFirst(list, same);
    if (record == nullptr)
        return 0;
    if (outOwner != nullptr)
        *outOwner = record->owner;
    list.VORNKillResource(record, true);
    return 1;
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

}  // namespace

VORN_EXPORT int VORNRegisterDrawCallback(VORNDrawCallback_f callback, int phase, int wantsBefore,
                                         void* refcon)
{
    VORN_CHECK_THREAD(0);
    return VORNNoThrow(0, [&] {
        auto record = std::make_unique<VORNDrawCallbackRecord>();
        record->callback = callback;
        record->owner = VORNGetDispatchedPlugin();
        record->phase = phase;
        record->wantsBefore = wantsBefore;
        record->refcon = refcon;
        DrawBucket& bucket = BucketFor(phase, wantsBefore);
        gDrawState.drawPairs.Add(record->owner, DrawPair(phase, wantsBefore));
        const int32_t owner = record->owner;
        const int registered = RegisterUnique(bucket, std::move(record),
                                              SameDraw(callback, phase, wantsBefore, refcon));
        if (registered == 0 && bucket.CountOwnedBy(owner) == 0)
            gDrawState.drawPairs.Drop(owner, DrawPair(phase, wantsBefore));
        return registered;
    });
}

VORN_EXPORT int VORNUnregisterDrawCallback(VORNDrawCallback_f callback, int phase,
                                           int wantsBefore, void* refcon)
{
    VORN_CHECK_THREAD(0);
    DrawBucket* bucket = FindBucket(phase, wantsBefore);
    if (bucket == nullptr)
        return 0;
    // The first callback with these values goes, whoever owns it.
    int32_t owner = VORN_NO_PLUGIN_ID;
    const int removed =
        UnregisterFirst(*bucket, SameDraw(callback, phase, wantsBefore, refcon), &owner);
    if (removed != 0 && bucket->CountOwnedBy(owner) == 0)
        gDrawState.drawPairs.Drop(owner, DrawPair(phase, wantsBefore));
    DropIfUnused(phase, wantsBefore);
    return removed;
}

VORN_EXPORT int VORNRegisterKeySniffer(VORNKeySniffer_f callback, int beforeWindows, void* refcon)
{
    VORN_CHECK_THREAD(0);
    return VORNNoThrow(0, [&] {
        auto record = std::make_unique<VORNKeySnifferRecord>();
        record->callback = callback;
        record->owner = VORNGetDispatchedPlugin();
        record->beforeWindows = beforeWindows;
        record->refcon = refcon;
        return RegisterUnique(gDrawState.keyCallbacks, std::move(record),
                              SameSniffer(callback, beforeWindows, refcon));
    });
}

VORN_EXPORT int VORNUnregisterKeySniffer(VORNKeySniffer_f callback, int beforeWindows,
                                         void* refcon)
{
    VORN_CHECK_THREAD(0);
    return UnregisterFirst(gDrawState.keyCallbacks, SameSniffer(callback, beforeWindows, refcon));
}

namespace {

// Calls the bucket's callbacks. Kept out of line so that the far more
// common empty dispatch needs no stack frame.
__attribute__((noinline)) int CallBucket(DrawBucket& bucket, int phase, int isBefore,
                                         int reflectionFlag)
{
    int result = 1;
    StIterate<VORNDrawCallbackRecord> iterate(bucket);
    for (auto* r = bucket.First(); r != nullptr; r = DrawBucket::Next(r)) {
        if (r->dead || (reflectionFlag == 1 &&
                        VORNHasFeatureInternal(r->owner, kFeatureWantsReflections) == 0))
            continue;
        result &= VORNCallPlugin(
            VORNCallKind::kDraw, r->owner, 1,
            [&] { return r->callback(phase, isBefore, r->refcon); }, phase, isBefore);
    }
    return result;
}

__attribute__((noinline)) int CallOtherBucket(int phase, int isBefore, int reflectionFlag)
{
    auto found = gDrawState.otherDrawCallbacks.find({phase, isBefore});
    if (found == gDrawState.otherDrawCallbacks.end())
        return 1;
    // The entry stays while its walk runs: it is dropped only when unused.
    const int result = CallBucket(found->second, phase, isBefore, reflectionFlag);
    if (Unused(found->second))
        gDrawState.otherDrawCallbacks.erase(found);
    return result;
}

}  // namespace

int VORNDispatchDrawingHook(int phase, int isBefore, int reflectionFlag)
{
    if (!HasSlot(phase, isBefore))
        return CallOtherBucket(phase, isBefore, reflectionFlag);
    DrawBucket& bucket = gDrawState.drawCallbacks[phase][isBefore];
    if (bucket.First() == nullptr)
        return 1;
    return CallBucket(bucket, phase, isBefore, reflectionFlag);
}

int VORNDispatchKeySniffers(char key, int flags, char virtualKey, bool beforeWindows)
{
    VORNResourceList<VORNKeySnifferRecord>& sniffers = gDrawState.keyCallbacks;
    StIterate<VORNKeySnifferRecord> iterate(sniffers);
    for (auto* r = sniffers.First(); r != nullptr; r = sniffers.Next(r)) {
        if (r->dead || (r->beforeWindows != 0) != beforeWindows)
            continue;
        if (VORNCallPlugin(VORNCallKind::kKeySniffer, r->owner, 1, [&] {
                return r->callback(key, flags, virtualKey, r->refcon);
            }) == 0)
            return 0;
    }
    return 1;
}

void VORNDrawCleanupHook(int id)
{
    for (const DrawPair& pair : gDrawState.drawPairs.Take(id)) {
        if (DrawBucket* bucket = FindBucket(pair.first, pair.second)) {
            bucket->KillOwnedBy(id);
            DropIfUnused(pair.first, pair.second);
        }
    }
    gDrawState.keyCallbacks.KillOwnedBy(id);
}

void VORNCountDrawHoldings(int id, VORNPluginInventory* inventory)
{
    int32_t drawCallbacks = 0;
    for (const DrawPair& pair : gDrawState.drawPairs.Of(id)) {
        if (DrawBucket* bucket = FindBucket(pair.first, pair.second))
            drawCallbacks += bucket->CountOwnedBy(id);
    }
    inventory->drawCallbacks = drawCallbacks;
    inventory->keySniffers = gDrawState.keyCallbacks.CountOwnedBy(id);
}

void VORNResetDraw()
{
    gDrawState = DrawState();
}

bool VORNDrawWalksRunning()
{
    bool running = gDrawState.keyCallbacks.Depth() != 0;
    ForEachBucket([&](DrawBucket& bucket) { running = running || bucket.Depth() != 0; });
    return running;
}

std::vector<const VORNDrawCallbackRecord*> VORNLinkedDrawCallbacks()
{
    std::vector<const VORNDrawCallbackRecord*> records;
    ForEachBucket([&](DrawBucket& bucket) {
        for (auto* r = bucket.First(); r != nullptr; r = DrawBucket::Next(r))
            records.push_back(r);
    });
    return records;
}
