// The host's entry points, driven through the real shared library: their exact results and
// what they leave behind (bad arguments are rows of the bad-input matrix).

#include "HostFixture.h"
#include "VORN/VORNDataAccess.h"
#include "VORN/VORNDisplay.h"
#include "VORN/VORNPlugin.h"
#include "VORN/VORNUtilities.h"

#include <gmock/gmock.h>

#include <dlfcn.h>

#include <string>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

namespace {

std::vector<std::string> gBuildWrites;
void WriteBuildString(void*, void* bytes, int offset, int count)
{
    gBuildWrites.push_back(std::to_string(offset) + ":" +
                           std::string(static_cast<const char*>(bytes), count));
}

int gHostWindowDraws = 0;
void DrawHostWindow(VORNWindowID, void*)
{
    ++gHostWindowDraws;
}

// Start with a missing and with an empty plug-ins folder; shutdown; restart.
// What the host itself opened goes with the library: the restart has no window.
TEST_F(HostTest, StartRegistersTheHostAsZeroShutdownEmptiesRestartNumbersAgain)
{
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(Start(), 19);
        VORNDoDrawingHook(20, 0);
        if (round == 0)
            VORNCreateWindow(0, 100, 100, 0, 1, DrawHostWindow, nullptr, nullptr, nullptr);
        VORNDoDrawingHook(20, 0);
        EXPECT_EQ(gHostWindowDraws, 1);
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

// The library tells the host its build in a byte data ref the host published,
// with the terminating zero, once per start; a read-only one is left alone.
TEST_F(HostTest, TheBuildStringArrivesOnceWithItsTerminatingZeroUnlessReadOnly)
{
    for (int writable : {1, 0}) {
        SCOPED_TRACE(writable);
        gBuildWrites.clear();
        VORNDataRef ref = VORNRegisterDataAccessor(
            "sim/version/vorn_build_string", VORN_DATA_BYTES, writable, nullptr, nullptr, nullptr,
            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
            WriteBuildString, nullptr, nullptr);
        Start();
        VORNShutdownPlugins();
        started = false;
        VORNUnregisterDataAccessor(ref);
        ASSERT_EQ(gBuildWrites.size(), writable ? 1u : 0u);
        if (writable) {
            const std::string& write = gBuildWrites[0];
            EXPECT_EQ(write.size(), 23u);
            EXPECT_EQ(write.back(), '\0');
            EXPECT_THAT(write.substr(0, 22), MatchesRegex("0:[A-Z][a-z][a-z] [ 0-9][0-9] [0-9]{4} "
                                                          "[0-9][0-9]:[0-9][0-9]:[0-9][0-9]"));
        }
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
