// The flight-loop scheduler: creation and its checks, scheduling and
// ownership, the due rules, the older interface, and callbacks that change
// the registry in the middle of a pass.

#include "LibraryFixture.h"
#include "VORNProcessingInternal.h"

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::vector<std::string> gCalls;

// refcon of a test loop: logs "name/owner counter", runs its action and
// returns result.
struct Loop {
    explicit Loop(std::string n) : name(std::move(n)) {}
    std::string name;
    float result = -1.0f;
    std::function<void(float since, float now, int counter)> action;
    std::vector<float> since;
};

float LoopProbe(float since, float now, int counter, void* refcon)
{
    auto* loop = static_cast<Loop*>(refcon);
    gCalls.push_back(loop->name + "/" + std::to_string(VORNGetDispatchedPlugin()));
    loop->since.push_back(since);
    if (loop->action)
        loop->action(since, now, counter);
    return loop->result;
}

class FlightLoopTest : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        gCalls.clear();
        VORNRegisterHostPlugin();
        a = AddPlugin("A", "t.a");
        b = AddPlugin("B", "t.b");
    }

    VORNFlightLoopRecord* Create(int owner, Loop& loop, int phase = 0, int size = 24)
    {
        StDispatchCallback as(owner);
        VORNCreateFlightLoop_t params = {size, phase, LoopProbe, &loop};
        return static_cast<VORNFlightLoopRecord*>(VORNCreateFlightLoop(&params));
    }

    VORNFlightLoopRecord* Scheduled(int owner, Loop& loop, float interval, int phase = 0)
    {
        VORNFlightLoopRecord* record = Create(owner, loop, phase);
        StDispatchCallback as(owner);
        VORNScheduleFlightLoop(record, interval, 0);
        return record;
    }

    // Both passes of one frame at time t.
    void Frame(float t)
    {
        VORNDoFlightLoopProcessing(t, 0);
        VORNDoFlightLoopProcessing(t, 10);
    }

    // Advances the pass counter to n by passes that call nothing due.
    static void CountPassesTo(int n)
    {
        while (VORNGetCycleNumber() < n)
            VORNDoFlightLoopProcessing(0.0f, 0);
    }

    std::vector<std::string> Live()
    {
        std::vector<std::string> names;
        for (auto* r = VORNFirstFlightLoop(); r != nullptr;
             r = VORNResourceList<VORNFlightLoopRecord>::Next(r))
            names.push_back(static_cast<Loop*>(r->refcon)->name + (r->dead ? "(dead)" : ""));
        return names;
    }

    int a = 0, b = 0;
    Loop l1{"l1"}, l2{"l2"}, l3{"l3"};
};

TEST_F(FlightLoopTest, ANewLoopIsIdleAtTheFrontAndOwnedByTheCaller)
{
    host->elapsedTime = 12.5f;
    CountPassesTo(7);
    Create(a, l1);
    VORNFlightLoopRecord* loop = Create(b, l2, 1);
    EXPECT_EQ(loop->lastCallTime, 12.5f);
    EXPECT_EQ(loop->lastCallCycle, 7);
    EXPECT_EQ(loop->interval, 0.0f);
    EXPECT_EQ(loop->phase, 1);
    EXPECT_EQ(loop->owner, b);
    EXPECT_EQ(loop->refcon, &l2);
    EXPECT_THAT(Live(), ElementsAre("l2", "l1"));
    Frame(100.0f);
    EXPECT_THAT(gCalls, IsEmpty()) << "unscheduled loops are never due";
}

TEST_F(FlightLoopTest, BadParamsAreReportedOnlyWithAnErrorCallbackAndNeverPreventCreation)
{
    VORNCreateFlightLoop_t bad = {20, 2, nullptr, &l1};
    {
        StDispatchCallback asA(a);
        EXPECT_NE(VORNCreateFlightLoop(&bad), nullptr);
        EXPECT_THAT(gErrors, IsEmpty());
        Record(a).errorCallback = RecordError;
        VORNFlightLoopRecord* loop = static_cast<VORNFlightLoopRecord*>(VORNCreateFlightLoop(&bad));
        ASSERT_NE(loop, nullptr);
        EXPECT_EQ(loop->phase, 2) << "the fields are taken as they are";
        bad = {24, -1, LoopProbe, &l1};
        VORNCreateFlightLoop(&bad);
        EXPECT_EQ(VORNCreateFlightLoop(nullptr), nullptr);
    }
    EXPECT_THAT(gErrors, ElementsAre("Illegal struct size for VORNCreateFlightLoop",
                                     "Illegal phase type for VORNCreateFlightLoop",
                                     "Null callback for VORNCreateFlightLoop",
                                     "Illegal phase type for VORNCreateFlightLoop"));
    EXPECT_EQ(Live().size(), 3u);
}

