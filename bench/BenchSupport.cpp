// BenchSupport.cpp - the benchmarks' host table, scratch roots, registration
// helpers and memory probe.

#include "BenchSupport.h"

#include <dlfcn.h>
#include <malloc.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace vornbench {

namespace {

// Every slot of the table, in table order.
#define VORN_BENCH_SLOTS(X)                                                                        \
    X(GetScreenSize) X(GetMouseLocation) X(TakeKeyboardFocus) X(SetGraphicsState)                  \
    X(BindTexture2d) X(GenerateTextureNumbers) X(GetTexture) X(WorldToLocal) X(LocalToWorld)       \
    X(DrawTranslucentDarkBox) X(DrawString) X(DrawNumber) X(GetFontDimensions) X(MeasureString)   \
    X(GetElapsedTime) X(ReadCameraPosition) X(DrawAircraft) X(SetAircraftModel)                    \
    X(GetNthAircraftModel) X(CountAircraft) X(PlaceUserAtAirport) X(SimulateKeyPress)              \
    X(SpeakString) X(CommandKeyStroke) X(CommandButton) X(GetSystemPath) X(GetPrefsPath)           \
    X(GetVersions) X(GetLanguage) X(DebugString) X(FindSymbol) X(ReinitUsersPlane)                 \
    X(HostReceiveMessage) X(CreateMenu) X(AppendMenuItem) X(SetMenuItemName) X(DestroyMenu)        \
    X(RemoveMenuItem) X(GetFirstNavAid) X(GetNextNavAid) X(FindFirstNavAidOfType)                  \
    X(FindLastNavAidOfType) X(FindNavAid) X(GetNavAidInfo) X(CountFMSEntries)                      \
    X(GetDisplayedFMSEntry) X(GetDestinationFMSEntry) X(SetDisplayedFMSEntry)                      \
    X(SetDestinationFMSEntry) X(GetFMSEntryInfo) X(SetFMSEntryInfo) X(SetFMSEntryLatLon)           \
    X(ClearFMSEntry) X(GetGPSDestinationType) X(GetGPSDestination) X(ShowAlert)                    \
    X(ShowLoadingMessage) X(FindCommand) X(CommandBegin) X(CommandContinue) X(CommandEnd)          \
    X(CreateProbe) X(ProbeTerrainXYZ) X(LoadObject) X(DrawObjects) X(UnloadObject)                 \
    X(LookupObjects) X(LoadObjectAsync) X(ReloadScenery) X(LoadDataFile) X(SaveDataFile)

// Fills slot with a function of its own signature that does nothing and
// returns a zero value.
template <typename R, typename... Args>
void FillTrivially(R (*&slot)(Args...))
{
    slot = [](Args...) -> R { return R(); };
}

VORNHostHooks MakeTable()
{
    VORNHostHooks table{};
    // The newest table a host can hand over, so every version-gated slot is live.
    table.version = VORN_HOST_HOOKS_VERSION_LOADING_MESSAGE;
    table.tableSize = VORN_HOST_HOOKS_SIZE;
#define VORN_BENCH_FILL(slot) FillTrivially(table.slot);
    VORN_BENCH_SLOTS(VORN_BENCH_FILL)
#undef VORN_BENCH_FILL
    return table;
}

int gTrivialValue = 0;

int TrivialCall()
{
    return gTrivialValue;
}

// Fixed iteration count for instruction counting, 0 when timing.
benchmark::IterationCount FixedIterations()
{
    const char* text = std::getenv("VORN_BENCH_ITERATIONS");
    return text != nullptr ? std::strtoll(text, nullptr, 10) : 0;
}

benchmark::internal::Benchmark* Register(const std::string& name, BenchBody body)
{
    benchmark::internal::Benchmark* bench = benchmark::RegisterBenchmark(
        name.c_str(), [body](benchmark::State& state) { body(state); });
    if (const benchmark::IterationCount iterations = FixedIterations())
        bench->Iterations(iterations);
    return bench;
}

}  // namespace

VORNHostHooks* gBenchHooks = &BenchHostTable();
int (*gBenchTrivialCall)(void) = TrivialCall;

VORNHostHooks& BenchHostTable()
{
    static VORNHostHooks table = MakeTable();
    return table;
}

void VORNBenchPath(const std::string& name, BenchBody path, double target)
{
    if (target <= 0.0) {
        Register(name, std::move(path));
        return;
    }
    Register(name, [path, target](benchmark::State& state) {
        path(state);
        state.counters["target"] = target;
    });
}

void VORNBenchPair(const std::string& name, double target, BenchBody path, BenchBody baseline)
{
    VORNBenchPath(name, std::move(path), target);
    Register(name + "/baseline", std::move(baseline));
}

void VORNBenchLimit(const std::string& name, double limitNs, BenchBody path)
{
    Register(name, [path, limitNs](benchmark::State& state) {
        path(state);
        state.counters["limit_ns"] = limitNs;
    });
}

void VORNBenchMeasure(const std::string& name, BenchBody body)
{
    Register(name, std::move(body))->Iterations(1);
}

void VORNBenchItems(benchmark::State& state, int64_t count)
{
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * count);
}

ScratchRoot::ScratchRoot()
{
    mDir.MakeDir("Resources/plugins");
}

std::string ScratchRoot::SystemPath() const
{
    return mDir.Path() + "/";
}

std::string ScratchRoot::PluginsFolder() const
{
    return mDir.Join("Resources/plugins");
}

std::vector<std::string> ScratchRoot::AddModuleCopies(const std::string& module,
                                                      const std::string& stem, int count) const
{
    std::vector<std::string> paths;
    for (int i = 0; i < count; ++i) {
        char name[64];
        std::snprintf(name, sizeof name, "%s_%03d.vpl", stem.c_str(), i);
        paths.push_back(mDir.CopyFile(module, std::string("Resources/plugins/") + name));
    }
    return paths;
}

std::string ScratchRoot::CopyIn(const std::string& file, const std::string& relative) const
{
    return mDir.CopyFile(file, relative);
}

StartedLibrary::StartedLibrary()
{
    VORNInitializePlugins(mRoot.SystemPath().c_str(), gBenchHooks, nullptr);
}

StartedLibrary::~StartedLibrary()
{
    VORNShutdownPlugins();
}

PrivateLibrary::PrivateLibrary(Kind kind)
{
    // A file of its own: the dynamic loader would hand back the loaded
    // library for the same path.
    const std::string path = mRoot.CopyIn(VORN_BENCH_LIBRARY, "libvorn-copy.so");
    mModule = kind == kWithPlugins ? dlmopen(LM_ID_NEWLM, path.c_str(), RTLD_NOW)
                                   : dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND);
    if (mModule == nullptr) {
        std::fprintf(stderr, "vorn_bench: %s\n", dlerror());
        std::abort();
    }
    Get("VORNInitializePlugins", &VORNInitializePlugins)(mRoot.SystemPath().c_str(), gBenchHooks,
                                                         nullptr);
}

void* PrivateLibrary::Symbol(const char* name) const
{
    void* symbol = dlsym(mModule, name);
    if (symbol == nullptr) {
        std::fprintf(stderr, "vorn_bench: no %s in the private library\n", name);
        std::abort();
    }
    return symbol;
}

std::size_t BenchPeakResidentBytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<std::size_t>(usage.ru_maxrss) * 1024;  // ru_maxrss is in KiB
}

std::size_t BenchHeapBytesInUse()
{
    return mallinfo2().uordblks;
}

}  // namespace vornbench
