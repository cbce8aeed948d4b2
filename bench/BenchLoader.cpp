// BenchLoader.cpp - starting and stopping a simulator with 100 plug-ins,
// against opening the same 100 modules by hand.

#include "BenchSupport.h"

#include "VORN/VORNPlugin.h"

#include <dlfcn.h>

#include <string>
#include <vector>

namespace vornbench {
namespace {

constexpr int kPluginCount = 100;
// Listing the folder, logging and the entry-point calls may add 30% to the
// dynamic loader's own work.
constexpr double kLoaderTarget = 1.3;

const char* const kEntryPoints[] = {"VPluginStart", "VPluginStop", "VPluginEnable",
                                    "VPluginDisable", "VPluginReceiveMessage"};

// VORNInitializePlugins + VORNShutdownPlugins over a root with 100 modules:
// list, open, look up, start, enable, disable, stop, close.
void StartAndStop(benchmark::State& state)
{
    ScratchRoot root;
    root.AddModuleCopies(VORN_BENCH_MODULE, "bench", kPluginCount);
    for (auto _ : state) {
        VORNInitializePlugins(root.SystemPath().c_str(), gBenchHooks, nullptr);
        if (VORNCountPlugins() != kPluginCount + 1)
            state.SkipWithError("not every module was loaded");
        VORNShutdownPlugins();
    }
    state.counters["peak_rss_MiB"] = static_cast<double>(BenchPeakResidentBytes()) / (1 << 20);
}

// dlopen and dlsym of the five entry points for every module, then dlclose
// of every module: the same modules, in the same order, with the library's
// binding mode. All 100 are open at once, as they are in a running simulator:
// opening one while the others stay loaded costs the dynamic loader more than
// opening it alone.
void OpenByHand(benchmark::State& state)
{
    ScratchRoot root;
    const std::vector<std::string> paths =
        root.AddModuleCopies(VORN_BENCH_MODULE, "bench", kPluginCount);
    std::vector<void*> modules(paths.size());
    for (auto _ : state) {
        bool opened = true;
        for (size_t i = 0; i < paths.size() && opened; ++i) {
            modules[i] = dlopen(paths[i].c_str(), RTLD_NOW);
            opened = modules[i] != nullptr;
            for (const char* name : kEntryPoints)
                benchmark::DoNotOptimize(opened ? dlsym(modules[i], name) : nullptr);
        }
        for (void*& module : modules) {
            if (module != nullptr)
                dlclose(module);
            module = nullptr;
        }
        if (!opened) {
            state.SkipWithError("dlopen failed");
            break;
        }
    }
}

const bool gRegistered = [] {
    VORNBenchPair("Loader/Start100Plugins", kLoaderTarget, StartAndStop, OpenByHand);
    return true;
}();

}  // namespace
}  // namespace vornbench
