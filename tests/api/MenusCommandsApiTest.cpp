// Menus and commands: agents build, hold and handle; the host picks, asks, repeats and unloads.

#include "AgentHost.h"
#include "VORN/VORNMenus.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Calls as "refcon:phase@caller" (command handlers) and "menuRef/itemRef@caller" (picks).
std::vector<std::string> gLog;
std::function<void()> gOnPick, gOnContinue;
std::function<void(VORNPluginID, const VORNPluginInventory&)> gOnUnload;

std::string Str(void* text, const std::string& more = "")
{
    return static_cast<const char*>(text) + more + "@" + std::to_string(VORNGetMyID());
}
int Trace(VORNCommandRef, int phase, void* refcon)
{
    return gLog.push_back(Str(refcon, ":" + std::to_string(phase))), 1;
}
int Consume(VORNCommandRef command, int phase, void* refcon)
{
    return Trace(command, phase, refcon) - 1;
}
using Script = std::function<int(VORNCommandRef)>;
int RunScript(VORNCommandRef command, int, void* refcon)
{
    return (*static_cast<Script*>(refcon))(command);
}
void Pick(void* menuRef, void* itemRef)
{
    gLog.push_back(static_cast<const char*>(menuRef) + ("/" + Str(itemRef)));
    if (gOnPick)
        gOnPick();
}

char kA[] = "A", kB[] = "B", kC[] = "C", kD[] = "D", kH[] = "H";

class MenusCommandsApiTest : public AgentHostTest {
protected:
    void SetUp() override
    {
        AgentHostTest::SetUp();
        gLog.clear();
        gOnPick = gOnContinue = nullptr;
        StartAgents(2, true);
        cmd = host->CommandHandle("vorn/cmd"), other = host->CommandHandle("vorn/other");
        std::tie(low, high) = std::minmax(cmd, other, std::less<>());
        plugins = VORNFindPluginsMenu();
        host->ClearRecord();
    }

    template <typename R>
    static R AsOrHost(int id, std::function<R()> body)
    {
        return id == 0 ? body() : AsReturning<R>(id, body);
    }
    static void Reg(int id, VORNCommandRef command, VORNCommandCallback_f f, int before, void* ref)
    {
        AsOrHost<int>(id, [&] { return VORNRegisterCommandHandler(command, f, before, ref), 0; });
    }
    static VORNMenuID Menu(int id, const char* name, VORNMenuID parent = nullptr, int item = 0)
    {
        return AsOrHost<VORNMenuID>(
            id, [&] { return VORNCreateMenu(name, parent, item, Pick, const_cast<char*>(name)); });
    }
    static int Append(int id, VORNMenuID menu, const char* name, void* ref = nullptr, int en = 0)
    {
        return AsOrHost<int>(id, [&] { return VORNAppendMenuItem(menu, name, ref, en); });
    }
    static std::string Answer(long menu, int position)
    {
        int check = 9;
        const int handled = VORNCheckMenuHook(menu, position, &check);
        return std::to_string(handled) + std::to_string(check);
    }
    std::vector<std::string> Continued()
    {
        host->ClearRecord();
        VORNEventHook(9, nullptr, 0.0f);
        return host->CallsNamed("CommandContinue");
    }
    static std::string Call(const char* name, VORNCommandRef command)
    {
        return std::string(name) + "(" + Fmt(command) + ")";
    }

    VORNCommandRef cmd = nullptr, other = nullptr, low = nullptr, high = nullptr;
    VORNMenuID plugins = nullptr;
};

TEST_F(MenusCommandsApiTest, FindLooksUpCreateMakesAndOnlyALowerCaseSimSlashIsWarnedAbout)
{
    As(1, [] {
        for (const char* fine : {"SIM/x", "sim", "simx/y", "vorn/sim/x"})
            VORNCreateCommand(fine, "");
    });
    host->ClearRecord();
    EXPECT_EQ(VORNFindCommand("vorn/cmd"), cmd);
    EXPECT_EQ(VORNFindCommand("sim/unknown"), nullptr);
    auto mine = AsReturning<VORNCommandRef>(1, [] { return VORNCreateCommand("sim/mine", "d"); });
    EXPECT_EQ(mine, host->commands.at("sim/mine")) << "the host's all the same";
    EXPECT_THAT(gErrorTexts,
                ElementsAre("Plugin is illegally registering a command with the prefix sim/"));
    EXPECT_EQ(host->Log(), "[Agent]: It is illegal to register a command starting with sim/\n");
    EXPECT_THAT(host->CallTexts(), ElementsAre("FindCommand(\"vorn/cmd\", null, 0)",
                                               "FindCommand(\"sim/unknown\", null, 0)",
                                               "FindCommand(\"sim/mine\", \"d\", 1)"));
}

