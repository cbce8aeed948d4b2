// The deferred-deletion list on its own: order, iteration depth, the kill
// list, walks that survive removals made by nested iterations, and the
// per-owner chains beside the list.

#include "VORNResourceList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

int gDestroyed = 0;

struct Item : VORNResource_t {
    explicit Item(std::string n, int32_t o = 0) : name(std::move(n)), owner(o) {}
    ~Item() { ++gDestroyed; }
    std::string name;  // owned payload: freed by the destructor
    int32_t owner;
};

class ResourceListTest : public ::testing::Test {
protected:
    void SetUp() override { gDestroyed = 0; }
    void TearDown() override
    {
        list.KillIf([](const Item&) { return true; });
    }

    Item* Add(const std::string& name, int32_t owner = 0)
    {
        auto* item = new Item(name, owner);
        list.PushFront(item);
        return item;
    }

    Item* AddBack(const std::string& name, int32_t owner)
    {
        auto* item = new Item(name, owner);
        list.PushBack(item);
        return item;
    }

    // Names of the records still linked, front to back, dead ones marked.
    std::vector<std::string> Linked()
    {
        std::vector<std::string> names;
        for (Item* item = list.First(); item != nullptr; item = list.Next(item))
            names.push_back(item->dead ? item->name + "(dead)" : item->name);
        return names;
    }

    // The same, through owner's chain; it must hold exactly the linked
    // records of owner, in list order, so both ways of listing are compared.
    std::vector<std::string> ChainOf(int32_t owner)
    {
        std::vector<std::string> chained;
        for (Item* item = list.FirstOwnedBy(owner); item != nullptr; item = list.NextOwned(item))
            chained.push_back(item->dead ? item->name + "(dead)" : item->name);
        std::vector<std::string> filtered;
        for (Item* item = list.First(); item != nullptr; item = list.Next(item)) {
            if (item->owner == owner)
                filtered.push_back(item->dead ? item->name + "(dead)" : item->name);
        }
        EXPECT_EQ(chained, filtered) << "owner " << owner << "'s chain against the list";
        return chained;
    }

    // The names of the live records a dispatch walk meets, front to back,
    // calling visit on each inside the walk's iteration.
    template <typename Visit>
    std::vector<std::string> Walk(Visit visit)
    {
        std::vector<std::string> visited;
        StIterate<Item> iterate(list);
        for (Item* item = list.First(); item != nullptr; item = list.Next(item)) {
            if (item->dead)
                continue;
            visited.push_back(item->name);
            visit(item);
        }
        return visited;
    }

    VORNResourceList<Item> list;
};

TEST_F(ResourceListTest, NewRecordsGoToTheFrontAndBackLinksMatch)
{
    Add("a");
    Add("b");
    Add("c");
    EXPECT_THAT(Linked(), ElementsAre("c", "b", "a"));
    EXPECT_EQ(list.Last()->name, "a");
    EXPECT_EQ(list.Prev(list.Last())->name, "b");
    EXPECT_EQ(list.Prev(list.First()), nullptr);
}

TEST_F(ResourceListTest, KillWithoutIterationFreesAtOnceAndMovesTheHead)
{
    Item* a = Add("a");
    Add("b");
    Item* c = Add("c");
    EXPECT_TRUE(list.Kill(c));
    EXPECT_EQ(gDestroyed, 1);
    EXPECT_THAT(Linked(), ElementsAre("b", "a"));
    EXPECT_TRUE(list.Kill(a));
    EXPECT_THAT(Linked(), ElementsAre("b"));
    EXPECT_FALSE(list.PurgePending());
}

TEST_F(ResourceListTest, KillDuringAnIterationOnlyMarksUntilTheIterationEnds)
{
    Add("a");
    Item* b = Add("b");
    list.BeginIterate();
    EXPECT_TRUE(list.Kill(b));
    EXPECT_TRUE(list.PurgePending());
    EXPECT_EQ(gDestroyed, 0);
    EXPECT_THAT(Linked(), ElementsAre("b(dead)", "a"));
    list.EndIterate();
    EXPECT_EQ(gDestroyed, 1);
    EXPECT_FALSE(list.PurgePending());
    EXPECT_THAT(Linked(), ElementsAre("a"));
}

