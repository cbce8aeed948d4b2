// Shared data: items stored by the library, published as host data refs,
// growing arrays, and subscribers notified in order inside their dispatch.

#include "DataAccessFixture.h"

#include <gmock/gmock.h>

#include <climits>
#include <cstring>
#include <functional>
#include <utility>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// A subscriber of the tests: logs "<tag>@<dispatched id>" and then runs its
// optional action (which may call the API again).
struct Listener {
    explicit Listener(std::string t, std::function<void()> a = {})
        : tag(std::move(t)), action(std::move(a))
    {
    }
    std::string tag;
    std::function<void()> action;
};

void Changed(void* refcon)
{
    auto& listener = *static_cast<Listener*>(refcon);
    gAccessLog.push_back(listener.tag + "@" + std::to_string(VORNGetMyID()));
    if (listener.action)
        listener.action();
}

class SharedDataTest : public DataAccessTest {
protected:
    int Share(int id, const std::string& name, int type, Listener* listener)
    {
        return As(id, [&] {
            return VORNShareData(name.c_str(), type, listener ? Changed : nullptr, listener);
        });
    }
    int Unshare(int id, const std::string& name, int type, Listener* listener)
    {
        return As(id, [&] { return VORNUnshareData(name.c_str(), type, Changed, listener); });
    }
    std::string At(const std::string& tag, int id) { return tag + "@" + std::to_string(id); }
};

// ---- creating and subscribing ---------------------------------------------------------

TEST_F(SharedDataTest, SharingOneNameWithAnotherTypeFails)
{
    const std::string name = Name("x");
    Listener a{"a"};
    EXPECT_EQ(Share(owner, name, VORN_DATA_INT, &a), 1);
    EXPECT_EQ(Share(reader, name, VORN_DATA_FLOAT, &a), 0);
    EXPECT_EQ(VORNSharedDataSubscribers(name).size(), 1u);
    EXPECT_EQ(Share(reader, name, VORN_DATA_INT, &a), 1);
    ASSERT_EQ(VORNSharedDataSubscribers(name).size(), 2u);
    EXPECT_EQ(VORNSharedDataSubscribers(name)[1], reader);
    EXPECT_EQ(VORNGetDataRefTypes(VORNFindDataRef(name.c_str())), VORN_DATA_INT);
}

TEST_F(SharedDataTest, ItemIsAWritableDataRefOwnedByTheHost)
{
    const std::string name = Name("x");
    const int items = VORNSharedDataItemCount();
    EXPECT_EQ(Share(owner, name, VORN_DATA_DOUBLE, nullptr), 1);
    EXPECT_EQ(VORNSharedDataItemCount(), items + 1);
    EXPECT_THAT(VORNSharedDataSubscribers(name), IsEmpty());
    EXPECT_EQ(VORNSharedDataSize(name), 8);
    VORNDataRef ref = VORNFindDataRef(name.c_str());
    ASSERT_NE(ref, nullptr);
    EXPECT_EQ(ref->owner, 0);
    EXPECT_EQ(VORNIsDataRefGood(ref), 1);
    EXPECT_EQ(VORNCanWriteDataRef(ref), 1);
    EXPECT_EQ(VORNGetDataRefTypes(ref), VORN_DATA_DOUBLE);
    EXPECT_EQ(VORNGetDispatchedPlugin(), 0);
    As(reader, [&] { VORNSetDatad(ref, 6.5); });
    EXPECT_EQ(As(other, [&] { return VORNGetDatad(ref); }), 6.5);
}

TEST_F(SharedDataTest, NullCallbackSharesButCannotUnshare)
{
    const std::string name = Name("x");
    StDispatchCallback asOwner(owner);
    EXPECT_EQ(VORNShareData(name.c_str(), VORN_DATA_INT, nullptr, nullptr), 1);
    EXPECT_NE(VORNFindDataRef(name.c_str()), nullptr);
    EXPECT_EQ(VORNUnshareData(name.c_str(), VORN_DATA_INT, nullptr, nullptr), 0);
}

