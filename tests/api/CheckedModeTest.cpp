// Checked mode through the real library: a real plug-in calls the API from
// a thread of its own (tests/plugins/threaded.c).

#include "../plugins/threaded.h"
#include "HostFixture.h"
#include "VORN/VORNDataAccess.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <string>
#include <vector>

using namespace vorntest;
using ::testing::IsEmpty;

namespace {

const char kRefName[] = "test/threaded/value";

int ReadFortyTwo(void*)
{
    return 42;
}

std::string Refused(const std::string& function)
{
    return "Plug-in \"Threaded\" called " + function +
           " from a thread other than the simulator's main thread: the call was refused. Call "
           "the VORN API only from the main thread (from a callback of the library).";
}

class CheckedModeTest : public HostTest {
protected:
    void StartWithThreaded()
    {
        InstallPlugin("threaded", "threaded.vpl");
        host->systemPath = SystemPath();
        Start();
        ASSERT_EQ(VORNCountPlugins(), 2);
        // Published by the host, on the main thread.
        mRef = VORNRegisterDataAccessor(kRefName, VORN_DATA_INT, 0, ReadFortyTwo, nullptr,
                                        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    }

    ThreadedCalls Run(int message)
    {
        ThreadedCalls calls = {kRefName, mRef, nullptr, -5, -5, -5};
        VORNSendMessageToPlugin(1, message, &calls);
        return calls;
    }

    // The report lines of the log: the library's and those the plug-in's
    // error callback wrote, in order.
    std::vector<std::string> Reports() const
    {
        std::vector<std::string> reports;
        const std::string log = host->Log();
        for (size_t at = 0, end; (end = log.find('\n', at)) != std::string::npos; at = end + 1) {
            const std::string line = log.substr(at, end - at);
            if (line.find("called VORN") != std::string::npos)
                reports.push_back(line);
        }
        return reports;
    }

    VORNDataRef mRef = nullptr;
};

TEST_F(CheckedModeTest, CallsFromAnotherThreadAreRefusedAndReportedOncePerFunction)
{
    StartWithThreaded();
    VORNSetCheckedMode(1);
    host->ClearRecord();

    const ThreadedCalls refused = Run(THREADED_RUN_MESSAGE);
    EXPECT_EQ(refused.found, nullptr);
    EXPECT_EQ(refused.value, 0);
    EXPECT_EQ(refused.valueAgain, 0);
    EXPECT_EQ(refused.myId, -1);
    // Reported on the main thread, at the next host event.
    EXPECT_THAT(Reports(), IsEmpty());
    VORNEventHook(5, nullptr, 0.0f);
    std::vector<std::string> lines;
    for (const char* function : {"VORNFindDataRef", "VORNGetDatai", "VORNGetMyID"}) {
        lines.push_back("[Threaded]: " + Refused(function));
        lines.push_back("<Threaded:" + Refused(function) + ">");
    }
    EXPECT_EQ(Reports(), lines);
    VORNPluginInventory inventory{};
    inventory.structSize = sizeof inventory;
    VORNGetPluginInventory(1, &inventory);
    EXPECT_EQ(inventory.errors, 3);
    EXPECT_EQ(std::string(inventory.lastError), Refused("VORNGetMyID"));

    // Refused again, reported no more.
    host->ClearRecord();
    EXPECT_EQ(Run(THREADED_RUN_MESSAGE).value, 0);
    VORNEventHook(5, nullptr, 0.0f);
    EXPECT_THAT(Reports(), IsEmpty());

    // The main thread is served as usual.
    const ThreadedCalls served = Run(THREADED_RUN_HERE_MESSAGE);
    EXPECT_EQ(served.found, mRef);
    EXPECT_EQ(served.value, 42);
    EXPECT_EQ(served.myId, 1);
}

TEST_F(CheckedModeTest, VornCheckedInTheEnvironmentSwitchesItOnAtStart)
{
    setenv("VORN_CHECKED", "1", 1);
    StartWithThreaded();
    unsetenv("VORN_CHECKED");
    EXPECT_EQ(Run(THREADED_RUN_MESSAGE).value, 0);
    VORNEventHook(5, nullptr, 0.0f);
    EXPECT_THAT(host->Log(), ::testing::HasSubstr("[Threaded]: " + Refused("VORNGetDatai")));
}

TEST_F(CheckedModeTest, OffOrSwitchedOffCallsFromAnotherThreadGoThrough)
{
    StartWithThreaded();
    const ThreadedCalls calls = Run(THREADED_RUN_MESSAGE);
    EXPECT_EQ(calls.found, mRef);
    EXPECT_EQ(calls.value, 42);
    EXPECT_EQ(calls.valueAgain, 42);

    VORNSetCheckedMode(1);
    VORNSetCheckedMode(0);
    EXPECT_EQ(Run(THREADED_RUN_MESSAGE).value, 42);
    VORNEventHook(5, nullptr, 0.0f);
    EXPECT_THAT(Reports(), IsEmpty());
}

}  // namespace
