// BenchProcessing.cpp - flight-loop passes driven by the host's simulation
// event: N due loops against a plain loop over the same N callbacks, a pass
// with one loop against calling its callback directly, and 10 due loops
// among N scheduled far ahead against the 10 alone.

#include "BenchSupport.h"

#include "VORN/VORNProcessing.h"

#include <string>
#include <vector>

namespace vornbench {
namespace {

// Per loop the pass adds the due test, the dispatch guard and the
// rescheduling write-back to the call itself.
constexpr double kPassTarget = 3.0;
// Loops that cannot be due must cost a pass next to nothing.
constexpr double kDueAmongFarTarget = 2.0;
// The host's event for a pass of the second flight-loop phase.
constexpr int kSecondPhaseEvent = 10;
// The due loops of the DueAmongFar rows.
constexpr int kDueLoops = 10;

float gSink;

// Due again at the next pass, as the busiest real loops are.
float EveryPass(float sinceLastCall, float passTime, int counter, void* refcon)
{
    ++*static_cast<int*>(refcon);
    return -1.0f + 0.0f * (sinceLastCall + passTime + static_cast<float>(counter));
}

// Scheduled so far ahead that it never comes due while a benchmark runs.
float NeverDue(float, float, int, void*)
{
    return 0.0f;
}

// One call count per loop, so that every callback touches its own memory.
std::vector<int> gCounts;

void CreateLoop(VORNFlightLoop_f callback, void* refcon, float interval)
{
    VORNCreateFlightLoop_t params = {sizeof params, VORN_FLIGHT_LOOP_PHASE_SECOND, callback,
                                     refcon};
    VORNScheduleFlightLoop(VORNCreateFlightLoop(&params), interval, 0);
}

// Passes of the second phase until the benchmark is done; every loop counted
// in gCounts must have run in every one.
void RunPasses(benchmark::State& state, int count)
{
    float time = 0.0f;
    for (auto _ : state) {
        time += 0.01f;
        VORNEventHook(kSecondPhaseEvent, nullptr, time);
    }
    for (int calls : gCounts) {
        if (calls != static_cast<int>(state.iterations())) {
            state.SkipWithError("not every due loop ran in every pass");
            break;
        }
    }
    VORNBenchItems(state, count);
}

void Pass(benchmark::State& state, int count)
{
    StartedLibrary library;
    gCounts.assign(count, 0);
    for (int i = 0; i < count; ++i)
        CreateLoop(EveryPass, &gCounts[i], -1.0f);
    RunPasses(state, count);
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

// The floor of a one-loop pass: its callback called through a pointer with
// the arguments a pass hands it, the result kept.
void DirectCall(benchmark::State& state)
{
    gCounts.assign(1, 0);
    VORNFlightLoop_f callback = EveryPass;
    benchmark::DoNotOptimize(callback);
    float time = 0.0f;
    float lastCallTime = 0.0f;
    int counter = 0;
    for (auto _ : state) {
        time += 0.01f;
        ++counter;
        float next = callback(time - lastCallTime, time, counter, gCounts.data());
        lastCallTime = time;
        benchmark::DoNotOptimize(next);
    }
    gSink = lastCallTime;
}

// kDueLoops loops due in every pass spread evenly among far loops scheduled
// far ahead: half of them in seconds, half in passes, at varied due points so
// that no two share one.
void DueAmongFar(benchmark::State& state, int far)
{
    StartedLibrary library;
    gCounts.assign(kDueLoops, 0);
    const int total = far + kDueLoops;
    int due = 0;
    for (int i = 0; i < total; ++i) {
        if (due < kDueLoops && i * kDueLoops >= due * total) {
            CreateLoop(EveryPass, &gCounts[due], -1.0f);
            ++due;
        } else if (i % 2 == 0) {
            CreateLoop(NeverDue, nullptr, 1.0e6f + static_cast<float>((i * 7919) % 100003));
        } else {
            CreateLoop(NeverDue, nullptr, -1.0e8f - static_cast<float>((i * 104729) % 100003));
        }
    }
    RunPasses(state, kDueLoops);
}

const bool gRegistered = [] {
    for (int count : {1, 100, 10000}) {
        VORNBenchPair(
            "Processing/FlightLoopPass/" + std::to_string(count), kPassTarget,
            [count](benchmark::State& state) { Pass(state, count); },
            [count](benchmark::State& state) { Plain(state, count); });
    }
    VORNBenchPair(
        "Processing/OneLoopPass", kPassTarget,
        [](benchmark::State& state) { Pass(state, 1); }, DirectCall);
    for (int far : {0, 1000, 10000, 100000}) {
        VORNBenchPair(
            "Processing/DueAmongFar/" + std::to_string(far), kDueAmongFarTarget,
            [far](benchmark::State& state) { DueAmongFar(state, far); },
            [](benchmark::State& state) { DueAmongFar(state, 0); });
    }
    return true;
}();

}  // namespace
}  // namespace vornbench
