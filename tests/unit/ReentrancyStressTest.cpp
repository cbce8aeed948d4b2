// Flight loops and draw callbacks that randomly create, destroy, schedule and unregister loops
// and draw callbacks (their own, others', the running one) in the middle of passes and nested
// dispatches. After every pass the registries hold exactly what a simple model says is alive,
// and nothing removed is ever called again.

#include "LibraryFixture.h"
#include "VORNDisplayInternal.h"
#include "VORNProcessingInternal.h"

#include <gmock/gmock.h>

#include <array>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

using namespace vorntest;

namespace {

struct Agent {
    int tag = 0, owner = 0, phase = 0, before = 0;  // phase and before: a draw callback's
    int createdInPass = -1, calledInPass = -1;
    bool isLoop = true;
    VORNFlightLoopID handle = nullptr;
    std::set<int> drawsRunningAtCreation;  // draw dispatches that must not reach it
};

class ReentrancyStressTest : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        VORNRegisterHostPlugin();
        for (int i = 0; i < kPlugins; ++i)
            Record(AddPlugin("P" + std::to_string(i), "t.p" + std::to_string(i))).errorCallback = RecordError;
        self = this;
    }

    static float LoopCallback(float, float, int, void* refcon)
    {
        Agent& agent = *static_cast<Agent*>(refcon);
        self->CheckCall(agent, self->liveLoops);
        ++self->loopCalls;
        self->Act(true);
        return self->Pick(4) == 0 ? self->RandomInterval() : -1.0f;
    }

    static int DrawCallback(int phase, int isBefore, void* refcon)
    {
        Agent& agent = *static_cast<Agent*>(refcon);
        EXPECT_EQ(agent.phase, phase);
        EXPECT_EQ(agent.before, isBefore);
        if (self->quiet) {
            self->drawnQuietly.insert(agent.tag);
        } else {
            self->CheckCall(agent, self->liveDraws);
            self->Act(false);
        }
        return 1;
    }

    void CheckCall(Agent& agent, const std::set<int>& live)
    {
        EXPECT_EQ(live.count(agent.tag), 1u) << "removed record " << agent.tag << " was called";
        EXPECT_EQ(VORNGetDispatchedPlugin(), agent.owner);
        if (!agent.isLoop) {
            EXPECT_EQ(agent.drawsRunningAtCreation.count(runningDraws.back()), 0u)
                << "a draw callback was reached by a dispatch running when it was registered";
        } else {
            EXPECT_NE(agent.createdInPass, pass) << "a loop created during a pass was reached by it";
            EXPECT_NE(agent.calledInPass, pass) << "called twice in one pass";
            agent.calledInPass = pass;
        }
    }

    int Pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); }
    int RandomPlugin() { return 1 + Pick(kPlugins); }
    float RandomInterval() { return std::array<float, 6>{-1.0f, -2.0f, -3.0f, 0.0f, 0.01f, 0.5f}[Pick(6)]; }

    // Registered (again) by whoever runs now.
    void Adopt(Agent& agent)
    {
        agent.owner = VORNGetDispatchedPlugin();
        agent.drawsRunningAtCreation = {runningDraws.begin(), runningDraws.end()};
        (agent.isLoop ? liveLoops : liveDraws).insert(agent.tag);
    }

    Agent& NewAgent(bool isLoop)
    {
        const int tag = static_cast<int>(agents.size());
        agents.push_back(std::make_unique<Agent>(Agent{tag, 0, 0, 0, inPass ? pass : -1, -1, isLoop, nullptr, {}}));
        return *agents.back();
    }

    Agent* RandomLive(const std::set<int>& live)
    {
        return live.empty() ? nullptr : agents[*std::next(live.begin(), Pick(int(live.size())))].get();
    }

    void CreateLoop()
    {
        if (liveLoops.size() > 40)
            return;
        Agent& agent = NewAgent(true);
        VORNCreateFlightLoop_t params = {24, Pick(2), LoopCallback, &agent};
        agent.handle = VORNCreateFlightLoop(&params);
        VORNScheduleFlightLoop(agent.handle, RandomInterval(), Pick(2));
        Adopt(agent);
    }

    // A loop action; another plug-in's loop is refused with an error.
    void OnLoop(int action)
    {
        Agent* agent = RandomLive(liveLoops);
        if (agent == nullptr)
            return;
        const bool own = agent->owner == VORNGetDispatchedPlugin();
        if (action == 1) {
            VORNDestroyFlightLoop(agent->handle);
            own ? void(liveLoops.erase(agent->tag)) : void(++expectedErrors);
        } else if (action == 2) {
            VORNScheduleFlightLoop(agent->handle, RandomInterval(), Pick(2));
            expectedErrors += own ? 0 : 1;
        } else if (action == 3) {
            VORNUnregisterFlightLoopCallback(LoopCallback, agent);
            liveLoops.erase(agent->tag);
        } else {
            VORNSetFlightLoopCallbackInterval(LoopCallback, RandomInterval(), Pick(2), agent);
        }
    }

    void RegisterDraw()
    {
        if (liveDraws.size() > 30)
            return;
        Agent& agent = NewAgent(false);
        agent.phase = 1 + Pick(3);
        agent.before = Pick(2);
        EXPECT_EQ(VORNRegisterDrawCallback(DrawCallback, agent.phase, agent.before, &agent), 1);
        Adopt(agent);
    }

    void RegisterDrawAgain()
    {
        Agent* agent = agents.empty() ? nullptr : agents[Pick(static_cast<int>(agents.size()))].get();
        if (agent == nullptr || agent->isLoop)
            return;
        const bool live = liveDraws.count(agent->tag) != 0;
        EXPECT_EQ(VORNRegisterDrawCallback(DrawCallback, agent->phase, agent->before, agent), live ? 0 : 1);
        if (!live)
            Adopt(*agent);
    }

    void UnregisterDraw()
    {
        if (Agent* agent = RandomLive(liveDraws)) {
            for (int removed : {1, 0})
                EXPECT_EQ(VORNUnregisterDrawCallback(DrawCallback, agent->phase, agent->before, agent), removed);
            liveDraws.erase(agent->tag);
        }
    }

    void CleanUpPlugin()
    {
        const int id = RandomPlugin();
        VORNDisplayCleanupHook(id);
        VORNProcessingCleanupHook(id);
        for (auto* live : {&liveLoops, &liveDraws}) {
            for (auto it = live->begin(); it != live->end();)
                it = agents[*it]->owner == id ? live->erase(it) : std::next(it);
        }
    }

    void Dispatch(int phase, int before)
    {
        runningDraws.push_back(++drawSerial);
        VORNDispatchDrawingHook(phase, before, 0);
        runningDraws.pop_back();
    }

    // One to three random actions, sometimes on behalf of another plug-in.
    void Act(bool inLoop)
    {
        if (depth == 4)
            return;
        ++depth;
        for (int n = 1 + Pick(3); n > 0; --n) {
            StDispatchCallback asPlugin(Pick(5) == 0 ? RandomPlugin() : VORNGetDispatchedPlugin());
            switch (const int action = Pick(inLoop ? 12 : 9)) {
            case 0: case 9: CreateLoop(); break;
            case 1: case 2: case 3: case 4: OnLoop(action); break;
            case 5: RegisterDraw(); break;
            case 6: RegisterDrawAgain(); break;
            case 7: UnregisterDraw(); break;
            case 8: Dispatch(1 + Pick(3), Pick(2)); break;
            case 10: if (Pick(20) == 0) CleanUpPlugin(); break;
            default: RegisterDraw(); break;
            }
        }
        --depth;
    }

    // The tags of a registry's linked records.
    template <typename T>
    std::set<int> Linked(const std::vector<const T*>& records)
    {
        std::set<int> tags;
        for (const T* r : records) {
            EXPECT_FALSE(r->dead) << "a removed record is still linked after the pass";
            tags.insert(static_cast<Agent*>(r->refcon)->tag);
        }
        return tags;
    }
    std::set<int> LinkedLoops()
    {
        std::vector<const VORNFlightLoopRecord*> records;
        for (auto* r = VORNFirstFlightLoop(); r != nullptr; r = VORNResourceList<VORNFlightLoopRecord>::Next(r))
            records.push_back(r);
        return Linked(records);
    }

    // Every live draw callback of a phase is called exactly once.
    void CheckQuietDraw()
    {
        quiet = true;
        for (int phase = 1; phase <= 3; ++phase) {
            for (int before = 0; before <= 1; ++before) {
                drawnQuietly.clear();
                Dispatch(phase, before);
                std::set<int> expected;
                for (int tag : liveDraws) {
                    const Agent& agent = *agents[tag];
                    if (agent.phase == phase && agent.before == before && Record(agent.owner).enabled)
                        expected.insert(tag);
                }
                EXPECT_EQ(drawnQuietly, expected) << "phase " << phase << " before " << before;
            }
        }
        quiet = false;
    }

    static constexpr int kPlugins = 3;
    static ReentrancyStressTest* self;

    std::mt19937 rng{12345};
    std::vector<std::unique_ptr<Agent>> agents;  // never shrinks: stable refcons
    std::set<int> liveLoops, liveDraws, drawnQuietly;
    std::vector<int> runningDraws;
    int pass = 0, depth = 0, drawSerial = 0;
    bool quiet = false, inPass = false;
    size_t loopCalls = 0, expectedErrors = 0;
};

