// The plug-in lifecycle through the real loader: start, enable, disable,
// stop, host events relayed as messages, messages between plug-ins,
// features, the plug-ins of aircraft and scenery packages, reload and
// shutdown. What each file layout loads is in MalformedFoldersTest.

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

TEST_F(LifecycleTest, PluginsStartAndEnableAsThemselvesAndShutdownDisablesThenStopsThem)
{
    const std::string one = AddScripted("one.vpl", "One", "t.one", "description=Shows itself\n");
    AddScripted("two.vpl", "Two", "t.two");
    Start();
    EXPECT_THAT(host->CallsNamed("ShowLoadingMessage"),
                ElementsAre("ShowLoadingMessage(\"Loading Plugin: one.vpl\")",
                            "ShowLoadingMessage(\"Loading Plugin: two.vpl\")"));
    EXPECT_THAT(PluginLines(), ElementsAre("<One:start id=1>", "<Two:start id=2>",
                                           "<One:enable id=1>", "<Two:enable id=2>"));
    EXPECT_EQ(VORNGetMyID(), 0);

    char name[256], file[256], signature[256], description[256];
    VORNGetPluginInfo(1, name, file, signature, description);
    EXPECT_EQ(std::string(name) + "|" + file + "|" + signature + "|" + description,
              "One|" + one + "|t.one|Shows itself");
    VORNGetPluginInfo(0, name, file, signature, description);
    EXPECT_EQ(std::string(name) + "|" + file + "|" + signature + "|" + description,
              "Taravel||corvane.taravel.taravel|Taravel flight simulator");
    // An unknown id writes nothing.
    VORNGetPluginInfo(3, name, file, signature, description);
    EXPECT_STREQ(name, "Taravel");
    EXPECT_EQ(VORNFindPluginByPath(one.c_str()), 1);
    EXPECT_EQ(VORNFindPluginByPath(""), 0) << "the host's path is empty";
    EXPECT_EQ(VORNFindPluginByPath((one + "x").c_str()), -1);
    EXPECT_EQ(VORNFindPluginBySignature("t.two"), 2);
    EXPECT_EQ(VORNFindPluginBySignature("T.TWO"), -1);
    EXPECT_EQ(VORNFindPluginBySignature("t.tw"), -1);

    host->ClearRecord();
    VORNShutdownPlugins();
    started = false;
    EXPECT_THAT(PluginLines(), ElementsAre("<One:disable id=1>", "<Two:disable id=2>",
                                           "<One:stop id=1>", "<Two:stop id=2>"));
    EXPECT_EQ(VORNCountPlugins(), 0);
}

TEST_F(LifecycleTest, OldHostTablesGetNoLoadingMessageAndFromVersionThreeTheReloadAlert)
{
    AddScripted("one.vpl", "One", "t.one");
    host->systemPath = SystemPath();
    host->table.version = 3;
    Start();
    EXPECT_EQ(VORNCountPlugins(), 2);
    EXPECT_EQ(host->CountCalls("ShowLoadingMessage"), 0u);
    VORNReloadPlugins();
    VORNEventHook(10, nullptr, 1.0f);
    EXPECT_EQ(host->CountCalls("ShowAlert"), 1u);
    host->table.version = 2;
    VORNReloadPlugins();
    VORNEventHook(10, nullptr, 2.0f);
    EXPECT_EQ(host->CountCalls("ShowAlert"), 1u);
    EXPECT_EQ(VORNCountPlugins(), 2);
}

TEST_F(LifecycleTest, EnablingAndDisablingCallThePluginOnceAndADisabledOneHearsNothing)
{
    AddScripted("a.vpl", "A", "t.a", "enable=0\n");
    AddScripted("b.vpl", "B", "t.b");
    Start();
    EXPECT_EQ(VORNIsPluginEnabled(1), 0);
    EXPECT_EQ(VORNIsPluginEnabled(2), 1);
    host->ClearRecord();
    VORNEventHook(2, nullptr, 0);
    EXPECT_THAT(PluginLines(), ElementsAre("<B:msg 101 from 0 param null id=2>"));
    EXPECT_THAT(host->CallsNamed("HostReceiveMessage"),
                ElementsAre("HostReceiveMessage(0, 101, null)"));

    host->ClearRecord();
    VORNDisablePlugin(2);
    VORNDisablePlugin(2);
    EXPECT_EQ(VORNGetMyID(), 0);
    EXPECT_EQ(VORNEnablePlugin(2), 1);
    EXPECT_EQ(VORNEnablePlugin(2), 1);
    EXPECT_EQ(VORNEnablePlugin(1), 0);
    // Already marked disabled inside its own disable.
    EXPECT_THAT(PluginLines(),
                ElementsAre("<B:disable id=2>", "<B:enable id=2>", "<A:enable id=1>"));
    EXPECT_EQ(VORNIsPluginEnabled(1), 0);
}

