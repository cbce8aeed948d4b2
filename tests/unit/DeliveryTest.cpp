// Deferred deliveries: queued while the work runs, handed over when it ends,
// parked while the owner is disabled, told when the owner is gone.

#include "LibraryFixture.h"

#include <gmock/gmock.h>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::vector<std::string> gDelivered;

class TestDelivery final : public VORNDelivery {
public:
    TestDelivery(std::string tag, int owner) : mTag(std::move(tag)) { mPlugin = owner; }
    void DeliverToPlugin(bool pluginGone) override
    {
        gDelivered.push_back(mTag + (pluginGone ? ":gone" : ":to " + std::to_string(VORNGetMyID())));
    }

private:
    std::string mTag;
};

class DeliveryTest : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        gDelivered.clear();
        VORNRegisterHostPlugin();
        a = AddPlugin("A", "t.a");
        b = AddPlugin("B", "t.b");
    }
    std::vector<VORNDelivery*> List(const VORNDeliveryHead& head)
    {
        std::vector<VORNDelivery*> nodes;
        for (VORNDelivery* d = head.mNext; d != nullptr; d = d->mNext)
            nodes.push_back(d);
        return nodes;
    }
    int a = -1, b = -1;
};

TEST_F(DeliveryTest, QueuedDeliveriesGoToTheFrontOfTheOwnersInFlightList)
{
    TestDelivery one("one", a), two("two", a);
    VORNQueueDelivery(&one);
    VORNQueueDelivery(&two);
    EXPECT_THAT(List(Record(a).inFlight), ElementsAre(&two, &one));
    EXPECT_EQ(one.mPrev, &two);
    EXPECT_EQ(two.mPrev, &Record(a).inFlight);
    VORNSendDelivery(&one);
    VORNSendDelivery(&two);
}

TEST_F(DeliveryTest, AnInvalidOwnerIsReportedAndNotQueued)
{
    gDispatchedPlugin = a;
    VORNSetErrorCallback(RecordError);
    TestDelivery stray("stray", 9);
    VORNQueueDelivery(&stray);
    EXPECT_THAT(gErrors,
                ElementsAre("Internal error: async queue pending but the plugin ID is invalid."));
    EXPECT_EQ(stray.mNext, nullptr);
    EXPECT_EQ(stray.mPrev, nullptr);
}

TEST_F(DeliveryTest, AFinishedDeliveryReachesItsEnabledOwnerAsTheOwner)
{
    TestDelivery one("one", a);
    VORNQueueDelivery(&one);
    gDispatchedPlugin = b;
    VORNSendDelivery(&one);
    EXPECT_THAT(gDelivered, ElementsAre("one:to 1"));
    EXPECT_THAT(List(Record(a).inFlight), IsEmpty());
    EXPECT_EQ(gDispatchedPlugin, b);
}

TEST_F(DeliveryTest, ADisabledOwnersResultWaitsUntilItIsEnabled)
{
    TestDelivery one("one", a), two("two", a);
    VORNQueueDelivery(&one);
    VORNQueueDelivery(&two);
    Record(a).enabled = false;
    VORNSendDelivery(&one);
    VORNSendDelivery(&two);
    EXPECT_THAT(gDelivered, IsEmpty());
    EXPECT_THAT(List(Record(a).pending), ElementsAre(&two, &one));
    EXPECT_EQ(VORNEnablePlugin(a), 1);
    EXPECT_THAT(gDelivered, ElementsAre("two:to 1", "one:to 1"));
    EXPECT_THAT(List(Record(a).pending), IsEmpty());
}

TEST_F(DeliveryTest, EnablingAnEnabledPluginStillFlushesItsPendingResults)
{
    TestDelivery one("one", a);
    one.mPlugin = a;
    Record(a).enabled = false;
    VORNSendDelivery(&one);
    Record(a).enabled = true;
    EXPECT_EQ(VORNEnablePlugin(a), 1);
    EXPECT_THAT(gDelivered, ElementsAre("one:to 1"));
}

TEST_F(DeliveryTest, UnloadOrphansWorkInFlightAndReleasesWaitingResults)
{
    TestDelivery running("running", a), waiting("waiting", a);
    VORNQueueDelivery(&running);
    VORNQueueDelivery(&waiting);
    Record(a).enabled = false;
    VORNSendDelivery(&waiting);
    UnloadOnePlugin(a);
    EXPECT_THAT(gDelivered, ElementsAre("waiting:gone"));
    EXPECT_EQ(running.mPlugin, -1);
    EXPECT_EQ(VORNOrphanedDeliveries().mNext, &running);
    EXPECT_EQ(running.mPrev, &VORNOrphanedDeliveries());
    VORNSendDelivery(&running);
    EXPECT_THAT(gDelivered, ElementsAre("waiting:gone", "running:gone"));
    EXPECT_EQ(VORNOrphanedDeliveries().mNext, nullptr);
}

TEST_F(DeliveryTest, UnloadedRecordsCanNeitherBeUnloadedAgainNorEnabled)
{
    UnloadOnePlugin(a);
    EXPECT_TRUE(Record(a).unloaded);
    EXPECT_EQ(VORNEnablePlugin(a), 0);
    EXPECT_EQ(VORNIsPluginEnabled(a), 0);
    UnloadOnePlugin(a);
    UnloadOnePlugin(42);
}

TEST_F(DeliveryTest, FeatureStatesAreReadPerPlugin)
{
    Record(a).features[kFeatureWantsReflections] = 3;
    EXPECT_EQ(VORNHasFeatureInternal(a, kFeatureWantsReflections), 3);
    EXPECT_EQ(VORNHasFeatureInternal(b, kFeatureWantsReflections), 0);
    EXPECT_EQ(VORNHasFeatureInternal(17, 0), 0);
    EXPECT_EQ(VORNHasFeatureInternal(a, 2), 0);
    EXPECT_EQ(VORNHasFeatureInternal(a, -1), 0);
}

}  // namespace
