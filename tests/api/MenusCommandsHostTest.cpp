// Menus and commands through the real library, driven as the simulator
// drives them: the host's entry points, with the host itself (plug-in 0)
// using the API as it does outside any plug-in callback.

#include "PluginRoot.h"
#include "VORN/VORNMenus.h"
#include "VORN/VORNPlugin.h"
#include "VORN/VORNUtilities.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::vector<std::string> gSeen;

void OnPick(void* menuRef, void* itemRef)
{
    gSeen.push_back(std::string(static_cast<const char*>(menuRef)) + "/" +
                    static_cast<const char*>(itemRef) + "@" + std::to_string(VORNGetMyID()));
}

int OnCommand(VORNCommandRef, int phase, void* refcon)
{
    gSeen.push_back(std::string(static_cast<const char*>(refcon)) + ":" + std::to_string(phase));
    return refcon == nullptr ? 1 : std::string(static_cast<const char*>(refcon)) != "consume";
}

void OnError(const char* message)
{
    gSeen.push_back(message);
}

char kTools[] = "tools", kFirst[] = "first", kSecond[] = "second";
char kWatch[] = "watch", kConsume[] = "consume";

class MenusCommandsHostTest : public HostTest {
protected:
    void SetUp() override
    {
        HostTest::SetUp();
        gSeen.clear();
    }
};

TEST_F(MenusCommandsHostTest, StartCreatesThePluginsMenuFirst)
{
    Start();
    ASSERT_FALSE(host->calls.empty());
    EXPECT_EQ(host->calls.front().Text(), "CreateMenu(0, 0, \"Plugins\")");
    EXPECT_EQ(host->CountCalls("CreateMenu"), 1u);
    EXPECT_NE(VORNFindPluginsMenu(), nullptr);
}

TEST_F(MenusCommandsHostTest, MenuBuiltByTheHostAnswersPicksChecksAndEnables)
{
    Start();
    host->ClearRecord();
    VORNMenuID tools = VORNCreateMenu("Tools", nullptr, 0, OnPick, kTools);
    EXPECT_EQ(VORNAppendMenuItem(tools, "First", kFirst, 0), 0);
    EXPECT_EQ(VORNAppendMenuItem(tools, "Second", kSecond, 0), 1);
    EXPECT_THAT(
        host->CallsNamed("AppendMenuItem"),
        ElementsAre(
            "AppendMenuItem(1000, \"Tools\", null, 0)",
            "AppendMenuItem(1001, \"First\", " + Fmt(static_cast<void*>(kFirst)) + ", 0)",
            "AppendMenuItem(1001, \"Second\", " + Fmt(static_cast<void*>(kSecond)) + ", 0)"));
    EXPECT_THAT(host->CallsNamed("CreateMenu"), ElementsAre("CreateMenu(1000, 0, \"Tools\")"));

    EXPECT_EQ(VORNMenuHook(3), 0);
    EXPECT_THAT(gSeen, ElementsAre("tools/second@0"));
    EXPECT_EQ(VORNMenuHook(1), 0) << "the item in Plugins has no handler";
    EXPECT_EQ(VORNMenuHook(99), 1);

    VORNCheckMenuItem(tools, 0, VORN_MENU_CHECKED);
    int check = 5;
    EXPECT_EQ(VORNCheckMenuHook(1001, 0, &check), 0);
    EXPECT_EQ(check, 1);
    EXPECT_EQ(VORNCheckMenuHook(1001, 1, &check), 0);
    EXPECT_EQ(check, -1);

    VORNEnableMenuItem(tools, 0, 0);
    EXPECT_EQ(VORNMenuItemEnabled(1001, 0), 0);
    EXPECT_EQ(VORNMenuItemEnabled(1001, 1), 1);
    EXPECT_EQ(VORNMenuHook(2), 0);
    EXPECT_THAT(gSeen, ElementsAre("tools/second@0")) << "a disabled item's pick is swallowed";

    host->ClearRecord();
    VORNDestroyMenu(tools);
    EXPECT_THAT(host->CallNames(), ElementsAre("RemoveMenuItem", "RemoveMenuItem", "DestroyMenu"));
    EXPECT_EQ(VORNMenuHook(3), 1);
}

