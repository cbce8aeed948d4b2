// BenchMemory.cpp - what one record costs on the heap: data ref, flight loop,
// window, draw callback. Each is the heap's growth over 10,000 records
// (allocator overhead and the registries' indexes included) divided by
// 10,000.

#include "BenchSupport.h"

#include "VORN/VORNDataAccess.h"
#include "VORN/VORNDisplay.h"
#include "VORN/VORNProcessing.h"

#include <cstdio>
#include <functional>

namespace vornbench {
namespace {

constexpr int kRecords = 10000;

int Read(void*) { return 0; }
float Loop(float, float, int, void*) { return 0.0f; }
int Draw(int, int, void*) { return 1; }

// Reports the heap growth of create(i) for i = 0..kRecords-1 per record.
void Measure(benchmark::State& state, const std::function<void(int)>& create)
{
    StartedLibrary library;
    for (auto _ : state) {
        const std::size_t before = BenchHeapBytesInUse();
        for (int i = 0; i < kRecords; ++i)
            create(i);
        const std::size_t after = BenchHeapBytesInUse();
        state.counters["bytes_per_record"] = static_cast<double>(after - before) / kRecords;
    }
}

// Data refs are never freed, so they go to a private copy of the library
// (whose registry no other benchmark sees grow), and every run publishes
// names of its own.
int gDataRefRun = 0;

void DataRef(benchmark::State& state)
{
    static PrivateLibrary library;
    auto publish = library.Get("VORNRegisterDataAccessor", &VORNRegisterDataAccessor);
    const int run = gDataRefRun++;
    Measure(state, [run, publish](int i) {
        char name[64];
        std::snprintf(name, sizeof name, "vorn/bench/memory/%d/ref%05d", run, i);
        publish(name, VORN_DATA_INT, 0, Read, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    });
}

void FlightLoop(benchmark::State& state)
{
    Measure(state, [](int) {
        VORNCreateFlightLoop_t params = {sizeof params, VORN_FLIGHT_LOOP_PHASE_FIRST, Loop,
                                         nullptr};
        VORNCreateFlightLoop(&params);
    });
}

void Window(benchmark::State& state)
{
    Measure(state, [](int i) {
        VORNCreateWindow(i, 10, i + 10, 0, 1, nullptr, nullptr, nullptr, nullptr);
    });
}

// Distinct refcons: identical registrations are refused.
void DrawCallback(benchmark::State& state)
{
    static char refcons[kRecords];
    Measure(state,
            [](int i) { VORNRegisterDrawCallback(Draw, 5 * (i % 20), i % 2, &refcons[i]); });
}

const bool gRegistered = [] {
    VORNBenchMeasure("Memory/DataRef", DataRef);
    VORNBenchMeasure("Memory/FlightLoop", FlightLoop);
    VORNBenchMeasure("Memory/Window", Window);
    VORNBenchMeasure("Memory/DrawCallback", DrawCallback);
    return true;
}();

}  // namespace
}  // namespace vornbench
