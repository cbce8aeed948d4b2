// The plug-in lifecycle through the real loader: start, enable, disable, stop, host events relayed
// as messages, messages between plug-ins, features, the plug-ins of aircraft and scenery packages,
// reload and shutdown. What each file layout loads is in MalformedFoldersTest.

#include "PluginRoot.h"

#include <gmock/gmock.h>

#if defined(__SANITIZE_ADDRESS__)
extern "C" size_t __sanitizer_get_current_allocated_bytes();
#endif

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using LifecycleTest = LoaderTest;

std::string Info(int id)
{
    char name[256], file[256], signature[256], description[256];
    VORNGetPluginInfo(id, name, file, signature, description);
    return std::string(name) + "|" + file + "|" + signature + "|" + description;
}

TEST_F(LifecycleTest, StartEnableMessagesDisableAndShutdownCallEachPluginAsItselfInOrder)
{
    const std::string one = AddScripted("one.vpl", "One", "t.one",
                                        "description=Shows itself\nsend_on_message=500\n");
    AddScripted("two.vpl", "Two", "t.two");
    AddScripted("z_three.vpl", "Three", "t.three", "enable=0\n");
    Start();
    EXPECT_THAT(host->CallsNamed("ShowLoadingMessage"),
                ElementsAre("ShowLoadingMessage(\"Loading Plugin: one.vpl\")",
                            "ShowLoadingMessage(\"Loading Plugin: two.vpl\")",
                            "ShowLoadingMessage(\"Loading Plugin: z_three.vpl\")"));
    EXPECT_THAT(PluginLines(), ElementsAre("<One:start id=1>", "<Two:start id=2>", "<Three:start id=3>",
                                           "<One:enable id=1>", "<Two:enable id=2>", "<Three:enable id=3>"));
    EXPECT_EQ(Info(1), "One|" + one + "|t.one|Shows itself");
    EXPECT_EQ(Info(0), "Taravel||corvane.taravel.taravel|Taravel flight simulator");
    EXPECT_EQ(Cat({VORNFindPluginByPath(one.c_str()), VORNFindPluginBySignature("t.two"),
                   VORNFindPluginBySignature("T.TWO"), VORNFindPluginBySignature("t.tw"),
                   VORNIsPluginEnabled(2), VORNIsPluginEnabled(3)}),
              "12-1-110");

    // A broadcast reaches the host first, then the enabled plug-ins with the sender's id.
    host->ClearRecord();
    VORNEventHook(2, nullptr, 0);
    VORNSendMessageToPlugin(2, 42, nullptr);
    VORNSendMessageToPlugin(0, 43, nullptr);
    EXPECT_THAT(PluginLines(),
                ElementsAre("<One:msg 101 from 0 param null id=1>", "<One:msg 500 from 1 param null id=1>",
                            "<Two:msg 500 from 1 param null id=2>", "<Two:msg 101 from 0 param null id=2>",
                            "<Two:msg 42 from 0 param null id=2>"));
    EXPECT_THAT(host->CallsNamed("HostReceiveMessage"),
                ElementsAre("HostReceiveMessage(0, 101, null)", "HostReceiveMessage(1, 500, null)",
                            "HostReceiveMessage(0, 43, null)"));

    // Each change calls the plug-in once; Three refuses again.
    host->ClearRecord();
    VORNDisablePlugin(1);
    VORNDisablePlugin(1);
    EXPECT_EQ(Cat({VORNEnablePlugin(1), VORNEnablePlugin(1), VORNEnablePlugin(3)}), "110");
    VORNDisablePlugin(1);
    // Already marked disabled inside its own disable.
    EXPECT_THAT(PluginLines(), ElementsAre("<One:disable id=1>", "<One:enable id=1>", "<Three:enable id=3>",
                                           "<One:disable id=1>"));

    host->ClearRecord();
    int marker = 0;
    std::vector<std::string> expected;
    for (auto [event, message] : {std::pair{2, 101}, {4, 103}, {6, 104}, {7, 105}, {11, 107}, {13, 108}}) {
        EXPECT_EQ(VORNEventHook(event, event == 13 ? &marker : nullptr, 0), 1);
        expected.push_back("<Two:msg " + std::to_string(message) + " from 0 param " +
                           (event == 13 ? "set" : "null") + " id=2>");
    }
    EXPECT_EQ(PluginLines(), expected);
    EXPECT_EQ(host->CallsNamed("HostReceiveMessage").at(5),
              "HostReceiveMessage(0, 108, " + Fmt(&marker) + ")");

    host->ClearRecord();
    VORNShutdownPlugins();
    started = false;
    EXPECT_THAT(PluginLines(), ElementsAre("<Two:disable id=2>", "<One:stop id=1>", "<Two:stop id=2>",
                                           "<Three:stop id=3>"));
    EXPECT_EQ(VORNCountPlugins(), 0);
}