TEST_F(LifecycleTest, HostEventsAreRelayedAsMessagesFromTheHost)
{
    AddScripted("a.vpl", "A", "t.a");
    Start();
    host->ClearRecord();
    int marker = 0;
    std::vector<std::string> expected;
    for (auto [event, message] : {std::pair{2, 101}, {4, 103}, {6, 104}, {7, 105}, {11, 107},
                                  {13, 108}}) {
        EXPECT_EQ(VORNEventHook(event, event == 13 ? &marker : nullptr, 0), 1);
        expected.push_back("<A:msg " + std::to_string(message) + " from 0 param " +
                           (event == 13 ? "set" : "null") + " id=1>");
    }
    EXPECT_EQ(PluginLines(), expected);
    ASSERT_EQ(host->messages.size(), 6u);
    EXPECT_EQ(host->messages.back().param, &marker);
}

TEST_F(LifecycleTest, MessagesCarryTheSendersIdToOneTargetOrToAll)
{
    AddScripted("a.vpl", "A", "t.a", "send_on_message=500\n");
    AddScripted("b.vpl", "B", "t.b");
    Start();
    host->ClearRecord();
    VORNEventHook(2, nullptr, 0);
    EXPECT_THAT(PluginLines(),
                ElementsAre("<A:msg 101 from 0 param null id=1>", "<A:msg 500 from 1 param null id=1>",
                            "<B:msg 500 from 1 param null id=2>", "<B:msg 101 from 0 param null id=2>"));
    EXPECT_THAT(host->CallsNamed("HostReceiveMessage"),
                ElementsAre("HostReceiveMessage(0, 101, null)", "HostReceiveMessage(1, 500, null)"));
    host->ClearRecord();
    VORNSendMessageToPlugin(2, 42, nullptr);
    VORNSendMessageToPlugin(0, 43, nullptr);
    EXPECT_THAT(PluginLines(), ElementsAre("<B:msg 42 from 0 param null id=2>"));
    EXPECT_THAT(host->CallsNamed("HostReceiveMessage"), ElementsAre("HostReceiveMessage(0, 43, null)"));
}

TEST_F(LifecycleTest, FeaturesAreKnownByExactNameAndKeptPerPlugin)
{
    StartAgents(2);
    EXPECT_EQ(VORNHasFeature("VORN_WANTS_REFLECTIONS"), 1);
    EXPECT_EQ(VORNHasFeature("VORN_USE_NATIVE_PATHS"), 1);
    EXPECT_EQ(VORNHasFeature("vorn_use_native_paths"), 0);
    std::vector<std::string> names;
    VORNEnumerateFeatures([](const char* name, void* refcon) {
        static_cast<std::vector<std::string>*>(refcon)->emplace_back(name);
    }, &names);
    EXPECT_THAT(names, ElementsAre("VORN_WANTS_REFLECTIONS", "VORN_USE_NATIVE_PATHS"));

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
    std::string Acf(const std::string& relative) { return root.Join("Aircraft/Jet/plugins/" + relative); }
};

TEST_F(AircraftTest, TheUsersAircraftBringsItsPluginsInByteOrderAndTakesThemAway)
{
    AddScripted("global.vpl", "Global", "t.global");
    AddScriptedAt(Acf("b/lin.vpl"), "acf b", "t.acf.b");
    AddScriptedAt(Acf("A/lin.vpl"), "acf A", "t.acf.A");
    AddScriptedAt(Acf("a/64/lin.vpl"), "acf a", "t.acf.a");
    root.WriteFile("Aircraft/Jet/plugins/loose.vpl", "plain files are not considered");
    Start();
    int other = 3;
    host->ClearRecord();
    VORNEventHook(3, &other, 0);
    VORNEventHook(8, &other, 0);
    EXPECT_EQ(VORNCountPlugins(), 2) << "another aircraft only broadcasts";
    EXPECT_EQ(host->CountCalls("GetNthAircraftModel"), 0u);
    EXPECT_THAT(PluginLines(), ElementsAre("<Global:msg 102 from 0 param set id=1>",
                                           "<Global:msg 106 from 0 param set id=1>"));

    host->ClearRecord();
    EXPECT_EQ(VORNEventHook(3, nullptr, 0), 1);
    EXPECT_THAT(Names(), ElementsAre("Taravel", "Global", "acf A", "acf a", "acf b"));
    // The aircraft's own plug-ins never hear of their aircraft being loaded.
    EXPECT_THAT(PluginLines(),
                ElementsAre("<Global:msg 102 from 0 param null id=1>", "<acf A:start id=2>",
                            "<acf a:start id=3>", "<acf b:start id=4>", "<acf A:enable id=2>",
                            "<acf a:enable id=3>", "<acf b:enable id=4>"));
    const auto writes = LibraryWrites();
    EXPECT_THAT(std::vector<std::string>(writes.begin(), writes.begin() + 3),
                ElementsAre("Fetching plugins for ", root.Join("Aircraft/Jet/plugins"), "\n\n"));
    EXPECT_EQ(host->CountCalls("GetNthAircraftModel"), 1u);

    host->ClearRecord();
    VORNEventHook(8, nullptr, 0);
    EXPECT_THAT(PluginLines(),
                ElementsAre("<Global:msg 106 from 0 param null id=1>", "<acf A:msg 106 from 0 param null id=2>",
                            "<acf a:msg 106 from 0 param null id=3>", "<acf b:msg 106 from 0 param null id=4>",
                            "<acf A:disable id=2>", "<acf a:disable id=3>", "<acf b:disable id=4>",
                            "<acf A:stop id=2>", "<acf a:stop id=3>", "<acf b:stop id=4>"));
    EXPECT_THAT(Names(), ElementsAre("Taravel", "Global"));

    // Without a plug-ins folder, or a path without a slash: nothing, silently.
    host->ClearRecord();
    host->aircraftPath = root.Join("Aircraft/Bare/Bare.acf");
    VORNEventHook(3, nullptr, 0);
    host->aircraftPath = "no-slash.acf";
    VORNEventHook(3, nullptr, 0);
    EXPECT_THAT(LibraryWrites(), IsEmpty());
    EXPECT_EQ(VORNCountPlugins(), 2);
}

