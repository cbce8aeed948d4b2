// Draw callbacks and key sniffers: duplicate rules, dispatch order and
// filters, ownership, and callbacks that change the list while it is walked.

#include "LibraryFixture.h"
#include "VORNDisplayInternal.h"

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::vector<std::string> gCalls;
const char kThrew[] = "a callback threw an exception; the library ignored it and went on";

// What a registered callback does when it is called: logs "name/id", runs
// its action and returns result.
struct Probe {
    explicit Probe(std::string n) : name(std::move(n)) {}
    std::string name;
    int result = 1;
    std::function<void()> action;
};

int DrawProbe(int phase, int isBefore, void* refcon)
{
    auto* probe = static_cast<Probe*>(refcon);
    gCalls.push_back(probe->name + "/" + std::to_string(VORNGetDispatchedPlugin()) + " " +
                     std::to_string(phase) + (isBefore ? "b" : "a"));
    if (probe->action)
        probe->action();
    return probe->result;
}

int OtherDraw(int, int, void*)
{
    gCalls.push_back("other");
    return 1;
}

int SniffProbe(char key, int flags, char virtualKey, void* refcon)
{
    auto* probe = static_cast<Probe*>(refcon);
    gCalls.push_back(probe->name + "/" + std::to_string(VORNGetDispatchedPlugin()) + " " + key +
                     std::to_string(flags) + virtualKey);
    if (probe->action)
        probe->action();
    return probe->result;
}

class DrawCallbackTest : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        gCalls.clear();
        VORNRegisterHostPlugin();
        a = AddPlugin("A", "t.a");
        b = AddPlugin("B", "t.b");
    }

    int RegisterAs(int id, Probe& probe, int phase, int before)
    {
        StDispatchCallback as(id);
        return VORNRegisterDrawCallback(DrawProbe, phase, before, &probe);
    }

    int SnifferAs(int id, Probe& probe, int beforeWindows)
    {
        StDispatchCallback as(id);
        return VORNRegisterKeySniffer(SniffProbe, beforeWindows, &probe);
    }

    int a = 0, b = 0;
    Probe p1{"p1"}, p2{"p2"}, p3{"p3"};
};

TEST_F(DrawCallbackTest, WithNothingRegisteredEveryDispatchAnswersOne)
{
    EXPECT_EQ(VORNDispatchDrawingHook(0, 1, 0), 1);
    EXPECT_EQ(VORNDispatchDrawingHook(50, 0, 1), 1);
    EXPECT_EQ(VORNDispatchDrawingHook(-7, 1, 0), 1);
    EXPECT_FALSE(VORNDrawWalksRunning());
}

TEST_F(DrawCallbackTest, ADuplicateIsRefusedWhoeverRegistersItAndCalledOnce)
{
    EXPECT_EQ(RegisterAs(a, p1, 5, 1), 1);
    EXPECT_EQ(RegisterAs(a, p1, 5, 1), 0);
    EXPECT_EQ(RegisterAs(b, p1, 5, 1), 0) << "the owner is not compared";
    EXPECT_EQ(VORNDispatchDrawingHook(5, 1, 0), 1);
    EXPECT_THAT(gCalls, ElementsAre("p1/1 5b"));
}

TEST_F(DrawCallbackTest, BeforeAndAfterArSeparateRegistrations)
{
    EXPECT_EQ(RegisterAs(a, p1, 5, 1), 1);
    EXPECT_EQ(RegisterAs(a, p1, 5, 0), 1);
    EXPECT_EQ(RegisterAs(a, p1, 10, 1), 1) << "another phase is another registration";
    VORNDispatchDrawingHook(5, 1, 0);
    VORNDispatchDrawingHook(5, 0, 0);
    EXPECT_THAT(gCalls, ElementsAre("p1/1 5b", "p1/1 5a"));
}

TEST_F(DrawCallbackTest, DispatchCallsMatchingCallbacksNewestFirstAsTheirOwners)
{
    RegisterAs(a, p1, 20, 1);
    RegisterAs(b, p2, 20, 1);
    RegisterAs(a, p3, 20, 0);
    {
        StDispatchCallback as(a);
        VORNRegisterDrawCallback(OtherDraw, 25, 1, nullptr);
    }
    gDispatchedPlugin = 0;
    EXPECT_EQ(VORNDispatchDrawingHook(20, 1, 0), 1);
    EXPECT_THAT(gCalls, ElementsAre("p2/2 20b", "p1/1 20b"));
    EXPECT_EQ(gDispatchedPlugin, 0);
}

