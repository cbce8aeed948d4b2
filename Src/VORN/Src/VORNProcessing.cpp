// VORNProcessing.cpp - flight loops: the registry, the plug-in API and the
// pass that calls every loop that is due.

#include "VORNProcessingInternal.h"

#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORNLoaderInternal.h"

#include <memory>

namespace {

struct ProcessingState {
    // Newest first: loops created during a pass are first met in the next.
    VORNResourceList<VORNFlightLoopRecord> flightLoops;
    int32_t lastCallNumber = 0;  // passes of either phase so far
};

ProcessingState gProcessing;

const int kCreateParamsSize = 24;

VORNFlightLoopRecord* RecordOf(VORNFlightLoopID id)
{
    return static_cast<VORNFlightLoopRecord*>(id);
}

// Parameter checks only report; creation goes ahead whatever they find.
void ReportBadParams(const VORNCreateFlightLoop_t& params)
{
    if (params.structSize != kCreateParamsSize)
        VORNSendError("Illegal struct size for VORNCreateFlightLoop");
    if (static_cast<unsigned>(params.phase) >= 2)
        VORNSendError("Illegal phase type for VORNCreateFlightLoop");
    if (params.callback == nullptr)
        VORNSendError("Null callback for VORNCreateFlightLoop");
}

// Single-precision arithmetic throughout: the due moments must not depend on
// how the compiler widens intermediate values.
bool IsDue(const VORNFlightLoopRecord& loop, float passTime)
{
    if (loop.interval > 0.0f) {
        const float dueTime = loop.lastCallTime + loop.interval;
        return passTime >= dueTime;
    }
    if (loop.interval < 0.0f) {
        const float dueCycle = static_cast<float>(loop.lastCallCycle) - loop.interval;
        return static_cast<float>(gProcessing.lastCallNumber) >= dueCycle;
    }
    return false;  // 0 and NaN: idle
}

// Calls a due loop as its owner and reschedules it by the result. A disabled
// owner's loop is left exactly as it was. A callback that throws counts as
// having returned the loop's current interval: it keeps its rhythm instead of
// being called again on every pass.
void RunLoop(VORNFlightLoopRecord& loop, float passTime)
{
    float next = loop.interval;
    const bool called = VORNCallPlugin(VORNCallKind::kFlightLoop, loop.owner, [&] {
        next = loop.callback(passTime - loop.lastCallTime, passTime, gProcessing.lastCallNumber,
                             loop.refcon);
    });
    if (!called)
        return;
    // The record may have been removed by its own callback; it is still
    // allocated (nothing is freed while the pass runs) and the write-back
    // is harmless.
    loop.interval = next;
    loop.lastCallTime = passTime;
    loop.lastCallCycle = gProcessing.lastCallNumber;
}

void RunPass(float passTime, int32_t phase)
{
    auto& loops = gProcessing.flightLoops;
    StIterate<VORNFlightLoopRecord> iterate(loops);
    for (auto* loop = loops.First(); loop != nullptr; loop = loops.Next(loop)) {
        if (!loop->dead && loop->phase == phase && IsDue(*loop, passTime))
            RunLoop(*loop, passTime);
    }
}

// Sends message and returns false unless the dispatched plug-in owns loop.
bool CallerOwns(const VORNFlightLoopRecord& loop, const char* message)
{
    if (loop.owner == VORNGetDispatchedPlugin())
        return true;
    VORNSendError(message);
    return false;
}

const char kScheduleForeign[] = "Attempt to schedule a flight loop callback owned by another plugin.";
const char kRemoveForeign[] = "Attempt to remove a flight loop callback owned by another plugin.";

}  // namespace

VORN_EXPORT float VORNGetElapsedTime(void)
{
    return gHooks->GetElapsedTime();
}

VORN_EXPORT int VORNGetCycleNumber(void)
{
    VORN_CHECK_THREAD(0);
    return gProcessing.lastCallNumber;
}

VORN_EXPORT VORNFlightLoopID VORNCreateFlightLoop(VORNCreateFlightLoop_t* params)
{
    VORN_CHECK_THREAD(nullptr);
    if (params == nullptr)
        return nullptr;
    return VORNNoThrow<VORNFlightLoopID>(nullptr, [&] {
        if (VORNHasError())
            ReportBadParams(*params);
        auto loop = std::make_unique<VORNFlightLoopRecord>();
        loop->lastCallTime = VORNGetElapsedTime();
        loop->lastCallCycle = gProcessing.lastCallNumber;
        loop->phase = params->phase;
        loop->callback = params->callback;
        loop->owner = VORNGetDispatchedPlugin();
        loop->refcon = params->refcon;
        gProcessing.flightLoops.PushFront(loop.get());
        return static_cast<VORNFlightLoopID>(loop.release());
    });
}

