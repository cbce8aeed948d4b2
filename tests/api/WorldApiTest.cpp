// Multiplayer aircraft, scenery objects, terrain probes and
// the utilities, through the real library with agent plug-ins 1..3.

#include "AgentHost.h"
#include "VORN/VORNDataAccess.h"
#include "VORN/VORNPlanes.h"
#include "VORN/VORNScenery.h"

#include <gmock/gmock.h>

#include <cstring>

using namespace vorntest;
using ::testing::ElementsAre;

namespace {

// The host's ai_loc writes and the plug-ins' callbacks, in order.
std::vector<std::string> gLog;
char kRelease[] = "release", kUnload[] = "unload";
void* const kTree = reinterpret_cast<void*>(0x7100);
void* const kHouse = reinterpret_cast<void*>(0x7200);

std::string Me()
{
    return std::to_string(VORNGetMyID());
}

void WriteAiLoc(void* index, int value)
{
    gLog.push_back("ai" + std::to_string(reinterpret_cast<intptr_t>(index)) + "=" +
                   std::to_string(value));
}

// Waits in line again if the aircraft are taken; with kRelease, lets them go.
void Waiting(void* refcon)
{
    const int acquired = VORNAcquirePlanes(nullptr, Waiting, refcon);
    gLog.push_back(Me() + " acquires " + std::to_string(acquired));
    if (refcon == kRelease)
        VORNReleasePlanes();
}

void Loaded(void* object, void* refcon)
{
    gLog.push_back("loaded " + Fmt(object) + " as " + Me() + " holding " +
                   std::to_string(Holdings(VORNGetMyID()).objects));
    if (refcon == kUnload)
        VORNUnloadObject(object);
}

std::string Unloaded(void* object) { return "UnloadObject(" + Fmt(object) + ")"; }

// A host that asks back about the plane while the library has it load a model.
void SetModelAndAskBack(int index, const char* path, const char* fileName)
{
    char asked[256] = "host's own";
    VORNUpdatePlaneNameAndPath(index, nullptr, asked);
    gLog.push_back("SetAircraftModel(" + FmtArgs(index, path, fileName) + ") asked back: " +
                   asked + ", " + std::to_string(VORNGetNumberPlanesToHandle(20, 0)));
}

class WorldApiTest : public AgentHostTest {
protected:
    void SetUp() override
    {
        AgentHostTest::SetUp();
        gLog.clear();
        StartAgents(3, true);
        // The host's own data refs that tell it which planes it may fly.
        for (int i = 0; i <= 20; ++i) {
            const std::string name = "sim/private/net_disables/ai_loc[" + std::to_string(i) + "]";
            aiLoc.push_back(VORNRegisterDataAccessor(
                name.c_str(), VORN_DATA_INT, 1, nullptr, WriteAiLoc, nullptr, nullptr, nullptr,
                nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                reinterpret_cast<void*>(intptr_t(i))));
        }
        host->ClearRecord();
    }

    void TearDown() override
    {
        for (VORNDataRef ref : aiLoc)
            VORNUnregisterDataAccessor(ref);
        AgentHostTest::TearDown();
    }

    static int Acquire(int id, VORNPlanesAvailable_f callback = nullptr, void* refcon = nullptr,
                       char** paths = nullptr)
    {
        return AsReturning<int>(id, [&] { return VORNAcquirePlanes(paths, callback, refcon); });
    }

    static std::string PathOf(int index)
    {
        char path[256] = "host's own";
        VORNUpdatePlaneNameAndPath(index, nullptr, path);
        return path;
    }

    void* Load(int id, void* object)
    {
        host->loadedObject = object;
        return AsReturning<void*>(id, [] { return VORNLoadObject("lib/tree.obj"); });
    }

    static void LoadAsync(int id, void* refcon = nullptr)
    {
        As(id, [&] { VORNLoadObjectAsync("lib/house.obj", Loaded, refcon); });
    }

    void Answer(size_t n, void* object)
    {
        host->asyncLoads.at(n).callback(object, host->asyncLoads[n].refcon);
    }

    static void Draw(int id, void* object, std::vector<VORNObjectPlacementRecord> at)
    {
        As(id, [&] { VORNDrawObjects(object, static_cast<int>(at.size()), at.data(), 5, 6); });
    }

    static VORNProbeRef NewProbe(int id)
    {
        return AsReturning<VORNProbeRef>(id, [] { return VORNCreateProbe(VORN_PROBE_Y); });
    }

