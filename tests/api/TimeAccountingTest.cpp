// Time accounting through the real library, with real plug-ins that
// busy-wait known lengths (tests/plugins/busy.c) or run test code as
// themselves (the agent). Times are only ever compared with each other or
// with a wait they must exceed: never with an upper bound.

#include "../plugins/agent.h"
#include "HostFixture.h"
#include "VORN/VORNDisplay.h"
#include "VORN/VORNProcessing.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

namespace {

const int64_t kMs = 1000000;  // nanoseconds

// Every call the library reports, in the order they ended.
std::vector<VORNCallTiming> gObserved;

void Observe(const VORNCallTiming* call, void*)
{
    gObserved.push_back(*call);
}

void RunFunction(void* context)
{
    (*static_cast<std::function<void()>*>(context))();
}

float Idle(float, float, int, void*)
{
    return -1.0f;
}

int DrawNothing(int, int, void*)
{
    return 1;
}

class TimeAccountingTest : public HostTest {
protected:
    void SetUp() override
    {
        HostTest::SetUp();
        gObserved.clear();
    }

    void TearDown() override
    {
        HostTest::TearDown();
        gObserved.clear();
    }

    // Installs a copy of the busy plug-in as file (its load order is the
    // byte order of the file names) with the given settings.
    void AddBusy(const std::string& file, const std::string& name, const std::string& settings)
    {
        InstallPlugin("busy", file);
        root.WriteFile("Resources/plugins/" + file + ".cfg", "name=" + name + "\n" + settings);
    }

    // Starts the library with accounting on from the first call.
    void StartTimed()
    {
        VORNSetTimeAccounting(1);
        VORNSetCallObserver(Observe, nullptr);
        host->systemPath = SystemPath();
        Start();
    }

    void Frame()
    {
        host->elapsedTime += 1.0f / 60.0f;
        VORNEventHook(0, nullptr, host->elapsedTime);
        VORNEventHook(10, nullptr, host->elapsedTime);
    }

    int IdOf(const std::string& name)
    {
        for (int id = 0; id < VORNCountPlugins(); ++id) {
            char found[256] = "";
            VORNGetPluginInfo(id, found, nullptr, nullptr, nullptr);
            if (name == found)
                return id;
        }
        ADD_FAILURE() << "no plug-in " << name;
        return -1;
    }

    // Every kind plug-in id has been called for.
    std::vector<VORNCallTimes> Kinds(int id)
    {
        std::vector<VORNCallTimes> kinds;
        VORNCallTimes times{};
        times.structSize = sizeof times;
        while (VORNGetPluginCallTimes(id, static_cast<int>(kinds.size()), &times) == 1)
            kinds.push_back(times);
        return kinds;
    }

    VORNCallTimes Kind(int id, const std::string& label)
    {
        for (const VORNCallTimes& times : Kinds(id)) {
            if (label == times.label)
                return times;
        }
        ADD_FAILURE() << "plug-in " << id << " has no calls of kind " << label;
        return VORNCallTimes{};
    }

    VORNFrameTimes Frames(int id)
    {
        VORNFrameTimes frames{};
        frames.structSize = sizeof frames;
        EXPECT_EQ(VORNGetPluginFrameTimes(id, &frames), 1);
        return frames;
    }

    // Runs body as the agent plug-in id, through a message to it.
    void As(int id, std::function<void()> body)
    {
        AgentRun run = {RunFunction, &body};
        VORNSendMessageToPlugin(id, AGENT_RUN_MESSAGE, &run);
    }

