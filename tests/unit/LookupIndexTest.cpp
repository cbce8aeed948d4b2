// The look-up indexes beside the registries: menu items by host id and hot
// keys by combination (every answer the one a walk of the registry gives,
// after any change), draw buckets, including phases outside the host's
// drawing steps, and the data-ref pool behind VORNIsDataRefGood.

#include "LibraryFixture.h"
#include "VORN/VORNDataAccess.h"
#include "VORN/VORNDisplay.h"
#include "VORN/VORNMenus.h"
#include "VORN/VORNUtilities.h"
#include "VORNDataAccessInternal.h"
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

int ReadSeven(void*)
{
    return 7;
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
        Record(a).errorCallback = RecordError;
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

    VORNDataRef Publish(const std::string& name)
    {
        StDispatchCallback as(a);
        return VORNRegisterDataAccessor(name.c_str(), VORN_DATA_INT, 1, ReadSeven, nullptr,
                                        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    }

    int a = -1, b = -1;
    std::string m1{"m1"}, m2{"m2"}, i1{"i1"}, i2{"i2"}, i3{"i3"};
};

TEST_F(LookupIndexTest, APickGoesToTheFirstItemInMenuOrderAndFollowsEveryRemoval)
{
    VORNMenuID older = Menu(a, m1);
    VORNMenuID newer = Menu(b, m2);
    Item(b, newer, i1, 50);
    Item(a, older, i2, 50);  // appended later, but its menu comes first
    EXPECT_EQ(VORNHandleMenuItemPick(50), 0);
    Item(a, older, i1, 60);
    Item(a, older, i2, 60);
    Item(b, newer, i3, 60);
    {
        StDispatchCallback as(a);
        VORNRemoveMenuItem(older, 1);
    }
    VORNHandleMenuItemPick(60);
    {
        StDispatchCallback as(a);
        VORNClearAllMenuItems(older);
    }
    VORNHandleMenuItemPick(60);
    VORNMenuCleanupHook(b);
    EXPECT_EQ(VORNHandleMenuItemPick(60), 1) << "no item of the library's has the id any more";
    EXPECT_THAT(gCalls, ElementsAre("m1/i2", "m1/i2", "m2/i3"));
    Item(a, older, i1, 70);
    VORNResetMenus();
    VORNInitMenus();
    EXPECT_EQ(VORNHandleMenuItemPick(70), 1) << "a reset forgets every item";
    EXPECT_EQ(gCalls.size(), 3u);
}

TEST_F(LookupIndexTest, AChangedHotKeyKeepsItsRegistrationPlaceAndAnUnregisteredOneIsGone)
{
    std::string older{"older"}, newer{"newer"}, k{"k"};
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
    VORNHotKeyID key = HotKey(a, k, 'K');
    const int count = VORNCountHotKeys();
    VORNUnregisterHotKey(key);
    EXPECT_EQ(VORNDisplayKeyPressHook('k', 0, 'K', 0), 1);
    char virtualKey = 0;
    VORNGetHotKeyInfo(key, &virtualKey, nullptr, nullptr, nullptr);
    EXPECT_EQ(virtualKey, 0);
    EXPECT_EQ(VORNCountHotKeys(), count - 1);
    EXPECT_EQ(gCalls.size(), 2u);
}

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
    gCalls.clear();
    Draw(p1, 5, 1);
    VORNDisplayCleanupHook(a);
    VORNDispatchDrawingHook(5, 1, 0);
    VORNDispatchDrawingHook(500, 2, 0);
    EXPECT_THAT(gCalls, IsEmpty()) << "clean-up empties the plug-in's buckets";
    EXPECT_EQ(Draw(p1, 5, 1), 1);
    VORNDispatchDrawingHook(5, 1, 0);
    EXPECT_THAT(gCalls, ElementsAre("p1 5/1"));
}

TEST_F(LookupIndexTest, TheDataRefPoolGrowsByBlocksAndKnowsWhichSlotsAreHandedOut)
{
    auto slot = [](const DataRefBlock* block, int n) {
        return const_cast<VORNDataRef>(&block->records[n]);
    };
    const std::string prefix = "test/pool/" + std::to_string(VORNDataRefRecordCount()) + "/";
    std::vector<VORNDataRef> refs;
    // Fill the newest block exactly, then add one more.
    while (VORNNewestDataRefBlock() == nullptr ||
           VORNNewestDataRefBlock()->used < VORNNewestDataRefBlock()->capacity)
        refs.push_back(Publish(prefix + std::to_string(refs.size())));
    const DataRefBlock* full = VORNNewestDataRefBlock();
    const DataRefBlock* oldest = VORNOldestDataRefBlock();
    const int created = VORNDataRefRecordCount();
    refs.push_back(Publish(prefix + "next"));
    const DataRefBlock* newest = VORNNewestDataRefBlock();
    ASSERT_NE(newest, full);
    EXPECT_EQ(full->next, newest);
    EXPECT_EQ(VORNOldestDataRefBlock(), oldest);
    EXPECT_EQ(newest->capacity, 32);
    EXPECT_EQ(newest->used, 1);
    EXPECT_EQ(refs.back(), slot(newest, 0));
    EXPECT_EQ(VORNDataRefRecordCount(), created + 1);

    // Slots not handed out yet are no data refs; every handed-out one is.
    EXPECT_EQ(VORNIsDataRefGood(slot(newest, 1)), 0);
    EXPECT_EQ(VORNIsDataRefGood(slot(newest, kDataRefBlockCapacity - 1)), 0);
    {
        StDispatchCallback as(a);
        VORNUnregisterDataAccessor(slot(newest, 1));
    }
    EXPECT_THAT(gErrors, ElementsAre("Dataref is illegal and cannot be unregistered."));
    for (int n = 0; VORNOldestDataRefBlock()->next->next == nullptr; ++n)
        refs.push_back(Publish(prefix + "more" + std::to_string(n)));
    for (VORNDataRef ref : refs) {
        EXPECT_EQ(VORNIsDataRefGood(ref), 1);
        EXPECT_EQ(VORNGetDatai(ref), 7);
    }
    const DataRefBlock* third = VORNOldestDataRefBlock()->next->next;
    EXPECT_EQ(VORNIsDataRefGood(slot(third, 0)), 1);
    auto inside = [](VORNDataRef ref, int bytes) {
        return reinterpret_cast<VORNDataRef>(reinterpret_cast<char*>(ref) + bytes);
    };
    EXPECT_EQ(VORNIsDataRefGood(inside(refs.back(), 8)), 0);
    EXPECT_EQ(VORNIsDataRefGood(inside(refs.back(), sizeof(VORNData_t) - 1)), 0);
}

}  // namespace
