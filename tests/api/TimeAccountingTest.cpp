// Time accounting with real plug-ins that busy-wait known lengths
// (tests/plugins/busy.c) or run test code as themselves (the agent). Times
// are only compared with each other or with a wait they must exceed.

#include "PluginRoot.h"
#include "VORN/VORNDisplay.h"
#include "VORN/VORNProcessing.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <map>
#include <sstream>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

const int64_t kMs = 1000000;  // nanoseconds

std::vector<VORNCallTiming> gObserved;  // every call reported, in the order they ended

class TimeAccountingTest : public LoaderTest {
protected:
    void SetUp() override
    {
        LoaderTest::SetUp();
        gObserved.clear();
        host->systemPath = SystemPath();
    }

    // A copy of the busy plug-in; ids follow the byte order of the files.
    void AddBusy(const std::string& file, const std::string& name, const std::string& settings)
    {
        InstallPlugin("busy", file);
        root.WriteFile("Resources/plugins/" + file + ".cfg", "name=" + name + "\n" + settings);
    }

    void StartTimed()
    {
        VORNSetTimeAccounting(1);
        VORNSetCallObserver([](const VORNCallTiming* call, void*) { gObserved.push_back(*call); },
                            nullptr);
        Start();
    }

    void Step() { Frame(static_cast<float>(++frames) / 60.0f); }

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
        VORNFrameTimes times{};
        times.structSize = sizeof times;
        EXPECT_EQ(VORNGetPluginFrameTimes(id, &times), 1);
        return times;
    }

    static std::vector<VORNCallTiming> ObservedFor(int id, int kind)
    {
        std::vector<VORNCallTiming> calls;
        for (const VORNCallTiming& call : gObserved) {
            if (call.plugin == id && call.kind == kind)
                calls.push_back(call);
        }
        return calls;
    }

    int frames = 0;
};

TEST_F(TimeAccountingTest, EachCallIsChargedToItsPluginAndKindAndTheLargestIsAtLeastItsWait)
{
    AddBusy("a_quick.vpl", "Quick", "loop_us=0\n");
    AddBusy("b_slow.vpl", "Slow", "loop_us=3000\n");
    StartTimed();
    for (int frame = 0; frame < 5; ++frame)
        Step();
    const VORNCallTimes slow = Kind(2, "flight loop (phase 0)");
    EXPECT_EQ(slow.kind, VORN_CALL_FLIGHT_LOOP);
    EXPECT_EQ(slow.phase, 0);
    EXPECT_EQ(slow.before, -1);
    EXPECT_EQ(slow.calls, 5);
    EXPECT_EQ(Kind(1, "flight loop (phase 0)").calls, 5);
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
            VORNCreateFlightLoop_t params = {sizeof params, phase,
                                             [](float, float, int, void*) { return -1.0f; }, nullptr};
            VORNScheduleFlightLoop(VORNCreateFlightLoop(&params), -1.0f, 0);
        }
        for (int before : {1, 0})
            VORNRegisterDrawCallback([](int, int, void*) { return 1; }, 30, before, nullptr);
    });
    Step();
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

