// Checked mode: a real plug-in calls the API from a thread of its own
// (tests/plugins/threaded.c); so does the test itself.

#include "../plugins/threaded.h"
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

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <thread>

using namespace vorntest;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

const char kAdvice[] =
    " from a thread other than the simulator's main thread: the call was refused. Call the VORN "
    "API only from the main thread (from a callback of the library).";

class CheckedModeTest : public LoaderTest {
protected:
    void StartWithThreaded()
    {
        InstallPlugin("threaded", "threaded.vpl");
        Start();
        ASSERT_EQ(VORNCountPlugins(), 2);
        ref = VORNRegisterDataAccessor("test/threaded/value", VORN_DATA_INT, 0,
                                       [](void*) { return 42; }, nullptr, nullptr, nullptr,
                                       nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                       nullptr, nullptr, nullptr, nullptr);
    }

    ThreadedCalls Run(int message)
    {
        ThreadedCalls calls = {"test/threaded/value", ref, nullptr, -5, -5, -5};
        VORNSendMessageToPlugin(1, message, &calls);
        return calls;
    }

    VORNDataRef ref = nullptr;
};

TEST_F(CheckedModeTest, CallsFromAnotherThreadAreRefusedAndReportedOncePerFunction)
{
    StartWithThreaded();
    EXPECT_EQ(Run(THREADED_RUN_MESSAGE).value, 42) << "off until switched on";
    VORNSetCheckedMode(1);
    host->ClearRecord();
    const ThreadedCalls refused = Run(THREADED_RUN_MESSAGE);
    EXPECT_EQ(refused.found, nullptr);
    EXPECT_EQ(refused.value, 0);
    EXPECT_EQ(refused.valueAgain, 0);
    EXPECT_EQ(refused.myId, -1);
    EXPECT_THAT(host->debugWrites, IsEmpty()) << "reported on the main thread, at the next event";
    VORNEventHook(5, nullptr, 0.0f);
    // A warning naming the plug-in, then the text to its error callback.
    std::vector<std::string> writes;
    for (const char* function : {"VORNFindDataRef", "VORNGetDatai", "VORNGetMyID"}) {
        const std::string text = std::string("Plug-in \"Threaded\" called ") + function + kAdvice;
        for (const std::string& write : {std::string("["), std::string("Threaded"),
                                         std::string("]: "), text, std::string("\n"),
                                         "<Threaded:" + text + ">\n"})
            writes.push_back(write);
    }
    EXPECT_THAT(host->debugWrites, ElementsAreArray(writes));
    VORNPluginInventory inventory{};
    inventory.structSize = sizeof inventory;
    VORNGetPluginInventory(1, &inventory);
    EXPECT_EQ(inventory.errors, 3);
    EXPECT_EQ(std::string(inventory.lastError),
              std::string("Plug-in \"Threaded\" called VORNGetMyID") + kAdvice);

    // Refused again, reported no more; the main thread is served as usual.
    host->ClearRecord();
    EXPECT_EQ(Run(THREADED_RUN_MESSAGE).value, 0);
    VORNEventHook(5, nullptr, 0.0f);
    EXPECT_THAT(host->debugWrites, IsEmpty());
    const ThreadedCalls served = Run(THREADED_RUN_HERE_MESSAGE);
    EXPECT_EQ(served.found, ref);
    EXPECT_EQ(served.value, 42);
    EXPECT_EQ(served.myId, 1);

    // Code that is no plug-in's is named by its module, for nobody.
    std::thread([] { EXPECT_EQ(VORNCountPlugins(), 0); }).join();
    VORNEventHook(5, nullptr, 0.0f);
    ASSERT_EQ(host->debugWrites.size(), 3u);
    EXPECT_EQ(host->debugWrites[0], "[unknown]: ");
    EXPECT_THAT(host->debugWrites[1], HasSubstr(std::string(" called VORNCountPlugins") + kAdvice));
    EXPECT_THAT(host->debugWrites[1], ::testing::StartsWith("Code in "));
    EXPECT_EQ(host->debugWrites[2], "\n");
}

