// Enabling, disabling, messages, features, reload, and the plug-ins that come
// with an aircraft or a scenery package, driven through host events.

#include "PluginRoot.h"

#include <gmock/gmock.h>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class LifecycleTest : public LoaderTest {};

TEST_F(LifecycleTest, ThePluginThatRefusesToBeEnabledStaysDisabledAndHearsNothing)
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
}

TEST_F(LifecycleTest, EnableAndDisableIgnoreTheHostAndUnknownIds)
{
    Start();
    EXPECT_EQ(VORNEnablePlugin(0), 0);
    EXPECT_EQ(VORNEnablePlugin(5), 0);
    EXPECT_EQ(VORNEnablePlugin(-1), 0);
    VORNDisablePlugin(0);
    VORNDisablePlugin(7);
    EXPECT_EQ(VORNIsPluginEnabled(0), 1);
}

TEST_F(LifecycleTest, ADisabledPluginIsAlreadyMarkedDisabledInsideItsDisable)
{
    AddScripted("a.vpl", "A", "t.a");
    Start();
    host->ClearRecord();
    VORNDisablePlugin(1);
    VORNDisablePlugin(1);
    EXPECT_THAT(PluginLines(), ElementsAre("<A:disable id=1>"));
    EXPECT_EQ(VORNGetMyID(), 0);
    EXPECT_EQ(VORNEnablePlugin(1), 1);
    EXPECT_EQ(VORNEnablePlugin(1), 1) << "enabling twice is harmless";
    EXPECT_THAT(PluginLines(), ElementsAre("<A:disable id=1>", "<A:enable id=1>"));
}

TEST_F(LifecycleTest, HostEventsAreRelayedAsMessagesFromTheHost)
{
    AddScripted("a.vpl", "A", "t.a");
    Start();
    host->ClearRecord();
    int marker = 0;
    const std::pair<int, int> events[] = {{2, 101}, {4, 103}, {6, 104}, {7, 105},
                                          {11, 107}, {13, 108}};
    for (const auto& [event, message] : events)
        EXPECT_EQ(VORNEventHook(event, event == 13 ? &marker : nullptr, 0), 1);
    EXPECT_THAT(PluginLines(),
                ElementsAre("<A:msg 101 from 0 param null id=1>", "<A:msg 103 from 0 param null id=1>",
                            "<A:msg 104 from 0 param null id=1>", "<A:msg 105 from 0 param null id=1>",
                            "<A:msg 107 from 0 param null id=1>", "<A:msg 108 from 0 param set id=1>"));
    EXPECT_EQ(host->messages.size(), 6u);
    EXPECT_EQ(host->messages.back().param, &marker);
}

TEST_F(LifecycleTest, AMessageSentFromInsideAHandlerCarriesTheHandlersId)
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
}

TEST_F(LifecycleTest, MessagesToASingleTargetAndToUnknownIds)
{
    AddScripted("a.vpl", "A", "t.a");
    AddScripted("b.vpl", "B", "t.b");
    Start();
    host->ClearRecord();
    VORNSendMessageToPlugin(2, 42, nullptr);
    VORNSendMessageToPlugin(9, 42, nullptr);
    VORNSendMessageToPlugin(-5, 42, nullptr);
    VORNSendMessageToPlugin(0, 43, nullptr);
    EXPECT_THAT(PluginLines(), ElementsAre("<B:msg 42 from 0 param null id=2>"));
    EXPECT_THAT(host->CallsNamed("HostReceiveMessage"), ElementsAre("HostReceiveMessage(0, 43, null)"));
}

TEST_F(LifecycleTest, FeaturesAreKnownByExactName)
{
    Start();
    EXPECT_EQ(VORNHasFeature("VORN_WANTS_REFLECTIONS"), 1);
    EXPECT_EQ(VORNHasFeature("VORN_USE_NATIVE_PATHS"), 1);
    EXPECT_EQ(VORNHasFeature("vorn_use_native_paths"), 0);
    EXPECT_EQ(VORNHasFeature(nullptr), 0);
    std::vector<std::string> names;
    VORNEnumerateFeatures([](const char* name, void* refcon) {
        static_cast<std::vector<std::string>*>(refcon)->emplace_back(name);
    }, &names);
    EXPECT_THAT(names, ElementsAre("VORN_WANTS_REFLECTIONS", "VORN_USE_NATIVE_PATHS"));
    VORNEnumerateFeatures(nullptr, nullptr);
}

