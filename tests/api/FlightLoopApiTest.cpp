// Flight loops through the real library, owned by agent plug-ins and driven
// by the host's events 0 (phase 0) and 10 (phase 1). The due rules, the older
// interface and changes made from inside a pass are held against a plain
// list walk in tests/unit/FlightLoopSchedulerTest.cpp; here: the wiring to
// the host's events, the counters, the reports, one removal and one creation
// inside a pass, unload and the loops counted in the inventory.

#include "AgentHost.h"
#include "VORN/VORNProcessing.h"
#include "VORN/VORNUtilities.h"

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

// Calls, "name/dispatched id", in order.
std::vector<std::string> gCalls;

struct Loop {
    explicit Loop(std::string n, float r = -1.0f) : name(std::move(n)), result(r) {}
    std::string name;
    float result;
    std::function<void()> action;
    std::vector<float> since, now;
    std::vector<int> counters, cycleInside;
};

float LoopProbe(float since, float now, int counter, void* refcon)
{
    auto* loop = static_cast<Loop*>(refcon);
    gCalls.push_back(loop->name + "/" + std::to_string(VORNGetMyID()));
    loop->since.push_back(since);
    loop->now.push_back(now);
    loop->counters.push_back(counter);
    loop->cycleInside.push_back(VORNGetCycleNumber());
    if (loop->action)
        loop->action();
    return loop->result;
}

class FlightLoopApiTest : public AgentHostTest {
protected:
    void SetUp() override
    {
        AgentHostTest::SetUp();
        gCalls.clear();
        StartAgents(2);
    }

    // Creates a loop as plug-in id and schedules it (not relative).
    static VORNFlightLoopID Create(int id, Loop& loop, int phase = 0, float interval = -1.0f)
    {
        return AsReturning<VORNFlightLoopID>(id, [&] {
            VORNCreateFlightLoop_t params = {sizeof params, phase, LoopProbe, &loop};
            VORNFlightLoopID handle = VORNCreateFlightLoop(&params);
            VORNScheduleFlightLoop(handle, interval, 0);
            return handle;
        });
    }

    static int LoopsOf(int id)
    {
        VORNPluginInventory inventory{};
        inventory.structSize = sizeof inventory;
        EXPECT_EQ(VORNGetPluginInventory(id, &inventory), 1);
        return inventory.flightLoops;
    }

    const int a = 1, b = 2;
};

TEST_F(FlightLoopApiTest, DueTimesAreWorkedOutInSinglePrecision)
{
    // 1.1f + 0.7f rounds below the exact sum: a pass at the float sum is due,
    // one a step earlier is not.
    Loop loop("l");
    host->elapsedTime = 1.1f;
    Create(a, loop, 0, 0.7f);
    const float dueTime = 1.1f + 0.7f;
    VORNEventHook(0, nullptr, std::nextafter(dueTime, 0.0f));
    EXPECT_THAT(gCalls, IsEmpty());
    VORNEventHook(0, nullptr, dueTime);
    EXPECT_THAT(gCalls, ElementsAre("l/1"));
}

TEST_F(FlightLoopApiTest, PassIntervalsCountPassesOfEitherPhase)
{
    Loop l1("l1"), l2("l2", -2.0f), l3("l3", -3.0f), l4("l4");
    Loop nan("na"), zero("ze"), badPhase("p2");
    host->elapsedTime = 0.0f;
    const int start = VORNGetCycleNumber();
    Create(a, l1, 0, -1.0f);
    Create(a, l2, 0, -2.0f);
    Create(b, l3, 0, -3.0f);
    Create(b, l4, 1, -1.0f);
    Create(a, nan, 0, std::numeric_limits<float>::quiet_NaN());
    Create(a, zero, 1, 0.0f);
    Create(b, badPhase, 2, -1.0f);
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
    EXPECT_THAT(gCalls, ElementsAre("l3/2", "l2/1", "l1/1", "l4/2"));
    EXPECT_EQ(VORNGetCycleNumber(), start + 12);
    EXPECT_EQ(l1.counters.front(), start + 1);
    EXPECT_EQ(l4.counters.front(), start + 2);
    EXPECT_EQ(l3.counters.back(), start + 11);
    EXPECT_EQ(l4.cycleInside, l4.counters);
    EXPECT_THAT(l2.since, ElementsAre(2.0f, 1.0f, 1.0f, 1.0f, 1.0f));
    EXPECT_THAT(l4.now, ElementsAre(1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f));
    EXPECT_EQ(VORNGetMyID(), 0) << "the dispatched plug-in is restored";
}

