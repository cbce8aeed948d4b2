// BenchDataAccess.cpp - data-ref reads and writes, the hottest calls plug-ins
// make, against the owner's accessor called through a function pointer; and
// finding (against a std::unordered_map look-up of the same names) and
// validating data refs among 100 to 100,000 of them.

#include "BenchSupport.h"

#include "VORN/VORNDataAccess.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

namespace vornbench {
namespace {

// A scalar read or write is a null test, two field tests and the dispatch
// guard around the owner's accessor.
constexpr double kScalarTarget = 2.0;
// An array read does real copying in the accessor, which the guard is small
// beside.
constexpr double kArrayTarget = 1.5;
constexpr int kArrayCount = 8;

// The owner's values and accessors, as a plug-in publishes them.
struct Values {
    int i = 7;
    float f = 1.5f;
    double d = 2.25;
    float array[kArrayCount] = {1, 2, 3, 4, 5, 6, 7, 8};
} gValues;

int ReadInt(void* refcon) { return static_cast<Values*>(refcon)->i; }
void WriteInt(void* refcon, int value) { static_cast<Values*>(refcon)->i = value; }
float ReadFloat(void* refcon) { return static_cast<Values*>(refcon)->f; }
void WriteFloat(void* refcon, float value) { static_cast<Values*>(refcon)->f = value; }
double ReadDouble(void* refcon) { return static_cast<Values*>(refcon)->d; }
void WriteDouble(void* refcon, double value) { static_cast<Values*>(refcon)->d = value; }

int ReadFloats(void* refcon, float* values, int offset, int max)
{
    const auto* own = static_cast<Values*>(refcon);
    if (values == nullptr)
        return kArrayCount;
    const int count = std::max(0, std::min(max, kArrayCount - offset));
    std::copy_n(own->array + offset, count, values);
    return count;
}

// The baselines reach the accessors through pointers in memory, as the
// library does through the record.
VORNGetDatai_f gReadInt = ReadInt;
VORNSetDatai_f gWriteInt = WriteInt;
VORNGetDataf_f gReadFloat = ReadFloat;
VORNSetDataf_f gWriteFloat = WriteFloat;
VORNGetDatad_f gReadDouble = ReadDouble;
VORNSetDatad_f gWriteDouble = WriteDouble;
VORNGetDatavf_f gReadFloats = ReadFloats;
void* gRefcon = &gValues;
float gBuffer[kArrayCount];

// The host (id 0, enabled) publishes the data ref; returns it.
VORNDataRef PublishAsHost(const char* name)
{
    return VORNRegisterDataAccessor(name, VORN_DATA_INT | VORN_DATA_FLOAT | VORN_DATA_DOUBLE |
                                              VORN_DATA_FLOAT_ARRAY,
                                    1, ReadInt, WriteInt, ReadFloat, WriteFloat, ReadDouble,
                                    WriteDouble, nullptr, nullptr, ReadFloats, nullptr, nullptr,
                                    nullptr, &gValues, &gValues);
}

VORNDataRef gRef = nullptr;

// Runs call once per iteration against a published data ref.
template <typename Call>
BenchBody Loop(Call call)
{
    return [call](benchmark::State& state) {
        StartedLibrary library;
        gRef = PublishAsHost("vorn/bench/value");
        if (VORNIsDataRefGood(gRef) == 0 || VORNGetDatai(gRef) != gValues.i) {
            state.SkipWithError("the data ref does not reach its owner");
            return;
        }
        for (auto _ : state) {
            call();
            benchmark::ClobberMemory();
        }
    };
}

template <typename Path, typename Baseline>
void Pair(const char* name, double target, Path path, Baseline baseline)
{
    VORNBenchPair(name, target, Loop(path), Loop(baseline));
}

void RegisterReadsAndWrites()
{
    Pair("DataAccess/VORNGetDatai", kScalarTarget,
         [] { benchmark::DoNotOptimize(VORNGetDatai(gRef)); },
         [] { benchmark::DoNotOptimize(gReadInt(gRefcon)); });
    Pair("DataAccess/VORNGetDataf", kScalarTarget,
         [] { benchmark::DoNotOptimize(VORNGetDataf(gRef)); },
         [] { benchmark::DoNotOptimize(gReadFloat(gRefcon)); });
    Pair("DataAccess/VORNGetDatad", kScalarTarget,
         [] { benchmark::DoNotOptimize(VORNGetDatad(gRef)); },
         [] { benchmark::DoNotOptimize(gReadDouble(gRefcon)); });
    Pair("DataAccess/VORNSetDatai", kScalarTarget, [] { VORNSetDatai(gRef, 3); },
         [] { gWriteInt(gRefcon, 3); });
    Pair("DataAccess/VORNSetDataf", kScalarTarget, [] { VORNSetDataf(gRef, 0.5f); },
         [] { gWriteFloat(gRefcon, 0.5f); });
    Pair("DataAccess/VORNSetDatad", kScalarTarget, [] { VORNSetDatad(gRef, 0.25); },
         [] { gWriteDouble(gRefcon, 0.25); });
    Pair("DataAccess/VORNGetDatavf", kArrayTarget,
         [] { benchmark::DoNotOptimize(VORNGetDatavf(gRef, gBuffer, 0, kArrayCount)); },
         [] { benchmark::DoNotOptimize(gReadFloats(gRefcon, gBuffer, 0, kArrayCount)); });
}

// ---- Finding and validating among N data refs ----------------------------------

// How many different refs each look-up benchmark cycles through: the same
// for every N, so that N, not the working set, is what changes.
constexpr size_t kProbeCount = 256;

// A name look-up is a hash, a bucket and a comparison: it may cost half as
// much again as a look-up in a plain hash map of strings.
constexpr double kFindTarget = 1.5;

// A private library holding exactly N data refs, and kProbeCount of them
// (names and handles, spread evenly, in shuffled order) to look up; and the
// same names in a std::unordered_map, the floor of a look-up by name.
struct Registry {
    explicit Registry(int count)
    {
        auto publish = library.Get("VORNRegisterDataAccessor", &VORNRegisterDataAccessor);
        std::vector<std::string> all;
        std::vector<VORNDataRef> refs;
        for (int i = 0; i < count; ++i) {
            char name[64];
            std::snprintf(name, sizeof name, "vorn/bench/registry/ref%05d", i);
            all.push_back(name);
            refs.push_back(publish(name, VORN_DATA_INT, 0, ReadInt, nullptr, nullptr, nullptr,
                                   nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                   nullptr, nullptr, &gValues, nullptr));
            byName.emplace(name, refs.back());
        }
        const size_t probes = std::min(kProbeCount, all.size());
        for (size_t k = 0; k < probes; ++k) {
            const size_t i = k * all.size() / probes;
            names.push_back(all[i]);
            handles.push_back(refs[i]);
        }
        std::mt19937 shuffle(42);
        std::shuffle(names.begin(), names.end(), shuffle);
        std::shuffle(handles.begin(), handles.end(), shuffle);
    }

