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

TEST_F(ProbeTest, FreedHostIndicesAreReusedLowestFirstBeforeTheHostIsAskedAgain)
{
    VORNProbeRef first = Create(a), second = Create(a), third = Create(b);
    EXPECT_EQ(HostIndex(first), 0);
    EXPECT_EQ(HostIndex(second), 1);
    EXPECT_EQ(HostIndex(third), 2);
    VORNDestroyProbe(second);
    VORNDestroyProbe(first);
    EXPECT_EQ(HostIndex(Create(c)), 0);
    EXPECT_EQ(HostIndex(Create(c)), 1);
    EXPECT_EQ(host->CountCalls("CreateProbe"), 3u);
    EXPECT_EQ(HostIndex(Create(c)), 3);
    EXPECT_EQ(host->CountCalls("CreateProbe"), 4u);
}

TEST_F(ProbeTest, AProbeIsOwnedByTheCreatorAndKeepsItsType)
{
    auto* probe = static_cast<VORNProbe_t*>(Create(b, 7));
    EXPECT_EQ(probe->owner, b);
    EXPECT_EQ(probe->probeType, 7);
    EXPECT_THAT(VORNLiveProbes(), ElementsAre(probe));
}

TEST_F(ProbeTest, DestroyingTwiceOrAnUnknownHandleDoesNothing)
{
    VORNProbeRef probe = Create(a);
    VORNDestroyProbe(probe);
    VORNDestroyProbe(probe);
    int notAProbe = 0;
    As(a, [&] {
        VORNDestroyProbe(nullptr);
        VORNDestroyProbe(&notAProbe);
    });
    EXPECT_THAT(VORNFreeProbeIndices(), ElementsAre(0));
    EXPECT_EQ(HostIndex(Create(a)), 0);
    EXPECT_EQ(HostIndex(Create(a)), 1);
    EXPECT_THAT(gErrors, IsEmpty());
}

TEST_F(ProbeTest, AnyPluginMayDestroyAnyProbe)
{
    VORNProbeRef probe = Create(a);
    As(b, [&] { VORNDestroyProbe(probe); });
    EXPECT_THAT(VORNLiveProbes(), IsEmpty());
    EXPECT_THAT(VORNFreeProbeIndices(), ElementsAre(0));
}

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

TEST_F(ProbeTest, AProbeOfAnotherTypeIsKeptButNeverProbes)
{
    VORNProbeRef probe = Create(a, 1);
    VORNProbeResult_t result = Result();
    EXPECT_EQ(HostIndex(probe), 0);
    EXPECT_EQ(VORNProbeTerrainXYZ(probe, 1, 2, 3, &result), VORN_PROBE_ERROR);
    EXPECT_EQ(host->CountCalls("ProbeTerrainXYZ"), 0u);
}

TEST_F(ProbeTest, AWrongStructSizeOrMissingArgumentsAnswerErrorWithoutAskingTheHost)
{
    VORNProbeRef probe = Create(a);
    VORNProbeResult_t result = Result();
    result.structSize = 40;
    As(a, [&] {
        EXPECT_EQ(VORNProbeTerrainXYZ(probe, 1, 2, 3, &result), VORN_PROBE_ERROR);
        EXPECT_EQ(VORNProbeTerrainXYZ(probe, 1, 2, 3, nullptr), VORN_PROBE_ERROR);
        EXPECT_EQ(VORNProbeTerrainXYZ(nullptr, 1, 2, 3, &result), VORN_PROBE_ERROR);
    });
    EXPECT_EQ(host->CountCalls("ProbeTerrainXYZ"), 0u);
    EXPECT_THAT(gErrors, IsEmpty());
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
