// Discovery and loading through the real loader: the load order that decides
// the ids, the skip rules, every log text and how it is split into writes.

#include "PluginRoot.h"

#include <gmock/gmock.h>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

TEST_F(LoaderTest, IdsFollowTheFixedLoadOrder)
{
    AddScripted("b.vpl", "plain b", "t.b");
    AddScripted("A.vpl", "plain A", "t.A");
    AddScripted("zfat/64/lin.vpl", "fat z", "t.z");
    AddScripted("afat/lin.vpl", "fat a", "t.a");
    AddScripted("PluginAdmin/64/lin.vpl", "admin", "t.admin");
    Start();
    EXPECT_THAT(Names(), ElementsAre("Taravel", "admin", "plain A", "plain b", "fat a", "fat z"));
    for (int id = 1; id < VORNCountPlugins(); ++id)
        EXPECT_EQ(VORNIsPluginEnabled(id), 1) << id;
}

TEST_F(LoaderTest, SkipRulesKeepAdministrationAndFrameworkFoldersOut)
{
    AddScripted("xPluginAdminx.vpl", "plain admin", "t.pa");
    AddScripted("MyPluginAdminTool/lin.vpl", "folder admin", "t.fa");
    AddScripted("VORN.framework/lin.vpl", "framework", "t.fw");
    AddScripted("VWidgets.framework/lin.vpl", "widgets", "t.ww");
    AddScripted("ok.vpl", "ok", "t.ok");
    Start();
    EXPECT_THAT(Names(), ElementsAre("Taravel", "ok"));
}

TEST_F(LoaderTest, LoadingIsLoggedInSeparateWrites)
{
    const std::string path = AddScripted("one.vpl", "One", "t.one");
    Start();
    EXPECT_THAT(LibraryWrites(), ElementsAre("Fetching plugins for ", PluginsFolder(), "\n\n",
                                             "Loaded: ", path, " (", "One", ").\n\n"));
    EXPECT_THAT(host->CallsNamed("ShowLoadingMessage"),
                ElementsAre("ShowLoadingMessage(\"Loading Plugin: one.vpl\")"));
}

TEST_F(LoaderTest, LoadingMessageNeedsTableVersionFour)
{
    AddScripted("one.vpl", "One", "t.one");
    host->table.version = 3;
    Start();
    EXPECT_EQ(VORNCountPlugins(), 2);
    EXPECT_EQ(host->CountCalls("ShowLoadingMessage"), 0u);
}

TEST_F(LoaderTest, APluginRunsAsItselfWhileStartingAndTheHostAfterwards)
{
    AddScripted("one.vpl", "One", "t.one");
    AddScripted("two.vpl", "Two", "t.two");
    Start();
    EXPECT_THAT(PluginLines(), ElementsAre("<One:start id=1>", "<Two:start id=2>",
                                           "<One:enable id=1>", "<Two:enable id=2>"));
    EXPECT_EQ(VORNGetMyID(), 0);
}

TEST_F(LoaderTest, AFileThatIsNotAModuleIsReported)
{
    const std::string path = root.WriteFile("Resources/plugins/junk.vpl", "not a module");
    Start();
    const auto writes = LibraryWrites();
    ASSERT_EQ(writes.size(), 9u);
    EXPECT_EQ(writes[3], "dlerror:");
    EXPECT_EQ(writes[5], "\n");
    EXPECT_EQ(writes[6], "Failed: ");
    EXPECT_EQ(writes[7], path);
    EXPECT_EQ(writes[8],
              ".  (This file is missing, not a DLL or could not be loaded due to another missing "
              "DLL.)\n\n");
    EXPECT_EQ(VORNCountPlugins(), 1);
}

TEST_F(LoaderTest, AModuleWithoutStartIsReported)
{
    const std::string path = root.CopyFile(TestPluginPath("no_start"), "Resources/plugins/ns.vpl");
    Start();
    EXPECT_THAT(LibraryWrites(),
                ElementsAre("Fetching plugins for ", PluginsFolder(), "\n\n", "Failed: ", path,
                            ".  (This file is a loadable DLL but is missing the VPluginStart "
                            "callback.)\n\n"));
    EXPECT_EQ(VORNCountPlugins(), 1);
}

TEST_F(LoaderTest, APluginThatRefusesToStartIsNotRegistered)
{
    const std::string path = AddScripted("no.vpl", "No", "t.no", "start=0\n");
    AddScripted("yes.vpl", "Yes", "t.yes");
    Start();
    EXPECT_THAT(Names(), ElementsAre("Taravel", "Yes"));
    const auto writes = LibraryWrites();
    EXPECT_THAT(std::vector<std::string>(writes.begin() + 3, writes.begin() + 6),
                ElementsAre("Failed: ", path,
                            ". (The plugin refused to start by returning 0 from VPluginStart.)\n\n"));
    EXPECT_THAT(PluginLines(), ElementsAre("<No:start id=1>", "<Yes:start id=1>",
                                           "<Yes:enable id=1>"));
}

