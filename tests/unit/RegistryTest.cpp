// The internals that the exported API cannot reach: the dispatch guard, the queries on behalf of
// ids no plug-in can hold, deliveries (work finished later, handed to its plug-in when it can take
// it), the window and hot-key walk markers, and the data-ref pool behind VORNIsDataRefGood.

#include "LibraryFixture.h"
#include "VORN/VORNDataAccess.h"
#include "VORNDataAccessInternal.h"
#include "WindowProbe.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using RegistryTest = LibraryTest;

TEST_F(RegistryTest, OnlyEnabledRecordsInRangeAreCallableAndTheGuardRestoresTheCaller)
{
    EXPECT_TRUE(StDispatchCallback(0).valid) << "the host, before any record exists";
    {
        StDispatchCallback guard(1);
        EXPECT_FALSE(guard.valid);
        EXPECT_EQ(gDispatchedPlugin, 1) << "set even when not valid";
    }
    VORNRegisterHostPlugin();
    const int on = AddPlugin("On", "t.on"), off = AddPlugin("Off", "t.off", false);
    for (auto [id, callable] : {std::pair{0, true}, {on, true}, {off, false}, {3, false}, {-1, false}})
        EXPECT_EQ(StDispatchCallback(id).valid, callable) << "id " << id;
    gDispatchedPlugin = -1;
    try {
        StDispatchCallback guard(on);
        throw std::runtime_error("plug-in failure");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(gDispatchedPlugin, -1);
}

TEST_F(RegistryTest, QueriesForIdsNoPluginHolds)
{
    VORNRegisterHostPlugin();
    const int a = AddPlugin("Alpha", "t.same");
    AddPlugin("Beta", "t.same");
    EXPECT_EQ(VORNFindPluginBySignature("t.same"), 1) << "the lowest id";
    for (auto [id, name] : {std::pair{-1, "[NO_PLUGIN_ID]"}, {0, "[VORN_PLUGIN_TARAVEL]"},
                            {-2, "[Bad plugin ID low]"}, {3, "[Bad plugin ID high]"}, {a, "Alpha"}}) {
        gDispatchedPlugin = id;
        EXPECT_STREQ(VORNDebugGetCurrentPluginName(), name) << "id " << id;
        EXPECT_TRUE(VORNNeedPathConvert()) << "id " << id;
        EXPECT_EQ(VORNHasError(), 0) << "id " << id;
    }
    Record(a).features[kFeatureNativePaths] = 2;
    Record(a).features[kFeatureWantsReflections] = 3;
    gDispatchedPlugin = a;
    EXPECT_FALSE(VORNNeedPathConvert()) << "the caller uses native paths";
    EXPECT_EQ(VORNHasFeatureInternal(a, kFeatureWantsReflections), 3);
    for (auto [id, feature] : {std::pair{2, 0}, {17, 0}, {a, 2}, {a, -1}})
        EXPECT_EQ(VORNHasFeatureInternal(id, feature), 0) << id << " " << feature;
    // Records stay where they are as the registry grows (deliveries point at them).
    PluginRecord* before = &Record(a);
    for (int i = 0; i < 100; ++i)
        AddPlugin("P" + std::to_string(i), "t.p" + std::to_string(i));
    EXPECT_EQ(&Record(a), before);
}

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
    int a = -1, b = -1;
};

TEST_F(DeliveryTest, QueuedWorkReachesItsOwnerAsTheOwnerOrWaitsWhileItIsDisabled)
{
    TestDelivery one("one", a), two("two", a), three("three", a);
    VORNQueueDelivery(&one);
    VORNQueueDelivery(&two);
    EXPECT_THAT(std::vector<VORNDelivery*>({Record(a).inFlight.mNext, two.mNext, one.mPrev, two.mPrev}),
                ElementsAre(&two, &one, &two, &Record(a).inFlight));
    gDispatchedPlugin = b;
    VORNSendDelivery(&one);
    EXPECT_THAT(gDelivered, ElementsAre("one:to 1"));
    EXPECT_EQ(gDispatchedPlugin, b);

    Record(a).enabled = false;
    VORNSendDelivery(&two);
    VORNSendDelivery(&three);
    EXPECT_TRUE(Record(a).inFlight.IsEmpty());
    EXPECT_THAT(gDelivered, ElementsAre("one:to 1"));
    EXPECT_EQ(VORNEnablePlugin(a), 1);
    EXPECT_THAT(gDelivered, ElementsAre("one:to 1", "three:to 1", "two:to 1")) << "newest first";
    EXPECT_TRUE(Record(a).pending.IsEmpty());

    // An enabled plug-in with results still waiting gets them too.
    Record(a).enabled = false;
    VORNSendDelivery(&one);
    Record(a).enabled = true;
    EXPECT_EQ(VORNEnablePlugin(a), 1);
    EXPECT_EQ(gDelivered.back(), "one:to 1");

    gDispatchedPlugin = a;
    VORNSetErrorCallback(RecordError);
    TestDelivery stray("stray", 9);
    VORNQueueDelivery(&stray);
    EXPECT_THAT(gErrors, ElementsAre("Internal error: async queue pending but the plugin ID is invalid."));
    EXPECT_EQ(stray.mPrev, nullptr);
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
    EXPECT_THAT(std::vector<VORNDelivery*>({VORNOrphanedDeliveries().mNext, running.mPrev}),
                ElementsAre(&running, &VORNOrphanedDeliveries()));
    VORNSendDelivery(&running);
    EXPECT_THAT(gDelivered, ElementsAre("waiting:gone", "running:gone"));
    EXPECT_TRUE(VORNOrphanedDeliveries().IsEmpty());
    UnloadOnePlugin(a);
    UnloadOnePlugin(42);
    EXPECT_THAT(gDelivered, ElementsAre("waiting:gone", "running:gone"));
}