TEST_F(AircraftTest, SceneryPluginsComeEnabledAndKeepTheirIdsWhenTheAircraftsGo)
{
    AddScriptedAt(Acf("p/lin.vpl"), "acf p", "t.acf.p");
    const std::string package = root.Join("Custom Scenery/Pack");
    AddScriptedAt(package + "/plugins/s/lin.vpl", "scenery s", "t.s");
    AddScriptedAt(package + "plugins/sibling/lin.vpl", "sibling", "t.sib");
    Start();
    VORNEventHook(3, nullptr, 0);
    host->ClearRecord();
    // The package folder comes with its trailing separator.
    VORNEventHook(12, const_cast<char*>((package + "/").c_str()), 0);
    EXPECT_THAT(PluginLines(), ElementsAre("<scenery s:start id=2>", "<scenery s:enable id=2>"));
    VORNEventHook(12, const_cast<char*>(package.c_str()), 0);
    VORNEventHook(12, nullptr, 0);
    EXPECT_THAT(Names(), ElementsAre("Taravel", "acf p", "scenery s", "sibling"));

    VORNEventHook(8, nullptr, 0);
    EXPECT_EQ(VORNCountPlugins(), 4) << "only trailing aircraft records go";
    EXPECT_EQ(VORNIsPluginEnabled(1), 0);
    EXPECT_EQ(VORNEnablePlugin(1), 0) << "an unloaded record is never enabled again";
    EXPECT_EQ(VORNIsPluginEnabled(2), 1);
}

TEST_F(AircraftTest, AReloadRunsOnceAfterTheNextPassAndBringsTheAircraftPluginsBack)
{
    AddScripted("g.vpl", "G", "t.g");
    AddScriptedAt(Acf("p/lin.vpl"), "acf p", "t.acf.p");
    Start();
    VORNEventHook(3, nullptr, 0);
    VORNReloadPlugins();
    VORNReloadPlugins();
    host->ClearRecord();
    VORNEventHook(0, nullptr, 1.0f);
    EXPECT_THAT(PluginLines(),
                ElementsAre("<G:disable id=1>", "<acf p:disable id=2>", "<acf p:stop id=2>",
                            "<G:stop id=1>", "<G:start id=1>", "<acf p:start id=2>",
                            "<G:enable id=1>", "<acf p:enable id=2>"));
    EXPECT_THAT(host->CallsNamed("ShowAlert"),
                ElementsAre("ShowAlert(\"Please place your new plugin in the plugins folder.\", "
                            "\"I will then reload all plugins.\", \"\", \"\")"));
    host->ClearRecord();
    VORNEventHook(0, nullptr, 2.0f);
    EXPECT_THAT(PluginLines(), IsEmpty());
    VORNEventHook(8, nullptr, 0);
    EXPECT_THAT(Names(), ElementsAre("Taravel", "G")) << "still known as the aircraft's";
}

// Some records outlive a shutdown by design (data refs, the handler list of
// every command seen); once they exist, each start-use-shutdown cycle must
// give back all it took.
TEST_F(LifecycleTest, RepeatedStartAndShutdownCyclesDoNotGrow)
{
#if !defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "counts allocations only in the AddressSanitizer build";
#else
    InstallPlugin("menu_user", "menus.vpl");
    InstallPlugin("data_user", "data.vpl");
    AddScripted("one.vpl", "One", "t.one");
    AddScripted("fat/lin.vpl", "Fat", "t.fat");
    size_t before = 0;
    for (int cycle = 0; cycle < 13; ++cycle) {
        if (cycle == 3)
            before = __sanitizer_get_current_allocated_bytes();
        host->ClearRecord();
        Start();
        for (int frame = 0; frame < 3; ++frame) {
            VORNEventHook(0, nullptr, 0.0f);
            VORNEventHook(9, nullptr, 0.0f);  // held commands continue
        }
        VORNShutdownPlugins();
        started = false;
    }
    EXPECT_EQ(__sanitizer_get_current_allocated_bytes(), before);
#endif
}

}  // namespace