TEST_F(FlightLoopApiTest, CreationChecksAreReportedOnlyToPluginsWithAnErrorCallback)
{
    Loop quiet("quiet"), reported("reported"), never("never");
    As(a, [&] {
        VORNCreateFlightLoop_t params = {20, 0, LoopProbe, &quiet};
        VORNScheduleFlightLoop(VORNCreateFlightLoop(&params), -1.0f, 0);
    });
    As(b, [&] {
        VORNSetErrorCallback(CollectError);
        VORNCreateFlightLoop_t params = {20, 0, LoopProbe, &reported};
        VORNScheduleFlightLoop(VORNCreateFlightLoop(&params), -1.0f, 0);
        for (int phase : {2, -1}) {
            params = {sizeof params, phase, LoopProbe, &never};
            VORNScheduleFlightLoop(VORNCreateFlightLoop(&params), -1.0f, 0);
        }
    });
    EXPECT_THAT(gErrorTexts, ElementsAre("Illegal struct size for VORNCreateFlightLoop",
                                         "Illegal phase type for VORNCreateFlightLoop",
                                         "Illegal phase type for VORNCreateFlightLoop"));
    Frame(1.0f);
    Frame(2.0f);
    EXPECT_THAT(gCalls, ElementsAre("reported/2", "quiet/1", "reported/2", "quiet/1"));
    As(b, [] { VORNRegisterFlightLoopCallback(nullptr, 1.0f, nullptr); });
    EXPECT_EQ(gErrorTexts.back(), "Null callback for VORNCreateFlightLoop");
    EXPECT_EQ(LoopsOf(a), 1);
    EXPECT_EQ(LoopsOf(b), 4) << "every one of them is created";
}

TEST_F(FlightLoopApiTest, OlderInterfaceUnregistersTheNewestOnlyAndSetsEveryInterval)
{
    Loop shared("shared");
    As(a, [&] {
        VORNRegisterFlightLoopCallback(LoopProbe, -1.0f, &shared);
        VORNRegisterFlightLoopCallback(LoopProbe, 1000.0f, &shared);
    });
    As(b, [&] {
        VORNUnregisterFlightLoopCallback(LoopProbe, &shared);  // any plug-in may
        VORNUnregisterFlightLoopCallback(LoopProbe, nullptr);  // nothing matches
    });
    Frame(1.0f);
    EXPECT_THAT(gCalls, ElementsAre("shared/1")) << "the older, every-pass loop is left";
    As(b, [&] { VORNRegisterFlightLoopCallback(LoopProbe, 0.0f, &shared); });
    host->elapsedTime = 3.0f;
    host->ClearRecord();
    As(a, [&] { VORNSetFlightLoopCallbackInterval(LoopProbe, 0.5f, 1, &shared); });
    EXPECT_EQ(host->CountCalls("GetElapsedTime"), 2u) << "relative: now, for each match";
    gCalls.clear();
    VORNEventHook(0, nullptr, 3.25f);
    VORNEventHook(0, nullptr, 3.5f);
    EXPECT_THAT(gCalls, ElementsAre("shared/2", "shared/1"));
    EXPECT_EQ(LoopsOf(a) + LoopsOf(b), 2);
}

// Removed mid-walk: skipped in the pass, freed after it; created mid-walk:
// first called in the next pass.
TEST_F(FlightLoopApiTest, LoopsRemovedOrCreatedDuringAPass)
{
    Loop l1("l1"), l2("l2"), l3("l3"), l4("l4"), fresh("fresh");
    VORNFlightLoopID l3Handle = nullptr;
    l1.action = [&] {
        VORNDestroyFlightLoop(l3Handle);
        VORNUnregisterFlightLoopCallback(LoopProbe, &l1);
    };
    l2.action = [&] {
        VORNSetFlightLoopCallbackInterval(LoopProbe, -1.0f, 0, &l4);
        VORNCreateFlightLoop_t params = {sizeof params, 0, LoopProbe, &fresh};
        VORNScheduleFlightLoop(VORNCreateFlightLoop(&params), -1.0f, 0);
        l2.action = nullptr;
    };
    Create(a, l4);
    Create(a, l2);
    l3Handle = Create(a, l3);
    Create(a, l1);
    VORNEventHook(0, nullptr, 1.0f);
    EXPECT_THAT(gCalls, ElementsAre("l1/1", "l2/1", "l4/1"));
    EXPECT_EQ(LoopsOf(a), 3);
    gCalls.clear();
    VORNEventHook(0, nullptr, 2.0f);
    EXPECT_THAT(gCalls, ElementsAre("fresh/1", "l2/1", "l4/1"));
}

TEST_F(FlightLoopApiTest, UnloadingRemovesThePluginsLoopsAndAReloadWaitsForTheEndOfThePass)
{
    Loop asker("asker"), older("older");
    Create(b, older);
    asker.action = [&] { VORNReloadPlugins(); };
    Create(a, asker);
    host->ClearRecord();
    VORNEventHook(0, nullptr, 1.0f);
    EXPECT_THAT(gCalls, ElementsAre("asker/1", "older/2")) << "the pass ends before the reload";
    EXPECT_EQ(host->CountCalls("ShowAlert"), 1u);
    EXPECT_EQ(VORNCountPlugins(), 3);
    gCalls.clear();
    Frame(2.0f);
    EXPECT_THAT(gCalls, IsEmpty()) << "the unloaded plug-ins' loops are gone";
    EXPECT_EQ(LoopsOf(a) + LoopsOf(b), 0);
}

}  // namespace
