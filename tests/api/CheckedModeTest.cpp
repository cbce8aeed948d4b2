// Checked mode: a real plug-in calls the API from a thread of its own
// (tests/plugins/threaded.c); so does the test itself.

#include "../plugins/threaded.h"
#include "PluginRoot.h"
#include "VORN/VORNDataAccess.h"

#include <gmock/gmock.h>

#include <cstdlib>
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

}  // namespace