TEST_F(LifecycleTest, FeaturesAreKnownByExactNameAndKeptPerPlugin)
{
    StartAgents(2);
    EXPECT_EQ(VORNHasFeature("VORN_WANTS_REFLECTIONS") + VORNHasFeature("VORN_USE_NATIVE_PATHS"), 2);
    EXPECT_EQ(VORNHasFeature("vorn_use_native_paths"), 0);

    As(1, [] { VORNEnableFeature("VORN_USE_NATIVE_PATHS", 2); });
    EXPECT_EQ(AsReturning<int>(1, [] { return VORNIsFeatureEnabled("VORN_USE_NATIVE_PATHS"); }), 2);
    EXPECT_EQ(AsReturning<int>(1, [] { return VORNIsFeatureEnabled("VORN_WANTS_REFLECTIONS"); }), 0);
    EXPECT_EQ(AsReturning<int>(2, [] { return VORNIsFeatureEnabled("VORN_USE_NATIVE_PATHS"); }), 0);
    EXPECT_EQ(VORNIsFeatureEnabled("VORN_USE_NATIVE_PATHS"), 0);
    // A nested dispatch gives the caller back its id.
    EXPECT_EQ(AsReturning<int>(1, [] { As(2, [] {}); return VORNGetMyID(); }), 1);
}

class AircraftTest : public LoaderTest {
protected:
    void SetUp() override
    {
        LoaderTest::SetUp();
        host->aircraftPath = root.Join("Aircraft/Jet/Jet.acf");
        host->systemPath = SystemPath();
    }
    std::string Acf(const std::string& file) { return root.Join("Aircraft/Jet/plugins/" + file); }
};

TEST_F(AircraftTest, TheUsersAircraftAndSceneryPackagesBringTheirPluginsAndTheAircraftTakesItsAway)
{
    AddScripted("global.vpl", "Global", "t.global");
    AddScriptedAt(Acf("b/lin.vpl"), "acf b", "t.acf.b");
    AddScriptedAt(Acf("A/lin.vpl"), "acf A", "t.acf.A");
    AddScriptedAt(Acf("a/64/lin.vpl"), "acf a", "t.acf.a");
    root.WriteFile("Aircraft/Jet/plugins/loose.vpl", "plain files are not considered");
    const std::string package = root.Join("Custom Scenery/Pack");
    AddScriptedAt(package + "/plugins/s/lin.vpl", "scenery s", "t.s");
    AddScriptedAt(package + "plugins/sibling/lin.vpl", "sibling", "t.sib");
    Start();
    int other = 3;
    host->ClearRecord();
    VORNEventHook(3, &other, 0);
    VORNEventHook(8, &other, 0);
    EXPECT_EQ(VORNCountPlugins(), 2) << "another aircraft only broadcasts";
    EXPECT_EQ(host->CountCalls("GetNthAircraftModel"), 0u);
    EXPECT_THAT(PluginLines(), ElementsAre("<Global:msg 102 from 0 param set id=1>",
                                           "<Global:msg 106 from 0 param set id=1>"));

    // In byte order; they never hear of their own aircraft being loaded.
    host->ClearRecord();
    EXPECT_EQ(VORNEventHook(3, nullptr, 0), 1);
    EXPECT_THAT(Names(), ElementsAre("Taravel", "Global", "acf A", "acf a", "acf b"));
    EXPECT_THAT(PluginLines(),
                ElementsAre("<Global:msg 102 from 0 param null id=1>", "<acf A:start id=2>",
                            "<acf a:start id=3>", "<acf b:start id=4>", "<acf A:enable id=2>",
                            "<acf a:enable id=3>", "<acf b:enable id=4>"));
    const auto writes = LibraryWrites();
    EXPECT_THAT(std::vector<std::string>(writes.begin(), writes.begin() + 3),
                ElementsAre("Fetching plugins for ", root.Join("Aircraft/Jet/plugins"), "\n\n"));
    EXPECT_EQ(host->CountCalls("GetNthAircraftModel"), 1u);

    // The package folder comes with its trailing separator; it is joined as it comes.
    host->ClearRecord();
    for (const std::string& folder : {package + "/", package})
        VORNEventHook(12, const_cast<char*>(folder.c_str()), 0);
    VORNEventHook(12, nullptr, 0);
    EXPECT_THAT(PluginLines(), ElementsAre("<scenery s:start id=5>", "<scenery s:enable id=5>",
                                           "<sibling:start id=6>", "<sibling:enable id=6>"));

    host->ClearRecord();
    VORNEventHook(8, nullptr, 0);
    EXPECT_THAT(PluginLines(),
                ElementsAre("<Global:msg 106 from 0 param null id=1>",
                            "<acf A:msg 106 from 0 param null id=2>", "<acf a:msg 106 from 0 param null id=3>",
                            "<acf b:msg 106 from 0 param null id=4>", "<scenery s:msg 106 from 0 param null id=5>",
                            "<sibling:msg 106 from 0 param null id=6>", "<acf A:disable id=2>",
                            "<acf a:disable id=3>", "<acf b:disable id=4>", "<acf A:stop id=2>",
                            "<acf a:stop id=3>", "<acf b:stop id=4>"));
    EXPECT_EQ(VORNCountPlugins(), 7) << "only trailing aircraft records go";
    EXPECT_EQ(Cat({VORNIsPluginEnabled(2), VORNEnablePlugin(2), VORNIsPluginEnabled(5)}), "001")
        << "an unloaded record is never enabled again";
}

