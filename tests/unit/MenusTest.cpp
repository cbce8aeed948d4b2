// Menus: the shared "Plugins" menu, per-plug-in item numbering, the host's
// pick/check/enable questions, ownership rules and clean-up.

#include "LibraryFixture.h"
#include "VORN/VORNHostHooks.h"
#include "VORN/VORNMenus.h"
#include "VORN/VORNUtilities.h"

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>
#include <string>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

struct Pick {
    void* menuRef;
    void* itemRef;
    int caller;
};
std::vector<Pick> gPicks;
std::function<void()> gOnPick;

void RecordPick(void* menuRef, void* itemRef)
{
    gPicks.push_back({menuRef, itemRef, VORNGetMyID()});
    if (gOnPick)
        gOnPick();
}

int gMenuRef, gItemRef1, gItemRef2;

class MenusTest : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        gPicks.clear();
        gOnPick = nullptr;
        VORNInitMenus();  // as the host's start does, before anything registers
        VORNRegisterHostPlugin();
        a = AddPlugin("A", "test.a");
        b = AddPlugin("B", "test.b");
        Record(a).errorCallback = RecordError;
        Record(b).errorCallback = RecordError;
        plugins = VORNFindPluginsMenu();
        host->ClearRecord();
    }
    void TearDown() override
    {
        gOnPick = nullptr;
        LibraryTest::TearDown();
    }

    template <typename F>
    auto As(int id, F&& body)
    {
        StDispatchCallback dispatch(id);
        return body();
    }
    int Append(int id, VORNMenuID menu, const char* name, void* ref = nullptr)
    {
        return As(id, [&] { return VORNAppendMenuItem(menu, name, ref, 0); });
    }
    VORNMenuID Create(int id, const char* name, VORNMenuID parent = nullptr, int item = 0)
    {
        return As(id, [&] { return VORNCreateMenu(name, parent, item, RecordPick, &gMenuRef); });
    }
    static long HostMenu(VORNMenuID menu) { return static_cast<VORNMenuInfo_t*>(menu)->hostMenu; }
    static std::vector<VORNItemInfo_t>& Items(VORNMenuID menu)
    {
        return static_cast<VORNMenuInfo_t*>(menu)->items;
    }
    static int HostItem(VORNMenuID menu, size_t position)
    {
        return static_cast<VORNMenuInfo_t*>(menu)->items.at(position).hostItem;
    }

    int a = -1, b = -1;
    VORNMenuID plugins = nullptr;
};

// ---- the "Plugins" menu and creation ---------------------------------------------------

TEST_F(MenusTest, MenusHangOffTheCallersNumberedItemInPluginsOrInTheParent)
{
    Append(b, plugins, "B item");
    VORNMenuID menu = Create(a, "A menu");
    ASSERT_NE(menu, nullptr);
    EXPECT_THAT(host->CallNames(), ElementsAre("AppendMenuItem", "AppendMenuItem", "CreateMenu"));
    EXPECT_EQ(host->calls[1].Text(), "AppendMenuItem(1000, \"A menu\", null, 0)");
    EXPECT_EQ(host->calls[2].Text(), "CreateMenu(1000, 1, \"A menu\")")
        << "A's item 0 sits at absolute position 1";
    EXPECT_EQ(static_cast<VORNMenuInfo_t*>(menu)->owner, a);
    EXPECT_EQ(HostMenu(menu), 1001);
    Append(b, menu, "B's item in A's menu");
    Append(a, menu, "x");
    Append(a, menu, "y");
    host->ClearRecord();
    EXPECT_NE(Create(a, "Child", menu, 1), nullptr);
    EXPECT_THAT(host->CallsNamed("CreateMenu"), ElementsAre("CreateMenu(1001, 2, \"Child\")"));
    EXPECT_THAT(host->CallsNamed("AppendMenuItem"), IsEmpty()) << "a submenu adds no item";
    host->ClearRecord();
    Create(a, "Dangling", menu, 5);
    EXPECT_THAT(host->CallsNamed("CreateMenu"), ElementsAre("CreateMenu(1001, -1, \"Dangling\")"));
}

// ---- numbering ---------------------------------------------------------------------

