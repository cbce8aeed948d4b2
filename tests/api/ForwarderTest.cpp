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
int marker = 0;
char text[256] = "label", id[32] = "", name[256] = "", region[1] = "";

// What call returned (nothing for void), then each host slot call it made.
template <typename F>
std::string Made(F call)
{
    FakeHost::Current().ClearRecord();
    std::string out;
    if constexpr (std::is_void_v<decltype(call())>)
        call();
    else
        out = vorntest::Fmt(call());
    for (const HostCall& made : FakeHost::Current().calls)
        out += " " + made.Text();
    return out;
}

struct Forward {
    const char* function;
    std::function<std::string()> viaLibrary, direct;
};

// VORN<slot>(args) must do what the host slot <slot>(args) does: one call of it, its result given back.
#define FORWARD(slot, ...)                                                                                  \
    {"VORN" #slot, [] { return Made([] { return VORN##slot(__VA_ARGS__); }); },                            \
     [] { return Made([] { return FakeHost::Current().table.slot(__VA_ARGS__); }); }}

const std::vector<Forward>& Forwards()
{
    static const std::vector<Forward> rows = {
        FORWARD(SetGraphicsState, 1, 2, 0, 1, 1, 0, 1), FORWARD(BindTexture2d, 17, 3), FORWARD(GetTexture, 5),
        FORWARD(GenerateTextureNumbers, ints, 4), FORWARD(DrawTranslucentDarkBox, 10, 200, 300, 20),
        FORWARD(WorldToLocal, 47.5, -122.25, 1000.5, &doubles[0], &doubles[1], &doubles[2]),
        FORWARD(LocalToWorld, -1.5, 2.25, 3.125, &doubles[0], &doubles[1], &doubles[2]),
        FORWARD(DrawString, rgb, 5, 6, text, &ints[0], VORN_FONT_PROPORTIONAL),
        FORWARD(DrawNumber, rgb, 7, 8, 3.25, 4, 2, 1, VORN_FONT_BASIC),
        FORWARD(GetFontDimensions, 18, &ints[0], &ints[1], static_cast<int*>(nullptr)),
        FORWARD(MeasureString, 0, "abc", 2), FORWARD(GetFirstNavAid), FORWARD(GetNextNavAid, 77),
        FORWARD(FindFirstNavAidOfType, VORN_NAV_VOR), FORWARD(FindLastNavAidOfType, VORN_NAV_FIX),
        FORWARD(FindNavAid, "Sea", "SEA", &floats[0], &floats[1], &ints[0], 3),
        FORWARD(GetNavAidInfo, 5, &ints[0], &floats[0], &floats[1], &floats[2], &ints[1], &floats[3], id, name, region),
        FORWARD(CountFMSEntries), FORWARD(GetDisplayedFMSEntry), FORWARD(GetDestinationFMSEntry),
        FORWARD(SetDisplayedFMSEntry, 3), FORWARD(SetDestinationFMSEntry, 4),
        FORWARD(GetFMSEntryInfo, 2, &ints[0], id, &ints[1], &ints[2], &floats[0], &floats[1]),
        FORWARD(SetFMSEntryInfo, 1, 900, 12000), FORWARD(SetFMSEntryLatLon, 6, 47.25f, -122.5f, 3500),
        FORWARD(ClearFMSEntry, 9), FORWARD(GetGPSDestinationType), FORWARD(GetGPSDestination),
        FORWARD(SimulateKeyPress, 1, 2), FORWARD(SpeakString, "cleared for takeoff"), FORWARD(CommandKeyStroke, 33),
        FORWARD(ReloadScenery), FORWARD(GetLanguage), FORWARD(FindSymbol, "HostFunction"),
    };
    return rows;
}

TEST_F(HostTest, EachForwarderPassesItsArgumentsAndResultThrough)
{
    Start();
    host->intResult = host->language = 1234;
    host->floatResult = 42.75f;
    host->foundSymbol = &marker;
    for (const Forward& row : Forwards())
        EXPECT_EQ(row.viaLibrary(), row.direct()) << row.function;
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