TEST_F(FlightLoopTest, ALoopInAPhaseOtherThanZeroOrOneIsNeverCalled)
{
    Scheduled(a, l1, -1.0f, 2);
    for (int i = 0; i < 5; ++i)
        Frame(static_cast<float>(i));
    EXPECT_THAT(gCalls, IsEmpty());
}

TEST_F(FlightLoopTest, ScheduledInSecondsTheLoopRunsOnceDueAndItsZeroResultStopsIt)
{
    host->elapsedTime = 10.0f;
    l1.result = 0.0f;
    VORNFlightLoopRecord* loop = Create(a, l1);
    host->elapsedTime = 20.0f;
    {
        StDispatchCallback asA(a);
        VORNScheduleFlightLoop(loop, 0.5f, 0);
    }
    EXPECT_EQ(loop->lastCallTime, 10.0f) << "not relative: the creation time counts";
    VORNDoFlightLoopProcessing(10.25f, 0);
    EXPECT_THAT(gCalls, IsEmpty());
    VORNDoFlightLoopProcessing(10.75f, 0);
    VORNDoFlightLoopProcessing(11.5f, 0);
    EXPECT_THAT(gCalls, ElementsAre("l1/1"));
    EXPECT_THAT(l1.since, ElementsAre(0.75f));
    EXPECT_EQ(loop->interval, 0.0f);
    EXPECT_EQ(loop->lastCallTime, 10.75f);
}

TEST_F(FlightLoopTest, SchedulingRelativeToNowRestartsTheClockButNotTheCycle)
{
    host->elapsedTime = 1.0f;
    VORNFlightLoopRecord* loop = Create(a, l1);
    CountPassesTo(40);
    host->elapsedTime = 5.0f;
    StDispatchCallback asA(a);
    VORNScheduleFlightLoop(loop, 2.0f, 1);
    EXPECT_EQ(loop->lastCallTime, 5.0f);
    EXPECT_EQ(loop->lastCallCycle, 0);
    EXPECT_EQ(loop->interval, 2.0f);
}

TEST_F(FlightLoopTest, DueTimesAreWorkedOutInSinglePrecision)
{
    // 1.1f + 0.7f rounds down in float below the exact sum: a pass at the
    // float sum is due; one a step earlier is not.
    host->elapsedTime = 1.1f;
    Scheduled(a, l1, 0.7f);
    const float dueTime = 1.1f + 0.7f;
    VORNDoFlightLoopProcessing(std::nextafter(dueTime, 0.0f), 0);
    EXPECT_THAT(gCalls, IsEmpty());
    VORNDoFlightLoopProcessing(dueTime, 0);
    EXPECT_THAT(gCalls, ElementsAre("l1/1"));
}

TEST_F(FlightLoopTest, NegativeIntervalsCountPassesOfEitherPhase)
{
    Loop l4{"l4"};
    l1.result = -1.0f;
    l2.result = -2.0f;
    l3.result = -3.0f;
    l4.result = -1.0f;
    Scheduled(a, l1, -1.0f);
    Scheduled(a, l2, -2.0f);
    Scheduled(a, l3, -3.0f);
    Scheduled(a, l4, -1.0f, 1);
    std::vector<std::string> frames;
    for (int frame = 1; frame <= 6; ++frame) {
        gCalls.clear();
        Frame(static_cast<float>(frame));
        std::string line;
        for (const std::string& call : gCalls)
            line += call.substr(0, 2);
        frames.push_back(line);
    }
    EXPECT_THAT(frames, ElementsAre("l1l4", "l3l2l1l4", "l2l1l4", "l3l2l1l4", "l2l1l4", "l3l2l1l4"));
    EXPECT_EQ(VORNGetCycleNumber(), 12);
}