TEST_F(SharedDataTest, NullNameIsRefused)
{
    const int items = VORNSharedDataItemCount();
    EXPECT_EQ(VORNShareData(nullptr, VORN_DATA_INT, Changed, nullptr), 0);
    EXPECT_EQ(VORNUnshareData(nullptr, VORN_DATA_INT, Changed, nullptr), 0);
    EXPECT_EQ(VORNSharedDataItemCount(), items);
}

TEST_F(SharedDataTest, InitialSizesFollowTheType)
{
    const std::pair<int, int64_t> sizes[] = {{VORN_DATA_INT, 4},        {VORN_DATA_FLOAT, 4},
                                            {VORN_DATA_DOUBLE, 8},     {VORN_DATA_FLOAT_ARRAY, 4},
                                            {VORN_DATA_INT_ARRAY, 4},  {VORN_DATA_BYTES, 1},
                                            {VORN_DATA_INT | VORN_DATA_FLOAT, 4}};
    for (auto [type, size] : sizes) {
        const std::string name = Name(std::to_string(type));
        Share(owner, name, type, nullptr);
        EXPECT_EQ(VORNSharedDataSize(name), size) << "type " << type;
    }
    EXPECT_EQ(VORNGetDatavi(VORNFindDataRef(Name("16").c_str()), nullptr, 0, 0), 1);
    EXPECT_EQ(VORNGetDatavf(VORNFindDataRef(Name("8").c_str()), nullptr, 0, 0), 1);
    EXPECT_EQ(VORNGetDatab(VORNFindDataRef(Name("32").c_str()), nullptr, 0, 0), 1);
}

TEST_F(SharedDataTest, TypeThatIsNotOneBitGetsNoAccessors)
{
    const std::string name = Name("x");
    Listener a{"a"};
    EXPECT_EQ(Share(owner, name, VORN_DATA_INT | VORN_DATA_FLOAT, &a), 1);
    VORNDataRef ref = VORNFindDataRef(name.c_str());
    EXPECT_EQ(VORNGetDataRefTypes(ref), 3);
    VORNSetDatai(ref, 5);
    VORNSetDataf(ref, 5.0f);
    EXPECT_EQ(VORNGetDatai(ref), 0);
    EXPECT_THAT(gAccessLog, IsEmpty());
}

TEST_F(SharedDataTest, NameHeldByAPluginKeepsTheItemWithoutADataRef)
{
    const std::string name = Name("x");
    Cell cell{"plugin", 3};
    VORNDataRef pluginRef = RegisterAll(owner, name, cell);
    Listener a{"a"};
    EXPECT_EQ(Share(reader, name, VORN_DATA_INT, &a), 1);
    EXPECT_THAT(gErrors, IsEmpty()) << "the failure is the host's, which has no error callback";
    ASSERT_NE(VORNSharedDataSize(name), -1) << "the item exists";
    EXPECT_EQ(VORNFindDataRef(name.c_str()), pluginRef);
    EXPECT_EQ(pluginRef->owner, owner);
    EXPECT_EQ(VORNGetDatai(pluginRef), 3);
}

// ---- values ------------------------------------------------------------------------------

TEST_F(SharedDataTest, ScalarsRoundTripAndOtherFamiliesReadZero)
{
    Share(owner, Name("i"), VORN_DATA_INT, nullptr);
    Share(owner, Name("f"), VORN_DATA_FLOAT, nullptr);
    VORNDataRef i = VORNFindDataRef(Name("i").c_str());
    VORNDataRef f = VORNFindDataRef(Name("f").c_str());
    VORNSetDatai(i, -12345);
    VORNSetDataf(f, 0.25f);
    EXPECT_EQ(VORNGetDatai(i), -12345);
    EXPECT_EQ(VORNGetDataf(f), 0.25f);
    EXPECT_EQ(VORNGetDataf(i), 0.0f);
    EXPECT_EQ(VORNGetDatad(i), 0.0);
    EXPECT_EQ(VORNGetDatai(f), 0);
    VORNSetDatai(f, 9);
    EXPECT_EQ(VORNGetDataf(f), 0.25f);
}

