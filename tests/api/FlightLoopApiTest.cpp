// Flight loops through the real library, owned by agent plug-ins (ids 1..3) and driven by the
// host's events 0 (phase 0) and 10 (phase 1). The due rules and changes made inside a pass are
// held against a plain list walk in tests/unit/FlightLoopSchedulerTest.cpp (and the registry
// after each such pass in ReentrancyStressTest); here: the wiring to the host's events,
// counters, reports, and unload.

#include "AgentHost.h"
#include "VORN/VORNProcessing.h"
#include "VORN/VORNUtilities.h"

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

using namespace vorntest;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

std::vector<std::string> gCalls;  // "name/dispatched id", in order

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
        StartAgents(3);
    }
    // Creates a loop as plug-in id and schedules it (not relative).
    static VORNFlightLoopID Create(int id, Loop& loop, int phase = 0, float interval = -1.0f, int size = 0)
    {
        return AsReturning<VORNFlightLoopID>(id, [&] {
            VORNCreateFlightLoop_t params = {size != 0 ? size : int(sizeof params), phase, LoopProbe, &loop};
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
    std::vector<std::string> Pass(float t)  // one phase-0 pass; the calls it made
    {
        gCalls.clear();
        VORNEventHook(0, nullptr, t);
        return gCalls;
    }
    const int a = 1, b = 2, c = 3;
};

TEST_F(FlightLoopApiTest, PassIntervalsCountPassesOfEitherPhaseAndDueTimesAreSinglePrecision)
{
    Loop l1("l1"), l2("l2", -2.0f), l3("l3", -3.0f), l4("l4"), nan("na"), zero("ze");
    host->elapsedTime = 0.0f;
    const int start = VORNGetCycleNumber();
    for (auto [id, loop, phase, interval] : {std::tuple{a, &l1, 0, -1.0f}, {a, &l2, 0, -2.0f}, {b, &l3, 0, -3.0f},
                                             {b, &l4, 1, -1.0f}, {a, &nan, 0, std::nanf("")}, {a, &zero, 1, 0.0f}})
        Create(id, *loop, phase, interval);
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
    EXPECT_THAT(std::vector<int>({l1.counters.front(), l4.counters.front(), l3.counters.back()}),
                ElementsAre(start + 1, start + 2, start + 11));
    EXPECT_EQ(l4.cycleInside, l4.counters);
    EXPECT_THAT(l2.since, ElementsAre(2.0f, 1.0f, 1.0f, 1.0f, 1.0f));
    EXPECT_THAT(l4.now, ElementsAre(1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f));
    EXPECT_EQ(VORNGetMyID(), 0) << "the dispatched plug-in is restored";

    // 1.1f + 0.7f rounds below the exact sum: due at the float sum, not a step earlier.
    Loop single("s");
    host->elapsedTime = 1.1f;
    Create(c, single, 0, 0.7f);
    EXPECT_THAT(Pass(std::nextafter(1.1f + 0.7f, 0.0f)), Not(Contains("s/3")));
    EXPECT_THAT(Pass(1.1f + 0.7f), Contains("s/3"));
}

TEST_F(FlightLoopApiTest, CreationChecksReportOnlyToErrorCallbacksAndTheOlderInterfaceMatchesTheNewest)
{
    Loop quiet("quiet"), reported("reported"), never("never"), shared("shared");
    Create(a, quiet, 0, -1.0f, 20);
    As(b, [] { VORNSetErrorCallback(CollectError); });
    Create(b, reported, 0, -1.0f, 20);
    Create(b, never, 2);
    EXPECT_THAT(gErrorTexts, ElementsAre("Illegal struct size for VORNCreateFlightLoop",
                                         "Illegal phase type for VORNCreateFlightLoop"));
    Frame(1.0f);
    Frame(2.0f);
    EXPECT_THAT(gCalls, ElementsAre("reported/2", "quiet/1", "reported/2", "quiet/1"));
    EXPECT_EQ(LoopsOf(a) * 10 + LoopsOf(b), 12) << "every one of them is created";

    As(c, [&] {
        VORNRegisterFlightLoopCallback(LoopProbe, -1.0f, &shared);
        VORNRegisterFlightLoopCallback(LoopProbe, 1000.0f, &shared);
    });
    As(b, [&] {
        VORNUnregisterFlightLoopCallback(LoopProbe, &shared);  // any plug-in may, the newest goes
        VORNUnregisterFlightLoopCallback(LoopProbe, nullptr);  // nothing matches
    });
    EXPECT_THAT(Pass(3.0f), ElementsAre("shared/3", "reported/2", "quiet/1"));
    As(b, [&] { VORNRegisterFlightLoopCallback(LoopProbe, 0.0f, &shared); });
    host->elapsedTime = 3.0f;
    host->ClearRecord();
    As(c, [&] { VORNSetFlightLoopCallbackInterval(LoopProbe, 0.5f, 1, &shared); });
    EXPECT_EQ(host->CountCalls("GetElapsedTime"), 2u) << "relative: now, for each match";
    EXPECT_THAT(Pass(3.25f), ElementsAre("reported/2", "quiet/1"));
    EXPECT_THAT(Pass(3.5f), ElementsAre("shared/2", "shared/3", "reported/2", "quiet/1"));
    EXPECT_EQ(LoopsOf(b) + LoopsOf(c), 4);
}

TEST_F(FlightLoopApiTest, UnloadingRemovesThePluginsLoopsAndAReloadWaitsForTheEndOfThePass)
{
    Loop asker("asker"), older("older");
    Create(b, older);
    asker.action = [&] { VORNReloadPlugins(); };
    Create(a, asker);
    host->ClearRecord();
    EXPECT_THAT(Pass(1.0f), ElementsAre("asker/1", "older/2")) << "the pass ends before the reload";
    EXPECT_EQ(VORNCountPlugins(), 4);
    gCalls.clear();
    Frame(2.0f);
    EXPECT_THAT(gCalls, IsEmpty()) << "the unloaded plug-ins' loops are gone";
    EXPECT_EQ(LoopsOf(a) + LoopsOf(b), 0);
}

}  // namespace