ReentrancyStressTest* ReentrancyStressTest::self = nullptr;

TEST_F(ReentrancyStressTest, RandomChangesDuringPassesKeepTheRegistriesExact)
{
    for (int i = 0; i < 6; ++i) {
        StDispatchCallback asPlugin(RandomPlugin());
        CreateLoop();
        RegisterDraw();
    }
    for (pass = 1; pass <= 6000; ++pass) {
        if (Pick(50) == 0)
            Record(RandomPlugin()).enabled ^= true;
        while (liveLoops.size() < 15) {
            StDispatchCallback asPlugin(RandomPlugin());
            CreateLoop();
        }
        inPass = true;
        VORNDoFlightLoopProcessing(pass * 0.01f, pass % 2 == 0 ? 0 : 10);
        inPass = false;
        if (pass % 3 == 0)
            Dispatch(1 + Pick(3), Pick(2));
        ASSERT_EQ(VORNFlightLoopIterationDepth(), 0);
        ASSERT_FALSE(VORNDrawWalksRunning());
        ASSERT_EQ(LinkedLoops(), liveLoops) << "after pass " << pass;
        ASSERT_EQ(Linked(VORNLinkedDrawCallbacks()), liveDraws) << "after pass " << pass;
        if (pass % 10 == 0)
            CheckQuietDraw();
        ASSERT_FALSE(HasFailure()) << "pass " << pass;
    }
    EXPECT_EQ(gErrors.size(), expectedErrors);
    EXPECT_GT(agents.size(), 1000u) << "the stress must actually churn";
    EXPECT_GT(loopCalls, 10000u);
}

}  // namespace