TEST_F(LifecycleTest, FeatureStatesAreStoredUnchangedPerPlugin)
{
    Start();
    EXPECT_EQ(VORNIsFeatureEnabled("VORN_USE_NATIVE_PATHS"), 0);
    VORNEnableFeature("VORN_USE_NATIVE_PATHS", 2);
    EXPECT_EQ(VORNIsFeatureEnabled("VORN_USE_NATIVE_PATHS"), 2);
    EXPECT_EQ(VORNIsFeatureEnabled("VORN_WANTS_REFLECTIONS"), 0);
    VORNEnableFeature("VORN_USE_NATIVE_PATHS", 0);
}

std::vector<std::string> gFeatureErrors;

TEST_F(LifecycleTest, UnknownFeatureNamesAreReportedUnderTheSettersName)
{
    Start();
    gFeatureErrors.clear();
    VORNSetErrorCallback([](const char* message) { gFeatureErrors.emplace_back(message); });
    EXPECT_EQ(VORNIsFeatureEnabled("NOPE"), 0);
    VORNEnableFeature("NOPE", 1);
    EXPECT_THAT(gFeatureErrors, ElementsAre("Illegal feature name passed to VORNEnableFeature",
                                            "Illegal feature name passed to VORNEnableFeature"));
    VORNSetErrorCallback(nullptr);
}

// ---- aircraft and scenery plug-ins -------------------------------------------------------

class AircraftTest : public LifecycleTest {
protected:
    void SetUp() override
    {
        LifecycleTest::SetUp();
        host->aircraftPath = root.Join("Aircraft/Jet/Jet.acf");
        aircraftPlugins = root.Join("Aircraft/Jet/plugins");
    }
    std::string aircraftPlugins;
};

TEST_F(AircraftTest, TheUsersAircraftBringsItsPluginsInByteOrder)
{
    AddScripted("global.vpl", "Global", "t.global");
    AddScriptedAt(aircraftPlugins + "/b/lin.vpl", "acf b", "t.acf.b");
    AddScriptedAt(aircraftPlugins + "/A/lin.vpl", "acf A", "t.acf.A");
    AddScriptedAt(aircraftPlugins + "/a/64/lin.vpl", "acf a", "t.acf.a");
    root.WriteFile("Aircraft/Jet/plugins/loose.vpl", "plain files are not considered");
    Start();
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
                ElementsAre("Fetching plugins for ", aircraftPlugins, "\n\n"));
    EXPECT_THAT(host->CallsNamed("GetNthAircraftModel").size(), 1u);
}

TEST_F(AircraftTest, UnloadingTheAircraftTellsItsPluginsThenRemovesThem)
{
    AddScripted("global.vpl", "Global", "t.global");
    AddScriptedAt(aircraftPlugins + "/p/lin.vpl", "acf p", "t.acf.p");
    Start();
    VORNEventHook(3, nullptr, 0);
    host->ClearRecord();
    VORNEventHook(8, nullptr, 0);
    EXPECT_THAT(PluginLines(),
                ElementsAre("<Global:msg 106 from 0 param null id=1>",
                            "<acf p:msg 106 from 0 param null id=2>", "<acf p:disable id=2>",
                            "<acf p:stop id=2>"));
    EXPECT_THAT(Names(), ElementsAre("Taravel", "Global"));
}

TEST_F(AircraftTest, OtherAircraftEventsOnlyBroadcast)
{
    AddScriptedAt(aircraftPlugins + "/p/lin.vpl", "acf p", "t.acf.p");
    Start();
    int other = 3;
    VORNEventHook(3, &other, 0);
    EXPECT_EQ(VORNCountPlugins(), 1);
    EXPECT_EQ(host->CountCalls("GetNthAircraftModel"), 0u);
    VORNEventHook(3, nullptr, 0);
    EXPECT_EQ(VORNCountPlugins(), 2);
    VORNEventHook(8, &other, 0);
    EXPECT_EQ(VORNCountPlugins(), 2);
}