TEST_F(MenusTest, TwoPluginsEachGetIndexZeroForTheirFirstItem)
{
    EXPECT_EQ(Append(a, plugins, "A1"), 0);
    EXPECT_EQ(Append(b, plugins, "B1"), 0);
    EXPECT_EQ(Append(a, plugins, "A2"), 1);
    EXPECT_EQ(As(b, [&] { return VORNAppendMenuSeparator(plugins); }), 1);
    As(a, [&] { return VORNAppendMenuItem(plugins, "x", &gItemRef1, 7); });
    EXPECT_THAT(host->CallsNamed("AppendMenuItem"),
                ElementsAre("AppendMenuItem(1000, \"A1\", null, 0)",
                            "AppendMenuItem(1000, \"B1\", null, 0)",
                            "AppendMenuItem(1000, \"A2\", null, 0)",
                            "AppendMenuItem(1000, \"-\", null, 0)",
                            "AppendMenuItem(1000, \"x\", " + Fmt(&gItemRef1) + ", 7)"));
}

TEST_F(MenusTest, RemovingOnePluginsItemLeavesTheOthers)
{
    Append(a, plugins, "A1");
    Append(b, plugins, "B1");
    Append(a, plugins, "A2");
    host->ClearRecord();
    As(a, [&] { VORNRemoveMenuItem(plugins, 0); });
    As(b, [&] { VORNSetMenuItemName(plugins, 0, "B1 renamed"); });
    As(a, [&] { VORNSetMenuItemName(plugins, 0, "A2 renamed"); });
    ASSERT_EQ(host->calls.size(), 3u);
    EXPECT_EQ(host->calls[0].Text(), "RemoveMenuItem(1000, 0)");
    EXPECT_EQ(host->calls[1].Text(), "SetMenuItemName(1000, 0, \"B1 renamed\")");
    EXPECT_EQ(host->calls[2].Text(), "SetMenuItemName(1000, 1, \"A2 renamed\")")
        << "A's second item became its index 0";
    EXPECT_THAT(gErrors, IsEmpty());
}

TEST_F(MenusTest, ItemCallsOnNullOrUnknownMenusAreIgnoredAndANullNameIsEmpty)
{
    int notAMenu = 0;
    int state = 9;
    As(a, [&] {
        for (VORNMenuID bad : {static_cast<VORNMenuID>(nullptr), static_cast<VORNMenuID>(&notAMenu)}) {
            VORNCheckMenuItem(bad, 0, 2);
            VORNCheckMenuItemState(bad, 0, &state);
            VORNEnableMenuItem(bad, 0, 0);
        }
    });
    EXPECT_THAT(host->calls, IsEmpty());
    EXPECT_THAT(gErrors, IsEmpty());
    EXPECT_EQ(state, 9);
    Append(a, plugins, "x");
    As(a, [&] { VORNSetMenuItemName(plugins, 0, nullptr); });
    EXPECT_THAT(host->CallsNamed("SetMenuItemName"), ElementsAre("SetMenuItemName(1000, 0, \"\")"));
}

// ---- check marks and enabled state --------------------------------------------------------

TEST_F(MenusTest, CheckStatesAreStoredAndAnsweredAsMinusOneZeroOneOrNotAtAll)
{
    Append(a, plugins, "none");
    Append(b, plugins, "unchecked");
    Append(a, plugins, "checked");
    host->ClearRecord();
    As(b, [&] { VORNCheckMenuItem(plugins, 0, VORN_MENU_UNCHECKED); });
    As(a, [&] { VORNCheckMenuItem(plugins, 1, VORN_MENU_CHECKED); });
    EXPECT_THAT(host->calls, IsEmpty()) << "check marks are only stored";
    int out = 99;
    EXPECT_EQ(VORNCheckMenuHook(1000, 0, &out), 0);
    EXPECT_EQ(out, -1);
    EXPECT_EQ(VORNCheckMenuHook(1000, 1, &out), 0);
    EXPECT_EQ(out, 0);
    EXPECT_EQ(VORNCheckMenuHook(1000, 2, &out), 0);
    EXPECT_EQ(out, 1);
    EXPECT_EQ(VORNCheckMenuHook(1000, 2, nullptr), 0);
    int state = -5;
    As(a, [&] { VORNCheckMenuItemState(plugins, 1, &state); });
    EXPECT_EQ(state, VORN_MENU_CHECKED);
    EXPECT_THAT(gErrors, IsEmpty());
    As(a, [&] { VORNCheckMenuItem(plugins, 0, 7); });
    out = 99;
    EXPECT_EQ(VORNCheckMenuHook(1000, 0, &out), 1) << "a value outside 0..2 does not answer";
    EXPECT_EQ(VORNCheckMenuHook(1000, 3, &out), 1);
    EXPECT_EQ(VORNCheckMenuHook(4242, 0, &out), 1);
    EXPECT_EQ(out, 99);
}

