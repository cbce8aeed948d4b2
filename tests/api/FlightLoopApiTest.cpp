// Flight loops and draw registrations through the real library, owned by
// real plug-in modules (the agent plug-in runs test code as itself) and
// driven by the host's events 0 and 10.

#include "AgentHost.h"
#include "VORN/VORNDisplay.h"
#include "VORN/VORNProcessing.h"
#include "VORN/VORNUtilities.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::vector<std::string> gCalls;
// refcon of a test loop: logs "name/id counter", then runs its action.
struct Loop {
    explicit Loop(std::string n, float r = -1.0f) : name(std::move(n)), result(r) {}
    std::string name;
    float result;
    std::function<void()> action;
    std::vector<float> since;
    std::vector<int> counters;
    std::vector<int> cycleInside;
};

float LoopProbe(float since, float, int counter, void* refcon)
{
    auto* loop = static_cast<Loop*>(refcon);
    gCalls.push_back(loop->name + "/" + std::to_string(VORNGetMyID()));
    loop->since.push_back(since);
    loop->counters.push_back(counter);
    loop->cycleInside.push_back(VORNGetCycleNumber());
    if (loop->action)
        loop->action();
    return loop->result;
}

int DrawNothing(int, int, void*)
{
    return 1;
}

class FlightLoopApiTest : public AgentHostTest {
protected:
    void SetUp() override
    {
        AgentHostTest::SetUp();
        gCalls.clear();
        StartAgents(2);
    }

    VORNFlightLoopID Create(int id, Loop& loop, int phase = 0, float interval = -1.0f)
    {
        VORNFlightLoopID handle = nullptr;
        As(id, [&] {
            VORNCreateFlightLoop_t params = {sizeof params, phase, LoopProbe, &loop};
            handle = VORNCreateFlightLoop(&params);
            VORNScheduleFlightLoop(handle, interval, 0);
        });
        return handle;
    }

    const int a = 1, b = 2;
};

TEST_F(FlightLoopApiTest, ALoopDueAfterHalfASecondIsCalledOnceAndStoppedByZero)
{
    Loop loop("half", 0.0f);
    host->elapsedTime = 100.0f;
    As(a, [&] {
        VORNCreateFlightLoop_t params = {sizeof params, 0, LoopProbe, &loop};
        VORNScheduleFlightLoop(VORNCreateFlightLoop(&params), 0.5f, 1);
    });
    Frame(100.25f);
    Frame(100.5f);
    Frame(101.0f);
    Frame(102.0f);
    EXPECT_THAT(gCalls, ElementsAre("half/1"));
    EXPECT_THAT(loop.since, ElementsAre(0.5f));
}

TEST_F(FlightLoopApiTest, PassIntervalsWithBothEventsEveryFrame)
{
    Loop every("m1"), second("m2", -2.0f), third("m3", -3.0f), late("late");
    Create(a, every, 0, -1.0f);
    Create(a, second, 0, -2.0f);
    Create(b, third, 0, -3.0f);
    Create(b, late, 1, -1.0f);
    const int start = VORNGetCycleNumber();
    for (int frame = 1; frame <= 6; ++frame)
        Frame(static_cast<float>(frame));
    EXPECT_EQ(every.counters.size(), 6u);
    EXPECT_EQ(second.counters.size(), 5u) << "due from the second frame on, then every frame";
    EXPECT_EQ(third.counters.size(), 3u) << "every second frame";
    EXPECT_EQ(late.counters.size(), 6u);
    EXPECT_EQ(every.counters.front(), start + 1);
    EXPECT_EQ(late.counters.front(), start + 2);
    EXPECT_EQ(third.counters.back(), start + 11);
    EXPECT_EQ(every.cycleInside, every.counters) << "the cycle number read inside matches";
    EXPECT_EQ(VORNGetCycleNumber(), start + 12);
}

TEST_F(FlightLoopApiTest, CreationChecksAreReportedOnlyToPluginsWithAnErrorCallback)
{
    Loop never("never");
    VORNFlightLoopID quiet = nullptr;
    VORNFlightLoopID reported = nullptr;
    As(a, [&] {
        VORNCreateFlightLoop_t params = {20, 0, LoopProbe, &never};
        quiet = VORNCreateFlightLoop(&params);
    });
    As(b, [&] {
        VORNSetErrorCallback(CollectError);
        VORNCreateFlightLoop_t params = {20, 0, LoopProbe, &never};
        reported = VORNCreateFlightLoop(&params);
        VORNScheduleFlightLoop(reported, -1.0f, 0);
        params = {sizeof params, 2, LoopProbe, &never};
        VORNScheduleFlightLoop(VORNCreateFlightLoop(&params), -1.0f, 0);
    });
    EXPECT_NE(quiet, nullptr);
    EXPECT_THAT(gErrorTexts, ElementsAre("Illegal struct size for VORNCreateFlightLoop",
                                         "Illegal phase type for VORNCreateFlightLoop"));
    Frame(1.0f);
    Frame(2.0f);
    EXPECT_THAT(gCalls, ElementsAre("never/2", "never/2")) << "the phase-2 loop is never called";
}

