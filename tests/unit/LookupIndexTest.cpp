// The look-up indexes beside the registries (menu items by host id, hot keys
// by combination, draw callbacks by phase): every answer must be the one a
// walk over the whole registry gives, after any append, change or removal.

#include "LibraryFixture.h"
#include "VORN/VORNDisplay.h"
#include "VORN/VORNMenus.h"
#include "VORN/VORNUtilities.h"
#include "VORNDisplayInternal.h"
#include "VORNMenusInternal.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::vector<std::string> gCalls;

void RecordPick(void* menuRef, void* itemRef)
{
    gCalls.push_back(*static_cast<std::string*>(menuRef) + "/" +
                     *static_cast<std::string*>(itemRef));
}

void RecordHotKey(void* refcon)
{
    gCalls.push_back(*static_cast<std::string*>(refcon) + "@" + std::to_string(VORNGetMyID()));
}

int RecordDraw(int phase, int isBefore, void* refcon)
{
    gCalls.push_back(*static_cast<std::string*>(refcon) + " " + std::to_string(phase) + "/" +
                     std::to_string(isBefore));
    return 1;
}

class LookupIndexTest : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        gCalls.clear();
        VORNInitMenus();
        VORNRegisterHostPlugin();
        a = AddPlugin("A", "t.a");
        b = AddPlugin("B", "t.b");
    }

    VORNMenuID Menu(int id, std::string& name)
    {
        StDispatchCallback as(id);
        return VORNCreateMenu(name.c_str(), nullptr, 0, RecordPick, &name);
    }

    // Appends an item that the host numbers hostItem.
    void Item(int id, VORNMenuID menu, std::string& name, int hostItem)
    {
        host->nextHostItem = hostItem;
        StDispatchCallback as(id);
        VORNAppendMenuItem(menu, name.c_str(), &name, 0);
    }

    VORNHotKeyID HotKey(int id, std::string& name, char key)
    {
        StDispatchCallback as(id);
        return VORNRegisterHotKey(key, 0, name.c_str(), RecordHotKey, &name);
    }

    int Draw(std::string& name, int phase, int before)
    {
        StDispatchCallback as(a);
        return VORNRegisterDrawCallback(RecordDraw, phase, before, &name);
    }

    int a = -1, b = -1;
    std::string m1{"m1"}, m2{"m2"}, i1{"i1"}, i2{"i2"}, i3{"i3"};
};

// ---- menu picks ------------------------------------------------------------------

TEST_F(LookupIndexTest, APickGoesToTheFirstItemInMenuOrderNotTheFirstAppended)
{
    VORNMenuID older = Menu(a, m1);
    VORNMenuID newer = Menu(b, m2);
    Item(b, newer, i1, 50);
    Item(a, older, i2, 50);  // appended later, but its menu comes first
    EXPECT_EQ(VORNHandleMenuItemPick(50), 0);
    EXPECT_THAT(gCalls, ElementsAre("m1/i2"));
}

TEST_F(LookupIndexTest, APickFollowsRemovalsDestructionAndCleanUp)
{
    VORNMenuID first = Menu(a, m1);
    VORNMenuID second = Menu(b, m2);
    Item(a, first, i1, 60);
    Item(a, first, i2, 60);
    Item(b, second, i3, 60);
    {
        StDispatchCallback as(a);
        VORNRemoveMenuItem(first, 0);
    }
    VORNHandleMenuItemPick(60);
    {
        StDispatchCallback as(a);
        VORNClearAllMenuItems(first);
    }
    VORNHandleMenuItemPick(60);
    VORNMenuCleanupHook(b);
    EXPECT_EQ(VORNHandleMenuItemPick(60), 1) << "no item of the library's has the id any more";
    EXPECT_THAT(gCalls, ElementsAre("m1/i2", "m2/i3"));
}