TEST_F(SharedDataTest, IntArrayGrowsAndReportsItsElementCount)
{
    const std::string name = Name("x");
    Share(owner, name, VORN_DATA_INT_ARRAY, nullptr);
    VORNDataRef ref = VORNFindDataRef(name.c_str());
    int values[10];
    for (int n = 0; n < 10; ++n)
        values[n] = n;
    As(reader, [&] { VORNSetDatavi(ref, values, 0, 10); });
    EXPECT_EQ(VORNSharedDataSize(name), 40);
    EXPECT_EQ(VORNGetDatavi(ref, nullptr, 0, 0), 10);
    int out[5] = {-1, -1, -1, -1, -1};
    EXPECT_EQ(VORNGetDatavi(ref, out, 8, 5), 2);
    EXPECT_THAT(out, ElementsAre(8, 9, -1, -1, -1));
    EXPECT_EQ(VORNGetDatavi(ref, out, 0, 3), 3);
    EXPECT_THAT(out, ElementsAre(0, 1, 2, -1, -1));
    EXPECT_EQ(VORNGetDatavi(ref, out, 10, 5), 0) << "offset at the end";
}

TEST_F(SharedDataTest, WritesPastTheEndGrowWithoutShrinkingOrLosingContents)
{
    const std::string name = Name("x");
    Share(owner, name, VORN_DATA_FLOAT_ARRAY, nullptr);
    VORNDataRef ref = VORNFindDataRef(name.c_str());
    float first[2] = {1.0f, 2.0f};
    VORNSetDatavf(ref, first, 0, 2);
    float later[1] = {7.0f};
    VORNSetDatavf(ref, later, 5, 1);
    EXPECT_EQ(VORNGetDatavf(ref, nullptr, 0, 0), 6);
    VORNSetDatavf(ref, later, 0, 1);
    EXPECT_EQ(VORNGetDatavf(ref, nullptr, 0, 0), 6) << "storage never shrinks";
    float out[6];
    EXPECT_EQ(VORNGetDatavf(ref, out, 0, 6), 6);
    EXPECT_EQ(out[0], 7.0f);
    EXPECT_EQ(out[1], 2.0f);
    EXPECT_EQ(out[5], 7.0f);
    EXPECT_EQ(VORNGetDatavi(ref, nullptr, 0, 0), 0) << "no int-array reader";
}

TEST_F(SharedDataTest, BytesCarryTextWithItsTerminator)
{
    const std::string name = Name("x");
    Share(owner, name, VORN_DATA_BYTES, nullptr);
    VORNDataRef ref = VORNFindDataRef(name.c_str());
    char text[] = "hello";
    VORNSetDatab(ref, text, 0, sizeof text);
    EXPECT_EQ(VORNGetDatab(ref, nullptr, 0, 0), 6);
    char out[16];
    std::memset(out, 'x', sizeof out);
    EXPECT_EQ(VORNGetDatab(ref, out, 0, sizeof out), 6);
    EXPECT_STREQ(out, "hello");
    EXPECT_EQ(VORNGetDatab(ref, out, 4, 1), 1);
    EXPECT_EQ(out[0], 'o');
}

