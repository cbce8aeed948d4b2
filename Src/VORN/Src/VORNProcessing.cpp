// VORNProcessing.cpp - flight loops: the registry, the plug-in API and the
// pass that calls every loop that is due.

#include "VORNProcessingInternal.h"

#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORNLoaderInternal.h"
#include "VORNProcessingQueue.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

namespace {

void ForgetLoop(VORNFlightLoopRecord* loop);

// Entries of a near array that are no loop: where a loop left, and the end.
// Their serial 0 puts them behind every loop, so the walk's one serial test
// per entry also stops at them.
VORNFlightLoopRecord gHole;
VORNFlightLoopRecord gEnd;

// ProcessingState::filing.
enum QueueFiling : uint8_t {
    // Few loops: passes walk the list, and nothing is filed in the queues.
    kUnfiled,
    // Every scheduled loop is in its queue, and passes consult the queues.
    kFiled,
    // Memory ran out while filing a loop: the queues are no longer complete,
    // so every pass from then on walks the whole list.
    kLost,
};

// The scheduled loops of one phase (see VORNProcessingQueue.h).
struct PhaseQueues {
    // Newest first, always ending in &gEnd; &gHole where one left.
    std::vector<VORNFlightLoopRecord*> near{&gEnd};
    bool nearChanged = false;  // holes in near, or loops joining it: close it after the walk
    VORNFlightLoopHeap seconds;
    VORNFlightLoopHeap passes;
    // The time of the phase's previous pass, while a pass runs.
    float lastPassTime = std::numeric_limits<float>::quiet_NaN();
};

// With no more loops than this in the registry a pass walks the list: a
// walk that short costs less than consulting the queues, which are then
// left empty (see QueueFiling).
const int32_t kFewLoops = 4;

struct ProcessingState {
    // Newest first: loops created during a pass are first met in the next.
    VORNResourceList<VORNFlightLoopRecord> flightLoops{ForgetLoop};
    int32_t lastCallNumber = 0;  // passes of either phase so far
    int32_t linkedLoops = 0;     // records in flightLoops, dead ones included
    PhaseQueues phases[2];

