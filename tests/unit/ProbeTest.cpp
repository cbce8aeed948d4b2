// Terrain probes: host indices recycled lowest first, the checks that answer
// 1 without asking the host, and each plug-in's probes freed at its unload.

#include "PluginTrioFixture.h"

#include <gmock/gmock.h>

using namespace vorntest;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class ProbeTest : public PluginTrioTest {
protected:
    VORNProbeRef Create(int id, int type = VORN_PROBE_Y)
    {
        return As(id, [&] { return VORNCreateProbe(type); });
    }
    static int HostIndex(VORNProbeRef probe) { return static_cast<VORNProbe_t*>(probe)->hostIndex; }
    static VORNProbeResult_t Result()
    {
        VORNProbeResult_t result{};
        result.structSize = sizeof result;
        return result;
    }
};

TEST_F(ProbeTest, ProbingHandsTheHostItsIndexThePointAndTheResultFields)
{
    Create(a);
    VORNProbeRef probe = Create(a);
    VORNProbeResult_t result = Result();
    host->probeHit = 1;
    EXPECT_EQ(As(a, [&] { return VORNProbeTerrainXYZ(probe, 1.5f, -2.0f, 3.25f, &result); }),
              VORN_PROBE_HIT_TERRAIN);
    host->probeHit = 0;
    EXPECT_EQ(VORNProbeTerrainXYZ(probe, 0, 0, 0, &result), VORN_PROBE_MISSED);
    const std::string fields =
        FmtArgs(result.first, result.second, result.third, &result.resultFlag);
    EXPECT_THAT(host->CallsNamed("ProbeTerrainXYZ"),
                ElementsAre("ProbeTerrainXYZ(1, 1.5, -2, 3.25, " + fields + ")",
                            "ProbeTerrainXYZ(1, 0, 0, 0, " + fields + ")"));
}

TEST_F(ProbeTest, DestroyingTwiceFreesTheIndexOnce)
{
    VORNProbeRef probe = Create(a);
    VORNDestroyProbe(probe);
    VORNDestroyProbe(probe);
    EXPECT_THAT(VORNFreeProbeIndices(), ElementsAre(0));
    EXPECT_EQ(HostIndex(Create(a)), 0);
    EXPECT_EQ(HostIndex(Create(a)), 1);
}

TEST_F(ProbeTest, UnloadingFreesExactlyThatPluginsProbes)
{
    VORNProbeRef a0 = Create(a), b1 = Create(b), a2 = Create(a), b3 = Create(b);
    (void)a0;
    (void)a2;
    UnloadOnePlugin(a);
    EXPECT_EQ(VORNLiveProbes().size(), 2u);
    EXPECT_THAT(VORNLiveProbes(), Contains(static_cast<VORNProbe_t*>(b1)));
    EXPECT_EQ(HostIndex(b1), 1);
    EXPECT_EQ(HostIndex(b3), 3);
    EXPECT_THAT(VORNFreeProbeIndices(), ElementsAre(0, 2));
    EXPECT_EQ(HostIndex(Create(c)), 0);
}

TEST_F(ProbeTest, DisablingLeavesProbesAlone)
{
    Create(a);
    VORNDisablePlugin(a);
    EXPECT_EQ(VORNLiveProbes().size(), 1u);
}

}  // namespace
