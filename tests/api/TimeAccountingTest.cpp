// Time accounting of real calls into plug-ins: agents whose flight loops and data accessors
// busy-wait known lengths. Times are only compared with each other or with a wait they must exceed.

#include "AgentHost.h"
#include "VORN/VORNDataAccess.h"
#include "VORN/VORNProcessing.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

namespace {

const int64_t kMs = 1000000;  // nanoseconds

std::vector<VORNCallTiming> gObserved;  // every call reported, in the order they ended

void* Ns(int64_t ns) { return reinterpret_cast<void*>(static_cast<intptr_t>(ns)); }
void Spin(void* ns)
{
    using std::chrono::steady_clock;
    const auto end = steady_clock::now() + std::chrono::nanoseconds(reinterpret_cast<intptr_t>(ns));
    while (steady_clock::now() < end) {
    }
}
float Spinning(float, float, int, void* ns)
{
    Spin(ns);
    return -1.0f;
}

class TimeAccountingTest : public AgentHostTest {
protected:
    void StartTimed(int agents)
    {
        gObserved.clear();
        VORNSetTimeAccounting(1);
        VORNSetCallObserver([](const VORNCallTiming* call, void*) { gObserved.push_back(*call); },
                            nullptr);
        StartAgents(agents);
    }

    // Gives plug-in id a flight loop of that phase, due on every pass.
    static void Loop(int id, int phase, VORNFlightLoop_f callback, void* refcon)
    {
        As(id, [=] {
            VORNCreateFlightLoop_t params = {sizeof params, phase, callback, refcon};
            VORNScheduleFlightLoop(VORNCreateFlightLoop(&params), -1.0f, 0);
        });
    }

    void Step() { Frame(static_cast<float>(++frames) / 60.0f); }

    static std::vector<VORNCallTimes> Kinds(int id)
    {
        std::vector<VORNCallTimes> kinds;
        VORNCallTimes times{};
        times.structSize = sizeof times;
        while (VORNGetPluginCallTimes(id, static_cast<int>(kinds.size()), &times) == 1)
            kinds.push_back(times);
        return kinds;
    }

    static VORNCallTimes Kind(int id, const std::string& label)
    {
        const auto kinds = Kinds(id);
        const auto it = std::find_if(kinds.begin(), kinds.end(),
                                     [&](auto& times) { return label == times.label; });
        return it != kinds.end() ? *it : VORNCallTimes{};
    }

    static VORNFrameTimes Frames(int id)
    {
        VORNFrameTimes times{};
        times.structSize = sizeof times;
        EXPECT_EQ(VORNGetPluginFrameTimes(id, &times), 1);
        return times;
    }

    static std::vector<VORNCallTiming> ObservedFor(int id, int kind)
    {
        std::vector<VORNCallTiming> calls;
        std::copy_if(gObserved.begin(), gObserved.end(), std::back_inserter(calls),
                     [&](auto& call) { return call.plugin == id && call.kind == kind; });
        return calls;
    }

