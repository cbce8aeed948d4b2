// Probes, objects, camera and multiplayer aircraft through the real library,
// with several real plug-ins taking orders from the host.

#include "PluginRoot.h"
#include "VORN/VORNCamera.h"
#include "VORN/VORNDataAccess.h"
#include "../plugins/world_user.h"

#include <gmock/gmock.h>

#include <cstdio>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

namespace {

std::vector<std::string> gAiWrites;
int gAiIndex[21];
void WriteAiLoc(void* refcon, int value)
{
    gAiWrites.push_back(std::to_string(*static_cast<int*>(refcon)) + "=" + std::to_string(value));
}

class WorldApiTest : public LoaderTest {
protected:
    void SetUp() override
    {
        LoaderTest::SetUp();
        gAiWrites.clear();
        for (const char* name : {"p1", "p2", "p3"})
            InstallPlugin("world_user", std::string(name) + ".vpl");
        ASSERT_EQ(Start(), 19);
        p1 = VORNFindPluginBySignature("worlduser:p1");
        p2 = VORNFindPluginBySignature("worlduser:p2");
        p3 = VORNFindPluginBySignature("worlduser:p3");
        ASSERT_GT(p1, 0);
        ASSERT_GT(p2, 0);
        ASSERT_GT(p3, 0);
        host->ClearRecord();
    }

    WorldUserOrder Order(int id, int what, int arg = 0, void* handle = nullptr,
                         const char* text = nullptr)
    {
        WorldUserOrder order{what, arg, text, handle, -1};
        VORNSendMessageToPlugin(id, WORLD_USER_ORDER, &order);
        return order;
    }

    // The host index the library used for probe: read off the host's call.
    int HostIndexOf(int id, void* probe)
    {
        const size_t before = host->CountCalls("ProbeTerrainXYZ");
        Order(id, kProbe, 44, probe);
        if (host->CountCalls("ProbeTerrainXYZ") != before + 1)
            return -1;
        const std::string call = host->CallsNamed("ProbeTerrainXYZ").back();
        return std::stoi(call.substr(call.find('(') + 1));
    }

    static std::string Line(const std::string& name, const std::string& what, int id)
    {
        return "<" + name + ":" + what + " id=" + std::to_string(id) + ">";
    }

    static std::string Loaded(void* object)
    {
        char text[64];
        std::snprintf(text, sizeof text, "loaded %p", object);
        return text;
    }

    int Camera()
    {
        return VORNCameraHook(&v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6]);
    }

    int p1 = -1, p2 = -1, p3 = -1;
    std::vector<VORNDataRef> aiLoc;
    float v[7] = {1, 2, 3, 4, 5, 6, 7};
};

TEST_F(WorldApiTest, ProbeIndicesAreRecycledAcrossPlugins)
{
    void* first = Order(p1, kCreateProbe).handle;
    void* second = Order(p1, kCreateProbe).handle;
    void* third = Order(p2, kCreateProbe).handle;
    EXPECT_EQ(HostIndexOf(p1, first), 0);
    EXPECT_EQ(HostIndexOf(p1, second), 1);
    EXPECT_EQ(HostIndexOf(p2, third), 2);
    Order(p3, kDestroyProbe, 0, second);
    Order(p3, kDestroyProbe, 0, first);
    EXPECT_EQ(HostIndexOf(p3, Order(p3, kCreateProbe).handle), 0);
    EXPECT_EQ(HostIndexOf(p3, Order(p3, kCreateProbe).handle), 1);
    EXPECT_EQ(host->CountCalls("CreateProbe"), 3u);
    EXPECT_EQ(HostIndexOf(p3, Order(p3, kCreateProbe).handle), 3);
    EXPECT_EQ(host->CountCalls("CreateProbe"), 4u);
}

TEST_F(WorldApiTest, ObjectsStandPerLoadAndOnlyTheirHolderMayUnloadThem)
{
    int tree = 0;
    host->loadedObject = &tree;
    EXPECT_EQ(Order(p1, kLoadObject, 0, nullptr, "tree.obj").handle, &tree);
    Order(p1, kLoadObject, 0, nullptr, "tree.obj");
    Order(p2, kUnloadObject, 0, &tree);
    EXPECT_THAT(PluginLines(), ElementsAre(Line("p2", "Unknown object for VORNUnloadObject", p2)));
    Order(p1, kDrawObject, 0, &tree);
    EXPECT_THAT(host->CallsNamed("DrawObjects"),
                ElementsAre("DrawObjects(" + FmtArgs(static_cast<void*>(&tree), 1, 0, 0.f, 0.f,
                                                     0.f, 2.f, 1.f, 3.f) + ")"));
    Order(p1, kUnloadObject, 0, &tree);
    EXPECT_EQ(host->CountCalls("UnloadObject"), 1u);
    VORNPluginInventory inventory{};
    inventory.structSize = sizeof inventory;
    ASSERT_EQ(VORNGetPluginInventory(p1, &inventory), 1);
    EXPECT_EQ(inventory.objects, 1);
    VORNShutdownPlugins();
    started = false;
    EXPECT_EQ(host->CountCalls("UnloadObject"), 2u);
}