TEST_F(FlightLoopTest, IdleAndNotANumberIntervalsAreNeverDue)
{
    Scheduled(a, l1, std::numeric_limits<float>::quiet_NaN());
    Scheduled(a, l2, 0.0f);
    Frame(1000.0f);
    EXPECT_THAT(gCalls, IsEmpty());
}

TEST_F(FlightLoopTest, TheCallbackGetsTimesCounterAndRefconAsItsOwner)
{
    host->elapsedTime = 2.0f;
    int seenCycle = -1;
    int seenCounter = -2;
    float seenNow = 0;
    l1.action = [&](float, float now, int counter) {
        seenCycle = VORNGetCycleNumber();
        seenCounter = counter;
        seenNow = now;
    };
    Scheduled(b, l1, -1.0f, 1);
    StDispatchCallback asA(a);
    VORNDoFlightLoopProcessing(3.5f, 0);
    VORNDoFlightLoopProcessing(4.0f, 7);
    EXPECT_THAT(gCalls, ElementsAre("l1/2"));
    EXPECT_THAT(l1.since, ElementsAre(2.0f));
    EXPECT_EQ(seenNow, 4.0f);
    EXPECT_EQ(seenCounter, 2);
    EXPECT_EQ(seenCycle, 2);
    EXPECT_EQ(VORNGetDispatchedPlugin(), a) << "the dispatched plug-in is restored";
}

TEST_F(FlightLoopTest, TheResultOverridesWhatTheCallbackScheduledForItself)
{
    VORNFlightLoopRecord* loop = nullptr;
    l1.result = -1.0f;
    l1.action = [&](float, float, int) {
        VORNScheduleFlightLoop(loop, 50.0f, 1);
        VORNSetFlightLoopCallbackInterval(LoopProbe, 60.0f, 0, &l1);
    };
    loop = Scheduled(a, l1, -1.0f);
    Frame(1.0f);
    Frame(2.0f);
    EXPECT_EQ(gCalls.size(), 2u);
    EXPECT_EQ(loop->interval, -1.0f);
}

TEST_F(FlightLoopTest, ADisabledOwnersLoopIsSkippedUnchangedAndFiresAfterReenabling)
{
    host->elapsedTime = 0.0f;
    VORNFlightLoopRecord* loop = Scheduled(a, l1, 1.0f);
    Record(a).enabled = false;
    Frame(1.0f);
    Frame(2.0f);
    EXPECT_THAT(gCalls, IsEmpty());
    EXPECT_EQ(loop->lastCallTime, 0.0f);
    EXPECT_EQ(loop->interval, 1.0f);
    Record(a).enabled = true;
    Frame(2.5f);
    EXPECT_THAT(gCalls, ElementsAre("l1/1"));
    EXPECT_THAT(l1.since, ElementsAre(2.5f));
}

TEST_F(FlightLoopTest, AnotherPluginCanNeitherScheduleNorDestroyALoop)
{
    VORNFlightLoopRecord* loop = Scheduled(a, l1, -1.0f);
    Record(b).errorCallback = RecordError;
    {
        StDispatchCallback asB(b);
        VORNScheduleFlightLoop(loop, 0.0f, 1);
        VORNDestroyFlightLoop(loop);
        VORNDestroyFlightLoop(nullptr);
        VORNScheduleFlightLoop(nullptr, 1.0f, 0);
    }
    EXPECT_THAT(gErrors,
                ElementsAre("Attempt to schedule a flight loop callback owned by another plugin.",
                            "Attempt to remove a flight loop callback owned by another plugin."));
    Frame(1.0f);
    EXPECT_THAT(gCalls, ElementsAre("l1/1"));
}

TEST_F(FlightLoopTest, OlderInterfaceUnregisterRemovesTheNewestMatchOnly)
{
    {
        StDispatchCallback asA(a);
        VORNRegisterFlightLoopCallback(LoopProbe, -1.0f, &l1);
        VORNRegisterFlightLoopCallback(LoopProbe, 0.0f, &l1);  // newer, idle
    }
    StDispatchCallback asB(b);  // any plug-in may unregister
    VORNUnregisterFlightLoopCallback(LoopProbe, &l1);
    VORNUnregisterFlightLoopCallback(LoopProbe, &l2);  // nothing matches
    Frame(1.0f);
    EXPECT_THAT(gCalls, ElementsAre("l1/1")) << "the older, scheduled one is left";
    EXPECT_THAT(Live(), ElementsAre("l1"));
    EXPECT_EQ(VORNFirstFlightLoop()->phase, 0);
}