    int frames = 0;
};

TEST_F(TimeAccountingTest, EachCallIsChargedToItsPluginKindAndFrameAndTheLargestFrameIsKept)
{
    StartTimed(2);
    Loop(1, 1, Spinning, Ns(0));
    Loop(1, 0, Spinning, Ns(0));
    Loop(2, 0, Spinning, Ns(3 * kMs));
    for (int frame = 0; frame < 4; ++frame)
        Step();
    std::vector<std::string> labels;
    for (const VORNCallTimes& times : Kinds(1))
        labels.push_back(times.label);
    EXPECT_THAT(labels, ElementsAre("start", "enable", "message", "flight loop (phase 0)",
                                    "flight loop (phase 1)"));
    const VORNCallTimes slow = Kind(2, "flight loop (phase 0)");
    EXPECT_THAT(std::vector<int64_t>({slow.kind, slow.phase, slow.before, slow.calls, slow.overBudget}),
                ElementsAre(VORN_CALL_FLIGHT_LOOP, 0, -1, 4, 0));
    const std::vector<int64_t> rising = {3 * kMs, slow.p50Ns, slow.p95Ns, slow.p99Ns, slow.maxNs};
    EXPECT_TRUE(std::is_sorted(rising.begin(), rising.end())) << ::testing::PrintToString(rising);
    EXPECT_EQ(Frames(2).frames, 3);
    EXPECT_GE(Frames(2).largestFrameNs, 3 * kMs);
    // The host's record was called in no frame: all tie at 0, and a tie keeps the earlier frame.
    EXPECT_EQ(Frames(0).largestFrame, 0);
}

TEST_F(TimeAccountingTest, NestedCallsAreChargedToTheirOwnPluginAgainstTheBudget)
{
    // Plug-in 1's loop reads plug-in 2's data ref; 2's accessor and loop wait 2 ms each.
    VORNSetFrameBudget(1.0f);
    StartTimed(2);
    VORNDataRef ref = AsReturning<VORNDataRef>(2, [] {
        return VORNRegisterDataAccessor(
            "test/slow", VORN_DATA_INT, 0, [](void* ns) { Spin(ns); return 7; }, nullptr, nullptr,
            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
            Ns(2 * kMs), nullptr);
    });
    Loop(1, 0, [](float, float, int, void* ref) {
        VORNGetDatai(static_cast<VORNDataRef>(ref));
        return -1.0f;
    }, ref);
    Loop(2, 0, Spinning, Ns(2 * kMs));
    host->ClearRecord();
    for (int frame = 0; frame < 4; ++frame)
        Step();
    const VORNCallTimes accessor = Kind(2, "data accessor");
    EXPECT_EQ(accessor.calls, 4);
    EXPECT_GE(accessor.maxNs, 2 * kMs);
    // Each loop call's wall time holds the accessor's; its self time leaves it out.
    const auto loops = ObservedFor(1, VORN_CALL_FLIGHT_LOOP);
    const auto reads = ObservedFor(2, VORN_CALL_DATA_ACCESSOR);
    ASSERT_THAT(std::vector<size_t>({loops.size(), reads.size()}), ElementsAre(4u, 4u));
    for (size_t i = 0; i < loops.size(); ++i) {
        EXPECT_THAT(std::vector<int>({loops[i].depth, reads[i].depth}), ElementsAre(0, 1));
        EXPECT_EQ(reads[i].selfNs, reads[i].durationNs);
        EXPECT_GE(reads[i].startNs, loops[i].startNs);
        EXPECT_LE(reads[i].startNs + reads[i].durationNs,
                  loops[i].startNs + loops[i].durationNs);
        EXPECT_LE(loops[i].selfNs, loops[i].durationNs - reads[i].durationNs);
    }

    // Counted every time, worded with the first call over the budget.
    auto line = [](const std::string& kind, int kindCode) {
        char text[200];
        std::snprintf(text, sizeof text, "%s took %.3f ms, over the budget of 1 ms",
                      kind.c_str(), static_cast<double>(ObservedFor(2, kindCode).at(0).selfNs) / 1e6);
        return std::string(text);
    };
    std::vector<std::string> warnings;  // the warning's text is one write
    std::copy_if(host->debugWrites.begin(), host->debugWrites.end(), std::back_inserter(warnings),
                 [](auto& write) { return write.find("over the budget") != std::string::npos; });
    EXPECT_THAT(warnings, UnorderedElementsAre(line("flight loop (phase 0)", VORN_CALL_FLIGHT_LOOP),
                                               line("data accessor", VORN_CALL_DATA_ACCESSOR)));
    EXPECT_EQ(Kind(2, "flight loop (phase 0)").overBudget, 4);
    EXPECT_EQ(accessor.overBudget, 4);
    EXPECT_EQ(Kind(1, "flight loop (phase 0)").overBudget, 0)
        << "the 2 ms it waits are the accessor's";
}

}  // namespace