TEST_F(DrawCallbackTest, AnyBeforeCallbackReturningZeroMakesTheResultZero)
{
    p1.result = 0;
    RegisterAs(a, p1, 30, 1);
    RegisterAs(b, p2, 30, 1);
    EXPECT_EQ(VORNDispatchDrawingHook(30, 1, 0), 0);
    EXPECT_THAT(gCalls, ElementsAre("p2/2 30b", "p1/1 30b")) << "a zero does not stop the walk";
}

TEST_F(DrawCallbackTest, ResultsAreAndedBitwise)
{
    p1.result = 2;
    RegisterAs(a, p1, 30, 1);
    EXPECT_EQ(VORNDispatchDrawingHook(30, 1, 0), 0);
    p1.result = 3;
    EXPECT_EQ(VORNDispatchDrawingHook(30, 1, 0), 1);
}

TEST_F(DrawCallbackTest, ReflectionFlagOneCallsOnlyOwnersThatWantReflections)
{
    RegisterAs(a, p1, 0, 1);
    RegisterAs(b, p2, 0, 1);
    Record(b).features[kFeatureWantsReflections] = 1;
    VORNDispatchDrawingHook(0, 1, 1);
    EXPECT_THAT(gCalls, ElementsAre("p2/2 0b"));
    gCalls.clear();
    VORNDispatchDrawingHook(0, 1, 2);
    EXPECT_THAT(gCalls, ElementsAre("p2/2 0b", "p1/1 0b")) << "only the value 1 filters";
}

TEST_F(DrawCallbackTest, ADisabledOwnerIsSkippedButKeepsItsRegistration)
{
    p1.result = 0;
    RegisterAs(a, p1, 0, 1);
    Record(a).enabled = false;
    EXPECT_EQ(VORNDispatchDrawingHook(0, 1, 0), 1);
    EXPECT_THAT(gCalls, IsEmpty());
    Record(a).enabled = true;
    EXPECT_EQ(VORNDispatchDrawingHook(0, 1, 0), 0);
}

TEST_F(DrawCallbackTest, AnyPluginMayUnregisterAnIdenticalRegistration)
{
    RegisterAs(a, p1, 5, 1);
    StDispatchCallback asB(b);
    EXPECT_EQ(VORNUnregisterDrawCallback(DrawProbe, 5, 1, &p1), 1);
    EXPECT_EQ(VORNUnregisterDrawCallback(DrawProbe, 5, 1, &p1), 0);
    EXPECT_EQ(VORNUnregisterDrawCallback(DrawProbe, 5, 0, &p1), 0);
    EXPECT_EQ(VORNDispatchDrawingHook(5, 1, 0), 1);
    EXPECT_THAT(gCalls, IsEmpty());
    EXPECT_THAT(VORNLinkedDrawCallbacks(), IsEmpty());
}

TEST_F(DrawCallbackTest, ACallbackRegisteredDuringDispatchWaitsForTheNextOne)
{
    p1.action = [&] { EXPECT_EQ(VORNRegisterDrawCallback(DrawProbe, 5, 1, &p2), 1); };
    RegisterAs(a, p1, 5, 1);
    VORNDispatchDrawingHook(5, 1, 0);
    EXPECT_THAT(gCalls, ElementsAre("p1/1 5b"));
    gCalls.clear();
    p1.action = nullptr;
    VORNDispatchDrawingHook(5, 1, 0);
    EXPECT_THAT(gCalls, ElementsAre("p2/1 5b", "p1/1 5b")) << "owned by the running callback's owner";
}

TEST_F(DrawCallbackTest, ACallbackThatUnregistersItselfIsGoneAndMayRegisterAgain)
{
    p1.action = [&] {
        EXPECT_EQ(VORNUnregisterDrawCallback(DrawProbe, 5, 1, &p1), 1);
        EXPECT_EQ(VORNRegisterDrawCallback(DrawProbe, 5, 1, &p1), 1)
            << "the removed registration no longer counts as a duplicate";
        EXPECT_EQ(VORNUnregisterDrawCallback(DrawProbe, 5, 1, &p1), 1);
    };
    RegisterAs(a, p2, 5, 1);
    RegisterAs(a, p1, 5, 1);
    VORNDispatchDrawingHook(5, 1, 0);
    VORNDispatchDrawingHook(5, 1, 0);
    EXPECT_THAT(gCalls, ElementsAre("p1/1 5b", "p2/1 5b", "p2/1 5b"));
}