TEST_F(MenusCommandsHostTest, ARestartForgetsTheEarlierSessionsMenus)
{
    Start();
    VORNAppendMenuItem(VORNFindPluginsMenu(), "old", nullptr, 0);
    int check = 5;
    EXPECT_EQ(VORNCheckMenuHook(1000, 0, &check), 0);
    VORNShutdownPlugins();
    host->nextHostMenu = 1000;  // a new host session numbers its menus afresh
    Start();
    EXPECT_EQ(VORNCheckMenuHook(1000, 0, &check), 1);
    EXPECT_EQ(VORNMenuHook(1), 1);
}

TEST_F(MenusCommandsHostTest, CommandHandlersHeldCommandsAndTheSimPrefix)
{
    Start();
    host->ClearRecord();
    VORNSetErrorCallback(OnError);
    VORNCommandRef cmd = VORNCreateCommand("sim/host_thing", "desc");
    EXPECT_EQ(cmd, host->commands.at("sim/host_thing"));
    EXPECT_THAT(gSeen,
                ElementsAre("Plugin is illegally registering a command with the prefix sim/"));
    EXPECT_EQ(host->Log(), "[Taravel]: It is illegal to register a command starting with sim/\n");
    gSeen.clear();

    VORNRegisterCommandHandler(cmd, OnCommand, 1, kWatch);
    VORNRegisterCommandHandler(cmd, OnCommand, 1, kConsume);
    EXPECT_EQ(VORNCommandHook(cmd, 1, 0, 1), 0);
    EXPECT_EQ(VORNCommandHook(cmd, 0, 1, 0), 1);
    EXPECT_THAT(gSeen, ElementsAre("consume:0"));
    VORNUnregisterCommandHandler(cmd, OnCommand, 1, kConsume);
    EXPECT_EQ(VORNCommandHook(cmd, 0, 0, 1), 1);
    EXPECT_THAT(gSeen, ElementsAre("consume:0", "watch:1"));
    VORNUnregisterCommandHandler(cmd, OnCommand, 1, kWatch);

    VORNCommandBegin(cmd);
    host->ClearRecord();
    EXPECT_EQ(VORNEventHook(9, nullptr, 0.0f), 1);
    EXPECT_THAT(host->CallsNamed("CommandContinue"),
                ElementsAre("CommandContinue(" + Fmt(cmd) + ")"));
    VORNCommandEnd(cmd);
    host->ClearRecord();
    VORNEventHook(9, nullptr, 0.0f);
    EXPECT_THAT(host->calls, IsEmpty());
}

}  // namespace

// ---- real plug-ins sharing the "Plugins" menu -------------------------------------------