VORN_EXPORT void VORNDestroyFlightLoop(VORNFlightLoopID flightLoopID)
{
    VORN_CHECK_THREAD_VOID();
    VORNFlightLoopRecord* loop = RecordOf(flightLoopID);
    if (loop != nullptr && CallerOwns(*loop, kRemoveForeign))
        gProcessing.flightLoops.Kill(loop);
}

VORN_EXPORT void VORNScheduleFlightLoop(VORNFlightLoopID flightLoopID, float interval,
                                        int relativeToNow)
{
    VORN_CHECK_THREAD_VOID();
    VORNFlightLoopRecord* loop = RecordOf(flightLoopID);
    if (loop == nullptr || !CallerOwns(*loop, kScheduleForeign))
        return;
    // The cycle is left alone: relative scheduling only restarts the clock.
    if (relativeToNow != 0)
        loop->lastCallTime = VORNGetElapsedTime();
    loop->interval = interval;
}

VORN_EXPORT void VORNRegisterFlightLoopCallback(VORNFlightLoop_f callback, float interval,
                                                void* refcon)
{
    VORN_CHECK_THREAD_VOID();
    VORNCreateFlightLoop_t params = {kCreateParamsSize, VORN_FLIGHT_LOOP_PHASE_FIRST, callback,
                                     refcon};
    VORNFlightLoopID loop = VORNCreateFlightLoop(&params);
    VORNScheduleFlightLoop(loop, interval, 0);
}

VORN_EXPORT void VORNUnregisterFlightLoopCallback(VORNFlightLoop_f callback, void* refcon)
{
    VORN_CHECK_THREAD_VOID();
    auto& loops = gProcessing.flightLoops;
    StIterate<VORNFlightLoopRecord> iterate(loops);
    for (auto* loop = loops.First(); loop != nullptr; loop = loops.Next(loop)) {
        if (loop->callback == callback && loop->refcon == refcon) {
            loops.VORNKillResource(loop, true);
            return;
        }
    }
}

VORN_EXPORT void VORNSetFlightLoopCallbackInterval(VORNFlightLoop_f callback, float interval,
                                                   int relativeToNow, void* refcon)
{
    VORN_CHECK_THREAD_VOID();
    auto& loops = gProcessing.flightLoops;
    StIterate<VORNFlightLoopRecord> iterate(loops);
    for (auto* loop = loops.First(); loop != nullptr; loop = loops.Next(loop)) {
        if (loop->callback != callback || loop->refcon != refcon)
            continue;
        loop->interval = interval;
        if (relativeToNow != 0)
            loop->lastCallTime = VORNGetElapsedTime();
    }
}

int VORNDoFlightLoopProcessing(float passTime, int phaseSelector)
{
    ++gProcessing.lastCallNumber;
    RunPass(passTime, phaseSelector != 0 ? 1 : 0);
    // A reload unloads modules, so it waits until no pass is running (a
    // plug-in could drive a pass from inside one of its callbacks).
    if (gProcessing.flightLoops.Depth() == 0)
        VORNRunScheduledReload();
    return 1;
}

void VORNCountFlightLoopHoldings(int id, VORNPluginInventory* inventory)
{
    inventory->flightLoops = gProcessing.flightLoops.CountIf(
        [id](const VORNFlightLoopRecord& loop) { return loop.owner == id; });
}

void VORNProcessingCleanupHook(int id)
{
    gProcessing.flightLoops.KillIf(
        [id](const VORNFlightLoopRecord& loop) { return loop.owner == id; });
}

void VORNResetProcessing()
{
    gProcessing = ProcessingState();
}

VORNFlightLoopRecord* VORNFirstFlightLoop()
{
    return gProcessing.flightLoops.First();
}

int32_t VORNFlightLoopIterationDepth()
{
    return gProcessing.flightLoops.Depth();
}

bool VORNFlightLoopPurgePending()
{
    return gProcessing.flightLoops.PurgePending();
}
