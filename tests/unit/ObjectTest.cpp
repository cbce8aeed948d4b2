// Scenery objects: who holds what, the drawing checks, and asynchronous loads
// travelling back through the delivery queue to an owner that may have been
// disabled or unloaded meanwhile.

#include "PluginTrioFixture.h"

#include <gmock/gmock.h>


using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

void* const kTree = reinterpret_cast<void*>(0x7100);
void* const kHouse = reinterpret_cast<void*>(0x7200);

// What the plug-ins' completion callbacks saw, in order.
std::vector<std::string> gLoaded;

void OnLoaded(void* object, void* refcon)
{
    gLoaded.push_back("loaded " + Fmt(object) + " refcon " + Fmt(refcon) + " as " +
                      std::to_string(VORNGetMyID()) + " holding " +
                      std::to_string(VORNHeldObjects(VORNGetMyID()).size()));
}

void UnloadAtOnce(void* object, void*)
{
    VORNUnloadObject(object);
}

class ObjectTest : public PluginTrioTest {
protected:
    void SetUp() override
    {
        PluginTrioTest::SetUp();
        gLoaded.clear();
    }

    void* Load(int id, void* object, const char* path = "lib/tree.obj")
    {
        host->loadedObject = object;
        return As(id, [&] { return VORNLoadObject(path); });
    }

    void LoadAsync(int id, VORNObjectLoaded_f callback, void* refcon,
                   const char* path = "lib/tree.obj")
    {
        As(id, [&] { VORNLoadObjectAsync(path, callback, refcon); });
    }

    // The host answers its n-th asynchronous load.
    void Answer(size_t n, void* object)
    {
        const FakeHost::AsyncLoad load = host->asyncLoads.at(n);
        load.callback(object, load.refcon);
    }

    static VORNObjectPlacementRecord At(float x, float a1, float a2, float a3, int size = 28)
    {
        return VORNObjectPlacementRecord{size, x, x + 1, x + 2, a1, a2, a3};
    }

    void Draw(int id, void* object, std::vector<VORNObjectPlacementRecord> records,
              int count = -100)
    {
        if (count == -100)
            count = static_cast<int>(records.size());
        As(id, [&] { VORNDrawObjects(object, count, records.data(), 5, 6); });
    }

    std::vector<std::string> HostUnloads() const { return host->CallsNamed("UnloadObject"); }
    static std::string Unloaded(void* object) { return "UnloadObject(" + Fmt(object) + ")"; }
};

// ---- synchronous loads and unloads ----

TEST_F(ObjectTest, TheSameObjectLoadedTwiceStandsTwiceUntilBothAreGivenBack)
{
    EXPECT_EQ(Load(a, kTree), kTree);
    EXPECT_EQ(Load(a, kTree), kTree);
    EXPECT_THAT(VORNHeldObjects(a), ElementsAre(kTree, kTree));
    As(a, [] { VORNUnloadObject(kTree); });
    EXPECT_THAT(VORNHeldObjects(a), ElementsAre(kTree));
    EXPECT_THAT(HostUnloads(), ElementsAre(Unloaded(kTree)));
    UnloadOnePlugin(a);
    EXPECT_THAT(HostUnloads(), ElementsAre(Unloaded(kTree), Unloaded(kTree)));
    EXPECT_THAT(VORNHeldObjects(a), IsEmpty());
    EXPECT_THAT(gErrors, IsEmpty());
}

TEST_F(ObjectTest, UnloadRemovesTheFirstOccurrenceAndKeepsTheOrderOfTheRest)
{
    Load(a, kTree);
    Load(a, kHouse);
    Load(a, kTree);
    As(a, [] { VORNUnloadObject(kTree); });
    EXPECT_THAT(VORNHeldObjects(a), ElementsAre(kHouse, kTree));
}

TEST_F(ObjectTest, AFailedLoadIsNotRecorded)
{
    EXPECT_EQ(Load(a, nullptr), nullptr);
    EXPECT_THAT(VORNHeldObjects(a), IsEmpty());
    EXPECT_THAT(host->CallsNamed("LoadObject"), ElementsAre("LoadObject(\"lib/tree.obj\")"));
}