TEST_F(FlightLoopTest, OlderInterfaceSetIntervalChangesEveryMatchOfAnyOwner)
{
    {
        StDispatchCallback asA(a);
        VORNRegisterFlightLoopCallback(LoopProbe, 0.0f, &l1);
    }
    {
        StDispatchCallback asB(b);
        VORNRegisterFlightLoopCallback(LoopProbe, 0.0f, &l1);
        VORNRegisterFlightLoopCallback(LoopProbe, 0.0f, &l2);
    }
    host->elapsedTime = 3.0f;
    host->ClearRecord();
    VORNSetFlightLoopCallbackInterval(LoopProbe, 0.5f, 1, &l1);
    EXPECT_EQ(host->CountCalls("GetElapsedTime"), 2u);
    VORNDoFlightLoopProcessing(3.5f, 0);
    EXPECT_THAT(gCalls, ElementsAre("l1/2", "l1/1"));
}

TEST_F(FlightLoopTest, AnOlderInterfaceRegistrationWithoutCallbackIsReported)
{
    Record(a).errorCallback = RecordError;
    StDispatchCallback asA(a);
    VORNRegisterFlightLoopCallback(nullptr, 1.0f, &l1);
    EXPECT_THAT(gErrors, ElementsAre("Null callback for VORNCreateFlightLoop"));
    EXPECT_EQ(VORNFirstFlightLoop()->interval, 1.0f);
}

// ---- re-entrancy ---------------------------------------------------------------

TEST_F(FlightLoopTest, ALoopDestroyedBeforeTheWalkReachesItIsNotCalled)
{
    VORNFlightLoopRecord* older = Scheduled(a, l2, -1.0f);
    l1.action = [&](float, float, int) { VORNDestroyFlightLoop(older); };
    Scheduled(a, l1, -1.0f);
    VORNDoFlightLoopProcessing(1.0f, 0);
    EXPECT_THAT(gCalls, ElementsAre("l1/1"));
    EXPECT_THAT(Live(), ElementsAre("l1"));
}

TEST_F(FlightLoopTest, ALoopMayDestroyItselfAndTheWalkGoesOn)
{
    VORNFlightLoopRecord* self = nullptr;
    l1.action = [&](float, float, int) { VORNDestroyFlightLoop(self); };
    Scheduled(a, l2, -1.0f);
    self = Scheduled(a, l1, -1.0f);
    Frame(1.0f);
    Frame(2.0f);
    EXPECT_THAT(gCalls, ElementsAre("l1/1", "l2/1", "l2/1"));
}

TEST_F(FlightLoopTest, LoopsCreatedDuringAPassStartInTheNextPass)
{
    l1.action = [&](float, float, int) {
        VORNCreateFlightLoop_t params = {24, 0, LoopProbe, &l2};
        VORNScheduleFlightLoop(VORNCreateFlightLoop(&params), -1.0f, 0);
        l1.action = nullptr;
    };
    Scheduled(a, l1, -1.0f);
    VORNDoFlightLoopProcessing(1.0f, 0);
    EXPECT_THAT(gCalls, ElementsAre("l1/1"));
    VORNDoFlightLoopProcessing(2.0f, 0);
    EXPECT_THAT(gCalls, ElementsAre("l1/1", "l2/1", "l1/1"));
}

TEST_F(FlightLoopTest, UnregisteringTheRunningLoopThroughTheOlderInterface)
{
    l1.action = [&](float, float, int) { VORNUnregisterFlightLoopCallback(LoopProbe, &l1); };
    Scheduled(a, l3, -1.0f);
    Scheduled(a, l1, -1.0f);
    Frame(1.0f);
    Frame(2.0f);
    EXPECT_THAT(gCalls, ElementsAre("l1/1", "l3/1", "l3/1"));
    EXPECT_EQ(VORNFlightLoopIterationDepth(), 0);
}

