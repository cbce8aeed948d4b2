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
//   - A path may instead carry a "limit_ns" counter: an absolute ceiling on
//     its median, for paths whose floor is "nothing at all".
//   - A path registered without a baseline is reported with its time only.
//   - A path whose cost depends on how many records exist ends its name
//     with "/N". One that handles all N per iteration (a pass over N loops,
//     a frame over N callbacks) also reports N items per iteration
//     (VORNBenchItems); the table then shows the cost per record beside the
//     median, so growth across N shows at a glance.
//   - Memory figures are measurements, not timings: register them with
//     VORNBenchMeasure and report them as counters named "bytes_per_record"
//     or "peak_rss_bytes"; they go to a table of their own.
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
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vornbench {

using BenchBody = std::function<void(benchmark::State&)>;

// Registers path (and, for a pair, path + "/baseline"). A target <= 0 means
// the path has no target ratio.
void VORNBenchPath(const std::string& name, BenchBody path, double target = 0.0);
void VORNBenchPair(const std::string& name, double target, BenchBody path, BenchBody baseline);
// Registers a path with an absolute ceiling on its median, in nanoseconds.
void VORNBenchLimit(const std::string& name, double limitNs, BenchBody path);
// Registers a one-iteration measurement (memory), reported by its counters.
void VORNBenchMeasure(const std::string& name, BenchBody body);

// Marks every iteration of state as handling count records.
void VORNBenchItems(benchmark::State& state, int64_t count);

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
    // Copies file to relative (below the root); returns the copy's path.
    std::string CopyIn(const std::string& file, const std::string& relative) const;

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

// A private copy of libvorn.so, started by a host over a scratch root of its
// own: fresh registries for paths whose cost depends on how many records
// exist, since the data-ref registry of a library never shrinks. The copy
// binds its own symbols first (RTLD_DEEPBIND), so it shares no state with
// the libvorn.so this program links. Lives until the program ends.
//
// Plug-in modules that such a copy loads would still call the libvorn.so of
// this program. A copy made with kWithPlugins instead lives in a link-map
// namespace of its own (dlmopen), with its own C and C++ runtimes, where the
// modules it loads bind to it; its heap is then not the one that
// BenchHeapBytesInUse measures.
class PrivateLibrary {
public:
    enum Kind { kRegistriesOnly, kWithPlugins };
    explicit PrivateLibrary(Kind kind = kRegistriesOnly);
    PrivateLibrary(const PrivateLibrary&) = delete;
    PrivateLibrary& operator=(const PrivateLibrary&) = delete;

    // The copy's function `name`, typed like the declaration `function`.
    template <typename Function>
    Function* Get(const char* name, Function* /*function*/) const
    {
        return reinterpret_cast<Function*>(Symbol(name));
    }

private:
    void* Symbol(const char* name) const;

    ScratchRoot mRoot;
    void* mModule = nullptr;
};

// Peak resident memory of this process so far, in bytes (getrusage).
std::size_t BenchPeakResidentBytes();

// Bytes the heap has handed out and not taken back (mallinfo2), including
// the allocator's own per-block overhead: what records really cost.
std::size_t BenchHeapBytesInUse();

}  // namespace vornbench

#endif