    PrivateLibrary library;
    std::vector<std::string> names;
    std::vector<VORNDataRef> handles;
    std::unordered_map<std::string, VORNData_t*> byName;
};

Registry& RegistryOf(int count)
{
    static std::map<int, std::unique_ptr<Registry>> registries;
    auto& registry = registries[count];
    if (!registry)
        registry = std::make_unique<Registry>(count);
    return *registry;
}

void FindAmong(benchmark::State& state, int count)
{
    Registry& registry = RegistryOf(count);
    auto find = registry.library.Get("VORNFindDataRef", &VORNFindDataRef);
    size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(find(registry.names[next].c_str()));
        next = next + 1 == registry.names.size() ? 0 : next + 1;
    }
    if (find(registry.names[0].c_str()) == nullptr)
        state.SkipWithError("a published name was not found");
}

// The same names looked up as a plug-in hands them over, as C strings.
void FindInUnorderedMap(benchmark::State& state, int count)
{
    Registry& registry = RegistryOf(count);
    const auto& byName = registry.byName;
    size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(byName.find(registry.names[next].c_str()));
        next = next + 1 == registry.names.size() ? 0 : next + 1;
    }
    if (byName.find(registry.names[0].c_str()) == byName.end())
        state.SkipWithError("a published name was not found");
}

void ValidateAmong(benchmark::State& state, int count)
{
    Registry& registry = RegistryOf(count);
    auto isGood = registry.library.Get("VORNIsDataRefGood", &VORNIsDataRefGood);
    size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(isGood(registry.handles[next]));
        next = next + 1 == registry.handles.size() ? 0 : next + 1;
    }
    if (isGood(registry.handles[0]) == 0)
        state.SkipWithError("a published handle did not validate");
}

void RegisterLookUps()
{
    for (int count : {100, 1000, 10000, 100000}) {
        const std::string size = "/" + std::to_string(count);
        VORNBenchPair(
            "DataAccess/VORNFindDataRef" + size, kFindTarget,
            [count](benchmark::State& state) { FindAmong(state, count); },
            [count](benchmark::State& state) { FindInUnorderedMap(state, count); });
        VORNBenchPath("DataAccess/VORNIsDataRefGood" + size,
                      [count](benchmark::State& state) { ValidateAmong(state, count); });
    }
}

const bool gRegistered = [] {
    RegisterReadsAndWrites();
    RegisterLookUps();
    return true;
}();

}  // namespace
}  // namespace vornbench