TEST_F(FlightLoopApiTest, OlderInterfaceUnregistersTheNewestOnlyAndSetsEveryInterval)
{
    Loop shared("shared");
    As(a, [&] {
        VORNRegisterFlightLoopCallback(LoopProbe, -1.0f, &shared);
        VORNRegisterFlightLoopCallback(LoopProbe, 1000.0f, &shared);
    });
    As(b, [&] { VORNUnregisterFlightLoopCallback(LoopProbe, &shared); });
    Frame(1.0f);
    EXPECT_THAT(gCalls, ElementsAre("shared/1")) << "the older, every-pass loop is left";
    As(b, [&] { VORNRegisterFlightLoopCallback(LoopProbe, 0.0f, &shared); });
    As(a, [&] { VORNSetFlightLoopCallbackInterval(LoopProbe, -1.0f, 0, &shared); });
    gCalls.clear();
    Frame(2.0f);
    EXPECT_THAT(gCalls, ElementsAre("shared/2", "shared/1"));
}

TEST_F(FlightLoopApiTest, AnotherPluginsLoopCannotBeScheduledOrDestroyed)
{
    Loop owned("owned");
    VORNFlightLoopID handle = Create(a, owned);
    Loop meddler("meddler");
    meddler.action = [&] { VORNDestroyFlightLoop(handle); };
    As(b, [&] { VORNSetErrorCallback(CollectError); });
    Create(b, meddler);
    As(b, [&] { VORNScheduleFlightLoop(handle, 0.0f, 0); });
    Frame(1.0f);
    EXPECT_THAT(gErrorTexts,
                ElementsAre("Attempt to schedule a flight loop callback owned by another plugin.",
                            "Attempt to remove a flight loop callback owned by another plugin."));
    EXPECT_THAT(gCalls, ElementsAre("meddler/2", "owned/1"));
}

TEST_F(FlightLoopApiTest, ALoopDestroyedByAnEarlierCallbackIsNotCalled)
{
    Loop victim("victim");
    VORNFlightLoopID handle = Create(a, victim);
    Loop killer("killer");
    killer.action = [&] {
        VORNDestroyFlightLoop(handle);
        killer.action = nullptr;
    };
    Create(a, killer);
    Frame(1.0f);
    Frame(2.0f);
    EXPECT_THAT(gCalls, ElementsAre("killer/1", "killer/1"));
}

TEST_F(FlightLoopApiTest, ADisabledOwnersLoopWaitsAndFiresOnTheFirstPassAfterEnabling)
{
    Loop sleeper("sleeper", 0.0f);
    host->elapsedTime = 0.0f;
    Create(a, sleeper, 0, 1.0f);
    VORNDisablePlugin(a);
    Frame(1.0f);
    Frame(5.0f);
    EXPECT_THAT(gCalls, IsEmpty());
    VORNEnablePlugin(a);
    Frame(6.0f);
    EXPECT_THAT(gCalls, ElementsAre("sleeper/1"));
    EXPECT_THAT(sleeper.since, ElementsAre(6.0f));
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
}

TEST_F(FlightLoopApiTest, TheInventoryCountsLiveLoopsDrawCallbacksAndSniffers)
{
    Loop one("one"), two("two");
    VORNFlightLoopID first = Create(a, one);
    Create(a, two);
    Create(b, two);
    As(a, [&] {
        VORNDestroyFlightLoop(first);
        VORNRegisterDrawCallback(DrawNothing, VORN_DRAW_PHASE_5, 1, nullptr);
        VORNRegisterDrawCallback(DrawNothing, VORN_DRAW_PHASE_5, 0, nullptr);
        VORNRegisterKeySniffer(nullptr, 0, nullptr);
    });
    VORNPluginInventory inventory{};
    inventory.structSize = sizeof inventory;
    ASSERT_EQ(VORNGetPluginInventory(a, &inventory), 1);
    EXPECT_EQ(inventory.flightLoops, 1);
    EXPECT_EQ(inventory.drawCallbacks, 2);
    EXPECT_EQ(inventory.keySniffers, 1);
    ASSERT_EQ(VORNGetPluginInventory(b, &inventory), 1);
    EXPECT_EQ(inventory.flightLoops, 1);
    EXPECT_EQ(inventory.drawCallbacks, 0);
}

TEST_F(FlightLoopApiTest, DrawRegistrationRules)
{
    int refcon = 0;
    As(a, [&] {
        EXPECT_EQ(VORNRegisterDrawCallback(DrawNothing, VORN_DRAW_PHASE_20, 1, &refcon), 1);
        EXPECT_EQ(VORNRegisterDrawCallback(DrawNothing, VORN_DRAW_PHASE_20, 1, &refcon), 0);
        EXPECT_EQ(VORNRegisterDrawCallback(DrawNothing, VORN_DRAW_PHASE_20, 0, &refcon), 1);
    });
    As(b, [&] {
        EXPECT_EQ(VORNUnregisterDrawCallback(DrawNothing, VORN_DRAW_PHASE_20, 1, &refcon), 1);
        EXPECT_EQ(VORNRegisterDrawCallback(DrawNothing, VORN_DRAW_PHASE_20, 1, &refcon), 1);
    });
    As(a, [&] {
        EXPECT_EQ(VORNRegisterKeySniffer(nullptr, 1, &refcon), 1);
        EXPECT_EQ(VORNRegisterKeySniffer(nullptr, 1, &refcon), 0);
        EXPECT_EQ(VORNRegisterKeySniffer(nullptr, 0, &refcon), 1);
    });
    As(b, [&] {
        EXPECT_EQ(VORNUnregisterKeySniffer(nullptr, 1, &refcon), 1);
        EXPECT_EQ(VORNUnregisterKeySniffer(nullptr, 1, &refcon), 0);
    });
}

}  // namespace
