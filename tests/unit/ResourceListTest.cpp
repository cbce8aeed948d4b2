// The deferred-deletion list on its own: order, iteration depth, the kill
// list, and walks that survive removals made by nested iterations.

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
    explicit Item(std::string n) : name(std::move(n)) {}
    ~Item() { ++gDestroyed; }
    std::string name;  // owned payload: freed by the destructor
};

class ResourceListTest : public ::testing::Test {
protected:
    void SetUp() override { gDestroyed = 0; }
    void TearDown() override
    {
        list.KillIf([](const Item&) { return true; });
    }

    Item* Add(const std::string& name)
    {
        auto* item = new Item(name);
        list.PushFront(item);
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
    std::vector<std::string> visited;
    list.BeginIterate();
    for (Item* item = list.First(); item != nullptr; item = list.Next(item)) {
        if (item->dead)
            continue;
        visited.push_back(item->name);
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
    }
    list.EndIterate();
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

}  // namespace