TEST_F(MenusCommandsApiTest, HeldCommandsContinueEachFrameByPluginThenHandleUntilTheHolderEnds)
{
    VORNCommandRef third = host->CommandHandle("vorn/third"), later = host->CommandHandle("vorn/l");
    As(1, [&] { VORNCommandOnce(cmd); });
    EXPECT_THAT(host->CallTexts(), ElementsAre(Call("CommandBegin", cmd), Call("CommandEnd", cmd)));
    EXPECT_THAT(Continued(), IsEmpty());
    As(2, [&] { VORNCommandBegin(third); });
    As(1, [&] { VORNCommandBegin(high), VORNCommandBegin(low), VORNCommandBegin(low); });
    EXPECT_EQ(host->CountCalls("CommandBegin"), 4u) << "the host hears every begin";
    const auto all = ElementsAre(Call("CommandContinue", low), Call("CommandContinue", high),
                                 Call("CommandContinue", third));
    EXPECT_THAT(Continued(), all);
    As(2, [&] { VORNCommandEnd(low); });
    EXPECT_THAT(host->CallsNamed("CommandEnd"), ElementsAre(Call("CommandEnd", low)));
    EXPECT_THAT(Continued(), all) << "1 still holds it";
    VORNDisablePlugin(1);
    EXPECT_THAT(Continued(), ElementsAre(Call("CommandContinue", third)));
    VORNEnablePlugin(1);
    EXPECT_THAT(Continued(), all) << "held all along";
    gOnContinue = [&] { As(1, [&] { VORNCommandEnd(high), VORNCommandBegin(later); }); };
    host->table.CommandContinue = [](VORNCommandRef command) {
        FakeHost::Current().Record("CommandContinue", FmtArgs(command));
        if (auto reaction = std::exchange(gOnContinue, nullptr))
            reaction();
    };
    EXPECT_THAT(Continued(),
                ElementsAre(Call("CommandContinue", low), Call("CommandContinue", third)))
        << "what the walk ends or begins waits for the next frame";
}

TEST_F(MenusCommandsApiTest, HandlersRunBeforeNewestFirstAfterOldestFirstAndAZeroStopsTheirList)
{
    Reg(1, cmd, Trace, 1, kA), Reg(2, cmd, Trace, 1, kB);
    Reg(1, cmd, Trace, 0, kA), Reg(2, cmd, Trace, 0, kB);
    EXPECT_EQ(VORNCommandHook(cmd, 1, 0, 1), 1);
    EXPECT_EQ(VORNCommandHook(cmd, 1, 0, 0), 1);
    EXPECT_EQ(VORNGetMyID(), 0);
    VORNCommandHook(cmd, 0, 0, 0), VORNCommandHook(cmd, 0, 1, 0), VORNCommandHook(cmd, 1, 1, 0);
    EXPECT_THAT(gLog, ElementsAre("B:0@2", "A:0@1", "A:0@1", "B:0@2", "A:1@1", "B:1@2", "A:2@1",
                                  "B:2@2", "A:2@1", "B:2@2"));
    gLog.clear();
    Reg(1, other, Trace, 1, kA), Reg(2, other, Consume, 1, kB);
    Reg(1, other, Consume, 0, kC), Reg(2, other, Trace, 0, kD);
    EXPECT_EQ(VORNCommandHook(other, 1, 0, 1), 0);
    EXPECT_EQ(VORNCommandHook(other, 1, 0, 0), 0) << "the after list is a call of its own";
    VORNDisablePlugin(1);
    EXPECT_EQ(VORNCommandHook(other, 0, 1, 0), 1);
    VORNEnablePlugin(1);
    EXPECT_EQ(VORNCommandHook(other, 0, 0, 0), 0) << "skipped while disabled, not removed";
    EXPECT_THAT(gLog, ElementsAre("B:0@2", "C:0@1", "D:2@2", "C:1@1"));
}