    // The host indices of count new probes of id, read off the host's calls.
    std::string NewIndices(int id, int count)
    {
        std::string indices;
        VORNProbeResult_t result{sizeof result, {}, {}, {}, 0};
        while (count-- > 0) {
            VORNProbeTerrainXYZ(NewProbe(id), 0, 0, 0, &result);
            indices += host->CallsNamed("ProbeTerrainXYZ").back()[16];
        }
        return indices;
    }

    std::vector<VORNDataRef> aiLoc;
};

TEST_F(WorldApiTest, ReleaseOrDisableCallsTheWaitersInTurnAndGivesTheHostItsPlanesBack)
{
    VORNGetNumberPlanesToHandle(3, 0);
    char user[] = "user.acf", one[] = "one.acf";
    char* paths[] = {user, one, nullptr};
    EXPECT_EQ(Acquire(1, nullptr, nullptr, paths), 1);
    EXPECT_EQ(Acquire(1, Waiting, nullptr, paths + 1), 1) << "again: first paths kept, not in line";
    EXPECT_EQ(Acquire(2, Waiting), 0);
    EXPECT_EQ(Acquire(3), 0) << "without a callback: not in line";
    EXPECT_EQ(Acquire(3, Waiting), 0);
    As(2, [] { VORNSetActiveAircraftCount(1); VORNSetAircraftModel(2, "x.acf"); });
    EXPECT_EQ(VORNGetNumberPlanesToHandle(3, 0), 3) << "only the owner sets the limit";
    EXPECT_EQ(PathOf(2) + ", " + PathOf(1), "host's own, one.acf") << "and chooses models";
    As(1, [] { VORNSetActiveAircraftCount(2); });
    EXPECT_EQ(VORNGetNumberPlanesToHandle(3, 0), 2);
    EXPECT_EQ(VORNGetNumberPlanesToHandle(3, 1), 3) << "unless the host insists";
    As(1, [] { VORNReleasePlanes(); });
    As(2, [] { VORNReleasePlanes(); });
    Acquire(1, Waiting);
    Acquire(2, Waiting, kRelease);
    VORNAcquirePlanes(nullptr, Waiting, nullptr);
    As(1, [] { VORNDisableAIForPlane(4); });
    VORNDisablePlugin(1);
    VORNDisablePlugin(3);
    EXPECT_EQ(VORNGetNumberPlanesToHandle(1, 0), 1) << "the new owner has no limit";
    VORNReleasePlanes();
    EXPECT_THAT(gLog, ElementsAre("ai1=0", "ai2=0", "2 acquires 1", "3 acquires 0", "ai1=0",
                                  "ai2=0", "3 acquires 1", "ai4=1", "ai1=0", "ai2=0",
                                  "2 acquires 1", "ai1=0", "ai2=0", "0 acquires 1"))
        << "past a disabled waiter, on within one walk; a host flying one plane keeps it";
}

TEST_F(WorldApiTest, AModelGoesToTheHostAtOnceForAPlaneItFliesElseWhenItAsksAndOnlyWhole)
{
    host->table.SetAircraftModel = SetModelAndAskBack;
    Acquire(1);
    const std::string longest(VORN_PLANE_PATH_BUFFER_SIZE - 1, 'r'), tooLong = longest + 'q';
    As(1, [&] {
        VORNSetAircraftModel(3, "/sim/Aircraft/Jet/jet.acf");
        VORNSetAircraftModel(5, longest.c_str());
        VORNSetAircraftModel(6, tooLong.c_str());
    });
    EXPECT_TRUE(gLog.empty()) << "the host has not told its count yet";
    EXPECT_EQ(PathOf(3) + ", " + PathOf(2) + ", " + PathOf(7),
              "/sim/Aircraft/Jet/jet.acf, host's own, host's own");
    // Exactly the documented size, on the heap, so that a write past it is caught.
    std::vector<char> buffer(VORN_PLANE_PATH_BUFFER_SIZE, 'x');
    VORNUpdatePlaneNameAndPath(6, nullptr, buffer.data());
    EXPECT_EQ(std::string(buffer.begin(), buffer.end()), std::string(buffer.size(), 'x'))
        << "refused, not cut";
    VORNUpdatePlaneNameAndPath(5, nullptr, buffer.data());
    EXPECT_EQ(std::string(buffer.begin(), buffer.end()), longest + '\0');

    VORNGetNumberPlanesToHandle(20, 0);
    As(1, [] {
        VORNSetActiveAircraftCount(5);
        VORNSetAircraftModel(2, "two.acf");
        VORNSetAircraftModel(20, "beyond.acf");
    });
    EXPECT_THAT(gLog, ElementsAre("SetAircraftModel(2, \"two.acf\", \"two.acf\") asked back: "
                                  "host's own, 20"));
    EXPECT_EQ(PathOf(2) + ", " + PathOf(20), "two.acf, beyond.acf");
    EXPECT_EQ(VORNGetNumberPlanesToHandle(20, 0), 5);
}

TEST_F(WorldApiTest, TheOwnerDrawsAndReinitsAndAnyPluginSetsTheUsersAircraftThroughTheHost)
{
    host->aircraftTotal = 20;
    Acquire(1);
    int state = 0;
    As(1, [&] {
        VORNSetActiveAircraftCount(5);
        VORNDrawAircraft(3, 1, 2, 3, 4, 5, 6, 1, &state);
        VORNReinitUsersPlane();
    });
    host->table.tableSize = VORN_HOST_HOOKS_SIZE - 8;
    As(1, [] { VORNReinitUsersPlane(); });
    As(3, [] {
        VORNSetUsersAircraft("/sim/Aircraft/Jet/jet.acf");
        VORNSetUsersAircraft("abcde");  // no separator: the first character is lost
        VORNSetUsersAircraft("");
    });
    char fileName[256], path[512];
    VORNGetNthAircraftModel(2, fileName, path);
    EXPECT_THAT(host->CallTexts(),
                ElementsAre("DrawAircraft(" + FmtArgs(3, 1.f, 2.f, 3.f, 4.f, 5.f, 6.f, 1,
                                                      static_cast<void*>(&state)) + ")",
                            "ReinitUsersPlane(208, 201)",
                            "SetAircraftModel(0, \"/sim/Aircraft/Jet/jet.acf\", \"jet.acf\")",
                            "SetAircraftModel(0, \"abcde\", \"bcde\")",
                            "SetAircraftModel(0, \"\", \"\")",
                            "GetNthAircraftModel(" + FmtArgs(2, static_cast<void*>(path),
                                                             static_cast<void*>(fileName)) + ")"))
        << "no reinit with an older host's shorter table";
    int total = 0, active = 0, owner = 0;
    VORNCountAircraft(&total, &active, &owner);
    EXPECT_EQ(FmtArgs(total, active, owner), "20, 5, 1");
}

VORNObjectPlacementRecord At(float x, float a1, float a2, float a3, int size = 28)
{
    return VORNObjectPlacementRecord{size, x, x + 1, x + 2, a1, a2, a3};
}

std::string Drawn(void* object, float x, float a1, float a2, float a3)
{
    return "DrawObjects(" + FmtArgs(object, 5, 6, x, x + 1, x + 2, a1, a2, a3) + ")";
}

TEST_F(WorldApiTest, DrawingSwapsTheFirstTwoAnglesAndChecksOnlyForAPluginWithAnErrorCallback)
{
    Load(1, kTree);
    Draw(1, kTree, {At(10, 1, 2, 3), At(20, 4, 5, 6)});
    Draw(1, kTree, {At(1, 0, 0, 0), At(3, 0, 0, 0, 24)});
    Draw(2, kTree, {At(1, 0, 0, 0)});
    As(3, [] { VORNSetErrorCallback(nullptr); });
    Draw(3, kHouse, {At(1, 7, 8, 9, 3)});
    EXPECT_THAT(gErrorTexts, ElementsAre("Struct size mismatch for VORNDrawObjects",
                                         "Illegal object, or object not owned by this plugin."));
    EXPECT_THAT(host->CallsNamed("DrawObjects"),
                ElementsAre(Drawn(kTree, 10, 2, 1, 3), Drawn(kTree, 20, 5, 4, 6),
                            Drawn(kHouse, 1, 8, 7, 9)));
}

TEST_F(WorldApiTest, ObjectsStandPerLoadAndAsyncResultsAreHeldAfterTheCallbackOrGoBackAtUnload)
{
    EXPECT_EQ(Load(1, kTree), kTree);
    Load(1, kHouse);
    Load(2, kHouse);
    Load(1, kTree);
    EXPECT_EQ(Load(1, nullptr), nullptr);
    As(1, [] { VORNUnloadObject(kTree); });
    LoadAsync(2, kUnload);
    LoadAsync(3);
    Answer(0, kTree);
    Answer(1, nullptr);
    LoadAsync(1);
    VORNDisablePlugin(1);
    Answer(2, kTree);
    EXPECT_EQ(Holdings(1).objects, 2) << "disabling keeps them; the result waits";
    EXPECT_EQ(VORNEnablePlugin(1), 1);
    LoadAsync(1);
    VORNDisablePlugin(1);
    VORNEnablePlugin(1);
    Answer(3, kHouse);
    EXPECT_THAT(gLog, ElementsAre("loaded " + Fmt(kTree) + " as 2 holding 1",
                                  "loaded null as 3 holding 0",
                                  "loaded " + Fmt(kTree) + " as 1 holding 2",
                                  "loaded " + Fmt(kHouse) + " as 1 holding 3"));
    EXPECT_THAT(gErrorTexts, ElementsAre("Unknown object for VORNUnloadObject"));
    LoadAsync(1);
    VORNDisablePlugin(1);
    Answer(4, kTree);
    LoadAsync(2);
    LoadAsync(2);
    VORNShutdownPlugins();
    started = false;
    Answer(5, kHouse);
    Answer(6, nullptr);
    EXPECT_THAT(host->CallsNamed("UnloadObject"),
                ElementsAre(Unloaded(kTree), Unloaded(kTree), Unloaded(kHouse), Unloaded(kTree),
                            Unloaded(kTree), Unloaded(kHouse), Unloaded(kHouse), Unloaded(kTree),
                            Unloaded(kHouse), Unloaded(nullptr)));
}

TEST_F(WorldApiTest, ProbeIndicesAreReusedLowestFirstAndAPluginsProbesFreedAtItsUnload)
{
    VORNCreateProbe(VORN_PROBE_Y);
    VORNProbeRef first = NewProbe(1), second = NewProbe(2), third = NewProbe(1);
    VORNProbeResult_t result{sizeof result, {}, {}, {}, 0};
    EXPECT_EQ(AsReturning<int>(2, [&] { return VORNProbeTerrainXYZ(first, 0, 0, 0, &result); }),
              VORN_PROBE_HIT_TERRAIN);
    host->probeHit = 0;
    EXPECT_EQ(VORNProbeTerrainXYZ(third, 1.5f, -2.0f, 3.25f, &result), VORN_PROBE_MISSED);
    const std::string fields = FmtArgs(result.first, result.second, result.third, &result.resultFlag);
    EXPECT_THAT(host->CallsNamed("ProbeTerrainXYZ"),
                ElementsAre("ProbeTerrainXYZ(1, 0, 0, 0, " + fields + ")",
                            "ProbeTerrainXYZ(3, 1.5, -2, 3.25, " + fields + ")"));
    As(2, [&] { VORNDestroyProbe(second); });
    As(1, [&] { VORNDestroyProbe(first); });
    EXPECT_EQ(NewIndices(3, 3), "124");
    VORNReloadPlugins();
    Frame(1);
    EXPECT_EQ(NewIndices(2, 5), "12345") << "not the host's own";
}

// Presses each button given, and releases each negated one.
void Buttons(std::initializer_list<int> buttons)
{
    for (int button : buttons)
        button > 0 ? VORNCommandButtonPress(button) : VORNCommandButtonRelease(-button);
}

TEST_F(WorldApiTest, ButtonsAreHeldPerPressAndRepeatedInOneCallEachFrame)
{
    Frame(1);
    Buttons({5, 5, -5});
    Frame(2);
    Buttons({7, 5, -5});
    Frame(3);
    Buttons({9});
    Frame(4);
    Buttons({-5, -7, -9});
    Frame(5);
    std::string calls;
    for (const HostCall& call : host->calls)
        calls += call.name == "CommandButton" ? call.args + "; " : "";
    EXPECT_EQ(calls, "{5}, 0, 0; {5}, 0, 1; {5}, 0, 0; {5}, 0, 1; {5}, 1, 0; {5}, 1, 1; "
                     "{5}, 0, 1; {7}, 0, 0; {7}, 0, 1; {5}, 0, 0; {5}, 0, 1; {5}, 1, 0; "
                     "{5}, 1, 1; {7,5}, 0, 1; {9}, 0, 0; {9}, 0, 1; {7,5,9}, 0, 1; {5}, 1, 0; "
                     "{5}, 1, 1; {7}, 1, 0; {7}, 1, 1; {9}, 1, 0; {9}, 1, 1; ");
}

TEST_F(WorldApiTest, KeyNamesComeFromTheTableAndPathsSplitAtTheLastSeparatorInPlace)
{
    std::string names;
    for (int code : {8, 33, 48, 90, 105, 109, 135, 182, 189, 108, 255})
        names += VORNGetVirtualKeyDescription(static_cast<char>(code)) + std::string("|");
    EXPECT_EQ(names, "Backspace|Page Up|0|Z|Numpad-9|Numpad--|F24|\\|Numpad-=|Unknown|Unknown|");
    std::string split;
    for (const char* path : {"a/b/c", "a/b/", "/c", "name", "/"}) {
        char buf[16];
        const char* file = VORNExtractFileAndPath(std::strcpy(buf, path));
        split += std::string(buf) + "|" + file + "@" + std::to_string(file - buf) + " ";
    }
    EXPECT_EQ(split, "a/b|c@4 a|b@2 |c@1 name|name@0 |@0 ");
}

// A page of folder's listing: result, total, count returned; each index slot as
// the offset it points at ("-" null, "s" untouched); the buffer as "n" and "|".
std::string Page(const std::string& folder, int offset, int size, int slots)
{
    std::vector<char> buf(size, 'x');
    char sentinel = 0;
    std::vector<char*> indices(slots + 1, &sentinel);
    int total = -1, returned = -1;
    const int result =
        VORNGetDirectoryContents(folder.c_str(), offset, size ? buf.data() : nullptr, size,
                                 slots ? indices.data() : nullptr, slots, &total, &returned);
    std::string page = FmtArgs(result, total, returned) + " ";
    for (const char* at : indices)
        page += at == &sentinel ? "s" : at == nullptr ? "-" : std::to_string(at - buf.data());
    page += " ";
    for (char c : buf)
        page += c == '\0' ? '|' : c == 'x' ? 'x' : 'n';
    return page;
}

TEST_F(WorldApiTest, APageOfTheListingEndsAtTheFirstNameOrIndexSlotThatDoesNotFit)
{
    TempDir folder;
    folder.WriteFile("aa");
    folder.WriteFile("bb");
    folder.MakeDir("cc");
    const struct {
        int offset, size, slots;
        const char *page, *behaviour;
    } rows[] = {
        {0, 10, 4, "1, 3, 3 036-s nn|nn|nn||", "all fit, closed by an empty string"},
        {0, 9, 0, "0, 3, 3 s nn|nn|nn|", "a buffer filled exactly reports zero"},
        {0, 12, 2, "0, 3, 2 03s nn|nn|xxxxxx", "index slots running out stop the page"},
        {2, 12, 2, "1, 3, 1 0-s nn||xxxxxxxx", "the next page goes on from the offset"},
        {0, 12, 3, "0, 3, 3 036s nn|nn|nn|xxx", "an index array filled exactly reports zero"},
        {0, 8, 0, "0, 3, 2 s nn|nn|xx", "a name that does not fit stops the page unclosed"},
        {3, 4, 1, "1, 3, 0 -s |xxx", "an offset at the end returns one and nothing"},
        {0, 0, 0, "0, 3, 0 s ", "a null buffer only counts"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Page(folder.Path(), row.offset, row.size, row.slots), row.page) << row.behaviour;
}

TEST_F(WorldApiTest, PathsVersionsDataFilesAirportsAndObjectLookupsComeFromTheHost)
{
    host->systemPath = "/opt/sim/";
    host->dataFileResult = 5;
    host->lookupResult = 4;
    char system[512], prefs[512];
    int sim = 0, lib = 0, hostId = 0, load = 0, save = 0, found = 0, refcon = 0;
    As(1, [&] {
        VORNGetSystemPath(system);
        VORNGetPrefsPath(prefs);
        VORNGetVersions(&sim, &lib, &hostId);
        VORNPlaceUserAtAirport("KXYZ");
        load = VORNLoadDataFile(VORN_DATA_FILE_SITUATION, "a.sit");
        save = VORNSaveDataFile(VORN_DATA_FILE_MOVIE, "b.mov");
        found = VORNLookupObjects("lib/*.obj", 1.5f, 2.5f, nullptr, &refcon);
    });
    EXPECT_EQ(FmtArgs(sim, lib, hostId, load, save, found) + " " + system + " " + prefs,
              "1100, 210, 1, 5, 5, 4 /opt/sim/ " + host->prefsPath);
    EXPECT_THAT(host->CallTexts(3),
                ElementsAre("PlaceUserAtAirport(\"KXYZ\")", "LoadDataFile(1, \"a.sit\")",
                            "SaveDataFile(2, \"b.mov\")",
                            "LookupObjects(\"lib/*.obj\", 1.5, 2.5, null, " + Fmt(&refcon) + ")"));
}

}  // namespace