TEST_F(MenusTest, EnabledQueriesFollowTheItemAndTheMenusOwner)
{
    VORNMenuID menu = Create(a, "A menu");
    Append(a, menu, "on");
    Append(a, menu, "off");
    As(a, [&] { VORNEnableMenuItem(menu, 1, 0); });
    EXPECT_EQ(VORNMenuItemEnabled(1001, 0), 1);
    EXPECT_EQ(VORNMenuItemEnabled(1001, 1), 0);
    EXPECT_EQ(VORNMenuItemEnabled(1001, 2), 1) << "past the end is not the library's";
    EXPECT_EQ(VORNMenuItemEnabled(1001, -1), 1);
    EXPECT_EQ(VORNMenuItemEnabled(4242, 0), 1);
    Record(a).enabled = false;
    EXPECT_EQ(VORNMenuItemEnabled(1001, 0), 0) << "a disabled plug-in's menu is disabled";
    EXPECT_EQ(VORNMenuItemEnabled(1000, 0), 1)
        << "its item in Plugins is judged by the host, the menu's owner";
}

// ---- picks -------------------------------------------------------------------------------

TEST_F(MenusTest, PickCallsTheMenuHandlerAsTheMenusOwner)
{
    VORNMenuID menu = Create(a, "A menu");
    Append(a, menu, "mine", &gItemRef1);
    Append(b, menu, "B's", &gItemRef2);
    EXPECT_EQ(VORNMenuHook(HostItem(menu, 1)), 0);
    ASSERT_EQ(gPicks.size(), 1u);
    EXPECT_EQ(gPicks[0].menuRef, &gMenuRef);
    EXPECT_EQ(gPicks[0].itemRef, &gItemRef2);
    EXPECT_EQ(gPicks[0].caller, a) << "the menu's owner, not the item's";
    EXPECT_EQ(VORNGetDispatchedPlugin(), 0) << "dispatch restored";
}

TEST_F(MenusTest, PickOfADisabledItemOrPluginOrOfAnItemWithoutHandlerCallsNothing)
{
    VORNMenuID menu = Create(a, "A menu");
    Append(a, menu, "off", &gItemRef1);
    As(a, [&] { VORNEnableMenuItem(menu, 0, 0); });
    EXPECT_EQ(VORNMenuHook(HostItem(menu, 0)), 0);
    Append(a, plugins, "in Plugins");
    EXPECT_EQ(VORNMenuHook(HostItem(plugins, 1)), 0) << "Plugins has no handler";
    VORNMenuID menuB = Create(b, "B menu");
    Append(b, menuB, "x");
    Record(b).enabled = false;
    EXPECT_EQ(VORNMenuHook(HostItem(menuB, 0)), 0);
    EXPECT_THAT(gPicks, IsEmpty());
}

TEST_F(MenusTest, HandlerMayDestroyItsOwnMenuAndCreateOthersDuringAPick)
{
    VORNMenuID menu = Create(a, "A menu");
    Append(a, menu, "x", &gItemRef1);
    const int item = HostItem(menu, 0);
    VORNMenuID created = nullptr;
    gOnPick = [&] {
        VORNDestroyMenu(menu);
        for (int i = 0; i < 20; ++i)  // enough to move the menu records' storage
            created = VORNCreateMenu("new", nullptr, 0, RecordPick, nullptr);
    };
    EXPECT_EQ(VORNMenuHook(item), 0);
    ASSERT_EQ(gPicks.size(), 1u);
    EXPECT_EQ(gPicks[0].itemRef, &gItemRef1);
    EXPECT_EQ(host->CountCalls("DestroyMenu"), 1u);
    gOnPick = nullptr;
    EXPECT_EQ(VORNMenuHook(item), 1) << "the destroyed menu's item is gone";
    EXPECT_EQ(static_cast<VORNMenuInfo_t*>(created)->owner, a);
}

// ---- clearing and destroying ----------------------------------------------------------------