TEST_F(SharedDataTest, BadOffsetsCountsAndSourcesAreRejectedWithoutNotifying)
{
    const std::string name = Name("x");
    Listener a{"a"};
    Share(owner, name, VORN_DATA_INT_ARRAY, &a);
    VORNDataRef ref = VORNFindDataRef(name.c_str());
    int values[2] = {5, 6};
    VORNSetDatavi(ref, values, 0, 2);
    gAccessLog.clear();
    VORNSetDatavi(ref, values, -1, 2);
    VORNSetDatavi(ref, values, 0, -2);
    VORNSetDatavi(ref, values, INT_MAX, 1);
    VORNSetDatavi(ref, values, INT_MAX / 4, 1);
    VORNSetDatavi(ref, values, 1, INT_MAX);
    VORNSetDatavi(ref, nullptr, 0, 2);
    EXPECT_THAT(gAccessLog, IsEmpty());
    EXPECT_EQ(VORNSharedDataSize(name), 8);
    int out[2] = {0, 0};
    EXPECT_EQ(VORNGetDatavi(ref, out, -1, 2), 0);
    EXPECT_EQ(VORNGetDatavi(ref, out, 3, 2), 0);
    EXPECT_EQ(VORNGetDatavi(ref, out, INT_MAX, 2), 0);
    EXPECT_EQ(VORNGetDatavi(ref, out, 0, -1), 0);
    EXPECT_THAT(out, ElementsAre(0, 0));
    EXPECT_EQ(VORNGetDatavi(ref, out, 0, INT_MAX), 2);
    EXPECT_THAT(out, ElementsAre(5, 6));
}

TEST_F(SharedDataTest, EmptyWriteAtAnOffsetGrowsAndNotifies)
{
    const std::string name = Name("x");
    Listener a{"a"};
    Share(owner, name, VORN_DATA_BYTES, &a);
    VORNDataRef ref = VORNFindDataRef(name.c_str());
    VORNSetDatab(ref, nullptr, 3, 0);
    EXPECT_EQ(VORNGetDatab(ref, nullptr, 0, 0), 3);
    EXPECT_THAT(gAccessLog, ElementsAre(At("a", owner)));
}

// ---- notification ------------------------------------------------------------------------

TEST_F(SharedDataTest, SubscribersAreNotifiedInOrderInTheirOwnDispatchWriterIncluded)
{
    const std::string name = Name("x");
    Listener a{"a"}, b{"b"};
    Share(owner, name, VORN_DATA_INT, &a);
    Share(reader, name, VORN_DATA_INT, &b);
    VORNDataRef ref = VORNFindDataRef(name.c_str());
    As(reader, [&] {
        VORNSetDatai(ref, 3);
        EXPECT_EQ(VORNGetMyID(), reader);
    });
    EXPECT_THAT(gAccessLog, ElementsAre(At("a", owner), At("b", reader)));
    gAccessLog.clear();
    VORNSetDatai(ref, 3);
    EXPECT_THAT(gAccessLog, ElementsAre(At("a", owner), At("b", reader))) << "unchanged value";
}

TEST_F(SharedDataTest, DuplicateSubscriptionIsNotifiedPerEntryAndUnsharedOneAtATime)
{
    const std::string name = Name("x");
    Listener a{"a"};
    Share(owner, name, VORN_DATA_FLOAT, &a);
    Share(owner, name, VORN_DATA_FLOAT, &a);
    VORNDataRef ref = VORNFindDataRef(name.c_str());
    VORNSetDataf(ref, 1.0f);
    EXPECT_THAT(gAccessLog, ElementsAre(At("a", owner), At("a", owner)));
    EXPECT_EQ(Unshare(owner, name, VORN_DATA_FLOAT, &a), 1);
    gAccessLog.clear();
    VORNSetDataf(ref, 2.0f);
    EXPECT_THAT(gAccessLog, ElementsAre(At("a", owner)));
    EXPECT_EQ(Unshare(owner, name, VORN_DATA_FLOAT, &a), 1);
    EXPECT_EQ(Unshare(owner, name, VORN_DATA_FLOAT, &a), 0);
    EXPECT_EQ(VORNGetDataf(ref), 2.0f) << "the value stays";
}

TEST_F(SharedDataTest, UnshareMatchesNameTypeRefconAndTheCallingPlugin)
{
    const std::string name = Name("x");
    Listener a{"a"}, b{"b"};
    Share(owner, name, VORN_DATA_INT, &a);
    EXPECT_EQ(Unshare(owner, name, VORN_DATA_FLOAT, &a), 0);
    EXPECT_EQ(Unshare(owner, Name("unknown"), VORN_DATA_INT, &a), 0);
    EXPECT_EQ(Unshare(owner, name, VORN_DATA_INT, &b), 0);
    EXPECT_EQ(Unshare(reader, name, VORN_DATA_INT, &a), 0) << "another plug-in's entry";
    EXPECT_EQ(VORNSharedDataSubscribers(name).size(), 1u);
    EXPECT_EQ(Unshare(owner, name, VORN_DATA_INT, &a), 1);
    EXPECT_THAT(VORNSharedDataSubscribers(name), IsEmpty());
}

