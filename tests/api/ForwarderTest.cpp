// Graphics, navigation and utility forwarders: each reaches exactly its own
// host slot once, with every argument and the result passed through unchanged.
// (The bad-input matrix counts these functions as covered here.)

#include "HostFixture.h"
#include "VORN/VORNGraphics.h"
#include "VORN/VORNNavigation.h"
#include "VORN/VORNUtilities.h"

#include <gmock/gmock.h>

#include <functional>
#include <vector>

namespace vorntest {
namespace {

float rgb[3] = {1, 0.5f, 0};
int ints[4] = {};
float floats[4] = {};
double doubles[3] = {};
char text[256] = "label", id[32] = "", name[256] = "", region[1] = "";
int marker = 0;

struct Forward {
    const char* function;
    std::function<std::string()> call;  // the result as text; "" for void
    std::string result, hostCall;
};

#define VOIDF(fn, call, hostCall) {#fn, [] { call; return std::string(); }, "", hostCall}
#define INTF(fn, call, result, hostCall) {#fn, [] { return std::to_string(call); }, result, hostCall}

const std::vector<Forward>& Forwards()
{
    static const std::vector<Forward> rows = {
        VOIDF(VORNSetGraphicsState, VORNSetGraphicsState(1, 2, 0, 1, 1, 0, 1),
              "SetGraphicsState(1, 2, 0, 1, 1, 0, 1)"),
        VOIDF(VORNBindTexture2d, VORNBindTexture2d(17, 3), "BindTexture2d(17, 3)"),
        VOIDF(VORNGenerateTextureNumbers, VORNGenerateTextureNumbers(ints, 4),
              "GenerateTextureNumbers(" + FmtArgs(ints, 4) + ")"),
        INTF(VORNGetTexture, VORNGetTexture(5), "1234", "GetTexture(5)"),
        VOIDF(VORNWorldToLocal, VORNWorldToLocal(47.5, -122.25, 1000.5, &doubles[0], &doubles[1], &doubles[2]),
              "WorldToLocal(" + FmtArgs(47.5, -122.25, 1000.5, &doubles[0], &doubles[1], &doubles[2]) + ")"),
        VOIDF(VORNLocalToWorld, VORNLocalToWorld(-1.5, 2.25, 3.125, &doubles[0], &doubles[1], &doubles[2]),
              "LocalToWorld(" + FmtArgs(-1.5, 2.25, 3.125, &doubles[0], &doubles[1], &doubles[2]) + ")"),
        VOIDF(VORNDrawTranslucentDarkBox, VORNDrawTranslucentDarkBox(10, 200, 300, 20),
              "DrawTranslucentDarkBox(10, 200, 300, 20)"),
        VOIDF(VORNDrawString, VORNDrawString(rgb, 5, 6, text, &ints[0], VORN_FONT_PROPORTIONAL),
              "DrawString(" + FmtArgs(rgb, 5, 6, text, &ints[0], 18) + ")"),
        VOIDF(VORNDrawNumber, VORNDrawNumber(rgb, 7, 8, 3.25, 4, 2, 1, VORN_FONT_BASIC),
              "DrawNumber(" + FmtArgs(rgb, 7, 8, 3.25, 4, 2, 1, 0) + ")"),
        VOIDF(VORNGetFontDimensions, VORNGetFontDimensions(18, &ints[0], &ints[1], nullptr),
              "GetFontDimensions(" + FmtArgs(18, &ints[0], &ints[1], (int*)nullptr) + ")"),
        {"VORNMeasureString", [] { return std::to_string(VORNMeasureString(0, "abc", 2)); },
         std::to_string(42.75f), "MeasureString(0, \"abc\", 2)"},
        INTF(VORNGetFirstNavAid, VORNGetFirstNavAid(), "1234", "GetFirstNavAid()"),
        INTF(VORNGetNextNavAid, VORNGetNextNavAid(77), "1234", "GetNextNavAid(77)"),
        INTF(VORNFindFirstNavAidOfType, VORNFindFirstNavAidOfType(VORN_NAV_VOR), "1234", "FindFirstNavAidOfType(4)"),
        INTF(VORNFindLastNavAidOfType, VORNFindLastNavAidOfType(VORN_NAV_FIX), "1234", "FindLastNavAidOfType(512)"),
        INTF(VORNFindNavAid, VORNFindNavAid("Sea", "SEA", &floats[0], &floats[1], &ints[0], 3), "1234",
             "FindNavAid(" + FmtArgs("Sea", "SEA", &floats[0], &floats[1], &ints[0], 3) + ")"),
        VOIDF(VORNGetNavAidInfo,
              VORNGetNavAidInfo(5, &ints[0], &floats[0], &floats[1], &floats[2], &ints[1], &floats[3],
                                id, name, region),
              "GetNavAidInfo(" + FmtArgs(5, &ints[0], &floats[0], &floats[1], &floats[2], &ints[1],
                                         &floats[3], (void*)id, (void*)name, (void*)region) + ")"),
        INTF(VORNCountFMSEntries, VORNCountFMSEntries(), "1234", "CountFMSEntries()"),
        INTF(VORNGetDisplayedFMSEntry, VORNGetDisplayedFMSEntry(), "1234", "GetDisplayedFMSEntry()"),
        INTF(VORNGetDestinationFMSEntry, VORNGetDestinationFMSEntry(), "1234", "GetDestinationFMSEntry()"),
        VOIDF(VORNSetDisplayedFMSEntry, VORNSetDisplayedFMSEntry(3), "SetDisplayedFMSEntry(3)"),
        VOIDF(VORNSetDestinationFMSEntry, VORNSetDestinationFMSEntry(4), "SetDestinationFMSEntry(4)"),
        VOIDF(VORNGetFMSEntryInfo, VORNGetFMSEntryInfo(2, &ints[0], id, &ints[1], &ints[2], &floats[0], &floats[1]),
              "GetFMSEntryInfo(" + FmtArgs(2, &ints[0], (void*)id, &ints[1], &ints[2], &floats[0], &floats[1]) + ")"),
        VOIDF(VORNSetFMSEntryInfo, VORNSetFMSEntryInfo(1, 900, 12000), "SetFMSEntryInfo(1, 900, 12000)"),
        VOIDF(VORNSetFMSEntryLatLon, VORNSetFMSEntryLatLon(6, 47.25f, -122.5f, 3500),
              "SetFMSEntryLatLon(6, 47.25, -122.5, 3500)"),
        VOIDF(VORNClearFMSEntry, VORNClearFMSEntry(9), "ClearFMSEntry(9)"),
        INTF(VORNGetGPSDestinationType, VORNGetGPSDestinationType(), "1234", "GetGPSDestinationType()"),
        INTF(VORNGetGPSDestination, VORNGetGPSDestination(), "1234", "GetGPSDestination()"),
        VOIDF(VORNSimulateKeyPress, VORNSimulateKeyPress(1, 2), "SimulateKeyPress(1, 2)"),
        VOIDF(VORNSpeakString, VORNSpeakString("cleared for takeoff"), "SpeakString(\"cleared for takeoff\")"),
        VOIDF(VORNCommandKeyStroke, VORNCommandKeyStroke(33), "CommandKeyStroke(33)"),
        VOIDF(VORNReloadScenery, VORNReloadScenery(), "ReloadScenery()"),
        INTF(VORNGetLanguage, VORNGetLanguage(), "3", "GetLanguage()"),
        INTF(VORNFindSymbol, VORNFindSymbol("HostFunction") == &marker, "1", "FindSymbol(\"HostFunction\")"),
    };
    return rows;
}

TEST_F(HostTest, EachForwarderPassesItsArgumentsAndResultThrough)
{
    Start();
    host->intResult = 1234;
    host->floatResult = 42.75f;
    host->language = 3;
    host->foundSymbol = &marker;
    for (const Forward& row : Forwards()) {
        SCOPED_TRACE(row.function);
        host->ClearRecord();
        EXPECT_EQ(row.call(), row.result);
        ASSERT_EQ(host->calls.size(), 1u);
        EXPECT_EQ(host->calls[0].Text(), row.hostCall);
    }
    host->ClearRecord();
    VORNDebugString("one line\n");
    EXPECT_THAT(host->debugWrites, ::testing::ElementsAre("one line\n"));
}

}  // namespace

// The forwarded functions, for the bad-input matrix's check that every
// exported function is covered somewhere.
std::vector<std::string> ForwardedFunctions()
{
    std::vector<std::string> names;
    for (const Forward& row : Forwards())
        names.push_back(row.function);
    return names;
}

}  // namespace vorntest