TEST_F(DrawCallbackTest, ARecordUnregisteredBeforeTheWalkReachesItIsNotCalled)
{
    p1.action = [&] { VORNUnregisterDrawCallback(DrawProbe, 5, 1, &p2); };
    RegisterAs(a, p3, 5, 1);
    RegisterAs(a, p2, 5, 1);
    RegisterAs(a, p1, 5, 1);
    VORNDispatchDrawingHook(5, 1, 0);
    EXPECT_THAT(gCalls, ElementsAre("p1/1 5b", "p3/1 5b"));
}

TEST_F(DrawCallbackTest, ANestedDispatchMayRemoveTheRecordTheOuterWalkStandsOn)
{
    // p1 (phase 5) draws a nested phase 6, whose callback removes p1 and the
    // record after it; the outer walk goes on to p3.
    Probe inner{"inner"};
    inner.action = [&] {
        VORNUnregisterDrawCallback(DrawProbe, 5, 1, &p1);
        VORNUnregisterDrawCallback(DrawProbe, 5, 1, &p2);
    };
    p1.action = [&] { VORNDispatchDrawingHook(6, 1, 0); };
    RegisterAs(a, inner, 6, 1);
    RegisterAs(a, p3, 5, 1);
    RegisterAs(a, p2, 5, 1);
    RegisterAs(b, p1, 5, 1);
    VORNDispatchDrawingHook(5, 1, 0);
    EXPECT_THAT(gCalls, ElementsAre("p1/2 5b", "inner/1 6b", "p3/1 5b"));
    EXPECT_FALSE(VORNDrawWalksRunning());
    gCalls.clear();
    VORNDispatchDrawingHook(5, 1, 0);
    EXPECT_THAT(gCalls, ElementsAre("p3/1 5b"));
}

TEST_F(DrawCallbackTest, UnregisteringTheLastCallbackOfAPhaseDuringItsDispatchEndsCleanly)
{
    p1.action = [&] { VORNUnregisterDrawCallback(DrawProbe, 5, 1, &p1); };
    RegisterAs(a, p1, 5, 1);
    VORNDispatchDrawingHook(5, 1, 0);
    VORNDispatchDrawingHook(5, 1, 0);
    EXPECT_THAT(gCalls, ElementsAre("p1/1 5b"));
    EXPECT_EQ(RegisterAs(a, p1, 5, 1), 1);
    VORNDispatchDrawingHook(5, 1, 0);
    EXPECT_EQ(gCalls.size(), 2u) << "a phase that was emptied and refilled is dispatched again";
}

TEST_F(DrawCallbackTest, CleanupRemovesDrawCallbacksAndSniffersOfThePluginOnly)
{
    RegisterAs(a, p1, 5, 1);
    RegisterAs(b, p2, 5, 1);
    SnifferAs(a, p1, 1);
    SnifferAs(b, p2, 1);
    VORNDisplayCleanupHook(a);
    VORNDispatchDrawingHook(5, 1, 0);
    VORNDispatchKeySniffers('k', 0, 'K', true);
    EXPECT_THAT(gCalls, ElementsAre("p2/2 5b", "p2/2 k0K"));
    EXPECT_EQ(RegisterAs(a, p1, 5, 1), 1) << "nothing of A is left to be a duplicate";
}

TEST_F(DrawCallbackTest, CleanupAfterAnUnregistrationStillFindsThePluginsOtherCallbacks)
{
    RegisterAs(a, p1, 5, 1);
    RegisterAs(a, p2, 5, 1);
    RegisterAs(a, p3, 200, 1);  // a pair outside the array
    RegisterAs(b, p3, 5, 1);
    {
        StDispatchCallback asA(a);
        VORNUnregisterDrawCallback(DrawProbe, 5, 1, &p1);
    }
    VORNPluginInventory held{};
    VORNCountDrawHoldings(a, &held);
    EXPECT_EQ(held.drawCallbacks, 2);
    VORNDisplayCleanupHook(a);
    VORNDispatchDrawingHook(5, 1, 0);
    VORNDispatchDrawingHook(200, 1, 0);
    EXPECT_THAT(gCalls, ElementsAre("p3/2 5b"));
}

TEST_F(DrawCallbackTest, CleanupDuringDispatchSkipsTheRemovedRecords)
{
    p1.action = [&] { VORNDisplayCleanupHook(b); };
    RegisterAs(b, p3, 5, 1);
    RegisterAs(a, p1, 5, 1);
    RegisterAs(b, p2, 5, 1);
    VORNDispatchDrawingHook(5, 1, 0);
    EXPECT_THAT(gCalls, ElementsAre("p2/2 5b", "p1/1 5b"));
}