    // The pass running now. Only the outermost pass uses the queues; one
    // that a callback drives inside it, and the rest of the outer one, walk
    // the list as it stands.
    int32_t walkingPhase = -1;  // phase of the queued walk running now, -1 if none
    // The loop that walk stands on: loops of lower serial are still ahead.
    const VORNFlightLoopRecord* walking = nullptr;
    float passTime = 0.0f;
    // Due loops still ahead of the walk, by serial (the last is met first);
    // empty outside a walk.
    std::vector<VORNFlightLoopRecord*> ready;
    // The serial of the last of them, 0 if none, or kHandOver: the walk
    // compares every loop's serial with it, so one test per loop covers both.
    uint64_t readySerial = 0;
    // Loops from the heaps that the walk called and that stay due soon, in
    // walk order; they join the near array when the walk ends.
    std::vector<VORNFlightLoopRecord*> joining;
    std::vector<VORNFlightLoopRecord*> merged;  // scratch for that join
    // Whether the queues hold every scheduled loop (see QueueFiling).
    uint8_t filing = kUnfiled;
    // A pass walks the list when the registry has at most this many loops:
    // kFewLoops while nothing is filed, -1 while the queues are filed (the
    // queued pass that finds the registry that small empties them).
    int32_t listWalkLimit = kFewLoops;
};

ProcessingState gProcessing;

const int kCreateParamsSize = 24;

// Loops counted in passes that are due within this many counts stay in the
// near array: with both phases run every frame the counter advances by 2
// from one pass of a phase to the next.
const float kNearPasses = 2.0f;


// ProcessingState::readySerial when the queued walk must hand over to a plain
// walk: a callback drove a nested pass, or memory ran out.
const uint64_t kHandOver = UINT64_MAX;

using LoopList = VORNResourceList<VORNFlightLoopRecord>;

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

// The point at which a loop is due, in the unit its interval counts
// (kQueuePasses: a pass count, kQueueSeconds: a time); false when its
// interval is 0 or NaN. Single-precision arithmetic throughout: the due
// moments must not depend on how the compiler widens intermediate values.
// Passes first: -1, every pass, is the busiest rhythm.
inline bool DuePoint(const VORNFlightLoopRecord& loop, VORNQueuePlace& unit, float& key)
{
    if (loop.interval < 0.0f) {
        unit = kQueuePasses;
        key = static_cast<float>(loop.lastCallCycle) - loop.interval;
        return true;
    }
    if (loop.interval > 0.0f) {
        unit = kQueueSeconds;
        key = loop.lastCallTime + loop.interval;
        return true;
    }
    return false;  // 0 and NaN: idle
}

// The same for filing: also false for a due point that is not a number and
// for a phase other than 0 and 1, which no pass can reach.
bool FiledPoint(const VORNFlightLoopRecord& loop, VORNQueuePlace& unit, float& key)
{
    return static_cast<uint32_t>(loop.phase) < 2 && DuePoint(loop, unit, key) && !std::isnan(key);
}

// Whether a pass at passTime has reached a due point: "not less than".
inline bool Reached(VORNQueuePlace unit, float key, float passTime)
{
    if (unit == kQueueSeconds)
        return passTime >= key;
    return static_cast<float>(gProcessing.lastCallNumber) >= key;
}

inline bool IsDue(const VORNFlightLoopRecord& loop, float passTime)
{
    VORNQueuePlace unit;
    float key;
    return DuePoint(loop, unit, key) && Reached(unit, key, passTime);
}

// The same with the pass counter already converted.
inline bool DueAt(const VORNFlightLoopRecord& loop, float passTime, float passCount)
{
    VORNQueuePlace unit;
    float key;
    return DuePoint(loop, unit, key) && (unit == kQueueSeconds ? passTime : passCount) >= key;
}

// Calls a due loop as its owner and reschedules it by the result; false if
// the owner is disabled, whose loop is left exactly as it was. A callback
// that throws counts as having returned the loop's current interval: it keeps
// its rhythm instead of being called again on every pass. Inlined into both
// walks: it is the body of the frame's loop.
__attribute__((always_inline)) inline bool RunLoop(VORNFlightLoopRecord& loop, float passTime)
{
    float next = loop.interval;
    const bool called = VORNCallPlugin(VORNCallKind::kFlightLoop, loop.owner, [&] {
        next = loop.callback(passTime - loop.lastCallTime, passTime, gProcessing.lastCallNumber,
                             loop.refcon);
    });
    if (!called)
        return false;
    // The record may have been removed by its own callback; it is still
    // allocated (nothing is freed while the pass runs) and the write-back
    // is harmless.
    loop.interval = next;
    loop.lastCallTime = passTime;
    loop.lastCallCycle = gProcessing.lastCallNumber;
    return true;
}

// ---- The queues ------------------------------------------------------------------
// A loop is filed again whenever its interval, last call time or cycle
// changes and taken out when it leaves the list. The queues only spare the
// pass the loops that cannot be due: the walk still applies the due test to
// every loop it calls, at the moment it reaches it.

// Out of memory while filing a loop: from now on every pass walks the whole
// list, which needs no queue.
void LoseQueues()
{
    gProcessing.filing = kLost;
    gProcessing.listWalkLimit = kFewLoops;  // the list walk needs no queue
    gProcessing.readySerial = kHandOver;
    gProcessing.walkingPhase = -1;
}

// Runs grow, which adds to one of the queues; false if memory ran out.
template <typename F>
bool Grow(F&& grow) noexcept
{
    try {
        grow();
        return true;
    } catch (...) {
        LoseQueues();
        return false;
    }
}

VORNFlightLoopHeap& HeapOf(const VORNFlightLoopRecord& loop, VORNQueuePlace unit)
{
    PhaseQueues& queues = gProcessing.phases[loop.phase];
    return unit == kQueueSeconds ? queues.seconds : queues.passes;
}

void PushHeap(VORNFlightLoopRecord& loop, VORNQueuePlace unit, float key)
{
    if (Grow([&] { HeapOf(loop, unit).Push(&loop, key); }))
        loop.queuePlace = unit;
}

// Takes loop out of the heap it is in, if any.
void LeaveHeap(VORNFlightLoopRecord& loop)
{
    const auto place = static_cast<VORNQueuePlace>(loop.queuePlace);
    if (place == kQueueSeconds || place == kQueuePasses) {
        HeapOf(loop, place).Remove(loop.queueSlot);
        loop.queuePlace = kQueueNowhere;
    }
}

bool SerialBefore(const VORNFlightLoopRecord* a, const VORNFlightLoopRecord* b)
{
    return a->serial < b->serial;
}

// Files loop after its schedule changed. A loop in the near array, or one
// the running walk has already taken out, is tested afresh when a walk meets
// it. A loop made due ahead of the running walk goes to the walk's ready
// loops; any other goes to its heap, due or not (a due loop the walk has
// passed waits for the next pass).
__attribute__((noinline)) void RescheduleFiled(VORNFlightLoopRecord& loop) noexcept
{
    ProcessingState& s = gProcessing;
    if (loop.queuePlace == kQueueNear || loop.queuePlace == kQueueReady ||
        loop.queuePlace == kQueueJoining)
        return;
    LeaveHeap(loop);
    VORNQueuePlace unit;
    float key;
    if (loop.dead || !FiledPoint(loop, unit, key))
        return;
    if (loop.phase == s.walkingPhase && loop.serial < s.walking->serial &&
        Reached(unit, key, s.passTime)) {
        Grow([&] {
            s.ready.insert(std::upper_bound(s.ready.begin(), s.ready.end(), &loop, SerialBefore),
                           &loop);
            loop.queuePlace = kQueueReady;
            s.readySerial = s.ready.back()->serial;
        });
    } else {
        PushHeap(loop, unit, key);
    }
}

// With the queues unfiled (few loops) there is nothing to file.
inline void Reschedule(VORNFlightLoopRecord& loop) noexcept
{
    if (gProcessing.filing == kFiled)
        RescheduleFiled(loop);
}

// The list tells of every record it unlinks. Loops still in the walk's ready
// or joining lists are dead and dropped when the walk meets them.
void ForgetLoop(VORNFlightLoopRecord* loop)
{
    --gProcessing.linkedLoops;
    if (gProcessing.filing != kFiled)
        return;
    if (loop->queuePlace == kQueueNear) {
        PhaseQueues& queues = gProcessing.phases[loop->phase];
        queues.near[loop->queueSlot] = &gHole;
        queues.nearChanged = true;
    }
    LeaveHeap(*loop);
    loop->queuePlace = kQueueNowhere;
}

// ---- The pass --------------------------------------------------------------------
// The near array holds the loops expected to be due at the next pass of the
// phase: counted in passes, due within kNearPasses; counted in seconds, due
// within the time since the previous pass. A loop called from it stays
// there whatever it returned; when a walk finds it not due, it is looked at
// again and moved to its heap if it is not expected to be due by the next
// pass. The guess only decides where a loop waits, never whether it is
// called.

// Whether the heap holds due loops; may say so of an empty heap when the
// pass time is infinite.
inline bool MayHoldDue(const VORNFlightLoopHeap& heap, VORNQueuePlace unit, float passTime)
{
    return Reached(unit, heap.FirstKey(), passTime);
}

// Moves the due loops of both heaps to the ready list, sorted by serial.
// False if memory ran out.
__attribute__((noinline)) bool TakeDue(PhaseQueues& queues, float passTime)
{
    ProcessingState& s = gProcessing;
    const bool taken = Grow([&] {
        for (VORNQueuePlace unit : {kQueueSeconds, kQueuePasses}) {
            VORNFlightLoopHeap& heap = unit == kQueueSeconds ? queues.seconds : queues.passes;
            while (!heap.Empty() && Reached(unit, heap.FirstKey(), passTime)) {
                VORNFlightLoopRecord* loop = heap.First();
                s.ready.push_back(loop);
                heap.Remove(0);
                loop->queuePlace = kQueueReady;
            }
        }
    });
    if (!taken)
        return false;
    std::sort(s.ready.begin(), s.ready.end(), SerialBefore);
    s.readySerial = s.ready.empty() ? 0 : s.ready.back()->serial;
    return true;
}

// Whether the running pass expects the next pass of the phase to reach a
// loop's due point: as far ahead as the previous pass lies behind.
bool DueByNextPass(const VORNFlightLoopRecord& loop, VORNQueuePlace unit, float key)
{
    const ProcessingState& s = gProcessing;
    if (unit == kQueuePasses)
        return key <= static_cast<float>(s.lastCallNumber) + kNearPasses;
    return key <= s.passTime + (s.passTime - s.phases[loop.phase].lastPassTime);
}

// A loop of the near array that the walk found alive but not due: it stays
// if the next pass is expected to reach it, otherwise its entry becomes a
// hole and it goes to its heap (or, idle, nowhere).
__attribute__((noinline)) void Reconsider(PhaseQueues& queues, VORNFlightLoopRecord*& entry)
{
    VORNFlightLoopRecord& loop = *entry;
    VORNQueuePlace unit;
    float key;
    const bool filed = FiledPoint(loop, unit, key);
    if (filed && DueByNextPass(loop, unit, key))
        return;
    entry = &gHole;
    queues.nearChanged = true;
    loop.queuePlace = kQueueNowhere;
    if (filed)
        PushHeap(loop, unit, key);
}

// Files a loop from the ready list after the walk met it: if it will be due
// by the next pass it joins the near array when the walk ends, otherwise it
// goes to its heap or, if idle or dead, nowhere.
__attribute__((noinline)) void SettleReady(VORNFlightLoopRecord& loop)
{
    LeaveHeap(loop);  // its callback may have rescheduled it
    VORNQueuePlace unit;
    float key;
    if (loop.dead || !FiledPoint(loop, unit, key)) {
        loop.queuePlace = kQueueNowhere;
    } else if (!DueByNextPass(loop, unit, key)) {
        PushHeap(loop, unit, key);
    } else {
        Grow([&] {
            gProcessing.joining.push_back(&loop);
            loop.queuePlace = kQueueJoining;
            gProcessing.phases[loop.phase].nearChanged = true;
        });
    }
}

// Closes the near array after a walk: the holes are taken out, and the loops
// that joined are merged in by serial. The array ends in &gEnd.
__attribute__((noinline)) void CloseNear(PhaseQueues& queues)
{
    ProcessingState& s = gProcessing;
    std::vector<VORNFlightLoopRecord*>& near = queues.near;
    if (!s.joining.empty()) {
        const bool merged = Grow([&] {
            s.merged.clear();
            s.merged.reserve(near.size() + s.joining.size() + 1);
            auto joining = s.joining.begin();
            for (VORNFlightLoopRecord* loop : near) {
                if (loop == &gHole || loop == &gEnd)
                    continue;
                for (; joining != s.joining.end() && (*joining)->serial > loop->serial; ++joining)
                    s.merged.push_back(*joining);
                s.merged.push_back(loop);
            }
            s.merged.insert(s.merged.end(), joining, s.joining.end());
        });
        s.joining.clear();
        if (!merged)
            return;
        near.swap(s.merged);
    }
    size_t write = 0;
    for (VORNFlightLoopRecord* loop : near) {
        if (loop == &gHole || loop == &gEnd)
            continue;
        if (loop->dead && loop->queuePlace != kQueueNear) {
            // Joined, then removed during the pass: unlinked, not yet freed.
            loop->queuePlace = kQueueNowhere;
            continue;
        }
        near[write] = loop;
        loop->queueSlot = static_cast<uint32_t>(write++);
        loop->queuePlace = kQueueNear;
    }
    // Within capacity: the array had its end entry, or room was reserved.
    near.resize(write + 1);
    near[write] = &gEnd;
    queues.nearChanged = false;
}

// The plain walk: every record from first on, newest first.
// kFiled says whether the queues may be filed while the walk runs; the walk
// of a registry of a few loops, whose queues are empty, skips rescheduling.
template <bool kFiled = true>
inline void WalkList(VORNFlightLoopRecord* first, float passTime, int32_t phase)
{
    for (auto* loop = first; loop != nullptr; loop = LoopList::Next(loop)) {
        if (!loop->dead && loop->phase == phase && IsDue(*loop, passTime) &&
            RunLoop(*loop, passTime) && kFiled)
            Reschedule(*loop);
    }
}

// A callback drove a nested pass (or memory ran out): the walk hands over to
// a plain walk of the list after the loop it stands on. The loops it still
// holds go back to the queues.
__attribute__((noinline)) void HandOver(PhaseQueues& queues, float passTime)
{
    ProcessingState& s = gProcessing;
    const VORNFlightLoopRecord* at = s.walking;
    if (s.filing != kLost) {
        s.walkingPhase = -1;
        s.readySerial = 0;
        CloseNear(queues);
        for (VORNFlightLoopRecord* loop : s.ready) {
            loop->queuePlace = kQueueNowhere;
            Reschedule(*loop);
        }
        s.ready.clear();
    }
    WalkList(static_cast<VORNFlightLoopRecord*>(at->next), passTime, at->phase);
}

// Takes the next ready loop.
__attribute__((noinline)) VORNFlightLoopRecord* TakeReady()
{
    ProcessingState& s = gProcessing;
    VORNFlightLoopRecord* loop = s.ready.back();
    s.ready.pop_back();
    s.readySerial = s.ready.empty() ? 0 : s.ready.back()->serial;
    loop->queuePlace = kQueueNowhere;
    return loop;
}

// Calls the due loops of the phase in list order (newest first): the near
// array and the ready loops merged by serial, each tested when the walk
// reaches it.
inline void WalkQueues(PhaseQueues& queues, float passTime, float passCount)
{
    ProcessingState& s = gProcessing;
    // The near array neither moves nor changes length until the walk ends;
    // loops that leave it meanwhile leave holes.
    VORNFlightLoopRecord** in = queues.near.data();
    for (;;) {
        VORNFlightLoopRecord* loop = *in;
        if (loop->serial > s.readySerial) {
            ++in;
            s.walking = loop;
            if (!loop->dead) {
                if (DueAt(*loop, passTime, passCount))
                    RunLoop(*loop, passTime);
                else
                    Reconsider(queues, in[-1]);
            }
            continue;
        }
        if (loop == &gHole) {
            ++in;
            continue;
        }
        if (s.readySerial == 0)
            break;  // at the end
        if (s.readySerial == kHandOver) {
            queues.lastPassTime = passTime;
            HandOver(queues, passTime);
            return;
        }
        loop = TakeReady();
        s.walking = loop;
        if (!loop->dead && IsDue(*loop, passTime))
            RunLoop(*loop, passTime);
        SettleReady(*loop);
    }
    queues.lastPassTime = passTime;
    if (queues.nearChanged)
        CloseNear(queues);
}

// A pass inside a pass (a callback drove one), or any pass once the queues
// are lost: the plain walk, and the outer pass finishes as one too.
__attribute__((noinline)) void RunPlainPass(float passTime, int32_t phase)
{
    if (gProcessing.walkingPhase >= 0) {
        gProcessing.readySerial = kHandOver;
        gProcessing.walkingPhase = -1;
    }
    StIterate<VORNFlightLoopRecord> iterate(gProcessing.flightLoops);
    WalkList(gProcessing.flightLoops.First(), passTime, phase);
}

void RunQueuedPass(float passTime, int32_t phase)
{
    ProcessingState& s = gProcessing;
    PhaseQueues& queues = s.phases[phase];
    StIterate<VORNFlightLoopRecord> iterate(s.flightLoops);
    s.passTime = passTime;
    if ((MayHoldDue(queues.seconds, kQueueSeconds, passTime) ||
         MayHoldDue(queues.passes, kQueuePasses, passTime)) &&
        !TakeDue(queues, passTime)) {
        WalkList(s.flightLoops.First(), passTime, phase);
        return;
    }
    s.walkingPhase = phase;
    WalkQueues(queues, passTime, static_cast<float>(s.lastCallNumber));
    s.walkingPhase = -1;
}

// The registry shrank to a few loops: passes walk the list from now on, and
// the queues are emptied.
__attribute__((noinline)) void UnfileAll()
{
    ProcessingState& s = gProcessing;
    for (auto* loop = s.flightLoops.First(); loop != nullptr; loop = LoopList::Next(loop))
        loop->queuePlace = kQueueNowhere;
    for (PhaseQueues& queues : s.phases) {
        queues.near.assign(1, &gEnd);  // within capacity: the array held &gEnd
        queues.nearChanged = false;
        queues.seconds = VORNFlightLoopHeap();
        queues.passes = VORNFlightLoopHeap();
    }
    s.filing = kUnfiled;
    s.listWalkLimit = kFewLoops;
}

// The registry grew past a few loops: every scheduled loop goes to its queue.
__attribute__((noinline)) void FileAll()
{
    ProcessingState& s = gProcessing;
    s.filing = kFiled;
    s.listWalkLimit = -1;
    for (auto* loop = s.flightLoops.First(); loop != nullptr; loop = LoopList::Next(loop))
        Reschedule(*loop);
}

// Any pass but a list walk of a few loops: the queued pass (filing the
// queues first if the registry has just grown, emptying them after if it has
// shrunk), or the plain walk inside another pass or with the queues lost.
__attribute__((noinline)) void RunFiledPass(float passTime, int32_t phase)
{
    ProcessingState& s = gProcessing;
    if (s.flightLoops.Depth() != 0 || s.filing == kLost) {
        RunPlainPass(passTime, phase);
        return;
    }
    if (s.filing == kUnfiled)
        FileAll();
    if (s.filing == kFiled)
        RunQueuedPass(passTime, phase);
    else
        RunPlainPass(passTime, phase);  // memory ran out while filing
    if (s.filing == kFiled && s.linkedLoops <= kFewLoops && s.flightLoops.Depth() == 0)
        UnfileAll();
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
        ++gProcessing.linkedLoops;
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
    Reschedule(*loop);
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
        Reschedule(*loop);
    }
}

int VORNDoFlightLoopProcessing(float passTime, int phaseSelector)
{
    ProcessingState& s = gProcessing;
    ++s.lastCallNumber;
    const int32_t phase = phaseSelector != 0 ? 1 : 0;
    // No other iteration of the list calls plug-in code, so an iteration
    // running now is a pass whose callback drives this one.
    if (s.linkedLoops <= s.listWalkLimit && s.flightLoops.Depth() == 0) {
        StIterate<VORNFlightLoopRecord> iterate(s.flightLoops);
        WalkList<false>(s.flightLoops.First(), passTime, phase);
    } else {
        RunFiledPass(passTime, phase);
    }
    // A reload unloads modules, so it waits until no pass is running (a
    // plug-in could drive a pass from inside one of its callbacks).
    if (gProcessing.flightLoops.Depth() == 0)
        VORNRunScheduledReload();
    return 1;
}

void VORNCountFlightLoopHoldings(int id, VORNPluginInventory* inventory)
{
    inventory->flightLoops = gProcessing.flightLoops.CountOwnedBy(id);
}

void VORNProcessingCleanupHook(int id)
{
    gProcessing.flightLoops.KillOwnedBy(id);
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
