// Multiplayer aircraft: one owner at a time, the line of waiting plug-ins and
// its hand-over, the host's two questions, and the user-aircraft calls.

#include "PluginTrioFixture.h"
#include "VORN/VORNDataAccess.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

namespace {

// The host's "ai_loc" data refs: every write, as "ai_loc[i]=v".
std::vector<std::string> gAiWrites;
int gAiIndex[26];
void WriteAiLoc(void* refcon, int value)
{
    gAiWrites.push_back("ai_loc[" + std::to_string(*static_cast<int*>(refcon)) +
                        "]=" + std::to_string(value));
}

// What the waiting plug-ins' callbacks did, in order.
std::vector<std::string> gCalls;

void Acquire(void* refcon)
{
    const int got = VORNAcquirePlanes(nullptr, Acquire, refcon);
    gCalls.push_back(std::to_string(VORNGetMyID()) + " acquires " + std::to_string(got));
}

void AcquireAndRelease(void* refcon)
{
    Acquire(refcon);
    VORNReleasePlanes();
}

void NoteOnly(void*)
{
    gCalls.push_back(std::to_string(VORNGetMyID()) + " called");
}

// A host that asks back about the plane while the library has it load a model.
std::vector<std::string> gAskedBack;
void SetModelAndAskBack(int index, const char*, const char*)
{
    char path[256] = "host's own";
    VORNHandleUpdatePlaneNameAndPath(index, nullptr, path);
    gAskedBack.push_back(std::string(path) + ", count " +
                         std::to_string(VORNHandleGetNumberPlanesToHandle(20, 0)));
}

class PlanesTest : public PluginTrioTest {
protected:
    void SetUp() override
    {
        PluginTrioTest::SetUp();
        gAiWrites.clear();
        gCalls.clear();
        gAskedBack.clear();
        // Published by the host itself, like the simulator does at start.
        for (int i = 0; i < 26; ++i) {
            gAiIndex[i] = i;
            const std::string name = "sim/private/net_disables/ai_loc[" + std::to_string(i) + "]";
            aiLoc[i] = VORNRegisterDataAccessor(name.c_str(), VORN_DATA_INT, 1, nullptr, WriteAiLoc,
                                                nullptr, nullptr, nullptr, nullptr, nullptr,
                                                nullptr, nullptr, nullptr, nullptr, nullptr,
                                                nullptr, &gAiIndex[i]);
        }
    }

    void TearDown() override
    {
        VORNSetDispatchedPlugin(VORN_HOST_PLUGIN_ID);
        for (VORNDataRef ref : aiLoc)
            VORNUnregisterDataAccessor(ref);
        PluginTrioTest::TearDown();
    }

    int AcquireAs(int id, char** paths = nullptr, VORNPlanesAvailable_f callback = nullptr)
    {
        return As(id, [&] { return VORNAcquirePlanes(paths, callback, nullptr); });
    }

    static std::vector<std::string> ZeroWrites(int from, int to)
    {
        std::vector<std::string> writes;
        for (int i = from; i <= to; ++i)
            writes.push_back("ai_loc[" + std::to_string(i) + "]=0");
        return writes;
    }