TEST_F(TimeAccountingTest, ANestedCallIsChargedToTheInnerPlugin)
{
    // The reader's flight loop reads the owner's data ref, whose accessor waits 3 ms.
    AddBusy("a_reader.vpl", "Reader", "loop_us=0\nread=test/busy/value\n");
    AddBusy("b_owner.vpl", "Owner", "publish=test/busy/value\npublish_us=3000\n");
    StartTimed();
    for (int frame = 0; frame < 3; ++frame)
        Step();
    const VORNCallTimes accessor = Kind(2, "data accessor");
    EXPECT_EQ(accessor.calls, 3);
    EXPECT_GE(accessor.maxNs, 3 * kMs);
    EXPECT_GT(accessor.totalNs, Kind(1, "flight loop (phase 0)").totalNs);
    // Each loop call's wall time holds the accessor's; its self time leaves it out.
    const auto loops = ObservedFor(1, VORN_CALL_FLIGHT_LOOP);
    const auto reads = ObservedFor(2, VORN_CALL_DATA_ACCESSOR);
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

TEST_F(TimeAccountingTest, ACallOverTheBudgetIsCountedEveryTimeAndLoggedOncePerKind)
{
    AddBusy("a_slow.vpl", "Slow", "loop_us=2000\npublish=test/busy/slow\npublish_us=2000\n");
    AddBusy("b_reader.vpl", "Reader", "loop_us=0\nread=test/busy/slow\n");
    VORNSetFrameBudget(1.0f);
    StartTimed();
    host->ClearRecord();
    gObserved.clear();
    for (int frame = 0; frame < 4; ++frame)
        Step();
    // Worded with the first call over the budget.
    auto line = [](const std::string& kind, int kindCode) {
        char text[200];
        std::snprintf(text, sizeof text, "[Slow]: %s took %.3f ms, over the budget of 1 ms",
                      kind.c_str(), static_cast<double>(ObservedFor(1, kindCode).at(0).selfNs) / 1e6);
        return std::string(text);
    };
    std::vector<std::string> warnings;
    std::istringstream log(host->Log());
    for (std::string text; std::getline(log, text);) {
        if (text.find("over the budget") != std::string::npos)
            warnings.push_back(text);
    }
    EXPECT_THAT(warnings, UnorderedElementsAre(line("flight loop (phase 0)", VORN_CALL_FLIGHT_LOOP),
                                               line("data accessor", VORN_CALL_DATA_ACCESSOR)));
    EXPECT_EQ(Kind(1, "flight loop (phase 0)").overBudget, 4);
    EXPECT_EQ(Kind(1, "data accessor").overBudget, 4);
    // The reader's own loop stays under: the 2 ms it waits are the accessor's.
    EXPECT_EQ(Kind(2, "flight loop (phase 0)").overBudget, 0);
}

TEST_F(TimeAccountingTest, FrameTotalsAddUpTheCallsOfTheFrameAndKeepTheLargest)
{
    // Every third loop call of Spiky waits 4 ms instead of 0.2.
    AddBusy("a_steady.vpl", "Steady", "loop_us=300\nloop_phase=1\n");
    AddBusy("b_spiky.vpl", "Spiky", "loop_us=200\nspike_us=4000\nspike_every=3\n");
    StartTimed();
    std::vector<std::map<int, int64_t>> perFrame;  // self time per plug-in, from the observer
    for (int frame = 0; frame < 7; ++frame) {
        gObserved.clear();
        Step();
        VORNDoDrawingHook(1, 0);
        if (frame > 0) {
            // The event 0 that began this frame ended the one before.
            EXPECT_EQ(Frames(2).frames, frame);
            EXPECT_EQ(Frames(1).lastFrameNs, perFrame.back()[1]);
            EXPECT_EQ(Frames(2).lastFrameNs, perFrame.back()[2]);
        }
        perFrame.emplace_back();
        for (const VORNCallTiming& call : gObserved)
            perFrame.back()[call.plugin] += call.selfNs;
    }
    // Frames 0 to 5 are complete; Spiky spiked in frames 2 and 5 (which of
    // them cost most depends on the machine's other work).
    const VORNFrameTimes spiky = Frames(2);
    EXPECT_EQ(spiky.frames, 6);
    size_t costliest = 0;
    for (size_t frame = 1; frame < 6; ++frame) {
        if (perFrame[frame][2] > perFrame[costliest][2])
            costliest = frame;
    }
    EXPECT_EQ(spiky.largestFrame, static_cast<int64_t>(costliest));
    EXPECT_EQ(spiky.largestFrameNs, perFrame[costliest][2]);
    EXPECT_GE(spiky.largestFrameNs, 4 * kMs);
    EXPECT_GE(spiky.totalNs, 2 * 4 * kMs);
    // The host's record was called in no frame: all tie at 0, and a tie
    // keeps the earlier frame.
    EXPECT_EQ(Frames(0).largestFrame, 0);
}

TEST_F(TimeAccountingTest, OffNothingIsCountedResetAndShutdownDropTheFigures)
{
    AddBusy("a_busy.vpl", "Busy", "loop_us=100\n");
    Start();
    VORNSetCallObserver([](const VORNCallTiming* call, void*) { gObserved.push_back(*call); },
                        nullptr);
    Step();
    EXPECT_THAT(Kinds(1), IsEmpty());
    EXPECT_THAT(gObserved, IsEmpty());

    VORNSetTimeAccounting(1);
    Step();
    Step();
    EXPECT_EQ(Kind(1, "flight loop (phase 0)").calls, 2);
    EXPECT_EQ(Frames(1).frames, 1) << "the frame running when accounting came on does not count";

    VORNResetTimeAccounting();
    EXPECT_THAT(Kinds(1), IsEmpty());
    EXPECT_EQ(Frames(1).frames, 0);
    EXPECT_EQ(Frames(1).largestFrame, -1);
    Step();
    EXPECT_EQ(Kind(1, "flight loop (phase 0)").calls, 1);

    VORNSetTimeAccounting(0);
    gObserved.clear();
    Step();
    EXPECT_EQ(Kind(1, "flight loop (phase 0)").calls, 1);
    EXPECT_THAT(gObserved, IsEmpty());

    VORNSetTimeAccounting(1);
    VORNShutdownPlugins();
    gObserved.clear();
    Start();
    Step();
    EXPECT_THAT(Kinds(1), IsEmpty()) << "shutdown switches accounting off and drops the figures";
    EXPECT_THAT(gObserved, IsEmpty());
}

}  // namespace
