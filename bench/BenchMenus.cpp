// BenchMenus.cpp - the host's menu pick among 100 to 10,000 plug-in items,
// against calling the item's handler directly.

#include "BenchSupport.h"

#include "VORN/VORNMenus.h"

#include <string>

namespace vornbench {
namespace {

constexpr int kItemsPerMenu = 100;

// The host numbers its items itself; the bench host counts up.
int gNextHostItem = 0;

int CountingAppend(long, const char*, void*, int)
{
    return ++gNextHostItem;
}

// Hands the library a host that numbers its menu items for the scope.
class StNumberedItems {
public:
    StNumberedItems() : mSaved(BenchHostTable().AppendMenuItem)
    {
        gNextHostItem = 0;
        BenchHostTable().AppendMenuItem = CountingAppend;
    }
    ~StNumberedItems() { BenchHostTable().AppendMenuItem = mSaved; }
    StNumberedItems(const StNumberedItems&) = delete;
    StNumberedItems& operator=(const StNumberedItems&) = delete;

private:
    int (*mSaved)(long, const char*, void*, int);
};

int gPicks = 0;

void Handler(void* menuRef, void* itemRef)
{
    gPicks += menuRef == itemRef ? 0 : 1;
}

void (*gHandler)(void*, void*) = Handler;
int gMenuRef, gItemRef;

// count items in menus of 100, all of them the host's; the pick is the
// newest item, so a search in menu and item order meets every other first.
void Pick(benchmark::State& state, int count)
{
    StNumberedItems numbered;
    StartedLibrary library;
    for (int made = 0; made < count; made += kItemsPerMenu) {
        VORNMenuID menu = VORNCreateMenu("Bench", nullptr, 0, Handler, &gMenuRef);
        for (int i = 0; i < kItemsPerMenu; ++i)
            VORNAppendMenuItem(menu, "item", &gItemRef, 0);
    }
    const int newest = gNextHostItem;
    gPicks = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(VORNMenuHook(newest));
    if (gPicks != static_cast<int>(state.iterations()))
        state.SkipWithError("the pick did not reach the item's handler");
}

void CallHandler(benchmark::State& state)
{
    for (auto _ : state) {
        gHandler(&gMenuRef, &gItemRef);
        benchmark::ClobberMemory();
    }
}

const bool gRegistered = [] {
    for (int count : {100, 1000, 10000}) {
        VORNBenchPair(
            "Menus/VORNMenuHook/" + std::to_string(count), 0.0,
            [count](benchmark::State& state) { Pick(state, count); }, CallHandler);
    }
    return true;
}();

}  // namespace
}  // namespace vornbench
