// BenchProcessing.cpp - a flight-loop pass over N due loops, driven by the
// host's simulation event, against a plain loop over the same N callbacks.

#include "BenchSupport.h"

#include "VORN/VORNProcessing.h"

#include <string>
#include <vector>

namespace vornbench {
namespace {

// Per loop the pass adds the due test, the dispatch guard and the
// rescheduling write-back to the call itself.
constexpr double kPassTarget = 3.0;
// The host's event for a pass of the second flight-loop phase.
constexpr int kSecondPhaseEvent = 10;

float gSink;

// Due again at the next pass, as the busiest real loops are.
float EveryPass(float sinceLastCall, float passTime, int counter, void* refcon)
{
    ++*static_cast<int*>(refcon);
    return -1.0f + 0.0f * (sinceLastCall + passTime + static_cast<float>(counter));
}

// One call count per loop, so that every callback touches its own memory.
std::vector<int> gCounts;

void Pass(benchmark::State& state, int count)
{
    StartedLibrary library;
    gCounts.assign(count, 0);
    for (int i = 0; i < count; ++i) {
        VORNCreateFlightLoop_t params = {sizeof params, VORN_FLIGHT_LOOP_PHASE_SECOND, EveryPass,
                                         &gCounts[i]};
        VORNScheduleFlightLoop(VORNCreateFlightLoop(&params), -1.0f, 0);
    }
    float time = 0.0f;
    for (auto _ : state) {
        time += 0.01f;
        VORNEventHook(kSecondPhaseEvent, nullptr, time);
    }
    if (gCounts.back() != static_cast<int>(state.iterations()))
        state.SkipWithError("not every loop ran in every pass");
    VORNBenchItems(state, count);
}

// The same callbacks, refcons and arguments in an array, called in a loop,
// each result stored as the pass stores it.
struct PlainLoop {
    VORNFlightLoop_f callback;
    void* refcon;
    float interval;
    float lastCallTime;
};

void Plain(benchmark::State& state, int count)
{
    gCounts.assign(count, 0);
    std::vector<PlainLoop> loops(count);
    for (int i = 0; i < count; ++i)
        loops[i] = {EveryPass, &gCounts[i], -1.0f, 0.0f};
    benchmark::DoNotOptimize(loops.data());
    float time = 0.0f;
    int counter = 0;
    for (auto _ : state) {
        time += 0.01f;
        ++counter;
        for (PlainLoop& loop : loops) {
            loop.interval = loop.callback(time - loop.lastCallTime, time, counter, loop.refcon);
            loop.lastCallTime = time;
        }
        benchmark::ClobberMemory();
    }
    gSink = loops.back().interval;
    VORNBenchItems(state, count);
}

const bool gRegistered = [] {
    for (int count : {1, 100, 10000}) {
        VORNBenchPair(
            "Processing/FlightLoopPass/" + std::to_string(count), kPassTarget,
            [count](benchmark::State& state) { Pass(state, count); },
            [count](benchmark::State& state) { Plain(state, count); });
    }
    return true;
}();

}  // namespace
}  // namespace vornbench