// What a plug-in registered before refusing would point into its closed
// module, and be handed to the next plug-in that takes its id.
TEST_F(LoaderTest, APluginThatRefusesToStartLeavesNothingRegistered)
{
    AddScripted("no.vpl", "No", "t.no", "start=0\nloop_in_start=1\n");
    AddScripted("yes.vpl", "Yes", "t.yes");
    Start();
    VORNEventHook(0, nullptr, 1.0f);
    VORNPluginInventory inventory{};
    inventory.structSize = sizeof inventory;
    ASSERT_EQ(VORNGetPluginInventory(1, &inventory), 1);
    EXPECT_EQ(inventory.flightLoops, 0);
    EXPECT_THAT(PluginLines(), ElementsAre("<No:start id=1>", "<Yes:start id=1>",
                                           "<Yes:enable id=1>"));
}

TEST_F(LoaderTest, TheFirstPluginWithASignatureKeepsIt)
{
    AddScripted("a.vpl", "First", "t.same");
    const std::string second = AddScripted("b.vpl", "Second", "t.same");
    Start();
    EXPECT_THAT(Names(), ElementsAre("Taravel", "First"));
    EXPECT_THAT(PluginLines(), ElementsAre("<First:start id=1>", "<Second:start id=2>",
                                           "<Second:stop id=2>", "<First:enable id=1>"));
    const auto writes = LibraryWrites();
    EXPECT_THAT(std::vector<std::string>(writes.end() - 5, writes.end()),
                ElementsAre("Warning: ", second, " Signature: ", "t.same",
                            ". (A version of this plugin is already loaded.)\n"));
}

TEST_F(LoaderTest, AnEmptySignatureIsAlwaysTurnedAway)
{
    const std::string path = AddScripted("empty.vpl", "Empty", "");
    Start();
    EXPECT_EQ(VORNCountPlugins(), 1);
    const auto writes = LibraryWrites();
    EXPECT_THAT(std::vector<std::string>(writes.end() - 5, writes.end()),
                ElementsAre("Warning: ", path, " Signature: ", "",
                            ". (A version of this plugin is already loaded.)\n"));
}

TEST_F(LoaderTest, AFatFolderLoadsOnlyItsPreferredModule)
{
    AddScripted("fat/64/lin.vpl", "Sixty-four", "t.64");
    AddScripted("fat/lin.vpl", "Plain", "t.plain");
    Start();
    EXPECT_THAT(Names(), ElementsAre("Taravel", "Sixty-four"));
}

TEST_F(LoaderTest, AFatFolderFallsBackWhenThePreferredModuleFails)
{
    root.WriteFile("Resources/plugins/fat/64/lin.vpl", "broken");
    AddScripted("fat/lin.vpl", "Plain", "t.plain");
    Start();
    EXPECT_THAT(Names(), ElementsAre("Taravel", "Plain"));
}

TEST_F(LoaderTest, AFatFolderWithoutModuleIsSilent)
{
    root.MakeDir("Resources/plugins/empty");
    Start();
    EXPECT_THAT(LibraryWrites(), ElementsAre("Fetching plugins for ", PluginsFolder(), "\n\n"));
}

TEST_F(LoaderTest, PluginInfoAndSearchesSeeTheLoadedPlugin)
{
    const std::string path = AddScripted("info.vpl", "Info", "t.info", "description=Shows itself\n");
    Start();
    char name[256], file[256], signature[256], description[256];
    VORNGetPluginInfo(1, name, file, signature, description);
    EXPECT_STREQ(name, "Info");
    EXPECT_EQ(std::string(file), path);
    EXPECT_STREQ(signature, "t.info");
    EXPECT_STREQ(description, "Shows itself");
    EXPECT_EQ(VORNFindPluginByPath(path.c_str()), 1);
    EXPECT_EQ(VORNFindPluginBySignature("t.info"), 1);
}

TEST_F(LoaderTest, ShutdownDisablesThenStopsEveryPlugin)
{
    AddScripted("a.vpl", "A", "t.a");
    AddScripted("b.vpl", "B", "t.b");
    Start();
    host->ClearRecord();
    VORNShutdownPlugins();
    started = false;
    EXPECT_THAT(PluginLines(), ElementsAre("<A:disable id=1>", "<B:disable id=2>",
                                           "<A:stop id=1>", "<B:stop id=2>"));
    EXPECT_EQ(VORNCountPlugins(), 0);
}

}  // namespace