    std::vector<VORNCallTiming> ObservedFor(int id, int kind)
    {
        std::vector<VORNCallTiming> calls;
        for (const VORNCallTiming& call : gObserved) {
            if (call.plugin == id && call.kind == kind)
                calls.push_back(call);
        }
        return calls;
    }
};

// ---- Per plug-in and kind ---------------------------------------------------------------

TEST_F(TimeAccountingTest, TheSlowPluginTopsTheFiguresAndItsLargestCallIsAtLeastItsWait)
{
    AddBusy("a_quick.vpl", "Quick", "loop_us=0\n");
    AddBusy("b_slow.vpl", "Slow", "loop_us=3000\n");
    AddBusy("c_medium.vpl", "Medium", "loop_us=500\n");
    StartTimed();
    for (int frame = 0; frame < 5; ++frame)
        Frame();

    // The plug-ins by their total self time, as a host's table sorts them.
    std::vector<std::pair<int64_t, std::string>> byTotal;
    for (const char* name : {"Quick", "Slow", "Medium"}) {
        int64_t total = 0;
        for (const VORNCallTimes& times : Kinds(IdOf(name)))
            total += times.totalNs;
        byTotal.emplace_back(total, name);
    }
    std::sort(byTotal.rbegin(), byTotal.rend());
    EXPECT_EQ(byTotal[0].second, "Slow");

    const VORNCallTimes slow = Kind(IdOf("Slow"), "flight loop (phase 0)");
    EXPECT_EQ(slow.kind, VORN_CALL_FLIGHT_LOOP);
    EXPECT_EQ(slow.phase, 0);
    EXPECT_EQ(slow.before, -1);
    EXPECT_EQ(slow.calls, 5);
    EXPECT_GE(slow.maxNs, 3 * kMs);
    EXPECT_GE(slow.totalNs, 5 * 3 * kMs);
    // Every call waited 3 ms: each percentile's bin lies above that, and
    // none is read past the largest call.
    for (int64_t percentile : {slow.p50Ns, slow.p95Ns, slow.p99Ns}) {
        EXPECT_GE(percentile, 3 * kMs);
        EXPECT_LE(percentile, slow.maxNs);
    }
    EXPECT_LE(slow.p50Ns, slow.p95Ns);
    EXPECT_LE(slow.p95Ns, slow.p99Ns);
}

TEST_F(TimeAccountingTest, KindsAreKeptApartInTheOrderFirstCalledWithPhases)
{
    InstallPlugin("agent", "a.vpl");
    StartTimed();
    As(1, [] {
        for (int phase : {1, 0}) {
            VORNCreateFlightLoop_t params = {sizeof params, phase, Idle, nullptr};
            VORNScheduleFlightLoop(VORNCreateFlightLoop(&params), -1.0f, 0);
        }
        VORNRegisterDrawCallback(DrawNothing, 30, 1, nullptr);
        VORNRegisterDrawCallback(DrawNothing, 30, 0, nullptr);
    });
    Frame();
    for (int step = 1; step <= 26; ++step)
        VORNDoDrawingHook(step, 0);

    std::vector<std::string> labels;
    for (const VORNCallTimes& times : Kinds(1))
        labels.push_back(times.label);
    EXPECT_THAT(labels, ElementsAre("start", "enable", "message", "flight loop (phase 0)",
                                    "flight loop (phase 1)", "draw (phase 30, before)",
                                    "draw (phase 30, after)"));
    const VORNCallTimes after = Kind(1, "draw (phase 30, after)");
    EXPECT_EQ(after.kind, VORN_CALL_DRAW);
    EXPECT_EQ(after.phase, 30);
    EXPECT_EQ(after.before, 0);
    EXPECT_EQ(after.calls, 1);
}

// ---- Nested calls -----------------------------------------------------------------------

TEST_F(TimeAccountingTest, ANestedCallIsChargedToTheInnerPlugin)
{
    // A's flight loop reads B's data ref, whose accessor waits 3 ms.
    AddBusy("a_reader.vpl", "Reader", "loop_us=0\nread=test/busy/value\n");
    AddBusy("b_owner.vpl", "Owner", "publish=test/busy/value\npublish_us=3000\n");
    StartTimed();
    for (int frame = 0; frame < 3; ++frame)
        Frame();
    const int reader = IdOf("Reader"), owner = IdOf("Owner");

    const VORNCallTimes accessor = Kind(owner, "data accessor");
    const VORNCallTimes loop = Kind(reader, "flight loop (phase 0)");
    EXPECT_EQ(accessor.calls, 3);
    EXPECT_GE(accessor.maxNs, 3 * kMs);
    EXPECT_GT(accessor.totalNs, loop.totalNs);

    // Each loop call's wall time holds the accessor's; its self time leaves
    // it out.
    const auto loops = ObservedFor(reader, VORN_CALL_FLIGHT_LOOP);
    const auto reads = ObservedFor(owner, VORN_CALL_DATA_ACCESSOR);
    ASSERT_EQ(loops.size(), 3u);
    ASSERT_EQ(reads.size(), 3u);
    for (size_t i = 0; i < loops.size(); ++i) {
        EXPECT_EQ(loops[i].depth, 0);
        EXPECT_EQ(reads[i].depth, 1);
        EXPECT_EQ(reads[i].selfNs, reads[i].durationNs);
        EXPECT_GE(reads[i].startNs, loops[i].startNs);
        EXPECT_LE(reads[i].startNs + reads[i].durationNs, loops[i].startNs + loops[i].durationNs);
        EXPECT_LE(loops[i].selfNs, loops[i].durationNs - reads[i].durationNs);
    }
}

// ---- The budget -------------------------------------------------------------------------

TEST_F(TimeAccountingTest, ACallOverTheBudgetIsCountedEveryTimeAndLoggedOncePerKind)
{
    AddBusy("a_slow.vpl", "Slow", "loop_us=2000\npublish=test/busy/slow\npublish_us=2000\n");
    AddBusy("b_reader.vpl", "Reader", "loop_us=0\nread=test/busy/slow\n");
    AddBusy("c_quick.vpl", "Quick", "loop_us=0\n");
    VORNSetFrameBudget(1.0f);
    StartTimed();
    host->ClearRecord();
    gObserved.clear();
    for (int frame = 0; frame < 4; ++frame)
        Frame();
    const int slow = IdOf("Slow");

    // One line per kind, worded with the first call over the budget.
    auto firstSelf = [&](int kind) {
        const auto calls = ObservedFor(slow, kind);
        return calls.empty() ? int64_t{0} : calls.front().selfNs;
    };
    auto line = [](const std::string& kind, int64_t ns) {
        char text[200];
        std::snprintf(text, sizeof text, "[Slow]: %s took %.3f ms, over the budget of 1 ms\n",
                      kind.c_str(), static_cast<double>(ns) / 1e6);
        return std::string(text);
    };
    std::vector<std::string> warnings;
    const std::string log = host->Log();
    for (size_t at = log.find('['); at != std::string::npos; at = log.find('[', at + 1)) {
        if (log.find("over the budget", at) < log.find('\n', at))
            warnings.push_back(log.substr(at, log.find('\n', at) + 1 - at));
    }
    EXPECT_THAT(warnings,
                UnorderedElementsAre(line("flight loop (phase 0)", firstSelf(VORN_CALL_FLIGHT_LOOP)),
                                     line("data accessor", firstSelf(VORN_CALL_DATA_ACCESSOR))));

    EXPECT_EQ(Kind(slow, "flight loop (phase 0)").overBudget, 4);
    EXPECT_EQ(Kind(slow, "data accessor").overBudget, 4);
    // The reader's own loop stays under the budget: the 2 ms it waits are
    // the accessor's.
    EXPECT_EQ(Kind(IdOf("Reader"), "flight loop (phase 0)").overBudget, 0);
    EXPECT_EQ(Kind(IdOf("Quick"), "flight loop (phase 0)").overBudget, 0);
}

// ---- Frames -----------------------------------------------------------------------------

TEST_F(TimeAccountingTest, FrameTotalsAddUpTheCallsOfTheFrameAndKeepTheLargest)
{
    // Every third loop call of Spiky waits 4 ms instead of 0.2.
    AddBusy("a_steady.vpl", "Steady", "loop_us=300\nloop_phase=1\n");
    AddBusy("b_spiky.vpl", "Spiky", "loop_us=200\nspike_us=4000\nspike_every=3\n");
    StartTimed();
    const int steady = IdOf("Steady"), spiky = IdOf("Spiky");
    // Self time per plug-in in each frame, from the observer.
    std::vector<std::map<int, int64_t>> perFrame;
    for (int frame = 0; frame < 7; ++frame) {
        gObserved.clear();
        Frame();
        VORNDoDrawingHook(1, 0);
        if (frame > 0) {
            // Frame `frame - 1` ended with the event 0 that began this one;
            // the calls before it belong to that frame.
            const VORNFrameTimes steadyFrames = Frames(steady);
            const VORNFrameTimes spikyFrames = Frames(spiky);
            EXPECT_EQ(spikyFrames.frames, frame);
            EXPECT_EQ(steadyFrames.lastFrameNs, perFrame.back()[steady]);
            EXPECT_EQ(spikyFrames.lastFrameNs, perFrame.back()[spiky]);
        }
        perFrame.emplace_back();
        for (const VORNCallTiming& call : gObserved)
            perFrame.back()[call.plugin] += call.selfNs;
    }

    // Frames 0 to 5 are complete; Spiky's loop spiked in frames 2 and 5, so
    // its costliest frame took at least the spike (which one it is depends
    // on the machine's other work).
    const VORNFrameTimes frames = Frames(spiky);
    EXPECT_EQ(frames.frames, 6);
    size_t costliest = 0;
    for (size_t frame = 1; frame < 6; ++frame) {
        if (perFrame[frame][spiky] > perFrame[costliest][spiky])
            costliest = frame;
    }
    EXPECT_EQ(frames.largestFrame, static_cast<int64_t>(costliest));
    EXPECT_EQ(frames.largestFrameNs, perFrame[costliest][spiky]);
    EXPECT_GE(frames.largestFrameNs, 4 * kMs);
    EXPECT_GE(frames.totalNs, 2 * 4 * kMs);
}

// ---- Switching ---------------------------------------------------------------------------

TEST_F(TimeAccountingTest, OffNothingIsCountedAndResetDropsTheFigures)
{
    AddBusy("a_busy.vpl", "Busy", "loop_us=100\n");
    host->systemPath = SystemPath();
    Start();
    VORNSetCallObserver(Observe, nullptr);
    Frame();
    EXPECT_TRUE(Kinds(1).empty());
    EXPECT_TRUE(gObserved.empty());

    VORNSetTimeAccounting(1);
    Frame();
    Frame();
    EXPECT_EQ(Kind(1, "flight loop (phase 0)").calls, 2);
    // The frame that was running when accounting came on is not counted.
    EXPECT_EQ(Frames(1).frames, 1);

    VORNResetTimeAccounting();
    EXPECT_TRUE(Kinds(1).empty());
    EXPECT_EQ(Frames(1).frames, 0);
    EXPECT_EQ(Frames(1).largestFrame, -1);
    Frame();
    EXPECT_EQ(Kind(1, "flight loop (phase 0)").calls, 1);

    VORNSetTimeAccounting(0);
    gObserved.clear();
    Frame();
    EXPECT_EQ(Kind(1, "flight loop (phase 0)").calls, 1);
    EXPECT_TRUE(gObserved.empty());
}

TEST_F(TimeAccountingTest, ShutdownSwitchesAccountingOffAndDropsTheFigures)
{
    AddBusy("a_busy.vpl", "Busy", "loop_us=0\n");
    StartTimed();
    Frame();
    VORNShutdownPlugins();
    started = false;

    gObserved.clear();
    host->systemPath = SystemPath();
    Start();
    Frame();
    EXPECT_TRUE(Kinds(1).empty());
    EXPECT_TRUE(gObserved.empty());
}

}  // namespace