TEST_F(LookupIndexTest, AResetForgetsEveryItem)
{
    VORNMenuID menu = Menu(a, m1);
    Item(a, menu, i1, 70);
    VORNResetMenus();
    VORNInitMenus();
    EXPECT_EQ(VORNHandleMenuItemPick(70), 1);
    EXPECT_THAT(gCalls, IsEmpty());
}

// ---- hot keys ----------------------------------------------------------------------

TEST_F(LookupIndexTest, AChangedHotKeyKeepsItsRegistrationPlaceAmongTheKeysOfItsNewCombination)
{
    std::string older{"older"}, newer{"newer"};
    VORNHotKeyID first = HotKey(a, older, 'B');
    HotKey(b, newer, 'A');
    {
        StDispatchCallback as(a);
        VORNSetHotKeyCombination(first, 'A', 0);
    }
    EXPECT_EQ(VORNDisplayKeyPressHook('a', 0, 'A', 0), 0);
    EXPECT_EQ(VORNDisplayKeyPressHook('b', 0, 'B', 0), 1) << "nothing is bound to B any more";
    Record(b).enabled = false;
    EXPECT_EQ(VORNDisplayKeyPressHook('a', 0, 'A', 0), 0);
    EXPECT_THAT(gCalls, ElementsAre("newer@2", "older@1"));
}

TEST_F(LookupIndexTest, AnUnregisteredHotKeyIsNeitherDispatchedNorKnown)
{
    std::string name{"k"};
    VORNHotKeyID key = HotKey(a, name, 'K');
    VORNUnregisterHotKey(key);
    EXPECT_EQ(VORNDisplayKeyPressHook('k', 0, 'K', 0), 1);
    char virtualKey = 0;
    VORNGetHotKeyInfo(key, &virtualKey, nullptr, nullptr, nullptr);
    EXPECT_EQ(virtualKey, 0);
    EXPECT_EQ(VORNCountHotKeys(), 0);
    EXPECT_THAT(gCalls, IsEmpty());
}

// ---- draw callbacks -------------------------------------------------------------------

TEST_F(LookupIndexTest, PhasesAndHalvesOutsideTheHostsStepsAreKeptApartToo)
{
    std::string p1{"p1"}, p2{"p2"}, p3{"p3"};
    EXPECT_EQ(Draw(p1, 500, 2), 1);
    EXPECT_EQ(Draw(p2, 500, 2), 1);
    EXPECT_EQ(Draw(p1, 500, 2), 0) << "a duplicate";
    EXPECT_EQ(Draw(p3, -3, 1), 1);
    EXPECT_EQ(VORNDispatchDrawingHook(500, 2, 0), 1);
    VORNDispatchDrawingHook(500, 1, 0);
    VORNDispatchDrawingHook(-3, 1, 0);
    EXPECT_THAT(gCalls, ElementsAre("p2 500/2", "p1 500/2", "p3 -3/1"));
    gCalls.clear();
    StDispatchCallback as(a);
    EXPECT_EQ(VORNUnregisterDrawCallback(RecordDraw, 500, 2, &p2), 1);
    EXPECT_EQ(VORNUnregisterDrawCallback(RecordDraw, 500, 2, &p2), 0);
    EXPECT_EQ(VORNUnregisterDrawCallback(RecordDraw, 500, 2, &p1), 1);
    VORNDispatchDrawingHook(500, 2, 0);
    EXPECT_THAT(gCalls, IsEmpty());
    EXPECT_EQ(Draw(p1, 500, 2), 1) << "the bucket starts afresh";
}

TEST_F(LookupIndexTest, CleanUpEmptiesTheBucketsOfThePlugin)
{
    std::string p1{"p1"};
    Draw(p1, 5, 1);
    VORNDisplayCleanupHook(a);
    VORNDispatchDrawingHook(5, 1, 0);
    EXPECT_THAT(gCalls, IsEmpty());
    EXPECT_EQ(Draw(p1, 5, 1), 1);
    VORNDispatchDrawingHook(5, 1, 0);
    EXPECT_THAT(gCalls, ElementsAre("p1 5/1"));
}

}  // namespace