TEST_F(MenusTest, ClearAllRemovesTheCallersItemsFromItsOwnMenusAndFromPlugins)
{
    VORNMenuID menu = Create(a, "A menu");
    Append(a, menu, "a0");
    Append(b, menu, "b0");
    Append(a, menu, "a1");
    Append(a, menu, "a2");
    Append(b, menu, "b1");
    Append(b, plugins, "b in Plugins");
    host->ClearRecord();
    As(b, [&] { VORNClearAllMenuItems(menu); });
    EXPECT_THAT(host->calls, IsEmpty()) << "nothing in another plug-in's menu";
    As(a, [&] { VORNClearAllMenuItems(menu); });
    As(b, [&] { VORNClearAllMenuItems(plugins); });
    EXPECT_THAT(host->CallsNamed("RemoveMenuItem"),
                ElementsAre("RemoveMenuItem(1001, 0)", "RemoveMenuItem(1001, 1)",
                            "RemoveMenuItem(1001, 1)", "RemoveMenuItem(1000, 1)"))
        << "at their current positions; A's item for its menu stays in Plugins";
    EXPECT_EQ(Items(menu).size(), 2u);
    EXPECT_EQ(Items(plugins).size(), 1u);
}

TEST_F(MenusTest, DestroyRemovesTheCallersItemsThenTheMenu)
{
    VORNMenuID first = Create(a, "first");
    VORNMenuID menu = Create(a, "A menu");
    VORNMenuID last = Create(b, "last");
    Append(a, menu, "x");
    Append(b, menu, "b's");
    host->ClearRecord();
    As(a, [&] { VORNDestroyMenu(menu); });
    EXPECT_THAT(host->CallNames(), ElementsAre("RemoveMenuItem", "DestroyMenu"));
    EXPECT_EQ(host->calls[0].Text(), "RemoveMenuItem(1002, 0)");
    EXPECT_EQ(host->calls[1].Text(), "DestroyMenu(1002)");
    ASSERT_EQ(VORNMenuCount(), 3u);
    EXPECT_EQ(VORNMenuAt(1), first) << "the others keep their order";
    EXPECT_EQ(VORNMenuAt(2), last);
    EXPECT_EQ(Items(plugins).size(), 3u) << "the item leading to it stays";
    host->ClearRecord();
    As(a, [&] { VORNDestroyMenu(menu); });
    EXPECT_EQ(Append(a, menu, "late"), -1);
    EXPECT_THAT(host->calls, IsEmpty()) << "a stale id is ignored";
}

TEST_F(MenusTest, DestroyDoesNotTellAnOlderHostWithAShortTable)
{
    host->table.tableSize = VORN_HOST_HOOKS_SIZE - 8;
    VORNMenuID menu = Create(a, "A menu");
    host->ClearRecord();
    As(a, [&] { VORNDestroyMenu(menu); });
    EXPECT_THAT(host->CallsNamed("DestroyMenu"), IsEmpty());
    EXPECT_EQ(VORNMenuCount(), 1u) << "the record goes all the same";
}

// ---- clean-up ------------------------------------------------------------------------

TEST_F(MenusTest, CleanupDestroysThePluginsMenusAndItsPluginsItems)
{
    VORNMenuID menuA1 = Create(a, "A1");
    VORNMenuID menuB = Create(b, "B");
    Create(a, "A2", menuA1, 0);  // a submenu of its own menu
    Append(a, menuA1, "inside");
    Append(a, menuB, "A's item in B's menu");
    Append(a, plugins, "loose");
    host->ClearRecord();
    VORNMenuCleanupHook(a);
    EXPECT_THAT(host->CallsNamed("DestroyMenu"),
                ElementsAre("DestroyMenu(1001)", "DestroyMenu(1003)"))
        << "one each, items not removed one by one";
    EXPECT_THAT(host->CallsNamed("RemoveMenuItem"),
                ElementsAre("RemoveMenuItem(1000, 0)", "RemoveMenuItem(1000, 1)"))
        << "A1's item, then the loose one (B's item is now at 0)";
    ASSERT_EQ(VORNMenuCount(), 2u);
    EXPECT_EQ(VORNMenuAt(1), menuB);
    EXPECT_EQ(static_cast<VORNMenuInfo_t*>(menuB)->items.size(), 1u)
        << "items in other plug-ins' menus stay";
    EXPECT_EQ(Items(plugins).size(), 1u);
}

TEST_F(MenusTest, CleanupWithoutAPluginsMenuIsHarmless)
{
    VORNResetMenus();
    VORNMenuCleanupHook(a);
    EXPECT_THAT(host->calls, IsEmpty());
}

TEST_F(MenusTest, UnloadFanOutEndsCommandsBeforeRemovingMenus)
{
    Create(a, "A menu");
    void* command = host->CommandHandle("vorn/held");
    As(a, [&] { VORNCommandBegin(command); });
    host->ClearRecord();
    VORNRunCleanupHooks(a);
    EXPECT_THAT(host->CallNames(), ElementsAre("CommandEnd", "DestroyMenu", "RemoveMenuItem"));
}

}  // namespace