TEST_F(ObjectTest, DisablingKeepsObjectsAndUnloadingGivesBackOnlyThePluginsOwnInLoadOrder)
{
    Load(a, kHouse);
    Load(b, kTree);
    Load(a, kTree);
    VORNDisablePlugin(a);
    EXPECT_THAT(VORNHeldObjects(a), ElementsAre(kHouse, kTree));
    EXPECT_THAT(HostUnloads(), IsEmpty());
    UnloadOnePlugin(a);
    EXPECT_THAT(HostUnloads(), ElementsAre(Unloaded(kHouse), Unloaded(kTree)));
    EXPECT_THAT(VORNHeldObjects(b), ElementsAre(kTree));
}

TEST_F(ObjectTest, LookupGoesStraightToTheHost)
{
    host->lookupResult = 4;
    int refcon = 0;
    EXPECT_EQ(VORNLookupObjects("lib/*.obj", 1.5f, 2.5f, nullptr, &refcon), 4);
    EXPECT_THAT(host->CallsNamed("LookupObjects"),
                ElementsAre("LookupObjects(" + FmtArgs("lib/*.obj", 1.5f, 2.5f,
                                                       static_cast<void*>(nullptr),
                                                       static_cast<void*>(&refcon)) + ")"));
}

// ---- drawing ----

TEST_F(ObjectTest, TheFirstTwoAnglesReachTheHostExchanged)
{
    Load(a, kTree);
    Draw(a, kTree, {At(10, 1, 2, 3), At(20, 4, 5, 6)});
    EXPECT_THAT(host->CallsNamed("DrawObjects"),
                ElementsAre("DrawObjects(" + FmtArgs(kTree, 5, 6, 10.f, 11.f, 12.f, 2.f, 1.f, 3.f) + ")",
                            "DrawObjects(" + FmtArgs(kTree, 5, 6, 20.f, 21.f, 22.f, 5.f, 4.f, 6.f) + ")"));
}

TEST_F(ObjectTest, DrawingIsCheckedOnlyForAPluginWithAnErrorCallback)
{
    Load(a, kTree);
    Draw(a, kTree, {At(1, 0, 0, 0), At(2, 0, 0, 0), At(3, 0, 0, 0, 24), At(4, 0, 0, 0, 20)});
    Draw(b, kTree, {At(24, 0, 0, 0, 24)});
    Draw(a, kTree, {At(1, 0, 0, 0)}, 0);
    Draw(a, kTree, {At(1, 0, 0, 0)}, -3);
    As(a, [] { VORNDrawObjects(kTree, 3, nullptr, 0, 0); });
    EXPECT_EQ(host->CountCalls("DrawObjects"), 0u);
    EXPECT_THAT(gErrors, ElementsAre("Struct size mismatch for VORNDrawObjects",
                                     "Illegal object, or object not owned by this plugin."))
        << "one report per call; no count or no records is no error";
    Record(b).errorCallback = nullptr;
    Draw(b, kHouse, {At(1, 7, 8, 9, 3)});
    EXPECT_THAT(host->CallsNamed("DrawObjects"),
                ElementsAre("DrawObjects(" + FmtArgs(kHouse, 5, 6, 1.f, 2.f, 3.f, 8.f, 7.f, 9.f) + ")"));
}

// ---- asynchronous loads ----

TEST_F(ObjectTest, AnAsyncLoadWaitsInFlightAndIsHandedToItsOwnerWhenTheHostAnswers)
{
    int refcon = 0;
    LoadAsync(a, OnLoaded, &refcon, "lib/house.obj");
    ASSERT_EQ(host->asyncLoads.size(), 1u);
    auto* completion = static_cast<VORNObjectCompletion_t*>(host->asyncLoads[0].refcon);
    EXPECT_EQ(host->asyncLoads[0].path, "lib/house.obj");
    EXPECT_EQ(host->asyncLoads[0].callback, &VORNObjectCompletion_t::AsyncCB);
    EXPECT_EQ(Record(a).inFlight.mNext, completion);
    EXPECT_EQ(completion->mPlugin, a);

    StDispatchCallback asB(b);
    Answer(0, kHouse);
    // Recorded only after the callback ran.
    EXPECT_THAT(gLoaded, ElementsAre("loaded " + Fmt(kHouse) + " refcon " + Fmt(&refcon) +
                                     " as 1 holding 0"));
    EXPECT_THAT(VORNHeldObjects(a), ElementsAre(kHouse));
    EXPECT_TRUE(Record(a).inFlight.IsEmpty());
    EXPECT_EQ(VORNGetDispatchedPlugin(), b);
}