TEST_F(AircraftTest, AReloadRunsOnceAfterTheNextPassAndBringsTheAircraftPluginsBack)
{
    AddScripted("g.vpl", "G", "t.g");
    AddScriptedAt(Acf("p/lin.vpl"), "acf p", "t.acf.p");
    host->table.version = 3;
    Start();
    EXPECT_EQ(host->CountCalls("ShowLoadingMessage"), 0u) << "not in a table of version 3";
    VORNEventHook(3, nullptr, 0);
    VORNReloadPlugins();
    VORNReloadPlugins();
    host->ClearRecord();
    VORNEventHook(0, nullptr, 1.0f);
    EXPECT_THAT(PluginLines(), ElementsAre("<G:disable id=1>", "<acf p:disable id=2>", "<acf p:stop id=2>",
                                           "<G:stop id=1>", "<G:start id=1>", "<acf p:start id=2>",
                                           "<G:enable id=1>", "<acf p:enable id=2>"));
    EXPECT_THAT(host->CallsNamed("ShowAlert"),
                ElementsAre("ShowAlert(\"Please place your new plugin in the plugins folder.\", "
                            "\"I will then reload all plugins.\", \"\", \"\")"));
    host->ClearRecord();
    VORNEventHook(0, nullptr, 2.0f);
    EXPECT_THAT(PluginLines(), IsEmpty());
    host->table.version = 2;
    VORNReloadPlugins();
    VORNEventHook(0, nullptr, 3.0f);
    EXPECT_EQ(host->CountCalls("ShowAlert"), 0u) << "not in a table older than version 3";
    VORNEventHook(8, nullptr, 0);
    EXPECT_THAT(Names(), ElementsAre("Taravel", "G")) << "trailing aircraft records go";
}

// Some records outlive a shutdown by design (data refs, the handler list of every command seen);
// once they exist, each start-use-shutdown cycle must give back all it took.
TEST_F(LifecycleTest, RepeatedStartAndShutdownCyclesDoNotGrow)
{
#if !defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "counts allocations only in the AddressSanitizer build";
#else
    InstallPlugin("menu_user", "menus.vpl");
    InstallPlugin("data_user", "data.vpl");
    AddScripted("fat/lin.vpl", "Fat", "t.fat");
    size_t before = 0;
    for (int cycle = 0; cycle < 13; ++cycle) {
        before = cycle == 3 ? __sanitizer_get_current_allocated_bytes() : before;
        host->ClearRecord();
        Start();
        for (int frame = 0; frame < 3; ++frame) {
            VORNEventHook(0, nullptr, 0.0f);
            VORNEventHook(9, nullptr, 0.0f);  // held commands continue
        }
        VORNShutdownPlugins();
    }
    started = false;
    EXPECT_EQ(__sanitizer_get_current_allocated_bytes(), before);
#endif
}

}  // namespace