TEST_F(SharedDataTest, DisabledSubscriberIsSkippedButKept)
{
    const std::string name = Name("x");
    Listener a{"a"}, b{"b"};
    Share(owner, name, VORN_DATA_INT, &a);
    Share(reader, name, VORN_DATA_INT, &b);
    Record(owner).enabled = false;
    VORNSetDatai(VORNFindDataRef(name.c_str()), 1);
    EXPECT_THAT(gAccessLog, ElementsAre(At("b", reader)));
    Record(owner).enabled = true;
    gAccessLog.clear();
    VORNSetDatai(VORNFindDataRef(name.c_str()), 2);
    EXPECT_THAT(gAccessLog, ElementsAre(At("a", owner), At("b", reader)));
}

TEST_F(SharedDataTest, SubscriberUnsharingItselfDuringNotificationSkipsNobody)
{
    const std::string name = Name("x");
    Listener a{"a"}, c{"c"};
    Listener b{"b", [&] {
                   EXPECT_EQ(VORNUnshareData(name.c_str(), VORN_DATA_INT, Changed, &b), 1);
               }};
    Share(owner, name, VORN_DATA_INT, &a);
    Share(reader, name, VORN_DATA_INT, &b);
    Share(other, name, VORN_DATA_INT, &c);
    VORNDataRef ref = VORNFindDataRef(name.c_str());
    VORNSetDatai(ref, 1);
    EXPECT_THAT(gAccessLog, ElementsAre(At("a", owner), At("b", reader), At("c", other)));
    gAccessLog.clear();
    VORNSetDatai(ref, 2);
    EXPECT_THAT(gAccessLog, ElementsAre(At("a", owner), At("c", other)));
}

TEST_F(SharedDataTest, EntryRemovedEarlierInAPassIsNotCalledInIt)
{
    const std::string name = Name("x");
    Listener b{"b"};
    Listener a{"a", [&] { VORNUnshareData(name.c_str(), VORN_DATA_INT, Changed, &b); }};
    Share(owner, name, VORN_DATA_INT, &a);
    Share(owner, name, VORN_DATA_INT, &b);
    VORNSetDatai(VORNFindDataRef(name.c_str()), 1);
    EXPECT_THAT(gAccessLog, ElementsAre(At("a", owner)));
}

TEST_F(SharedDataTest, SubscriptionAddedDuringAPassWaitsForTheNextWrite)
{
    const std::string name = Name("x");
    Listener late{"late"};
    int shares = 0;
    Listener a{"a", [&] {
                   // Enough entries to make the subscriber list reallocate.
                   if (shares++ == 0)
                       for (int n = 0; n < 20; ++n)
                           VORNShareData(name.c_str(), VORN_DATA_INT, Changed, &late);
               }};
    Share(owner, name, VORN_DATA_INT, &a);
    VORNDataRef ref = VORNFindDataRef(name.c_str());
    VORNSetDatai(ref, 1);
    EXPECT_THAT(gAccessLog, ElementsAre(At("a", owner)));
    gAccessLog.clear();
    VORNSetDatai(ref, 2);
    EXPECT_EQ(gAccessLog.size(), 21u);
    EXPECT_EQ(gAccessLog.back(), At("late", owner));
}