TEST_F(ObjectTest, AFailedAsyncLoadCallsBackWithNullAndRecordsNothing)
{
    LoadAsync(a, OnLoaded, nullptr);
    Answer(0, nullptr);
    EXPECT_THAT(gLoaded, ElementsAre("loaded null refcon null as 1 holding 0"));
    EXPECT_THAT(VORNHeldObjects(a), IsEmpty());
}

TEST_F(ObjectTest, ACallbackUnloadingAtOnceIsToldTheObjectIsUnknownAndItStaysRecorded)
{
    LoadAsync(a, UnloadAtOnce, nullptr);
    Answer(0, kTree);
    EXPECT_THAT(gErrors, ElementsAre("Unknown object for VORNUnloadObject"));
    EXPECT_THAT(VORNHeldObjects(a), ElementsAre(kTree));
    EXPECT_THAT(HostUnloads(), IsEmpty());
}

TEST_F(ObjectTest, AResultForADisabledOwnerIsHandedOverWhenItIsEnabledAgain)
{
    LoadAsync(a, OnLoaded, nullptr);
    VORNDisablePlugin(a);
    Answer(0, kTree);
    EXPECT_THAT(gLoaded, IsEmpty());
    EXPECT_THAT(VORNHeldObjects(a), IsEmpty());
    EXPECT_EQ(VORNEnablePlugin(a), 1);
    EXPECT_THAT(gLoaded, ElementsAre("loaded " + Fmt(kTree) + " refcon null as 1 holding 0"));
    EXPECT_THAT(VORNHeldObjects(a), ElementsAre(kTree));
    LoadAsync(a, OnLoaded, nullptr);
    VORNDisablePlugin(a);
    VORNEnablePlugin(a);
    Answer(1, kHouse);
    EXPECT_EQ(gLoaded.size(), 2u) << "after disable and enable it is handed over at once";
    EXPECT_THAT(VORNHeldObjects(a), ElementsAre(kTree, kHouse));
}

TEST_F(ObjectTest, AResultWhoseOwnerWasUnloadedGoesBackToTheHost)
{
    LoadAsync(a, OnLoaded, nullptr);
    LoadAsync(a, OnLoaded, nullptr);
    VORNDisablePlugin(a);
    UnloadOnePlugin(a);
    // Moved one at a time to the front: the in-flight order is reversed.
    ASSERT_EQ(VORNOrphanedDeliveries().mNext, host->asyncLoads[0].refcon);
    EXPECT_EQ(VORNOrphanedDeliveries().mNext->mNext, host->asyncLoads[1].refcon);
    EXPECT_EQ(VORNOrphanedDeliveries().mNext->mPlugin, -1);
    Answer(0, kTree);
    Answer(1, nullptr);
    EXPECT_THAT(gLoaded, IsEmpty());
    EXPECT_THAT(HostUnloads(), ElementsAre(Unloaded(kTree), Unloaded(nullptr)));
    EXPECT_THAT(VORNHeldObjects(a), IsEmpty());
    EXPECT_TRUE(VORNOrphanedDeliveries().IsEmpty());
}

TEST_F(ObjectTest, AResultWaitingForADisabledOwnerGoesBackToTheHostAtItsUnload)
{
    LoadAsync(a, OnLoaded, nullptr);
    VORNDisablePlugin(a);
    Answer(0, kTree);
    UnloadOnePlugin(a);
    EXPECT_THAT(gLoaded, IsEmpty());
    EXPECT_THAT(HostUnloads(), ElementsAre(Unloaded(kTree)));
}

}  // namespace