TEST_F(FlightLoopTest, AnOlderUnregisterAfterADestroyInTheSamePassFindsTheDeadRecordFirst)
{
    VORNFlightLoopRecord* newer = nullptr;
    l3.action = [&](float, float, int) {
        VORNDestroyFlightLoop(newer);
        VORNUnregisterFlightLoopCallback(LoopProbe, &l1);  // meets the dead newer one
        l3.action = nullptr;
    };
    Scheduled(a, l1, -1.0f);
    newer = Scheduled(a, l1, -1.0f);
    Scheduled(a, l3, -1.0f);
    VORNDoFlightLoopProcessing(1.0f, 0);
    EXPECT_THAT(gCalls, ElementsAre("l3/1", "l1/1"));
    EXPECT_THAT(Live(), ElementsAre("l3", "l1"));
}

TEST_F(FlightLoopTest, NestedIterationsInsideAPassKeepTheWalkOnTrack)
{
    // l1 removes the record after it and, through a nested iteration,
    // itself; l2 sets intervals (another nested iteration); l4 still runs.
    Loop l4{"l4"};
    VORNFlightLoopRecord* l3Record = nullptr;
    l1.action = [&](float, float, int) {
        VORNDestroyFlightLoop(l3Record);
        VORNUnregisterFlightLoopCallback(LoopProbe, &l1);
    };
    l2.action = [&](float, float, int) { VORNSetFlightLoopCallbackInterval(LoopProbe, -1.0f, 0, &l4); };
    Scheduled(a, l4, -1.0f);
    Scheduled(a, l2, -1.0f);
    l3Record = Scheduled(a, l3, -1.0f);
    Scheduled(a, l1, -1.0f);
    VORNDoFlightLoopProcessing(1.0f, 0);
    EXPECT_THAT(gCalls, ElementsAre("l1/1", "l2/1", "l4/1"));
    EXPECT_THAT(Live(), ElementsAre("l2", "l4"));
}

TEST_F(FlightLoopTest, DestroyingAnotherPluginsLoopFromACallbackIsRefused)
{
    VORNFlightLoopRecord* foreign = Scheduled(b, l2, -1.0f);
    Record(a).errorCallback = RecordError;
    l1.action = [&](float, float, int) { VORNDestroyFlightLoop(foreign); };
    Scheduled(a, l1, -1.0f);
    Frame(1.0f);
    Frame(2.0f);
    EXPECT_THAT(gErrors,
                ElementsAre("Attempt to remove a flight loop callback owned by another plugin.",
                            "Attempt to remove a flight loop callback owned by another plugin."));
    EXPECT_THAT(gCalls, ElementsAre("l1/1", "l2/2", "l1/1", "l2/2"));
}

TEST_F(FlightLoopTest, CleanupDuringAPassRemovesThatPluginsLoopsIncludingTheRunningOne)
{
    l1.action = [&](float, float, int) { VORNProcessingCleanupHook(a); };
    Scheduled(b, l3, -1.0f);
    Scheduled(a, l2, -1.0f);
    Scheduled(a, l1, -1.0f);
    Frame(1.0f);
    Frame(2.0f);
    EXPECT_THAT(gCalls, ElementsAre("l1/1", "l3/2", "l3/2"));
    EXPECT_THAT(Live(), ElementsAre("l3"));
}

TEST_F(FlightLoopTest, CleanupOutsideAPassFreesAtOnce)
{
    Scheduled(a, l1, -1.0f);
    Scheduled(b, l2, -1.0f);
    VORNProcessingCleanupHook(b);
    EXPECT_THAT(Live(), ElementsAre("l1"));
    EXPECT_FALSE(VORNFlightLoopPurgePending());
}

TEST_F(FlightLoopTest, AThrowingCallbackLeavesItsRecordAndTheRestOfThePass)
{
    l1.action = [&](float, float, int) { throw std::runtime_error("plug-in failure"); };
    l1.result = 0.0f;
    VORNFlightLoopRecord* loop = Scheduled(a, l1, -1.0f);
    Scheduled(b, l2, -1.0f);
    Scheduled(a, l1, -1.0f);  // second identical loop, newest: runs first
    StDispatchCallback asHost(0);
    Frame(1.0f);
    EXPECT_THAT(gCalls, ElementsAre("l1/1", "l2/2", "l1/1"));
    EXPECT_EQ(loop->interval, -1.0f);
    EXPECT_EQ(VORNGetDispatchedPlugin(), 0);
    EXPECT_EQ(VORNFlightLoopIterationDepth(), 0);
}

}  // namespace