// Up inside a walk, down after every walk, nested or left early by a removal.
TEST_F(RegistryTest, WalkMarkersAreUpInsideAndDownAfterNestedWalks)
{
    VORNRegisterHostPlugin();
    WinProbe front("front"), back("back");
    OpenProbeWindow(back, 0, 10, 10, 0);
    OpenProbeWindow(front, 0, 10, 10, 0);
    std::vector<bool> seen;
    front.mouseResult = 0;
    front.onMouse = [&](int) {
        seen.push_back(VORNWindowWalksRunning());
        VORNDisplayCursorHook(5, 5);
        VORNDestroyWindow(front.id);
    };
    Cb hot("hot");
    VORNHotKeyID id = VORNRegisterHotKey('G', 0, "", ProbeHotKey, &hot);
    hot.action = [&] {
        seen.push_back(VORNHotKeyWalksRunning());
        VORNUnregisterHotKey(id);
    };
    VORNDisplayMouseClickHook(5, 5, 1);
    VORNDisplayKeyPressHook('g', 0, 'G', 0);
    EXPECT_EQ(seen, std::vector<bool>({true, true}));
    EXPECT_FALSE(VORNWindowWalksRunning() || VORNHotKeyWalksRunning());
    EXPECT_EQ(VORNLiveWindowCount(), 1);
}

// Records come from blocks linked oldest to newest, and only a slot already handed out is a ref.
TEST_F(RegistryTest, TheDataRefPoolGrowsByBlocksAndKnowsWhichSlotsAreHandedOut)
{
    VORNRegisterHostPlugin();
    const int a = AddPlugin("A", "t.a");
    Record(a).errorCallback = RecordError;
    StDispatchCallback as(a);
    const std::string prefix = "test/pool/" + std::to_string(VORNDataRefRecordCount()) + "/";
    std::vector<VORNDataRef> refs;
    while (VORNOldestDataRefBlock() == nullptr || VORNOldestDataRefBlock()->next == nullptr ||
           VORNOldestDataRefBlock()->next->next == nullptr)  // three blocks
        refs.push_back(VORNRegisterDataAccessor(
            (prefix + std::to_string(refs.size())).c_str(), VORN_DATA_INT, 1,
            +[](void*) { return 7; }, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    const DataRefBlock* newest = VORNNewestDataRefBlock();
    EXPECT_EQ(refs.back(), &newest->records[0]);
    for (VORNDataRef ref : refs)
        EXPECT_EQ(VORNIsDataRefGood(ref) * 10 + VORNGetDatai(ref), 17);
    auto slot = [&](int n) { return const_cast<VORNDataRef>(&newest->records[n]); };
    EXPECT_EQ(VORNIsDataRefGood(slot(1)) + VORNIsDataRefGood(slot(kDataRefBlockCapacity - 1)), 0);
    auto inside = [&](int bytes) {
        return reinterpret_cast<VORNDataRef>(reinterpret_cast<char*>(refs.back()) + bytes);
    };
    EXPECT_EQ(VORNIsDataRefGood(inside(8)) + VORNIsDataRefGood(inside(sizeof(VORNData_t) - 1)), 0);
    VORNUnregisterDataAccessor(slot(1));
    EXPECT_EQ(gErrors, std::vector<std::string>{"Dataref is illegal and cannot be unregistered."});
}

}  // namespace