TEST_F(AircraftTest, AnAircraftWithoutPluginsOrWithoutSlashLoadsNothingSilently)
{
    Start();
    host->ClearRecord();
    VORNEventHook(3, nullptr, 0);
    host->aircraftPath = "no-slash.acf";
    VORNEventHook(3, nullptr, 0);
    EXPECT_THAT(LibraryWrites(), IsEmpty());
    EXPECT_EQ(VORNCountPlugins(), 1);
}

TEST_F(AircraftTest, AircraftRecordsFollowedByOthersStayUnloaded)
{
    AddScriptedAt(aircraftPlugins + "/p/lin.vpl", "acf p", "t.acf.p");
    const std::string scenery = root.Join("Custom Scenery/Pack/");
    AddScriptedAt(scenery + "plugins/s/lin.vpl", "scenery s", "t.s");
    Start();
    VORNEventHook(3, nullptr, 0);
    VORNEventHook(12, const_cast<char*>(scenery.c_str()), 0);
    EXPECT_THAT(Names(), ElementsAre("Taravel", "acf p", "scenery s"));
    VORNEventHook(8, nullptr, 0);
    EXPECT_EQ(VORNCountPlugins(), 3) << "the scenery plug-in keeps its id";
    EXPECT_EQ(VORNIsPluginEnabled(1), 0);
    EXPECT_EQ(VORNIsPluginEnabled(2), 1);
}

TEST_F(AircraftTest, SceneryPluginsAreLoadedAndEnabledFromTheFolderJoinedWithPlugins)
{
    const std::string package = root.Join("Custom Scenery/Pack");
    AddScriptedAt(package + "/plugins/s/lin.vpl", "scenery s", "t.s");
    AddScriptedAt(package + "plugins/sibling/lin.vpl", "sibling", "t.sib");
    Start();
    host->ClearRecord();
    VORNEventHook(12, const_cast<char*>((package + "/").c_str()), 0);
    EXPECT_THAT(Names(), ElementsAre("Taravel", "scenery s"));
    VORNEventHook(12, const_cast<char*>(package.c_str()), 0);
    EXPECT_THAT(Names(), ElementsAre("Taravel", "scenery s", "sibling"));
    VORNEventHook(12, nullptr, 0);
}

// ---- reload ----------------------------------------------------------------------------

TEST_F(LifecycleTest, AReloadRequestRunsOnceAfterTheNextFlightLoopPass)
{
    AddScripted("a.vpl", "A", "t.a");
    Start();
    host->systemPath = SystemPath();
    VORNReloadPlugins();
    VORNReloadPlugins();
    host->ClearRecord();
    VORNEventHook(0, nullptr, 1.0f);
    EXPECT_THAT(PluginLines(), ElementsAre("<A:disable id=1>", "<A:stop id=1>", "<A:start id=1>",
                                           "<A:enable id=1>"));
    EXPECT_THAT(host->CallsNamed("ShowAlert"),
                ElementsAre("ShowAlert(\"Please place your new plugin in the plugins folder.\", "
                            "\"I will then reload all plugins.\", \"\", \"\")"));
    host->ClearRecord();
    VORNEventHook(0, nullptr, 2.0f);
    EXPECT_THAT(PluginLines(), IsEmpty());
}

TEST_F(LifecycleTest, ReloadShowsNoAlertToOldHosts)
{
    Start();
    host->systemPath = SystemPath();
    host->table.version = 2;
    VORNReloadPlugins();
    VORNEventHook(10, nullptr, 1.0f);
    EXPECT_EQ(host->CountCalls("ShowAlert"), 0u);
    EXPECT_EQ(VORNCountPlugins(), 1);
}

TEST_F(AircraftTest, ReloadBringsTheAircraftPluginsBackEnabled)
{
    AddScripted("g.vpl", "G", "t.g");
    AddScriptedAt(aircraftPlugins + "/p/lin.vpl", "acf p", "t.acf.p");
    Start();
    host->systemPath = SystemPath();
    VORNEventHook(3, nullptr, 0);
    VORNReloadPlugins();
    VORNEventHook(0, nullptr, 1.0f);
    EXPECT_THAT(Names(), ElementsAre("Taravel", "G", "acf p"));
    EXPECT_EQ(VORNIsPluginEnabled(2), 1);
    host->ClearRecord();
    VORNEventHook(8, nullptr, 0);
    EXPECT_THAT(Names(), ElementsAre("Taravel", "G")) << "still known as the aircraft's";
}

}  // namespace