TEST_F(ResourceListTest, ADeadRecordIsNeverQueuedTwice)
{
    Item* a = Add("a");
    list.BeginIterate();
    EXPECT_TRUE(list.VORNKillResource(a, true));
    EXPECT_FALSE(list.VORNKillResource(a, true));
    EXPECT_FALSE(list.VORNKillResource(a, false)) << "an immediate kill leaves a queued record alone";
    EXPECT_EQ(gDestroyed, 0);
    list.EndIterate();
    EXPECT_EQ(gDestroyed, 1);
    EXPECT_THAT(Linked(), IsEmpty());
}

TEST_F(ResourceListTest, DeferredKillWithoutIterationWaitsForTheNextEnd)
{
    Item* a = Add("a");
    list.VORNKillResource(a, true);
    EXPECT_THAT(Linked(), ElementsAre("a(dead)"));
    list.BeginIterate();
    list.EndIterate();
    EXPECT_EQ(gDestroyed, 1);
    EXPECT_THAT(Linked(), IsEmpty());
}

TEST_F(ResourceListTest, DepthNeverGoesBelowZero)
{
    list.EndIterate();
    list.EndIterate();
    EXPECT_EQ(list.Depth(), 0);
    list.BeginIterate();
    EXPECT_EQ(list.Depth(), 1);
    Item* a = Add("a");
    list.Kill(a);
    EXPECT_EQ(gDestroyed, 0) << "one unbalanced end too many must not make a walk unsafe";
    list.EndIterate();
    EXPECT_EQ(gDestroyed, 1);
}

TEST_F(ResourceListTest, ANestedEndUnlinksButFreesOnlyAtDepthZero)
{
    Add("a");
    Item* b = Add("b");
    list.BeginIterate();  // outer walk
    list.BeginIterate();  // nested iteration, e.g. an unregistration
    list.Kill(b);
    list.EndIterate();
    EXPECT_THAT(Linked(), ElementsAre("a")) << "look-ups no longer see it";
    EXPECT_EQ(gDestroyed, 0) << "an outer walk may still stand on it";
    EXPECT_EQ(list.Next(b)->name, "a") << "its own link still leads on";
    list.EndIterate();
    EXPECT_EQ(gDestroyed, 1);
}

TEST_F(ResourceListTest, AnOuterWalkSurvivesNestedRemovalOfItsRecordAndTheFollowingOnes)
{
    Add("e");
    Item* d = Add("d");
    Item* c = Add("c");
    Item* b = Add("b");
    Add("a");
    const std::vector<std::string> visited = Walk([&](Item* item) {
        if (item == b) {
            // Standing on b, a nested iteration removes b, c and d, and
            // later another one adds a record at the front.
            list.BeginIterate();
            list.Kill(b);
            list.Kill(d);
            list.EndIterate();
            list.BeginIterate();
            list.Kill(c);
            list.EndIterate();
            Add("new");
        }
    });
    EXPECT_THAT(visited, ElementsAre("a", "b", "e"));
    EXPECT_EQ(gDestroyed, 3);
    EXPECT_THAT(Linked(), ElementsAre("new", "a", "e"));
}

TEST_F(ResourceListTest, KillIfRemovesAllMatchesInOneIteration)
{
    Add("x1");
    Add("y");
    Add("x2");
    list.KillIf([](const Item& item) { return item.name[0] == 'x'; });
    EXPECT_THAT(Linked(), ElementsAre("y"));
    EXPECT_EQ(gDestroyed, 2);
    EXPECT_EQ(list.Depth(), 0);
}

