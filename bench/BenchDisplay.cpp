// BenchDisplay.cpp - the host's drawing steps with no callbacks and with
// 1,000 of them; key presses through sniffers and hot keys; mouse clicks
// over many windows; window calls with many windows open.

#include "BenchSupport.h"

#include "VORN/VORNDisplay.h"

#include <string>
#include <vector>

namespace vornbench {
namespace {

// A frame the simulator draws with no plug-in drawing must cost next to
// nothing: 26 steps in well under a microsecond.
constexpr double kEmptyFrameLimitNs = 1000.0;
constexpr int kDrawSteps = 26;
// A dispatch adds the phase test, the dispatch guard and the result to
// each call.
constexpr double kDrawTarget = 3.0;

// Every phase the 26 steps draw, each with a "before" and an "after" half.
const int kPhases[] = {0, 5, 10, 15, 20, 25, 30, 35, 40, 45, 50, 55, 100, 101, 102};
constexpr int kPhaseCount = sizeof kPhases / sizeof kPhases[0];
// Step 2 draws "before" phase 5 and nothing else.
constexpr int kOneStep = 2;
constexpr int kOneStepPhase = 5;

int Draw(int, int, void* refcon)
{
    ++*static_cast<int*>(refcon);
    return 1;
}

void DrawFrame()
{
    for (int step = 1; step <= kDrawSteps; ++step)
        benchmark::DoNotOptimize(VORNDoDrawingHook(step, 0));
}

void EmptyFrame(benchmark::State& state)
{
    StartedLibrary library;
    for (auto _ : state)
        DrawFrame();
}

// count draw callbacks spread evenly over every phase and half, registered
// by the host; each counts its calls in its own refcon. Returns the
// callbacks of "before" phase 5 in the order a dispatch calls them.
std::vector<int> gDrawCounts;

bool InOneStep(int i)
{
    return kPhases[(i / 2) % kPhaseCount] == kOneStepPhase && i % 2 == 1;
}

// How many of count spread callbacks the one step calls.
int OwnCallbacks(int count)
{
    int own = 0;
    for (int i = 0; i < count; ++i)
        own += InOneStep(i) ? 1 : 0;
    return own;
}

std::vector<int*> RegisterSpread(int count)
{
    gDrawCounts.assign(count, 0);
    std::vector<int*> stepFive;
    for (int i = 0; i < count; ++i) {
        VORNRegisterDrawCallback(Draw, kPhases[(i / 2) % kPhaseCount], i % 2, &gDrawCounts[i]);
        if (InOneStep(i))
            stepFive.insert(stepFive.begin(), &gDrawCounts[i]);  // newest first
    }
    return stepFive;
}

void FullFrame(benchmark::State& state, int count)
{
    StartedLibrary library;
    RegisterSpread(count);
    for (auto _ : state)
        DrawFrame();
    if (gDrawCounts.front() != static_cast<int>(state.iterations()))
        state.SkipWithError("a callback was not called once per frame");
    VORNBenchItems(state, count);
}

// One step (one phase's "before" half), whatever the other phases hold.
void OneStep(benchmark::State& state, int count)
{
    StartedLibrary library;
    const std::vector<int*> own = RegisterSpread(count);
    for (auto _ : state)
        benchmark::DoNotOptimize(VORNDoDrawingHook(kOneStep, 0));
    if (*own.front() != static_cast<int>(state.iterations()))
        state.SkipWithError("the step's callbacks did not run");
    VORNBenchItems(state, static_cast<int64_t>(own.size()));
}

// The floor for count callbacks: the same calls through pointers in an
// array, results combined as the dispatch combines them.
void PlainDraws(benchmark::State& state, int count)
{
    std::vector<int> counts(count, 0);
    std::vector<std::pair<VORNDrawCallback_f, void*>> calls;
    for (int& c : counts)
        calls.emplace_back(Draw, &c);
    benchmark::DoNotOptimize(calls.data());
    for (auto _ : state) {
        int result = 1;
        for (const auto& call : calls)
            result &= call.first(kOneStepPhase, 1, call.second);
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
    }
    VORNBenchItems(state, count);
}

void RegisterDrawing()
{
    VORNBenchLimit("Display/DrawFrame/0", kEmptyFrameLimitNs, EmptyFrame);
    for (int count : {100, 1000}) {
        const std::string size = "/" + std::to_string(count);
        const int own = OwnCallbacks(count);
        VORNBenchPair(
            "Display/DrawStep" + size, kDrawTarget,
            [count](benchmark::State& state) { OneStep(state, count); },
            [own](benchmark::State& state) { PlainDraws(state, own); });
        VORNBenchPair(
            "Display/DrawFrame" + size, kDrawTarget,
            [count](benchmark::State& state) { FullFrame(state, count); },
            [count](benchmark::State& state) { PlainDraws(state, count); });
    }
}

// ---- Keys -----------------------------------------------------------------------

int Sniff(char, int, char, void* refcon)
{
    ++*static_cast<int*>(refcon);
    return 1;  // not consumed: the key goes on
}

void HotKey(void*) {}

// A key that no hot key is bound to, through count sniffers that all pass
// it on and past count hot keys: the whole of stage 0.
void KeyPress(benchmark::State& state, int count)
{
    StartedLibrary library;
    std::vector<int> sniffed(count, 0);
    for (int i = 0; i < count; ++i) {
        VORNRegisterKeySniffer(Sniff, 1, &sniffed[i]);
        VORNRegisterHotKey(static_cast<char>('A' + i % 26), 0, "bench", HotKey, nullptr);
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(VORNKeyPressHook('1', 0, '1', 0));
    if (sniffed.front() != static_cast<int>(state.iterations()))
        state.SkipWithError("a sniffer missed the key");
    VORNBenchItems(state, count);
}

void PlainSniffers(benchmark::State& state, int count)
{
    std::vector<int> sniffed(count, 0);
    std::vector<std::pair<VORNKeySniffer_f, void*>> calls;
    for (int& c : sniffed)
        calls.emplace_back(Sniff, &c);
    benchmark::DoNotOptimize(calls.data());
    for (auto _ : state) {
        for (const auto& call : calls) {
            if (call.first('1', 0, '1', call.second) == 0)
                break;
        }
        benchmark::ClobberMemory();
    }
    VORNBenchItems(state, count);
}

// ---- Windows --------------------------------------------------------------------

constexpr int kWindowSize = 10;

int TakeClick(VORNWindowID, int, int, int, void* refcon)
{
    ++*static_cast<int*>(refcon);
    return 1;
}

// count visible windows side by side on a grid, the first one created (the
// back-most) at the origin. Returns their ids, oldest first.
std::vector<VORNWindowID> OpenWindows(int count, int* clicks)
{
    std::vector<VORNWindowID> windows;
    for (int i = 0; i < count; ++i) {
        const int left = (i % 64) * kWindowSize;
        const int bottom = (i / 64) * kWindowSize;
        windows.push_back(VORNCreateWindow(left, bottom + kWindowSize, left + kWindowSize, bottom,
                                           1, nullptr, nullptr, TakeClick, clicks));
    }
    return windows;
}

// A click (down and up) on the back-most window: every window in front of
// it is tested first.
void ClickBehind(benchmark::State& state, int count)
{
    StartedLibrary library;
    int clicks = 0;
    OpenWindows(count, &clicks);
    for (auto _ : state) {
        VORNMouseClickHook(1, 1, 1);
        VORNMouseClickHook(1, 1, 0);
    }
    if (clicks != 2 * static_cast<int>(state.iterations()))
        state.SkipWithError("the window did not get the down and the up");
    VORNBenchItems(state, count);
}

// A plug-in's window calls with count windows open: one read, one write.
void WindowCalls(benchmark::State& state, int count)
{
    StartedLibrary library;
    int clicks = 0;
    const std::vector<VORNWindowID> windows = OpenWindows(count, &clicks);
    VORNWindowID middle = windows[windows.size() / 2];
    for (auto _ : state) {
        benchmark::DoNotOptimize(VORNGetWindowRefCon(middle));
        VORNSetWindowGeometry(middle, 0, 10, 10, 0);
    }
    if (VORNGetWindowRefCon(middle) != &clicks)
        state.SkipWithError("the window was not found");
}

void RegisterInput()
{
    for (int count : {10, 100, 1000}) {
        VORNBenchPair(
            "Display/KeyPress/" + std::to_string(count), 0.0,
            [count](benchmark::State& state) { KeyPress(state, count); },
            [count](benchmark::State& state) { PlainSniffers(state, count); });
    }
    for (int count : {20, 200, 2000}) {
        const std::string size = "/" + std::to_string(count);
        VORNBenchPath("Display/MouseClick" + size,
                      [count](benchmark::State& state) { ClickBehind(state, count); });
        VORNBenchPath("Display/WindowCalls" + size,
                      [count](benchmark::State& state) { WindowCalls(state, count); });
    }
}

const bool gRegistered = [] {
    RegisterDrawing();
    RegisterInput();
    return true;
}();

}  // namespace
}  // namespace vornbench
