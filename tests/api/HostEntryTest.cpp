// The host's entry points, driven through the real shared library: their exact results and
// what they leave behind (bad arguments are rows of the bad-input matrix).

#include "HostFixture.h"
#include "VORN/VORNPlugin.h"
#include "VORN/VORNUtilities.h"

#include <gmock/gmock.h>

#include <dlfcn.h>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Start with a missing and with an empty plug-ins folder; shutdown; restart.
TEST_F(HostTest, StartRegistersTheHostAsZeroShutdownEmptiesRestartNumbersAgain)
{
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(Start(), 19);
        EXPECT_EQ(VORNInitialized() * 100 + VORNCountPlugins() * 10 + VORNIsPluginEnabled(0), 111);
        EXPECT_EQ(VORNFindPluginBySignature("corvane.taravel.taravel"), 0);
        EXPECT_EQ(VORNGetMyID(), 0);
        EXPECT_STREQ(VORNDebugGetCurrentPluginName(), "[VORN_PLUGIN_TARAVEL]");
        VORNShutdownPlugins();
        started = false;
        EXPECT_EQ(VORNCountPlugins(), 0);
        root.MakeDir("Resources/plugins");
    }
}

TEST_F(HostTest, EventZeroRepeatsHeldButtons)
{
    Start();
    VORNCommandButtonPress(4);
    host->ClearRecord();
    EXPECT_EQ(VORNEventHook(0, nullptr, 1.5f), 1);
    EXPECT_THAT(host->CallsNamed("CommandButton"), ElementsAre("CommandButton({4}, 0, 1)"));
    VORNCommandButtonRelease(4);
    host->ClearRecord();
    VORNEventHook(0, nullptr, 1.6f);
    EXPECT_THAT(host->calls, IsEmpty());
}

TEST_F(HostTest, PluginModulesReachTheLibraryThroughItsExportedSymbols)
{
    Start();
    void* module = dlopen(TestPluginPath("probe_basic").c_str(), RTLD_NOW);
    ASSERT_NE(module, nullptr) << dlerror();
    auto start = reinterpret_cast<VPluginStart_f>(dlsym(module, "VPluginStart"));
    auto report = reinterpret_cast<void (*)(void)>(dlsym(module, "ProbeReportIdentity"));
    ASSERT_TRUE(start != nullptr && report != nullptr);
    char name[256], signature[256], description[256];
    EXPECT_EQ(start(name, signature, description), 1);
    EXPECT_STREQ(signature, "test.probe.basic");
    host->ClearRecord();
    report();
    EXPECT_THAT(host->debugWrites, ElementsAre("id=0 count=1"));
    dlclose(module);
}

}  // namespace
