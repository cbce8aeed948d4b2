// Checked mode: a real plug-in calls the API from a thread of its own
// (tests/plugins/scripted.c); so does the test itself.

#include "PluginRoot.h"
#include "VORN/VORNCamera.h"
#include "VORN/VORNDataAccess.h"
#include "VORN/VORNDisplay.h"
#include "VORN/VORNMenus.h"
#include "VORN/VORNPlanes.h"
#include "VORN/VORNProcessing.h"
#include "VORN/VORNScenery.h"
#include "VORN/VORNUtilities.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <thread>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;

namespace {

const std::string kAdvice =
    " from a thread other than the simulator's main thread: the call was refused. Call the VORN "
    "API only from the main thread (from a callback of the library).";

// What VORNGetMyID() (twice) and VORNCountPlugins() answer on a thread of
// plug-in 1's own.
std::vector<int> ThreadedCalls()
{
    std::vector<int> answers(3, -5);
    VORNSendMessageToPlugin(1, 0x7100, answers.data());
    return answers;
}

using CheckedModeTest = LoaderTest;

TEST_F(CheckedModeTest, CallsFromAnotherThreadAreRefusedAndReportedOncePerCallerAndFunction)
{
    AddScripted("threaded.vpl", "Threaded", "t.threaded");
    Start();
    EXPECT_THAT(ThreadedCalls(), ElementsAre(1, 1, 2)) << "off until switched on";
    VORNSetCheckedMode(1);
    host->ClearRecord();
    EXPECT_THAT(ThreadedCalls(), ElementsAre(-1, -1, 0));
    EXPECT_THAT(LibraryWrites(), IsEmpty()) << "reported on the main thread, at the next event";
    VORNEventHook(5, nullptr, 0.0f);
    // A warning naming the plug-in, and the error is its.
    std::vector<std::string> writes;
    for (const char* function : {"VORNGetMyID", "VORNCountPlugins"}) {
        const std::string text = std::string("Plug-in \"Threaded\" called ") + function + kAdvice;
        writes.insert(writes.end(), {"[", "Threaded", "]: ", text, "\n"});
    }
    EXPECT_EQ(LibraryWrites(), writes);
    VORNPluginInventory inventory{};
    inventory.structSize = sizeof inventory;
    VORNGetPluginInventory(1, &inventory);
    EXPECT_EQ(inventory.errors, 2);
    EXPECT_EQ(inventory.lastError, "Plug-in \"Threaded\" called VORNCountPlugins" + kAdvice);

    // Refused again, reported no more; the main thread is served as usual.
    host->ClearRecord();
    EXPECT_THAT(ThreadedCalls(), ElementsAre(-1, -1, 0));
    VORNEventHook(5, nullptr, 0.0f);
    EXPECT_THAT(LibraryWrites(), IsEmpty());
    EXPECT_EQ(VORNCountPlugins(), 2);

    // Code that is no plug-in's is named by its module, for nobody.
    host->ClearRecord();
    std::thread([] { EXPECT_EQ(VORNCountPlugins(), 0); }).join();
    VORNEventHook(5, nullptr, 0.0f);
    EXPECT_THAT(host->Log(), ::testing::StartsWith("[unknown]: Code in "));
    EXPECT_THAT(host->Log(), ::testing::EndsWith(" called VORNCountPlugins" + kAdvice + "\n"));

    VORNSetCheckedMode(0);
    EXPECT_THAT(ThreadedCalls(), ElementsAre(1, 1, 2));
}

// Every API function that checks its thread (the test below holds the table
// to the library's sources), with arguments harmless even if the call were
// not refused: 0 for pointers and handles, -1 for ids. C(F, ...) calls VORNF.
#define C(function, ...) {"VORN" #function, [] { (void)VORN##function(__VA_ARGS__); }}
const std::pair<const char*, void (*)()> kCheckedCalls[] = {
    C(ControlCamera, 0, 0, 0), C(DontControlCamera), C(IsCameraBeingControlled, 0), C(ReadCameraPosition, 0),
    C(FindDataRef, 0), C(IsDataRefGood, 0), C(CanWriteDataRef, 0), C(GetDataRefTypes, 0), C(GetDatai, 0),
    C(SetDatai, 0, 0), C(GetDataf, 0), C(SetDataf, 0, 0), C(GetDatad, 0), C(SetDatad, 0, 0), C(GetDatavi, 0, 0, 0, 0),
    C(SetDatavi, 0, 0, 0, 0), C(GetDatavf, 0, 0, 0, 0), C(SetDatavf, 0, 0, 0, 0), C(GetDatab, 0, 0, 0, 0),
    C(SetDatab, 0, 0, 0, 0), C(RegisterDataAccessor, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0),
    C(UnregisterDataAccessor, 0), C(ShareData, 0, 0, 0, 0), C(UnshareData, 0, 0, 0, 0),
    C(RegisterDrawCallback, 0, 0, 0, 0), C(UnregisterDrawCallback, 0, 0, 0, 0), C(RegisterKeySniffer, 0, 0, 0),
    C(UnregisterKeySniffer, 0, 0, 0), C(RegisterHotKey, 0, 0, 0, 0, 0), C(UnregisterHotKey, 0), C(CountHotKeys),
    C(GetNthHotKey, -1), C(GetHotKeyInfo, 0, 0, 0, 0, 0), C(SetHotKeyCombination, 0, 0, 0),
    C(CreateWindow, 0, 0, 0, 0, 0, 0, 0, 0, 0), C(CreateWindowEx, 0), C(DestroyWindow, 0), C(TakeKeyboardFocus, 0),
    C(GetWindowGeometry, 0, 0, 0, 0, 0), C(SetWindowGeometry, 0, 0, 0, 0, 0), C(GetWindowIsVisible, 0),
    C(SetWindowIsVisible, 0, 0), C(GetWindowRefCon, 0), C(SetWindowRefCon, 0, 0), C(BringWindowToFront, 0),
    C(IsWindowInFront, 0), C(GetMyID), C(CountPlugins), C(GetNthPlugin, -1), C(IsPluginEnabled, -1),
    C(FindPluginBySignature, 0), C(FindPluginByPath, 0), C(GetPluginInfo, -1, 0, 0, 0, 0),
    C(DebugGetCurrentPluginName), C(SetErrorCallback, 0), C(EnablePlugin, -1), C(DisablePlugin, -1), C(ReloadPlugins),
    C(SendMessageToPlugin, -1, 0, 0), C(HasFeature, 0), C(IsFeatureEnabled, 0), C(EnableFeature, 0, 0),
    C(EnumerateFeatures, 0, 0), C(FindPluginsMenu), C(CreateMenu, 0, 0, 0, 0, 0), C(ClearAllMenuItems, 0),
    C(DestroyMenu, 0), C(AppendMenuItem, 0, 0, 0, 0), C(AppendMenuSeparator, 0), C(SetMenuItemName, 0, 0, 0),
    C(CheckMenuItem, 0, 0, 0), C(CheckMenuItemState, 0, 0, 0), C(EnableMenuItem, 0, 0, 0), C(RemoveMenuItem, 0, 0),
    C(AcquirePlanes, 0, 0, 0), C(ReleasePlanes), C(SetActiveAircraftCount, -1), C(SetAircraftModel, -1, 0),
    C(DisableAIForPlane, -1), C(DrawAircraft, -1, 0, 0, 0, 0, 0, 0, 0, 0), C(CountAircraft, 0, 0, 0),
    C(GetNthAircraftModel, -1, 0, 0), C(SetUsersAircraft, 0), C(ReinitUsersPlane), C(GetCycleNumber),
    C(CreateFlightLoop, 0), C(DestroyFlightLoop, 0), C(ScheduleFlightLoop, 0, 0, 0),
    C(RegisterFlightLoopCallback, 0, 0, 0), C(UnregisterFlightLoopCallback, 0, 0),
    C(SetFlightLoopCallbackInterval, 0, 0, 0, 0), C(CreateProbe, -1), C(DestroyProbe, 0),
    C(ProbeTerrainXYZ, 0, 0, 0, 0, 0), C(LoadObject, 0), C(LoadObjectAsync, 0, 0, 0), C(DrawObjects, 0, 0, 0, 0, 0),
    C(UnloadObject, 0), C(CommandButtonPress, -1), C(CommandButtonRelease, -1), C(GetVirtualKeyDescription, 0),
    C(GetSystemPath, 0), C(GetPrefsPath, 0), C(GetDirectorySeparator), C(ExtractFileAndPath, 0),
    C(GetDirectoryContents, 0, 0, 0, 0, 0, 0, 0, 0), C(Initialized), C(GetVersions, 0, 0, 0), C(LoadDataFile, 0, 0),
    C(SaveDataFile, 0, 0), C(FindCommand, 0), C(CreateCommand, 0, 0), C(CommandBegin, 0), C(CommandEnd, 0),
    C(CommandOnce, 0), C(RegisterCommandHandler, 0, 0, 0, 0), C(UnregisterCommandHandler, 0, 0, 0, 0),
};
#undef C

// The exported functions of the library's sources whose body checks the thread.
std::vector<std::string> FunctionsCheckingTheirThread()
{
    std::vector<std::string> names;
    const std::regex exported(R"(VORN_EXPORT[^{;]*?(\w+)\s*\([^{;]*\{\s*VORN_CHECK_THREAD)");
    for (const auto& entry : std::filesystem::directory_iterator(VORN_EXPORTS_DIR "/../../Src/VORN/Src")) {
        std::ostringstream text;
        if (entry.path().extension() == ".cpp")
            text << std::ifstream(entry.path()).rdbuf();
        const std::string source = text.str();
        for (std::sregex_iterator it(source.begin(), source.end(), exported), end; it != end; ++it)
            names.push_back((*it)[1]);
    }
    return names;
}

TEST_F(CheckedModeTest, VornCheckedInTheEnvironmentMakesEveryFunctionCheckingItsThreadRefuse)
{
    setenv("VORN_CHECKED", "1", 1);
    StartAgents(1);
    unsetenv("VORN_CHECKED");
    host->ClearRecord();
    std::thread([] { for (const auto& row : kCheckedCalls) row.second(); }).join();
    VORNEventHook(5, nullptr, 0.0f);
    std::vector<std::string> reported, table;
    const std::regex refused(" called (\\w+) from a thread other than ");
    for (const std::string& write : host->debugWrites) {
        std::smatch match;
        if (std::regex_search(write, match, refused))
            reported.push_back(match[1]);
    }
    for (const auto& row : kCheckedCalls)
        table.push_back(row.first);
    EXPECT_THAT(reported, UnorderedElementsAreArray(table)) << "refused and reported by name";
    EXPECT_THAT(FunctionsCheckingTheirThread(), UnorderedElementsAreArray(table)) << "as the sources check";
}

}  // namespace