TEST_F(SharedDataTest, SubscriberWritingTheItemAgainReentersNotification)
{
    const std::string name = Name("x");
    Listener b{"b"};
    Listener a{"a", [&] {
                   VORNDataRef ref = VORNFindDataRef(name.c_str());
                   const int value = VORNGetDatai(ref);
                   if (value < 3)
                       VORNSetDatai(ref, value + 1);
               }};
    Share(owner, name, VORN_DATA_INT, &a);
    Share(reader, name, VORN_DATA_INT, &b);
    VORNDataRef ref = VORNFindDataRef(name.c_str());
    VORNSetDatai(ref, 1);
    EXPECT_EQ(VORNGetDatai(ref), 3);
    const std::string A = At("a", owner), B = At("b", reader);
    EXPECT_THAT(gAccessLog, ElementsAre(A, A, A, B, B, B));
    EXPECT_EQ(VORNGetDispatchedPlugin(), 0);
}

TEST_F(SharedDataTest, EntryRemovedInANestedPassLetsTheOuterPassGoOnFromIt)
{
    // a writes again from inside the outer pass; in that nested pass b
    // unshares a, whose entry the outer pass is still standing on.
    const std::string name = Name("x");
    bool wrote = false, unshared = false;
    Listener a{"a"}, c{"c"};
    a.action = [&] {
        if (!std::exchange(wrote, true))
            VORNSetDatai(VORNFindDataRef(name.c_str()), 2);
    };
    Listener b{"b", [&] {
                   if (!std::exchange(unshared, true)) {
                       EXPECT_EQ(Unshare(owner, name, VORN_DATA_INT, &a), 1);
                   }
               }};
    Share(owner, name, VORN_DATA_INT, &a);
    Share(reader, name, VORN_DATA_INT, &b);
    Share(other, name, VORN_DATA_INT, &c);
    VORNDataRef ref = VORNFindDataRef(name.c_str());
    VORNSetDatai(ref, 1);
    const std::string A = At("a", owner), B = At("b", reader), C = At("c", other);
    EXPECT_THAT(gAccessLog, ElementsAre(A, A, B, C, B, C));
    gAccessLog.clear();
    VORNSetDatai(ref, 3);
    EXPECT_THAT(gAccessLog, ElementsAre(B, C));
    EXPECT_THAT(VORNSharedDataSubscribers(name), ElementsAre(reader, other));
}

// ---- unload --------------------------------------------------------------------------------

TEST_F(SharedDataTest, UnloadDropsThatPluginsSubscriptionsAndKeepsTheValue)
{
    const std::string name = Name("x");
    const std::string second = Name("y");
    Listener a{"a"}, b{"b"}, c{"c"};
    Share(reader, name, VORN_DATA_INT, &a);
    Share(owner, name, VORN_DATA_INT, &b);
    Share(reader, name, VORN_DATA_INT, &a);
    Share(other, name, VORN_DATA_INT, &c);
    Share(owner, second, VORN_DATA_DOUBLE, &b);
    VORNDataRef ref = VORNFindDataRef(name.c_str());
    As(owner, [&] { VORNSetDatai(ref, 77); });
    gAccessLog.clear();
    VORNRunCleanupHooks(owner);
    EXPECT_THAT(VORNSharedDataSubscribers(second), IsEmpty());
    EXPECT_EQ(VORNFindDataRef(name.c_str()), ref) << "the item's data ref belongs to the host";
    EXPECT_EQ(As(other, [&] { return VORNGetDatai(ref); }), 77);
    As(other, [&] { VORNSetDatai(ref, 78); });
    EXPECT_THAT(gAccessLog, ElementsAre(At("a", reader), At("a", reader), At("c", other)));
    EXPECT_EQ(VORNGetDatai(ref), 78);
}

TEST_F(SharedDataTest, UnloadAfterAnUnshareStillDropsThePluginsOtherSubscriptions)
{
    const std::string name = Name("x");
    Listener a{"a"}, b{"b"}, c{"c"};
    Share(owner, name, VORN_DATA_INT, &a);
    Share(owner, name, VORN_DATA_INT, &b);
    Share(reader, name, VORN_DATA_INT, &c);
    EXPECT_EQ(Unshare(owner, name, VORN_DATA_INT, &a), 1);
    VORNRunCleanupHooks(owner);
    EXPECT_THAT(VORNSharedDataSubscribers(name), ElementsAre(reader));
}

}  // namespace
