// BenchLoader.cpp - starting and stopping a simulator with 100 plug-ins,
// against opening the same 100 modules by hand; and unloading one plug-in
// while others own 100,000 data refs, against unloading it alone.

#include "BenchSupport.h"

#include "VORN/VORNDataAccess.h"
#include "VORN/VORNPlugin.h"

#include <dlfcn.h>

#include <cstdio>
#include <memory>
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

// ---- One plug-in's unload among many records -------------------------------------

// How many data refs the others own: the host (plug-in 0) publishes them.
constexpr int kOthersDataRefs = 100000;
// What the plug-in being unloaded owns (bench/plugins/bench_owner.c).
constexpr int kOwnedRecords = 10;
// Unloading a plug-in costs what it owns, whatever the others own.
constexpr double kUnloadTarget = 2.0;

// The user's aircraft, as the bench host reports it while a rig runs.
std::string gAircraftModel;

void ReportAircraftModel(int, char* outPath, char* outFileName)
{
    std::snprintf(outPath, 256, "%s", gAircraftModel.c_str());
    outFileName[0] = '\0';
}

void IgnoreUnload(VORNPluginID, const VORNPluginInventory*) {}

int ReadNothing(void*)
{
    return 0;
}

// A private copy of the library whose host owns othersDataRefs data refs,
// and a user's aircraft whose one plug-in, bench_owner, the copy loads on
// host event 3 and unloads on event 8. An unload observer is set, so that an
// unload also takes the plug-in's inventory, as a checking host has it do.
class AircraftRig {
public:
    explicit AircraftRig(int othersDataRefs) : mLibrary(PrivateLibrary::kWithPlugins)
    {
        mAircraft.CopyIn(VORN_BENCH_OWNER_MODULE, "Aircraft/Bench/plugins/owner/lin.vpl");
        auto publish = mLibrary.Get("VORNRegisterDataAccessor", &VORNRegisterDataAccessor);
        for (int i = 0; i < othersDataRefs; ++i) {
            char name[64];
            std::snprintf(name, sizeof name, "vorn/bench/host/ref%06d", i);
            publish(name, VORN_DATA_INT, 0, ReadNothing, nullptr, nullptr, nullptr, nullptr,
                    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                    nullptr);
        }
        mLibrary.Get("VORNSetUnloadObserver", &VORNSetUnloadObserver)(IgnoreUnload);
        mEvent = mLibrary.Get("VORNEventHook", &VORNEventHook);
        mInventory = mLibrary.Get("VORNGetPluginInventory", &VORNGetPluginInventory);
    }

    std::string Model() const { return mAircraft.SystemPath() + "Aircraft/Bench/bench.acf"; }
    void Load() { mEvent(3, nullptr, 0.0f); }
    void Unload() { mEvent(8, nullptr, 0.0f); }

    // What the aircraft's plug-in (id 1, the copy loads no other) owns;
    // false when it is not loaded.
    bool Inventory(VORNPluginInventory* out)
    {
        out->structSize = sizeof *out;
        return mInventory(1, out) == 1;
    }

private:
    PrivateLibrary mLibrary;
    ScratchRoot mAircraft;
    int (*mEvent)(int, void*, float) = nullptr;
    int (*mInventory)(VORNPluginID, VORNPluginInventory*) = nullptr;
};

AircraftRig& RigWith(int othersDataRefs)
{
    static std::unique_ptr<AircraftRig> rigs[2];
    auto& rig = rigs[othersDataRefs != 0 ? 1 : 0];
    if (!rig)
        rig = std::make_unique<AircraftRig>(othersDataRefs);
    return *rig;
}

int Records(const VORNPluginInventory& inventory)
{
    return inventory.dataRefs + inventory.sharedData + inventory.flightLoops +
           inventory.drawCallbacks + inventory.keySniffers + inventory.windows +
           inventory.hotKeys + inventory.probes;
}

// Has the bench host report rig's aircraft as the user's for the scope, with
// its plug-in loaded; false (and state skipped) when it does not own what it
// should.
class StAircraft {
public:
    StAircraft(AircraftRig& rig, benchmark::State& state) : mRig(rig)
    {
        gAircraftModel = rig.Model();
        BenchHostTable().GetNthAircraftModel = ReportAircraftModel;
        mRig.Load();
        VORNPluginInventory inventory{};
        mLoaded = mRig.Inventory(&inventory) && Records(inventory) == kOwnedRecords;
        if (!mLoaded)
            state.SkipWithError("the aircraft's plug-in does not own its ten records");
    }
    ~StAircraft()
    {
        mRig.Unload();
        BenchHostTable().GetNthAircraftModel = mSaved;
    }
    StAircraft(const StAircraft&) = delete;
    StAircraft& operator=(const StAircraft&) = delete;

    bool Loaded() const { return mLoaded; }

private:
    AircraftRig& mRig;
    void (*mSaved)(int, char*, char*) = BenchHostTable().GetNthAircraftModel;
    bool mLoaded = false;
};

// Event 8 alone: disabling, stopping and unloading the plug-in, with the
// clean-up of its ten records and the module's dlclose. Loading it again
// (event 3) is not timed.
void UnloadAircraftPlugin(benchmark::State& state, int othersDataRefs)
{
    AircraftRig& rig = RigWith(othersDataRefs);
    StAircraft aircraft(rig, state);
    if (!aircraft.Loaded())
        return;
    for (auto _ : state) {
        rig.Unload();
        state.PauseTiming();
        rig.Load();
        state.ResumeTiming();
    }
}

// The inventory of the loaded plug-in: the holdings count of every registry.
void TakeInventory(benchmark::State& state, int othersDataRefs)
{
    AircraftRig& rig = RigWith(othersDataRefs);
    StAircraft aircraft(rig, state);
    if (!aircraft.Loaded())
        return;
    VORNPluginInventory inventory{};
    for (auto _ : state)
        benchmark::DoNotOptimize(rig.Inventory(&inventory));
}

const bool gRegistered = [] {
    VORNBenchPair("Loader/Start100Plugins", kLoaderTarget, StartAndStop, OpenByHand);
    const std::string among = "/" + std::to_string(kOthersDataRefs);
    VORNBenchPair(
        "Loader/UnloadPlugin" + among, kUnloadTarget,
        [](benchmark::State& state) { UnloadAircraftPlugin(state, kOthersDataRefs); },
        [](benchmark::State& state) { UnloadAircraftPlugin(state, 0); });
    VORNBenchPair(
        "Loader/VORNGetPluginInventory" + among, kUnloadTarget,
        [](benchmark::State& state) { TakeInventory(state, kOthersDataRefs); },
        [](benchmark::State& state) { TakeInventory(state, 0); });
    return true;
}();

}  // namespace
}  // namespace vornbench