namespace {

class MenuPluginsTest : public LoaderTest {
protected:
    void SetUp() override
    {
        LoaderTest::SetUp();
        InstallPlugin("menu_user", "alpha.vpl");
        InstallPlugin("menu_user", "beta.vpl");
        Start();
        alpha = VORNFindPluginBySignature("menu_user.alpha");
        beta = VORNFindPluginBySignature("menu_user.beta");
    }
    int alpha = -1, beta = -1;
};

TEST_F(MenuPluginsTest, EachPluginNumbersOnlyItsOwnItems)
{
    ASSERT_EQ(alpha, 1);
    ASSERT_EQ(beta, 2);
    EXPECT_THAT(PluginLines(), ElementsAre("<alpha:items 0 0 1 id=1>", "<beta:items 0 0 1 id=2>"));
    EXPECT_THAT(host->CallsNamed("CreateMenu"),
                ElementsAre("CreateMenu(0, 0, \"Plugins\")", "CreateMenu(1000, 1, \"alpha\")",
                            "CreateMenu(1000, 3, \"beta\")"))
        << "each menu hangs off its owner's second item in Plugins";
}

TEST_F(MenuPluginsTest, PicksReachTheOwningPluginAndDisabledPluginsLoseTheirMenus)
{
    host->ClearRecord();
    EXPECT_EQ(VORNMenuHook(4), 0);  // alpha's "two"
    EXPECT_EQ(VORNMenuHook(7), 0);  // beta's "one"
    EXPECT_THAT(PluginLines(),
                ElementsAre("<alpha:pick alpha/two id=1>", "<beta:pick beta/one id=2>"));
    VORNDisablePlugin(alpha);
    host->ClearRecord();
    EXPECT_EQ(VORNMenuItemEnabled(1001, 0), 0);
    EXPECT_EQ(VORNMenuItemEnabled(1002, 0), 1);
    EXPECT_EQ(VORNMenuItemEnabled(1000, 0), 1) << "its items in Plugins are the host's to judge";
    EXPECT_EQ(VORNMenuHook(4), 0);
    EXPECT_THAT(PluginLines(), IsEmpty());
}

TEST_F(MenuPluginsTest, CommandHandlersRunNewestFirstAndSkipDisabledPlugins)
{
    VORNCommandRef shared = VORNFindCommand("vorn/shared");
    host->ClearRecord();
    EXPECT_EQ(VORNCommandHook(shared, 1, 0, 1), 1);
    EXPECT_THAT(PluginLines(),
                ElementsAre("<beta:command phase 0 id=2>", "<alpha:command phase 0 id=1>"));
    VORNDisablePlugin(beta);
    host->ClearRecord();
    VORNCommandHook(shared, 0, 1, 1);
    EXPECT_THAT(PluginLines(), ElementsAre("<alpha:command phase 2 id=1>"));
    host->ClearRecord();
    VORNEventHook(9, nullptr, 0.0f);
    EXPECT_THAT(host->CallsNamed("CommandContinue"),
                ElementsAre("CommandContinue(" + Fmt(VORNFindCommand("vorn/alpha")) + ")"))
        << "the disabled plug-in's command stays held but is not continued";
}

TEST_F(MenuPluginsTest, TheInventoryCountsMenusItemsHandlersAndHeldCommands)
{
    VORNPluginInventory inventory{};
    inventory.structSize = sizeof inventory;
    ASSERT_EQ(VORNGetPluginInventory(alpha, &inventory), 1);
    EXPECT_EQ(inventory.menus, 1);
    EXPECT_EQ(inventory.menuItems, 4) << "two in Plugins, two in its own menu";
    EXPECT_EQ(inventory.commandHandlers, 1);
    EXPECT_EQ(inventory.heldCommands, 1);
    VORNMenuID plugins = VORNFindPluginsMenu();
    VORNAppendMenuItem(plugins, "host's own", nullptr, 0);
    ASSERT_EQ(VORNGetPluginInventory(0, &inventory), 1);
    EXPECT_EQ(inventory.menus, 1) << "the host made Plugins";
    EXPECT_EQ(inventory.menuItems, 1);
    EXPECT_EQ(inventory.heldCommands, 0);
}

TEST_F(MenuPluginsTest, UnloadRemovesEachPluginsMenusItemsAndHeldCommands)
{
    void* alphaHold = VORNFindCommand("vorn/alpha");
    void* betaHold = VORNFindCommand("vorn/beta");
    host->ClearRecord();
    VORNShutdownPlugins();
    started = false;
    EXPECT_THAT(host->CallsNamed("DestroyMenu"),
                ElementsAre("DestroyMenu(1001)", "DestroyMenu(1002)"));
    EXPECT_THAT(host->CallsNamed("RemoveMenuItem"),
                ElementsAre("RemoveMenuItem(1000, 0)", "RemoveMenuItem(1000, 0)",
                            "RemoveMenuItem(1000, 0)", "RemoveMenuItem(1000, 0)"));
    EXPECT_THAT(host->CallsNamed("CommandEnd"), ElementsAre("CommandEnd(" + Fmt(alphaHold) + ")",
                                                            "CommandEnd(" + Fmt(betaHold) + ")"));
    int check = 5;
    EXPECT_EQ(VORNCheckMenuHook(1000, 0, &check), 1) << "Plugins is empty again";
    EXPECT_EQ(VORNMenuHook(4), 1);
}

}  // namespace
