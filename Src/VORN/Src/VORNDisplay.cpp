// VORNDisplay.cpp - draw callbacks by phase and key sniffers.

#include "VORNDisplayInternal.h"

#include "VORNInternal.h"
#include "VORNLoaderInternal.h"

#include <memory>

VORNResourceList<VORNDrawCallbackRecord> gDrawCallbacks;
VORNResourceList<VORNKeySnifferRecord> gKeyCallbacks;

namespace {

// Live draw callbacks per phase, so that the many drawing steps of a frame
// that nobody draws in cost one array read each. Phases outside the table
// share the last bucket.
const int kCountedPhases = 128;
int gLiveDrawCallbacks[kCountedPhases + 1] = {};

int& LiveCountOf(int32_t phase)
{
    return gLiveDrawCallbacks[(phase >= 0 && phase < kCountedPhases) ? phase : kCountedPhases];
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
    list.PushFront(record.release());
    return 1;
}

void OnKilled(VORNDrawCallbackRecord& record)
{
    --LiveCountOf(record.phase);
}

void OnKilled(VORNKeySnifferRecord&) {}

// Removes record; callers hold an iteration open, so it is freed (or moved
// out of the way of running walks) when that iteration ends.
template <typename T>
void KillRecord(VORNResourceList<T>& list, T* record)
{
    if (!record->dead)
        OnKilled(*record);
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
        const int added = RegisterUnique(gDrawCallbacks, std::move(record),
                                         SameDraw(callback, phase, wantsBefore, refcon));
        LiveCountOf(phase) += added;
        return added;
    });
}

VORN_EXPORT int VORNUnregisterDrawCallback(VORNDrawCallback_f callback, int phase,
                                           int wantsBefore, void* refcon)
{
    return UnregisterFirst(gDrawCallbacks, SameDraw(callback, phase, wantsBefore, refcon));
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

int VORNDispatchDrawingHook(int phase, int isBefore, int reflectionFlag)
{
    if (LiveCountOf(phase) == 0)
        return 1;
    int result = 1;
    StIterate<VORNDrawCallbackRecord> iterate(gDrawCallbacks);
    for (auto* r = gDrawCallbacks.First(); r != nullptr; r = gDrawCallbacks.Next(r)) {
        if (!WantsThisDraw(*r, phase, isBefore, reflectionFlag))
            continue;
        StDispatchCallback asOwner(r->owner);
        if (asOwner.valid)
            result &= VORNCallPluginCode(
                1, [&] { return r->callback(phase, isBefore, r->refcon); });
    }
    return result;
}

int VORNDispatchKeySniffers(char key, int flags, char virtualKey, bool beforeWindows)
{
    StIterate<VORNKeySnifferRecord> iterate(gKeyCallbacks);
    for (auto* r = gKeyCallbacks.First(); r != nullptr; r = gKeyCallbacks.Next(r)) {
        if (r->dead || (r->beforeWindows != 0) != beforeWindows)
            continue;
        StDispatchCallback asOwner(r->owner);
        if (!asOwner.valid)
            continue;
        const int passOn =
            VORNCallPluginCode(1, [&] { return r->callback(key, flags, virtualKey, r->refcon); });
        if (passOn == 0)
            return 0;
    }
    return 1;
}

void VORNDisplayCleanupHook(int id)
{
    KillWhere(gDrawCallbacks, [id](const VORNDrawCallbackRecord& r) { return r.owner == id; });
    KillWhere(gKeyCallbacks, [id](const VORNKeySnifferRecord& r) { return r.owner == id; });
}

void VORNCountDisplayHoldings(int id, int32_t* outDrawCallbacks, int32_t* outKeySniffers)
{
    *outDrawCallbacks =
        gDrawCallbacks.CountIf([id](const VORNDrawCallbackRecord& r) { return r.owner == id; });
    *outKeySniffers =
        gKeyCallbacks.CountIf([id](const VORNKeySnifferRecord& r) { return r.owner == id; });
}

void VORNDisplayReset()
{
    KillWhere(gDrawCallbacks, [](const VORNDrawCallbackRecord&) { return true; });
    KillWhere(gKeyCallbacks, [](const VORNKeySnifferRecord&) { return true; });
}