TEST_F(MenusCommandsApiTest, UnregisterTakesOneOfTheCallersHandlersWithAllThreeValuesMidDispatchToo)
{
    for (void* refcon : {kA, kA, kC})
        Reg(1, cmd, Trace, 0, refcon);
    Reg(1, other, Trace, 1, kA);
    As(1, [&] {
        VORNUnregisterCommandHandler(cmd, Trace, 1, kA);
        VORNUnregisterCommandHandler(cmd, Trace, 0, kB);
        VORNUnregisterCommandHandler(cmd, Consume, 0, kA);
        VORNUnregisterCommandHandler(host->CommandHandle("vorn/third"), Trace, 0, kA);
        VORNUnregisterCommandHandler(cmd, nullptr, 0, kA);
    });
    VORNUnregisterCommandHandler(cmd, Trace, 0, kA);  // as the host, who has none
    EXPECT_EQ(Holdings(1).commandHandlers, 4);
    As(1, [&] {
        VORNUnregisterCommandHandler(cmd, Trace, 0, kA);
        VORNUnregisterCommandHandler(other, Trace, 1, kA);
    });
    EXPECT_EQ(Holdings(1).commandHandlers, 2);
    EXPECT_THAT(gErrorTexts, IsEmpty()) << "a missing handler is ignored silently";
    Script remover = [](auto c) { return VORNUnregisterCommandHandler(c, Trace, 0, kD), 1; };
    Reg(1, cmd, RunScript, 0, &remover), Reg(1, cmd, Trace, 0, kD);
    VORNCommandHook(cmd, 1, 0, 0);
    EXPECT_THAT(gLog, ElementsAre("A:0@1", "C:0@1")) << "D, removed by the handler before it";
    // After-handlers join the end of the list being walked: each adds one more of itself.
    int calls = 0;
    Script breeder = [&](VORNCommandRef c) {
        if (++calls < 64)
            VORNRegisterCommandHandler(c, RunScript, 0, &breeder);
        return 1;
    };
    Reg(2, other, RunScript, 0, &breeder);
    std::vector<int> perEvent;
    for (int event = 0; event < 3; ++event, calls = 0)
        VORNCommandHook(other, 0, 0, 0), perEvent.push_back(calls);
    EXPECT_THAT(perEvent, ElementsAre(1, 2, 4));
}

TEST_F(MenusCommandsApiTest, EachPluginNumbersItsOwnItemsAndMenusHangOffTheCallersItem)
{
    EXPECT_EQ(Append(2, plugins, "B1"), 0);
    VORNMenuID menu = Menu(1, "A menu");
    EXPECT_EQ(std::vector<int>(
                  {Append(1, plugins, "A2"),
                   AsReturning<int>(2, [&] { return VORNAppendMenuSeparator(plugins); }),
                   Append(1, menu, "x", kC, 7), Append(2, menu, "B's"), Append(1, menu, "y")}),
              std::vector<int>({1, 1, 0, 0, 1}));
    Menu(1, "Child", menu, 1), Menu(1, "Dangling", menu, 5);
    As(1, [&] { VORNRemoveMenuItem(plugins, 0); });
    As(2, [&] { VORNSetMenuItemName(plugins, 0, "B1 renamed"); });
    As(1, [&] { VORNSetMenuItemName(plugins, 0, nullptr); });
    EXPECT_THAT(
        host->CallTexts(),
        ElementsAre("AppendMenuItem(1000, \"B1\", null, 0)",
                    "AppendMenuItem(1000, \"A menu\", null, 0)", "CreateMenu(1000, 1, \"A menu\")",
                    "AppendMenuItem(1000, \"A2\", null, 0)", "AppendMenuItem(1000, \"-\", null, 0)",
                    "AppendMenuItem(1001, \"x\", " + Fmt(static_cast<void*>(kC)) + ", 7)",
                    "AppendMenuItem(1001, \"B's\", null, 0)",
                    "AppendMenuItem(1001, \"y\", null, 0)", "CreateMenu(1001, 2, \"Child\")",
                    "CreateMenu(1001, -1, \"Dangling\")", "RemoveMenuItem(1000, 1)",
                    "SetMenuItemName(1000, 0, \"B1 renamed\")", "SetMenuItemName(1000, 1, \"\")"));
}

