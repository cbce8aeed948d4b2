// BenchProfile.cpp - what time accounting costs while it is on: a flight-loop
// pass over 100 due loops and a data-ref read, each timed, against the same
// work with accounting off (its "baseline" here, so that the ratio and the
// difference per record are the accounting's own cost). What accounting
// costs while it is off shows in the other families' rows, compared with a
// build from before it existed (tools/bench_report.py --before).

#include "BenchSupport.h"

#include "VORN/VORNDataAccess.h"
#include "VORN/VORNProcessing.h"

#include <string>
#include <vector>

namespace vornbench {
namespace {

constexpr int kLoops = 100;
// The host's event for a pass of the second flight-loop phase.
constexpr int kSecondPhaseEvent = 10;

std::vector<int> gCalls;

float CountAndComeBack(float, float, int, void* refcon)
{
    ++*static_cast<int*>(refcon);
    return -1.0f;
}

int gValue = 7;

int ReadValue(void* refcon)
{
    return *static_cast<int*>(refcon);
}

void NoObserver(const VORNCallTiming*, void*) {}

enum class Accounting { kOff, kOn, kObserved };

void Switch(Accounting accounting)
{
    VORNSetTimeAccounting(accounting != Accounting::kOff ? 1 : 0);
    VORNSetCallObserver(accounting == Accounting::kObserved ? NoObserver : nullptr, nullptr);
}

void TimedPass(benchmark::State& state, Accounting accounting)
{
    StartedLibrary library;
    gCalls.assign(kLoops, 0);
    for (int& calls : gCalls) {
        VORNCreateFlightLoop_t params = {sizeof params, VORN_FLIGHT_LOOP_PHASE_SECOND,
                                         CountAndComeBack, &calls};
        VORNScheduleFlightLoop(VORNCreateFlightLoop(&params), -1.0f, 0);
    }
    Switch(accounting);
    float time = 0.0f;
    for (auto _ : state) {
        time += 0.01f;
        VORNEventHook(kSecondPhaseEvent, nullptr, time);
    }
    Switch(Accounting::kOff);
    if (gCalls.back() != static_cast<int>(state.iterations()))
        state.SkipWithError("not every loop ran in every pass");
    VORNBenchItems(state, kLoops);
}

void TimedRead(benchmark::State& state, Accounting accounting)
{
    StartedLibrary library;
    VORNDataRef ref = VORNRegisterDataAccessor(
        "bench/profile/value", VORN_DATA_INT, 0, ReadValue, nullptr, nullptr, nullptr, nullptr,
        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &gValue, nullptr);
    if (VORNGetDatai(ref) != gValue) {
        state.SkipWithError("the data ref does not reach its owner");
        return;
    }
    Switch(accounting);
    for (auto _ : state)
        benchmark::DoNotOptimize(VORNGetDatai(ref));
    Switch(Accounting::kOff);
}

const bool gRegistered = [] {
    VORNBenchPair(
        "Profile/FlightLoopPassTimed/" + std::to_string(kLoops), 0.0,
        [](benchmark::State& state) { TimedPass(state, Accounting::kOn); },
        [](benchmark::State& state) { TimedPass(state, Accounting::kOff); });
    VORNBenchPath("Profile/FlightLoopPassObserved/" + std::to_string(kLoops),
                  [](benchmark::State& state) { TimedPass(state, Accounting::kObserved); });
    VORNBenchPair(
        "Profile/VORNGetDataiTimed", 0.0,
        [](benchmark::State& state) { TimedRead(state, Accounting::kOn); },
        [](benchmark::State& state) { TimedRead(state, Accounting::kOff); });
    return true;
}();

}  // namespace
}  // namespace vornbench
