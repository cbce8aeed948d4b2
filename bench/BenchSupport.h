// BenchSupport.h - shared pieces of the benchmark suite: the host table, the
// scratch simulator roots, the registration helpers and the memory probe.
//
// Naming convention (tools/bench_report.py pairs results by it):
//   - A measured path is registered as "<Family>/<Path>", e.g.
//     "Graphics/VORNDrawString" or "Loader/Start100Plugins".
//   - Its floor is registered under the same name plus a final "/baseline"
//     component: "Graphics/VORNDrawString/baseline". The floor is the cheapest
//     way to get the same work done without the library: the same host slot
//     called directly through a function pointer, a plain loop over N such
//     calls, or raw dlopen/dlsym/dlclose of the same modules.
//   - A path may carry a "target" counter: the highest acceptable ratio of its
//     median to the baseline's median, both from the same run.
//   - A path registered without a baseline is reported with its time only.
//   Register with VORNBenchPair / VORNBenchPath, never with BENCHMARK()
//   directly, so that every name follows the convention.
//
// One file per subsystem (BenchForwarders.cpp, BenchLoader.cpp, ...); each
// registers its paths from a static initialiser.
//
// Instruction counts: with VORN_BENCH_ITERATIONS=n in the environment every
// benchmark runs exactly n iterations, so that tools/bench_callgrind.py can
// subtract two runs under callgrind and get instructions per iteration.
#ifndef VORN_BENCH_SUPPORT_H
#define VORN_BENCH_SUPPORT_H

#include "TempDir.h"
#include "VORN/VORNHostHooks.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace vornbench {

using BenchBody = std::function<void(benchmark::State&)>;

// Registers path (and, for a pair, path + "/baseline"). A target <= 0 means
// the path has no target ratio.
void VORNBenchPath(const std::string& name, BenchBody path, double target = 0.0);
void VORNBenchPair(const std::string& name, double target, BenchBody path, BenchBody baseline);

// The host table every benchmark hands to the library: all 71 slots are
// filled with functions that do nothing and return zero, so a forwarder's
// cost is the library's alone. gBenchHooks points at it; baselines call
// slots through gBenchHooks, the way the library reaches them through its
// own copy of the pointer.
VORNHostHooks& BenchHostTable();
extern VORNHostHooks* gBenchHooks;

// An out-of-line function that returns a global: the floor for any call that
// crosses a function boundary and reads one value.
extern int (*gBenchTrivialCall)(void);

// A simulator root in a scratch folder (with an empty Resources/plugins),
// removed with everything in it.
class ScratchRoot {
public:
    ScratchRoot();

    // The root as the host passes it, with a trailing '/'.
    std::string SystemPath() const;
    std::string PluginsFolder() const;
    // Copies module into the plug-ins folder count times as
    // "<stem>_000.vpl", "<stem>_001.vpl"... (separate files, so the dynamic
    // loader cannot share them); returns the copies' paths in load order.
    std::vector<std::string> AddModuleCopies(const std::string& module, const std::string& stem,
                                             int count) const;

private:
    vorntest::TempDir mDir;
};

// The library started by a host over a scratch root, shut down at scope end.
class StartedLibrary {
public:
    StartedLibrary();
    ~StartedLibrary();
    StartedLibrary(const StartedLibrary&) = delete;
    StartedLibrary& operator=(const StartedLibrary&) = delete;

private:
    ScratchRoot mRoot;
};

// Peak resident memory of this process so far, in bytes (getrusage).
std::size_t BenchPeakResidentBytes();

}  // namespace vornbench

#endif
