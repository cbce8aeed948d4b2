// Graphics, navigation and utility forwarders: each reaches exactly its own
// host slot, with every argument and the result passed through unchanged.

#include "HostFixture.h"
#include "VORN/VORNGraphics.h"
#include "VORN/VORNNavigation.h"
#include "VORN/VORNUtilities.h"

#include <gmock/gmock.h>

using namespace vorntest;
using ::testing::ElementsAre;

namespace {

class ForwarderTest : public HostTest {
protected:
    void SetUp() override
    {
        HostTest::SetUp();
        Start();
        host->ClearRecord();
    }
    // The only host call made since the last check.
    std::string OnlyCall()
    {
        EXPECT_EQ(host->calls.size(), 1u);
        std::string text = host->calls.empty() ? "" : host->calls.back().Text();
        host->ClearRecord();
        return text;
    }
    float rgb[3] = {1, 0.5f, 0};
    int ints[4] = {};
    float floats[4] = {};
    double doubles[3] = {};
    char text[256] = "label";
};

TEST_F(ForwarderTest, GraphicsCallsReachTheirSlots)
{
    VORNSetGraphicsState(1, 2, 0, 1, 1, 0, 1);
    EXPECT_EQ(OnlyCall(), "SetGraphicsState(1, 2, 0, 1, 1, 0, 1)");
    VORNBindTexture2d(17, 3);
    EXPECT_EQ(OnlyCall(), "BindTexture2d(17, 3)");
    VORNGenerateTextureNumbers(ints, 4);
    EXPECT_EQ(OnlyCall(), "GenerateTextureNumbers(" + FmtArgs(ints, 4) + ")");
    host->intResult = 99;
    EXPECT_EQ(VORNGetTexture(5), 99);
    EXPECT_EQ(OnlyCall(), "GetTexture(5)");
    VORNWorldToLocal(47.5, -122.25, 1000.5, &doubles[0], &doubles[1], &doubles[2]);
    EXPECT_EQ(OnlyCall(), "WorldToLocal(" +
                              FmtArgs(47.5, -122.25, 1000.5, &doubles[0], &doubles[1], &doubles[2]) +
                              ")");
    VORNLocalToWorld(-1.5, 2.25, 3.125, &doubles[0], &doubles[1], &doubles[2]);
    EXPECT_EQ(OnlyCall(), "LocalToWorld(" +
                              FmtArgs(-1.5, 2.25, 3.125, &doubles[0], &doubles[1], &doubles[2]) +
                              ")");
    VORNDrawTranslucentDarkBox(10, 200, 300, 20);
    EXPECT_EQ(OnlyCall(), "DrawTranslucentDarkBox(10, 200, 300, 20)");
    VORNDrawString(rgb, 5, 6, text, &ints[0], VORN_FONT_PROPORTIONAL);
    EXPECT_EQ(OnlyCall(), "DrawString(" + FmtArgs(rgb, 5, 6, text, &ints[0], 18) + ")");
    VORNDrawNumber(rgb, 7, 8, 3.25, 4, 2, 1, VORN_FONT_BASIC);
    EXPECT_EQ(OnlyCall(), "DrawNumber(" + FmtArgs(rgb, 7, 8, 3.25, 4, 2, 1, 0) + ")");
    VORNGetFontDimensions(18, &ints[0], &ints[1], nullptr);
    EXPECT_EQ(OnlyCall(), "GetFontDimensions(" + FmtArgs(18, &ints[0], &ints[1], (int*)nullptr) + ")");
    host->floatResult = 42.75f;
    EXPECT_EQ(VORNMeasureString(0, "abc", 2), 42.75f);
    EXPECT_EQ(OnlyCall(), "MeasureString(0, \"abc\", 2)");
}

TEST_F(ForwarderTest, NavigationCallsReachTheirSlots)
{
    host->intResult = 1234;
    EXPECT_EQ(VORNGetFirstNavAid(), 1234);
    EXPECT_EQ(OnlyCall(), "GetFirstNavAid()");
    EXPECT_EQ(VORNGetNextNavAid(77), 1234);
    EXPECT_EQ(OnlyCall(), "GetNextNavAid(77)");
    EXPECT_EQ(VORNFindFirstNavAidOfType(VORN_NAV_VOR), 1234);
    EXPECT_EQ(OnlyCall(), "FindFirstNavAidOfType(4)");
    EXPECT_EQ(VORNFindLastNavAidOfType(VORN_NAV_FIX), 1234);
    EXPECT_EQ(OnlyCall(), "FindLastNavAidOfType(512)");
    EXPECT_EQ(VORNFindNavAid("Sea", "SEA", &floats[0], &floats[1], &ints[0], 3), 1234);
    EXPECT_EQ(OnlyCall(), "FindNavAid(" +
                              FmtArgs("Sea", "SEA", &floats[0], &floats[1], &ints[0], 3) + ")");
    char id[32] = "", name[256] = "", region[1] = "";  // formatted as strings below
    VORNGetNavAidInfo(5, &ints[0], &floats[0], &floats[1], &floats[2], &ints[1], &floats[3], id,
                      name, region);
    EXPECT_EQ(OnlyCall(), "GetNavAidInfo(" +
                              FmtArgs(5, &ints[0], &floats[0], &floats[1], &floats[2], &ints[1],
                                      &floats[3], (void*)id, (void*)name, (void*)region) +
                              ")");
    host->intResult = 12;
    EXPECT_EQ(VORNCountFMSEntries(), 12);
    EXPECT_EQ(OnlyCall(), "CountFMSEntries()");
    EXPECT_EQ(VORNGetDisplayedFMSEntry(), 12);
    EXPECT_EQ(OnlyCall(), "GetDisplayedFMSEntry()");
    EXPECT_EQ(VORNGetDestinationFMSEntry(), 12);
    EXPECT_EQ(OnlyCall(), "GetDestinationFMSEntry()");
    VORNSetDisplayedFMSEntry(3);
    EXPECT_EQ(OnlyCall(), "SetDisplayedFMSEntry(3)");
    VORNSetDestinationFMSEntry(4);
    EXPECT_EQ(OnlyCall(), "SetDestinationFMSEntry(4)");
    VORNGetFMSEntryInfo(2, &ints[0], id, &ints[1], &ints[2], &floats[0], &floats[1]);
    EXPECT_EQ(OnlyCall(), "GetFMSEntryInfo(" +
                              FmtArgs(2, &ints[0], (void*)id, &ints[1], &ints[2], &floats[0], &floats[1]) +
                              ")");
    VORNSetFMSEntryInfo(1, 900, 12000);
    EXPECT_EQ(OnlyCall(), "SetFMSEntryInfo(1, 900, 12000)");
    VORNSetFMSEntryLatLon(6, 47.25f, -122.5f, 3500);
    EXPECT_EQ(OnlyCall(), "SetFMSEntryLatLon(6, 47.25, -122.5, 3500)");
    VORNClearFMSEntry(9);
    EXPECT_EQ(OnlyCall(), "ClearFMSEntry(9)");
    host->intResult = VORN_NAV_AIRPORT;
    EXPECT_EQ(VORNGetGPSDestinationType(), VORN_NAV_AIRPORT);
    EXPECT_EQ(OnlyCall(), "GetGPSDestinationType()");
    host->intResult = 4321;
    EXPECT_EQ(VORNGetGPSDestination(), 4321);
    EXPECT_EQ(OnlyCall(), "GetGPSDestination()");
}

TEST_F(ForwarderTest, UtilityForwardersReachTheirSlots)
{
    VORNSimulateKeyPress(1, 2);
    EXPECT_EQ(OnlyCall(), "SimulateKeyPress(1, 2)");
    VORNSpeakString("cleared for takeoff");
    EXPECT_EQ(OnlyCall(), "SpeakString(\"cleared for takeoff\")");
    VORNCommandKeyStroke(33);
    EXPECT_EQ(OnlyCall(), "CommandKeyStroke(33)");
    VORNReloadScenery();
    EXPECT_EQ(OnlyCall(), "ReloadScenery()");
    host->language = 3;
    EXPECT_EQ(VORNGetLanguage(), 3);
    EXPECT_EQ(OnlyCall(), "GetLanguage()");
    int marker;
    host->foundSymbol = &marker;
    EXPECT_EQ(VORNFindSymbol("HostFunction"), &marker);
    EXPECT_EQ(OnlyCall(), "FindSymbol(\"HostFunction\")");
    VORNDebugString("one line\n");
    EXPECT_THAT(host->debugWrites, ElementsAre("one line\n"));
}

}  // namespace