TEST_F(MenusCommandsApiTest, ChecksAreStoredForTheHostAndPicksGoToTheMenusOwnerWhenEnabled)
{
    Append(1, plugins, "1"), Append(2, plugins, "2"), Append(1, plugins, "3");
    VORNMenuID menu = Menu(1, "A menu");                                                // item 4
    Append(1, menu, "on", kA), Append(2, menu, "B's", kB), Append(1, menu, "off", kC);  // 5..7
    host->ClearRecord();
    As(2, [&] { VORNCheckMenuItem(plugins, 0, VORN_MENU_UNCHECKED); });
    As(1,
       [&] { VORNCheckMenuItem(plugins, 1, VORN_MENU_CHECKED), VORNEnableMenuItem(menu, 1, 0); });
    EXPECT_THAT(host->calls, IsEmpty());
    EXPECT_EQ(Answer(1000, 0) + " " + Answer(1000, 1) + " " + Answer(1000, 2), "0-1 00 01");
    int state = 0;
    As(1, [&] { VORNCheckMenuItemState(plugins, 1, &state); });
    EXPECT_EQ(state, VORN_MENU_CHECKED);
    As(1, [&] { VORNCheckMenuItem(plugins, 0, 7); });
    EXPECT_EQ(Answer(1000, 0), "19") << "a state outside 0..2 is not answered";
    EXPECT_EQ(VORNMenuItemEnabled(1001, 0) + VORNMenuItemEnabled(1001, 1), 2);
    EXPECT_EQ(VORNMenuItemEnabled(1001, 2), 0);
    EXPECT_EQ(VORNMenuHook(6) + VORNMenuHook(7) + VORNMenuHook(1), 0) << "disabled; no handler";
    VORNDisablePlugin(1);
    EXPECT_EQ(VORNMenuItemEnabled(1001, 0), 0) << "a disabled plug-in's menu is disabled";
    EXPECT_EQ(VORNMenuItemEnabled(1000, 3), 1) << "its item in Plugins is judged by the host";
    EXPECT_EQ(VORNMenuHook(5), 0);
    EXPECT_THAT(gLog, ElementsAre("A menu/B@1"));
}

TEST_F(MenusCommandsApiTest, ClearAndDestroyTakeTheCallersItemsAtTheirCurrentPositions)
{
    VORNMenuID menu = Menu(1, "A menu");  // host item 1
    for (int id : {1, 2, 1, 1, 2})
        Append(id, menu, "item");  // 2..6
    Append(2, plugins, "B in Plugins");
    host->ClearRecord();
    As(2, [&] { VORNClearAllMenuItems(menu); });
    EXPECT_THAT(host->calls, IsEmpty()) << "nothing in another plug-in's menu";
    As(1, [&] { VORNClearAllMenuItems(menu); });
    As(2, [&] { VORNClearAllMenuItems(plugins); });
    Append(1, menu, "late");
    As(1, [&] { VORNDestroyMenu(menu); });
    EXPECT_THAT(host->CallTexts(),
                ElementsAre("RemoveMenuItem(1001, 0)", "RemoveMenuItem(1001, 1)",
                            "RemoveMenuItem(1001, 1)", "RemoveMenuItem(1000, 1)",
                            "AppendMenuItem(1001, \"late\", null, 0)", "RemoveMenuItem(1001, 2)",
                            "DestroyMenu(1001)"));
    EXPECT_EQ(VORNMenuHook(3), 1) << "B's items went with the menu";
    EXPECT_EQ(VORNMenuHook(1), 0) << "the item leading to it stays";
    EXPECT_EQ(Holdings(2).menuItems, 0);
    host->table.tableSize = VORN_HOST_HOOKS_SIZE - 8;
    VORNMenuID old = Menu(1, "old host");
    host->ClearRecord();
    As(1, [&] { VORNDestroyMenu(old); });
    EXPECT_THAT(host->calls, IsEmpty()) << "a host with a shorter table has no DestroyMenu";
    EXPECT_EQ(Holdings(1).menus, 0);
}

