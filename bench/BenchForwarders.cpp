// BenchForwarders.cpp - the forwarders into the host's services, each called
// the way a plug-in calls it (through libvorn.so's exported symbol) against
// the same host slot called directly through a function pointer.
//
// "<family>/<function>" calls through the caller's PLT, as a plug-in built
// with default flags does: the PLT stub's jump is the caller's, not the
// library's. "<family>/<function>:bound" calls through the symbol's address
// (as a plug-in built with -fno-plt, or one that looked the function up with
// dlsym, does), which leaves the forwarder's own jump as the only difference.

#include "BenchSupport.h"

#include "VORN/VORNGraphics.h"
#include "VORN/VORNNavigation.h"
#include "VORN/VORNPlugin.h"
#include "VORN/VORNUtilities.h"

#include <type_traits>

namespace vornbench {
namespace {

// A forwarder adds one indirect jump to the slot call it stands for.
constexpr double kForwarderTarget = 1.1;

// Arguments live in memory, as a plug-in's would.
float gColor[3] = {1.0f, 1.0f, 1.0f};
char gText[] = "Flaps 20";
double gX, gY, gZ;
int gA, gB, gC, gRef;
float gF1, gF2, gF3, gF4;
char gId[32], gName[256], gRegion[256];

// Runs call once per iteration with the library started. The memory clobber
// makes both sides re-read the hook table every time, as real callers do.
template <typename Call>
BenchBody Loop(Call call)
{
    return [call](benchmark::State& state) {
        StartedLibrary library;
        for (auto _ : state) {
            if constexpr (std::is_void_v<decltype(call())>) {
                call();
            } else {
                benchmark::DoNotOptimize(call());
            }
            benchmark::ClobberMemory();
        }
    };
}

template <typename Path, typename Baseline>
void Pair(const char* name, double target, Path path, Baseline baseline)
{
    VORNBenchPair(name, target, Loop(path), Loop(baseline));
}

// "<family>/<function>": function(args) against slot(args) of the host table.
#define VORN_BENCH_FORWARDER(family, function, slot, ...)                                          \
    Pair(family "/" #function, kForwarderTarget, [] { return function(__VA_ARGS__); },            \
         [] { return gBenchHooks->slot(__VA_ARGS__); })

// The same, calling the forwarder through its address instead of the PLT.
#define VORN_BENCH_BOUND(family, function, slot, ...)                                              \
    Pair(family "/" #function ":bound", kForwarderTarget,                                         \
         [] {                                                                                      \
             auto* bound = &function;                                                              \
             benchmark::DoNotOptimize(bound);                                                      \
             return bound(__VA_ARGS__);                                                            \
         },                                                                                        \
         [] { return gBenchHooks->slot(__VA_ARGS__); })

void RegisterGraphics()
{
    VORN_BENCH_FORWARDER("Graphics", VORNSetGraphicsState, SetGraphicsState, 0, 1, 0, 0, 1, 1, 1);
    VORN_BENCH_FORWARDER("Graphics", VORNBindTexture2d, BindTexture2d, 7, 0);
    VORN_BENCH_FORWARDER("Graphics", VORNGetTexture, GetTexture, 1);
    VORN_BENCH_FORWARDER("Graphics", VORNWorldToLocal, WorldToLocal, 47.5, 8.5, 400.0, &gX, &gY,
                         &gZ);
    VORN_BENCH_FORWARDER("Graphics", VORNDrawTranslucentDarkBox, DrawTranslucentDarkBox, 0, 100,
                         200, 0);
    VORN_BENCH_FORWARDER("Graphics", VORNDrawString, DrawString, gColor, 10, 20, gText, nullptr,
                         0);
    VORN_BENCH_FORWARDER("Graphics", VORNDrawNumber, DrawNumber, gColor, 10, 20, 3.25, 4, 2, 1,
                         0);
    VORN_BENCH_FORWARDER("Graphics", VORNGetFontDimensions, GetFontDimensions, 0, &gA, &gB, &gC);
    VORN_BENCH_FORWARDER("Graphics", VORNMeasureString, MeasureString, 0, gText, 5);
    VORN_BENCH_BOUND("Graphics", VORNDrawString, DrawString, gColor, 10, 20, gText, nullptr, 0);
    VORN_BENCH_BOUND("Graphics", VORNMeasureString, MeasureString, 0, gText, 5);
}

void RegisterNavigation()
{
    VORN_BENCH_FORWARDER("Navigation", VORNGetFirstNavAid, GetFirstNavAid);
    VORN_BENCH_FORWARDER("Navigation", VORNGetNextNavAid, GetNextNavAid, 3);
    VORN_BENCH_FORWARDER("Navigation", VORNFindNavAid, FindNavAid, nullptr, "KSEA", &gF1, &gF2,
                         nullptr, 1);
    // Ten arguments: four of them travel on the stack.
    VORN_BENCH_FORWARDER("Navigation", VORNGetNavAidInfo, GetNavAidInfo, 3, &gA, &gF1, &gF2,
                         &gF3, &gB, &gF4, gId, gName, gRegion);
    VORN_BENCH_FORWARDER("Navigation", VORNGetFMSEntryInfo, GetFMSEntryInfo, 2, &gA, gId, &gRef,
                         &gB, &gF1, &gF2);
    VORN_BENCH_FORWARDER("Navigation", VORNSetFMSEntryLatLon, SetFMSEntryLatLon, 2, 47.5f, 8.5f,
                         3000);
    VORN_BENCH_FORWARDER("Navigation", VORNGetGPSDestination, GetGPSDestination);
    VORN_BENCH_BOUND("Navigation", VORNGetNavAidInfo, GetNavAidInfo, 3, &gA, &gF1, &gF2, &gF3,
                     &gB, &gF4, gId, gName, gRegion);
    VORN_BENCH_BOUND("Navigation", VORNSetFMSEntryLatLon, SetFMSEntryLatLon, 2, 47.5f, 8.5f,
                     3000);
}

void RegisterUtilities()
{
    VORN_BENCH_FORWARDER("Utilities", VORNSimulateKeyPress, SimulateKeyPress, 0, 65);
    VORN_BENCH_FORWARDER("Utilities", VORNSpeakString, SpeakString, gText);
    VORN_BENCH_FORWARDER("Utilities", VORNGetLanguage, GetLanguage);
    VORN_BENCH_FORWARDER("Utilities", VORNFindSymbol, FindSymbol, "VORNGetMyID");
    VORN_BENCH_FORWARDER("Utilities", VORNReloadScenery, ReloadScenery);
    // Not a pure jump: the library checks that the host has handed over its table.
    VORN_BENCH_FORWARDER("Utilities", VORNDebugString, DebugString, gText);
}

// Answered by the library itself; the floor is any out-of-line call that
// reads one value.
void RegisterTrivial()
{
    Pair("Registry/VORNGetMyID", 0.0, [] { return VORNGetMyID(); },
         [] { return gBenchTrivialCall(); });
    Pair("Registry/VORNIsPluginEnabled", 0.0, [] { return VORNIsPluginEnabled(0); },
         [] { return gBenchTrivialCall(); });
}

const bool gRegistered = [] {
    RegisterGraphics();
    RegisterNavigation();
    RegisterUtilities();
    RegisterTrivial();
    return true;
}();

}  // namespace
}  // namespace vornbench