TEST_F(WorldApiTest, AnAsyncResultForADisabledPluginArrivesWithinItsNextEnable)
{
    int house = 0;
    Order(p1, kLoadObjectAsync, 0, nullptr, "house.obj");
    VORNDisablePlugin(p1);
    ASSERT_EQ(host->asyncLoads.size(), 1u);
    host->asyncLoads[0].callback(&house, host->asyncLoads[0].refcon);
    EXPECT_THAT(PluginLines(), IsEmpty());
    EXPECT_EQ(VORNEnablePlugin(p1), 1);
    EXPECT_THAT(PluginLines(), ElementsAre(Line("p1", Loaded(&house), p1)));
}

TEST_F(WorldApiTest, AsyncLoadsOutlivingTheirPluginGoBackToTheHostOrWaitForever)
{
    int house = 0;
    Order(p1, kLoadObjectAsync, 0, nullptr, "house.obj");
    Order(p2, kLoadObjectAsync, 0, nullptr, "never.obj");
    VORNShutdownPlugins();
    started = false;
    host->asyncLoads[0].callback(&house, host->asyncLoads[0].refcon);
    EXPECT_THAT(host->CallsNamed("UnloadObject"),
                ElementsAre("UnloadObject(" + Fmt(static_cast<void*>(&house)) + ")"));
    EXPECT_THAT(PluginLines(), IsEmpty());
}

TEST_F(WorldApiTest, TheAircraftPassFromPluginToPluginAndGiveBackTheHostsPlanes)
{
    for (int i = 0; i <= 20; ++i) {
        gAiIndex[i] = i;
        const std::string name = "sim/private/net_disables/ai_loc[" + std::to_string(i) + "]";
        aiLoc.push_back(VORNRegisterDataAccessor(name.c_str(), VORN_DATA_INT, 1, nullptr,
                                                 WriteAiLoc, nullptr, nullptr, nullptr, nullptr,
                                                 nullptr, nullptr, nullptr, nullptr, nullptr,
                                                 nullptr, nullptr, &gAiIndex[i]));
    }
    EXPECT_EQ(VORNGetNumberPlanesToHandle(20, 0), 20);
    EXPECT_EQ(Order(p1, kAcquirePlanes).result, 1);
    EXPECT_EQ(Order(p2, kAcquirePlanes, 1).result, 0);
    EXPECT_EQ(Order(p3, kAcquirePlanes).result, 0);
    Order(p1, kReleasePlanes);
    EXPECT_THAT(PluginLines(), ElementsAre(Line("p2", "planes available, acquired 1", p2)));
    std::vector<std::string> expected;
    for (int i = 1; i < 20; ++i)
        expected.push_back(std::to_string(i) + "=0");
    EXPECT_THAT(gAiWrites, ElementsAreArray(expected));
    Order(p2, kSetPlaneLimit, 5);
    EXPECT_EQ(VORNGetNumberPlanesToHandle(20, 0), 5);
    EXPECT_EQ(VORNGetNumberPlanesToHandle(20, 1), 20);
    for (VORNDataRef ref : aiLoc)
        VORNUnregisterDataAccessor(ref);
}

TEST_F(WorldApiTest, HostEventOneEndsAShortCameraControl)
{
    EXPECT_EQ(Camera(), 1);
    Order(p1, kControlCamera, 1);
    EXPECT_EQ(Camera(), 0);
    EXPECT_EQ(v[0], 99);
    VORNEventHook(1, nullptr, 0);
    EXPECT_THAT(PluginLines(),
                ElementsAre(Line("p1", "camera flag 0", p1), Line("p1", "camera flag 1", p1)));
    EXPECT_EQ(Camera(), 1);
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 0);
}

TEST_F(WorldApiTest, ALongCameraControlSurvivesEventOneAndEndsWithDisable)
{
    Order(p2, kControlCamera, 2);
    VORNEventHook(1, nullptr, 0);
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 1);
    VORNDisablePlugin(p2);
    EXPECT_THAT(PluginLines(), ElementsAre(Line("p2", "camera flag 1", p2)));
    EXPECT_EQ(Camera(), 1);
}

}  // namespace