TEST_F(DrawCallbackTest, SnifferDuplicatesAndStages)
{
    EXPECT_EQ(SnifferAs(a, p1, 1), 1);
    EXPECT_EQ(SnifferAs(b, p1, 1), 0);
    EXPECT_EQ(SnifferAs(a, p1, 0), 1);
    EXPECT_EQ(SnifferAs(a, p2, 7), 1);
    EXPECT_EQ(VORNDispatchKeySniffers('x', 3, 'X', true), 1);
    EXPECT_THAT(gCalls, ElementsAre("p2/1 x3X", "p1/1 x3X"));
    gCalls.clear();
    EXPECT_EQ(VORNDispatchKeySniffers('y', 0, 'Y', false), 1);
    EXPECT_THAT(gCalls, ElementsAre("p1/1 y0Y"));
}

TEST_F(DrawCallbackTest, TheFirstSnifferReturningZeroConsumesTheKey)
{
    p2.result = 0;
    SnifferAs(a, p1, 1);
    SnifferAs(b, p2, 1);
    SnifferAs(a, p3, 1);
    EXPECT_EQ(VORNDispatchKeySniffers('x', 0, 'X', true), 0);
    EXPECT_THAT(gCalls, ElementsAre("p3/1 x0X", "p2/2 x0X"));
    EXPECT_FALSE(VORNDrawWalksRunning());
}

TEST_F(DrawCallbackTest, SnifferUnregisteringItselfAndOthersDuringDispatch)
{
    p3.action = [&] {
        EXPECT_EQ(VORNUnregisterKeySniffer(SniffProbe, 1, &p3), 1);
        EXPECT_EQ(VORNUnregisterKeySniffer(SniffProbe, 1, &p2), 1);
        EXPECT_EQ(VORNRegisterKeySniffer(SniffProbe, 1, &p3), 1);
    };
    SnifferAs(a, p1, 1);
    SnifferAs(b, p2, 1);
    SnifferAs(a, p3, 1);
    VORNDispatchKeySniffers('x', 0, 'X', true);
    EXPECT_THAT(gCalls, ElementsAre("p3/1 x0X", "p1/1 x0X"));
    EXPECT_EQ(VORNUnregisterKeySniffer(SniffProbe, 1, &p2), 0);
    EXPECT_EQ(VORNUnregisterKeySniffer(SniffProbe, 1, &p3), 1);
}

TEST_F(DrawCallbackTest, SniffersOfPluginsThatCannotBeCalledArePassedOver)
{
    p1.result = 0;
    SnifferAs(a, p1, 1);
    Record(a).enabled = false;
    EXPECT_EQ(VORNDispatchKeySniffers('x', 0, 'X', true), 1);
    EXPECT_THAT(gCalls, IsEmpty());
}

// A callback that throws counts as having returned 1: the host still draws,
// the key still goes on. One warning names the owner; the walk goes on.
TEST_F(DrawCallbackTest, ADrawCallbackThatThrowsCountsAsOneAndTheWalkGoesOn)
{
    p2.action = [] { throw std::runtime_error("draw failed"); };
    p2.result = 0;
    RegisterAs(a, p1, 20, 1);
    RegisterAs(b, p2, 20, 1);
    host->ClearRecord();
    EXPECT_EQ(VORNDispatchDrawingHook(20, 1, 0), 1);
    EXPECT_THAT(gCalls, ElementsAre("p2/2 20b", "p1/1 20b"));
    EXPECT_THAT(host->debugWrites,
                ElementsAre("[", "B", "]: ", std::string(kThrew), "\n"));
    EXPECT_EQ(gDispatchedPlugin, 0);
    EXPECT_EQ(RegisterAs(b, p3, 20, 1), 1) << "the list is usable as before";
}

TEST_F(DrawCallbackTest, AKeySnifferThatThrowsLetsTheKeyGoOn)
{
    p2.action = [] { throw 7; };
    p2.result = 0;
    SnifferAs(a, p1, 1);
    SnifferAs(b, p2, 1);
    host->ClearRecord();
    EXPECT_EQ(VORNDispatchKeySniffers('k', 0, 'K', true), 1);
    EXPECT_THAT(gCalls, ElementsAre("p2/2 k0K", "p1/1 k0K"));
    EXPECT_THAT(host->debugWrites,
                ElementsAre("[", "B", "]: ", std::string(kThrew), "\n"));
    EXPECT_EQ(gDispatchedPlugin, 0);
}

}  // namespace