TEST_F(CheckedModeTest, VornCheckedInTheEnvironmentTurnsItOnAndSwitchedOffCallsGoThrough)
{
    setenv("VORN_CHECKED", "1", 1);
    StartWithThreaded();
    unsetenv("VORN_CHECKED");
    EXPECT_EQ(Run(THREADED_RUN_MESSAGE).value, 0);
    VORNEventHook(5, nullptr, 0.0f);
    EXPECT_THAT(host->Log(), HasSubstr("[Threaded]: Plug-in \"Threaded\" called VORNGetDatai"));
    VORNSetCheckedMode(0);
    const ThreadedCalls calls = Run(THREADED_RUN_MESSAGE);
    EXPECT_EQ(calls.found, ref);
    EXPECT_EQ(calls.valueAgain, 42);
}

// Every API function that checks its thread (the test below holds the table to
// the library's sources), called with arguments that are harmless even if the
// call were not refused: null handles and pointers, unknown ids.
struct CheckedCall {
    const char* name;
    void (*call)();
};
#define CHECKED(function, ...) {#function, [] { (void)function(__VA_ARGS__); }}
const CheckedCall kCheckedCalls[] = {
    CHECKED(VORNControlCamera, 0, nullptr, nullptr),
    CHECKED(VORNDontControlCamera),
    CHECKED(VORNIsCameraBeingControlled, nullptr),
    CHECKED(VORNReadCameraPosition, nullptr),
    CHECKED(VORNFindDataRef, nullptr),
    CHECKED(VORNIsDataRefGood, nullptr),
    CHECKED(VORNCanWriteDataRef, nullptr),
    CHECKED(VORNGetDataRefTypes, nullptr),
    CHECKED(VORNGetDatai, nullptr),
    CHECKED(VORNSetDatai, nullptr, 0),
    CHECKED(VORNGetDataf, nullptr),
    CHECKED(VORNSetDataf, nullptr, 0.0f),
    CHECKED(VORNGetDatad, nullptr),
    CHECKED(VORNSetDatad, nullptr, 0.0),
    CHECKED(VORNGetDatavi, nullptr, nullptr, 0, 0),
    CHECKED(VORNSetDatavi, nullptr, nullptr, 0, 0),
    CHECKED(VORNGetDatavf, nullptr, nullptr, 0, 0),
    CHECKED(VORNSetDatavf, nullptr, nullptr, 0, 0),
    CHECKED(VORNGetDatab, nullptr, nullptr, 0, 0),
    CHECKED(VORNSetDatab, nullptr, nullptr, 0, 0),
    CHECKED(VORNRegisterDataAccessor, nullptr, VORN_DATA_INT, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
    CHECKED(VORNUnregisterDataAccessor, nullptr),
    CHECKED(VORNShareData, nullptr, 0, nullptr, nullptr),
    CHECKED(VORNUnshareData, nullptr, 0, nullptr, nullptr),
    CHECKED(VORNRegisterDrawCallback, nullptr, 0, 0, nullptr),
    CHECKED(VORNUnregisterDrawCallback, nullptr, 0, 0, nullptr),
    CHECKED(VORNRegisterKeySniffer, nullptr, 0, nullptr),
    CHECKED(VORNUnregisterKeySniffer, nullptr, 0, nullptr),
    CHECKED(VORNRegisterHotKey, 0, 0, nullptr, nullptr, nullptr),
    CHECKED(VORNUnregisterHotKey, nullptr),
    CHECKED(VORNCountHotKeys),
    CHECKED(VORNGetNthHotKey, -1),
    CHECKED(VORNGetHotKeyInfo, nullptr, nullptr, nullptr, nullptr, nullptr),
    CHECKED(VORNSetHotKeyCombination, nullptr, 0, 0),
    CHECKED(VORNCreateWindow, 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr),
    CHECKED(VORNCreateWindowEx, nullptr),
    CHECKED(VORNDestroyWindow, nullptr),
    CHECKED(VORNTakeKeyboardFocus, nullptr),
    CHECKED(VORNGetWindowGeometry, nullptr, nullptr, nullptr, nullptr, nullptr),
    CHECKED(VORNSetWindowGeometry, nullptr, 0, 0, 0, 0),
    CHECKED(VORNGetWindowIsVisible, nullptr),
    CHECKED(VORNSetWindowIsVisible, nullptr, 0),
    CHECKED(VORNGetWindowRefCon, nullptr),
    CHECKED(VORNSetWindowRefCon, nullptr, nullptr),
    CHECKED(VORNBringWindowToFront, nullptr),
    CHECKED(VORNIsWindowInFront, nullptr),
    CHECKED(VORNGetMyID),
    CHECKED(VORNCountPlugins),
    CHECKED(VORNGetNthPlugin, -1),
    CHECKED(VORNIsPluginEnabled, -1),
    CHECKED(VORNFindPluginBySignature, nullptr),
    CHECKED(VORNFindPluginByPath, nullptr),
    CHECKED(VORNGetPluginInfo, -1, nullptr, nullptr, nullptr, nullptr),
    CHECKED(VORNDebugGetCurrentPluginName),
    CHECKED(VORNSetErrorCallback, nullptr),
    CHECKED(VORNEnablePlugin, -1),
    CHECKED(VORNDisablePlugin, -1),
    CHECKED(VORNReloadPlugins),
    CHECKED(VORNSendMessageToPlugin, -1, 0, nullptr),
    CHECKED(VORNHasFeature, nullptr),
    CHECKED(VORNIsFeatureEnabled, nullptr),
    CHECKED(VORNEnableFeature, nullptr, 0),
    CHECKED(VORNEnumerateFeatures, nullptr, nullptr),
    CHECKED(VORNFindPluginsMenu),
    CHECKED(VORNCreateMenu, nullptr, nullptr, 0, nullptr, nullptr),
    CHECKED(VORNClearAllMenuItems, nullptr),
    CHECKED(VORNDestroyMenu, nullptr),
    CHECKED(VORNAppendMenuItem, nullptr, nullptr, nullptr, 0),
    CHECKED(VORNAppendMenuSeparator, nullptr),
    CHECKED(VORNSetMenuItemName, nullptr, 0, nullptr),
    CHECKED(VORNCheckMenuItem, nullptr, 0, 0),
    CHECKED(VORNCheckMenuItemState, nullptr, 0, nullptr),
    CHECKED(VORNEnableMenuItem, nullptr, 0, 0),
    CHECKED(VORNRemoveMenuItem, nullptr, 0),
    CHECKED(VORNAcquirePlanes, nullptr, nullptr, nullptr),
    CHECKED(VORNReleasePlanes),
    CHECKED(VORNSetActiveAircraftCount, -1),
    CHECKED(VORNSetAircraftModel, -1, nullptr),
    CHECKED(VORNDisableAIForPlane, -1),
    CHECKED(VORNDrawAircraft, -1, 0, 0, 0, 0, 0, 0, 0, nullptr),
    CHECKED(VORNCountAircraft, nullptr, nullptr, nullptr),
    CHECKED(VORNGetNthAircraftModel, -1, nullptr, nullptr),
    CHECKED(VORNSetUsersAircraft, nullptr),
    CHECKED(VORNReinitUsersPlane),
    CHECKED(VORNGetCycleNumber),
    CHECKED(VORNCreateFlightLoop, nullptr),
    CHECKED(VORNDestroyFlightLoop, nullptr),
    CHECKED(VORNScheduleFlightLoop, nullptr, 0.0f, 0),
    CHECKED(VORNRegisterFlightLoopCallback, nullptr, 0.0f, nullptr),
    CHECKED(VORNUnregisterFlightLoopCallback, nullptr, nullptr),
    CHECKED(VORNSetFlightLoopCallbackInterval, nullptr, 0.0f, 0, nullptr),
    CHECKED(VORNCreateProbe, -1),
    CHECKED(VORNDestroyProbe, nullptr),
    CHECKED(VORNProbeTerrainXYZ, nullptr, 0, 0, 0, nullptr),
    CHECKED(VORNLoadObject, nullptr),
    CHECKED(VORNLoadObjectAsync, nullptr, nullptr, nullptr),
    CHECKED(VORNDrawObjects, nullptr, 0, nullptr, 0, 0),
    CHECKED(VORNUnloadObject, nullptr),
    CHECKED(VORNCommandButtonPress, -1),
    CHECKED(VORNCommandButtonRelease, -1),
    CHECKED(VORNGetVirtualKeyDescription, 0),
    CHECKED(VORNGetSystemPath, nullptr),
    CHECKED(VORNGetPrefsPath, nullptr),
    CHECKED(VORNGetDirectorySeparator),
    CHECKED(VORNExtractFileAndPath, nullptr),
    CHECKED(VORNGetDirectoryContents, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, nullptr),
    CHECKED(VORNInitialized),
    CHECKED(VORNGetVersions, nullptr, nullptr, nullptr),
    CHECKED(VORNLoadDataFile, 0, nullptr),
    CHECKED(VORNSaveDataFile, 0, nullptr),
    CHECKED(VORNFindCommand, nullptr),
    CHECKED(VORNCreateCommand, nullptr, nullptr),
    CHECKED(VORNCommandBegin, nullptr),
    CHECKED(VORNCommandEnd, nullptr),
    CHECKED(VORNCommandOnce, nullptr),
    CHECKED(VORNRegisterCommandHandler, nullptr, nullptr, 0, nullptr),
    CHECKED(VORNUnregisterCommandHandler, nullptr, nullptr, 0, nullptr),
};

// The exported functions of the library's sources whose body checks the thread.
std::vector<std::string> FunctionsCheckingTheirThread()
{
    std::vector<std::string> names;
    const std::regex exported(R"(VORN_EXPORT[^{;]*?(\w+)\s*\([^{;]*\{\s*VORN_CHECK_THREAD)");
    for (const auto& entry : std::filesystem::directory_iterator(VORN_EXPORTS_DIR "/../../Src/VORN/Src")) {
        if (entry.path().extension() != ".cpp")
            continue;
        std::ostringstream text;
        text << std::ifstream(entry.path()).rdbuf();
        const std::string source = text.str();
        for (std::sregex_iterator it(source.begin(), source.end(), exported), end; it != end; ++it)
            names.push_back((*it)[1]);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// What the sorted list all has that the sorted list from lacks (repeats counted).
std::vector<std::string> Missing(const std::vector<std::string>& all, const std::vector<std::string>& from)
{
    std::vector<std::string> missing;
    std::set_difference(all.begin(), all.end(), from.begin(), from.end(), std::back_inserter(missing));
    return missing;
}

TEST_F(CheckedModeTest, EveryFunctionThatChecksItsThreadRefusesAnotherAndIsReportedByName)
{
    StartAgents(1);
    VORNSetCheckedMode(1);
    host->ClearRecord();
    std::thread([] { for (const CheckedCall& row : kCheckedCalls) row.call(); }).join();
    VORNEventHook(5, nullptr, 0.0f);
    std::vector<std::string> reported, table;
    const std::regex refused(" called (\\w+) from a thread other than ");
    for (const std::string& write : host->debugWrites) {
        std::smatch match;
        if (std::regex_search(write, match, refused))
            reported.push_back(match[1]);
    }
    for (const CheckedCall& row : kCheckedCalls)
        table.push_back(row.name);
    std::sort(reported.begin(), reported.end());
    std::sort(table.begin(), table.end());
    const std::vector<std::string> checked = FunctionsCheckingTheirThread();
    EXPECT_THAT(Missing(table, reported), IsEmpty()) << "not reported";
    EXPECT_THAT(Missing(reported, table), IsEmpty()) << "reported, not in the table";
    EXPECT_THAT(Missing(checked, table), IsEmpty()) << "checking their thread, not in the table";
    EXPECT_THAT(Missing(table, checked), IsEmpty()) << "in the table, not checking their thread";
}

}  // namespace