    VORNDataRef aiLoc[26] = {};
};

// ---- ownership and the line ----

TEST_F(PlanesTest, ReleaseHandsTheAircraftToTheFirstWaiterWithACallbackAndTheRestQueueAgain)
{
    EXPECT_EQ(AcquireAs(a), 1);
    EXPECT_EQ(AcquireAs(b, nullptr, Acquire), 0);
    EXPECT_EQ(AcquireAs(c), 0);
    ASSERT_EQ(VORNPlaneQueue().size(), 1u) << "only a waiter with a callback is queued";
    EXPECT_EQ(VORNPlaneQueue()[0].plugin, b);
    AcquireAs(c, nullptr, Acquire);
    As(a, [] { VORNReleasePlanes(); });
    EXPECT_THAT(gCalls, ElementsAre("2 acquires 1", "3 acquires 0"));
    EXPECT_EQ(VORNPlanesOwner(), b);
    ASSERT_EQ(VORNPlaneQueue().size(), 1u);
    EXPECT_EQ(VORNPlaneQueue()[0].plugin, c);
}

TEST_F(PlanesTest, ACallbackThatAcquiresAndReleasesAgainPassesTheAircraftOnWithinTheWalk)
{
    AcquireAs(a);
    AcquireAs(b, nullptr, AcquireAndRelease);
    AcquireAs(c, nullptr, Acquire);
    As(a, [] { VORNReleasePlanes(); });
    EXPECT_THAT(gCalls, ElementsAre("2 acquires 1", "3 acquires 1"));
    EXPECT_EQ(VORNPlanesOwner(), c);
    EXPECT_THAT(VORNPlaneQueue(), IsEmpty());
}

TEST_F(PlanesTest, AcquiringAgainAnswersOneAndIgnoresTheNewPaths)
{
    char p0[] = "user.acf", p1[] = "one.acf";
    char* first[] = {p0, p1, nullptr};
    char* second[] = {p1, p1, p1, nullptr};
    EXPECT_EQ(AcquireAs(a, first), 1);
    EXPECT_EQ(AcquireAs(a, second, Acquire), 1);
    EXPECT_THAT(VORNRequestedPlanes(), ElementsAre("user.acf", "one.acf"));
    EXPECT_THAT(VORNPlaneQueue(), IsEmpty());
}

TEST_F(PlanesTest, ReleasingGivesTheHostBackEveryPlaneButTheUsersWhenThereAreTwoOrMore)
{
    VORNHandleGetNumberPlanesToHandle(1, 0);
    AcquireAs(a);
    As(a, [] { VORNReleasePlanes(); });
    EXPECT_THAT(gAiWrites, IsEmpty());
    VORNHandleGetNumberPlanesToHandle(20, 0);
    AcquireAs(a);
    As(a, [] { VORNReleasePlanes(); });
    EXPECT_THAT(gAiWrites, ElementsAreArray(ZeroWrites(1, 19)));
}

TEST_F(PlanesTest, RequestsOfDisabledPluginsAreDropped)
{
    AcquireAs(a);
    AcquireAs(b, nullptr, NoteOnly);
    AcquireAs(c, nullptr, NoteOnly);
    VORNDisablePlugin(b);
    As(a, [] { VORNReleasePlanes(); });
    EXPECT_THAT(gCalls, ElementsAre("3 called"));
    EXPECT_THAT(VORNPlaneQueue(), IsEmpty());
}

// ---- the host's questions ----

TEST_F(PlanesTest, TheOwnersLimitAnswersTheHostsCountUnlessTheHostInsists)
{
    EXPECT_EQ(VORNHandleGetNumberPlanesToHandle(20, 0), 20);  // no owner
    AcquireAs(a);
    EXPECT_EQ(VORNHandleGetNumberPlanesToHandle(20, 0), 20);  // no limit
    As(b, [] {
        VORNSetActiveAircraftCount(3);
        VORNSetAircraftModel(1, "x.acf");
    });
    EXPECT_EQ(VORNHandleGetNumberPlanesToHandle(20, 0), 20) << "only the owner sets the limit";
    EXPECT_THAT(VORNRequestedPlanes(), IsEmpty()) << "and chooses models";
    As(a, [] { VORNSetActiveAircraftCount(5); });
    EXPECT_EQ(VORNHandleGetNumberPlanesToHandle(20, 0), 5);
    EXPECT_EQ(VORNPlaneMaximum(), 20);
    EXPECT_EQ(VORNHandleGetNumberPlanesToHandle(20, 1), 20);
    EXPECT_EQ(VORNHandleGetNumberPlanesToHandle(3, 0), 3);
    EXPECT_EQ(VORNPlaneMaximum(), 3);
}

TEST_F(PlanesTest, AModelChosenBeforeTheHostsCountIsHandedOverWhenTheHostAsksButNeverTheUsers)
{
    char p0[] = "user.acf";
    char* paths[] = {p0, nullptr};
    AcquireAs(a, paths);
    As(a, [] { VORNSetAircraftModel(3, "/sim/Aircraft/Jet/jet.acf"); });
    EXPECT_EQ(host->CountCalls("SetAircraftModel"), 0u);
    EXPECT_THAT(VORNRequestedPlanes(), ElementsAre("user.acf", "", "", "/sim/Aircraft/Jet/jet.acf"));
    char name[256] = "name", path[256] = "host's own";
    VORNUpdatePlaneNameAndPath(3, name, path);
    EXPECT_STREQ(path, "/sim/Aircraft/Jet/jet.acf");
    EXPECT_STREQ(name, "name");
    std::strcpy(path, "host's own");
    for (int index : {0, 2, 4, -1})
        VORNHandleUpdatePlaneNameAndPath(index, name, path);
    EXPECT_STREQ(path, "host's own");
}

TEST_F(PlanesTest, AKnownPlaneGetsItsModelAtOnceAndTheHostsQuestionsMeanwhileAreNotAnswered)
{
    host->table.SetAircraftModel = SetModelAndAskBack;
    VORNHandleGetNumberPlanesToHandle(20, 0);
    AcquireAs(a);
    As(a, [] {
        VORNSetActiveAircraftCount(5);
        VORNSetAircraftModel(2, "two.acf");
        VORNSetAircraftModel(20, "beyond.acf");
    });
    EXPECT_THAT(gAskedBack, ElementsAre("host's own, count 20"));
    char path[VORN_PLANE_PATH_BUFFER_SIZE] = "host's own";
    VORNHandleUpdatePlaneNameAndPath(2, nullptr, path);
    EXPECT_STREQ(path, "two.acf") << "the library's own load is over";
    EXPECT_EQ(VORNRequestedPlanes().size(), 21u);
    EXPECT_EQ(VORNHandleGetNumberPlanesToHandle(20, 0), 5);
}

TEST_F(PlanesTest, TheHostGetsTheModelPathTwice)
{
    VORNHandleGetNumberPlanesToHandle(20, 0);
    AcquireAs(a);
    As(a, [] { VORNSetAircraftModel(2, "two.acf"); });
    EXPECT_THAT(host->CallsNamed("SetAircraftModel"),
                ElementsAre("SetAircraftModel(2, \"two.acf\", \"two.acf\")"));
}

TEST_F(PlanesTest, ALongPathReachesTheHostWholeAndOneBeyondItsBufferNotAtAll)
{
    AcquireAs(a);
    const std::string longPath = "/" + std::string(399, 'p');
    const std::string tooLong(VORN_PLANE_PATH_BUFFER_SIZE, 'q');
    const std::string longest(VORN_PLANE_PATH_BUFFER_SIZE - 1, 'r');
    As(a, [&] {
        VORNSetAircraftModel(1, longPath.c_str());
        VORNSetAircraftModel(2, tooLong.c_str());
        VORNSetAircraftModel(3, longest.c_str());
    });
    // Exactly the documented size, on the heap, so that a write past it is caught.
    std::vector<char> path(VORN_PLANE_PATH_BUFFER_SIZE, 'x');
    VORNUpdatePlaneNameAndPath(1, nullptr, path.data());
    EXPECT_EQ(std::string(path.data()), longPath);
    std::fill(path.begin(), path.end(), 'x');
    VORNUpdatePlaneNameAndPath(2, nullptr, path.data());
    EXPECT_EQ(std::count(path.begin(), path.end(), 'x'), VORN_PLANE_PATH_BUFFER_SIZE)
        << "refused, not cut: the host keeps its own choice";
    VORNUpdatePlaneNameAndPath(3, nullptr, path.data());
    EXPECT_EQ(std::string(path.data()), longest);
    VORNHandleUpdatePlaneNameAndPath(1, nullptr, nullptr);
}

// ---- the other calls ----

TEST_F(PlanesTest, AnyPluginMayTakeAPlaneAwayFromTheHost)
{
    As(c, [] {
        VORNDisableAIForPlane(4);
        VORNDisableAIForPlane(99);  // no such data ref: lost silently
    });
    EXPECT_THAT(gAiWrites, ElementsAre("ai_loc[4]=1"));
}

TEST_F(PlanesTest, TheOwnerDrawsReinitsAndLimitsTheCountThroughTheHost)
{
    host->aircraftTotal = 20;
    int total = 0, active = 0, owner = 0;
    VORNCountAircraft(&total, &active, &owner);
    EXPECT_EQ(total, 20);
    EXPECT_EQ(active, 20);
    EXPECT_EQ(owner, -1);
    AcquireAs(a);
    int state = 0;
    As(a, [&] {
        VORNSetActiveAircraftCount(5);
        VORNDrawAircraft(3, 1, 2, 3, 4, 5, 6, 1, &state);
        VORNReinitUsersPlane();
    });
    VORNCountAircraft(&total, &active, &owner);
    EXPECT_EQ(active, 5);
    EXPECT_EQ(owner, a);
    VORNCountAircraft(nullptr, nullptr, nullptr);
    EXPECT_EQ(host->CallsNamed("CountAircraft").back(), "CountAircraft(null, null, null)");
    EXPECT_THAT(host->CallsNamed("DrawAircraft"),
                ElementsAre("DrawAircraft(" + FmtArgs(3, 1.f, 2.f, 3.f, 4.f, 5.f, 6.f, 1,
                                                      static_cast<void*>(&state)) + ")"));
    host->table.tableSize = VORN_HOST_HOOKS_SIZE - 8;
    As(a, [] { VORNReinitUsersPlane(); });
    EXPECT_THAT(host->CallsNamed("ReinitUsersPlane"), ElementsAre("ReinitUsersPlane(208, 201)"))
        << "not with an older host's shorter table";
}

TEST_F(PlanesTest, TheNthModelComesBackInTheCallersBufferOrder)
{
    host->aircraftPath = "/sim/Aircraft/Jet/jet.acf";
    host->aircraftFileName = "jet.acf";
    char fileName[256] = "", path[512] = "";
    VORNGetNthAircraftModel(2, fileName, path);
    EXPECT_STREQ(fileName, "jet.acf");
    EXPECT_STREQ(path, "/sim/Aircraft/Jet/jet.acf");
    EXPECT_THAT(host->CallsNamed("GetNthAircraftModel"),
                ElementsAre("GetNthAircraftModel(" + FmtArgs(2, static_cast<void*>(path),
                                                             static_cast<void*>(fileName)) + ")"));
    VORNGetNthAircraftModel(2, nullptr, path);
    VORNGetNthAircraftModel(2, fileName, nullptr);
    EXPECT_EQ(host->CountCalls("GetNthAircraftModel"), 1u);
}

TEST_F(PlanesTest, TheUsersAircraftAndAirportGoStraightToTheHost)
{
    VORNSetUsersAircraft("/sim/Aircraft/Jet/jet.acf");
    VORNSetUsersAircraft("abcde");  // no separator: the first character is lost
    VORNSetUsersAircraft("");
    VORNSetUsersAircraft(nullptr);
    EXPECT_THAT(host->CallsNamed("SetAircraftModel"),
                ElementsAre("SetAircraftModel(0, \"/sim/Aircraft/Jet/jet.acf\", \"jet.acf\")",
                            "SetAircraftModel(0, \"abcde\", \"bcde\")",
                            "SetAircraftModel(0, \"\", \"\")"));
    VORNPlaceUserAtAirport("KXYZ");
    EXPECT_THAT(host->CallsNamed("PlaceUserAtAirport"), ElementsAre("PlaceUserAtAirport(\"KXYZ\")"));
}

// ---- disable and unload ----

TEST_F(PlanesTest, DisablingTheOwnerReleasesTheAircraftToTheNextInLine)
{
    VORNHandleGetNumberPlanesToHandle(3, 0);
    AcquireAs(a);
    AcquireAs(b, nullptr, Acquire);
    VORNDisablePlugin(a);
    EXPECT_THAT(gAiWrites, ElementsAre("ai_loc[1]=0", "ai_loc[2]=0"));
    EXPECT_THAT(gCalls, ElementsAre("2 acquires 1"));
    EXPECT_EQ(VORNPlanesOwner(), b);
}

TEST_F(PlanesTest, UnloadingDropsThePluginsRequestsButAnOwnerNotDisabledKeepsTheAircraft)
{
    AcquireAs(a);
    AcquireAs(b, nullptr, NoteOnly);
    AcquireAs(c, nullptr, NoteOnly);
    AcquireAs(b, nullptr, NoteOnly);
    VORNDisablePlugin(b);
    UnloadOnePlugin(b);
    ASSERT_EQ(VORNPlaneQueue().size(), 1u);
    EXPECT_EQ(VORNPlaneQueue()[0].plugin, c);
    UnloadOnePlugin(a);
    EXPECT_EQ(VORNPlanesOwner(), a);
}

}  // namespace