TEST_F(MenusCommandsApiTest, APickGoesToTheFirstItemInMenuOrderAndMayRebuildTheMenusUntilARestart)
{
    VORNMenuID older = Menu(1, "m1"), newer = Menu(0, "m2");
    auto item = [&](int id, VORNMenuID menu, char* ref, int hostItem) {
        host->nextHostItem = hostItem;
        Append(id, menu, ref, ref);
    };
    item(0, newer, kA, 50), item(1, older, kB, 50);  // appended later, but its menu comes first
    EXPECT_EQ(VORNMenuHook(50), 0);
    item(1, older, kA, 60), item(1, older, kB, 60), item(0, newer, kC, 60);
    As(1, [&] { VORNRemoveMenuItem(older, 1); });
    VORNMenuHook(60);
    As(1, [&] { VORNClearAllMenuItems(older); });
    VORNMenuHook(60);
    item(1, older, kD, 70);
    gOnPick = [&] {
        VORNDestroyMenu(older);
        for (int i = 0; i < 20; ++i)  // enough to move the menu records' storage
            VORNCreateMenu("new", nullptr, 0, Pick, nullptr);
    };
    EXPECT_EQ(Cat({VORNMenuHook(70), VORNMenuHook(70)}), "01") << "the destroyed menu's item is gone";
    EXPECT_EQ(host->CountCalls("DestroyMenu") * 100 + Holdings(1).menus, 120);
    EXPECT_THAT(gLog, ElementsAre("m1/B@1", "m1/B@1", "m2/C@0", "m1/D@1"));
    VORNShutdownPlugins();
    host->nextHostMenu = 1000;
    Start();
    EXPECT_EQ(VORNMenuHook(60) * 10 + VORNCheckMenuHook(1000, 0, nullptr), 11);
}

TEST_F(MenusCommandsApiTest, UnloadEndsHeldCommandsThenDestroysMenusThenRemovesItsPluginsItems)
{
    VORNMenuID a1 = Menu(1, "A1");                // host menu 1001, Plugins item 1
    Menu(2, "B");                                 // 1002, Plugins item 2
    Append(1, a1, "inside");                      // host item 3
    Menu(1, "A2", a1, 0);                         // 1003
    Append(1, Menu(2, "B2"), "A's in B's menu");  // 1004; host items 4 and 5
    Append(1, plugins, "loose");
    As(1, [&] { VORNCommandBegin(high), VORNCommandBegin(low); });
    Reg(1, cmd, Trace, 1, kA), Reg(1, other, Trace, 0, kA), Reg(2, cmd, Trace, 1, kB);
    Reg(0, cmd, Trace, 1, kH);
    const VORNPluginInventory m = Holdings(1);
    EXPECT_EQ(std::vector<int>({m.menus, m.menuItems, m.commandHandlers, m.heldCommands}),
              std::vector<int>({2, 4, 2, 2}));
    std::vector<std::string> seen;
    gOnUnload = [&](VORNPluginID id, const VORNPluginInventory& left) {
        if (id != 2)
            return;
        seen = host->CallTexts();
        seen.push_back(std::to_string(left.menus) + std::to_string(left.menuItems) +
                       std::to_string(left.commandHandlers));
        VORNCommandHook(cmd, 1, 0, 1);
        seen.push_back(std::to_string(VORNMenuHook(3)) + " " + Answer(1004, 0) + " " +
                       Answer(1000, 1) + " " + Answer(1000, 2));
    };
    VORNSetUnloadObserver([](VORNPluginID id, const VORNPluginInventory* l) { gOnUnload(id, *l); });
    host->ClearRecord();
    VORNShutdownPlugins();
    started = false;
    EXPECT_THAT(
        seen, ElementsAre(Call("CommandEnd", low), Call("CommandEnd", high), "DestroyMenu(1001)",
                          "DestroyMenu(1003)", "RemoveMenuItem(1000, 0)", "RemoveMenuItem(1000, 2)",
                          "221", "1 0-1 0-1 19"));
    EXPECT_THAT(gLog, ElementsAre("H:0@0")) << "its handlers are gone";
}

}  // namespace