TEST_F(ResourceListTest, StIterateEndsTheIterationWhenLeftByAnException)
{
    Item* a = Add("a");
    try {
        StIterate<Item> iterate(list);
        list.Kill(a);
        throw 1;
    } catch (int) {
    }
    EXPECT_EQ(list.Depth(), 0);
    EXPECT_EQ(gDestroyed, 1);
}

// ---- owner chains ------------------------------------------------------------------

TEST_F(ResourceListTest, EachOwnersChainFollowsTheListThroughEveryChange)
{
    Add("a1", 1);
    Item* b1 = Add("b1", 2);
    Item* a2 = Add("a2", 1);
    AddBack("a0", 1);
    Add("b2", 2);
    EXPECT_THAT(ChainOf(1), ElementsAre("a2", "a1", "a0"));
    list.MoveToFront(b1);
    list.MoveToFront(list.Last());
    EXPECT_THAT(Linked(), ElementsAre("a0", "b1", "b2", "a2", "a1"));
    EXPECT_THAT(ChainOf(1), ElementsAre("a0", "a2", "a1"));
    EXPECT_THAT(ChainOf(2), ElementsAre("b1", "b2"));
    list.BeginIterate();
    list.Kill(a2);
    EXPECT_THAT(ChainOf(1), ElementsAre("a0", "a2(dead)", "a1")) << "linked until taken out";
    EXPECT_EQ(list.CountOwnedBy(1), 2);
    list.EndIterate();
    EXPECT_THAT(ChainOf(1), ElementsAre("a0", "a1"));
    list.Kill(b1);
    list.Kill(list.FirstOwnedBy(2));
    EXPECT_EQ(list.FirstOwnedBy(2), nullptr);
    EXPECT_EQ(list.CountOwnedBy(2), 0);
    Add("b3", 2);
    EXPECT_THAT(ChainOf(2), ElementsAre("b3")) << "an owner's chain opens again";
}

std::vector<std::string> gUnlinked;
void NoteUnlink(Item* item)
{
    gUnlinked.push_back(item->name);
}

TEST_F(ResourceListTest, KillOwnedByRemovesWhatKillIfWouldInTheSameOrder)
{
    // Two lists with the same records, one cleaned up by a predicate, the
    // other through the owner's chain: same survivors, same unlink order.
    std::vector<std::string> unlinked[2];
    for (int way = 0; way < 2; ++way) {
        VORNResourceList<Item> other(NoteUnlink);
        for (auto [name, owner] : {std::pair{"x1", 7}, {"y1", 8}, {"x2", 7}, {"y2", 8}})
            other.PushFront(new Item(name, owner));
        other.PushBack(new Item("x0", 7));
        gUnlinked.clear();
        if (way == 0)
            other.KillIf([](const Item& item) { return item.owner == 7; });
        else
            other.KillOwnedBy(7);
        unlinked[way] = gUnlinked;
        EXPECT_EQ(other.FirstOwnedBy(7), nullptr);
        EXPECT_EQ(other.CountOwnedBy(8), 2);
        other.KillOwnedBy(8);
    }
    EXPECT_THAT(unlinked[1], ElementsAre("x0", "x1", "x2"));
    EXPECT_EQ(unlinked[1], unlinked[0]);
}

TEST_F(ResourceListTest, KillOwnedByDuringAWalkLeavesTheWalkItsRecords)
{
    Add("a1", 1);
    Add("b1", 2);
    Item* a2 = Add("a2", 1);
    const std::vector<std::string> visited = Walk([&](Item* item) {
        if (item != a2)
            return;
        list.KillOwnedBy(1);  // standing on one of owner 1's records
        EXPECT_EQ(gDestroyed, 0);
        EXPECT_THAT(ChainOf(1), IsEmpty()) << "taken out when the nested iteration ended";
    });
    EXPECT_THAT(visited, ElementsAre("a2", "b1"));
    EXPECT_EQ(gDestroyed, 2);
    EXPECT_THAT(Linked(), ElementsAre("b1"));
}

}  // namespace
