// VORNProfile.cpp - time accounting: what each plug-in's calls cost, per kind
// of call and per frame, the budget warning and the host's call observer.
//
// Every call into plug-in code goes through VORNCallPlugin, which comes here
// only while accounting is on: VORNTimingBegin when the plug-in is entered,
// VORNTimingEnd when it is left. Calls nest (a flight loop reads another
// plug-in's data accessor), so the running calls form a stack; each call's
// self time is its wall time less the wall time of the calls nested in it,
// and the bookkeeping of a nested call counts as nested time too.

#include "VORNProfileInternal.h"

#include "VORNDLLUtils.h"
#include "VORNLoaderInternal.h"

#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#define VORN_SAME_KIND(internal, published) \
    static_assert(static_cast<int>(VORNCallKind::internal) == (published), #published)
VORN_SAME_KIND(kStart, VORN_CALL_START);
VORN_SAME_KIND(kEnable, VORN_CALL_ENABLE);
VORN_SAME_KIND(kDisable, VORN_CALL_DISABLE);
VORN_SAME_KIND(kStop, VORN_CALL_STOP);
VORN_SAME_KIND(kErrorCallback, VORN_CALL_ERROR_CALLBACK);
VORN_SAME_KIND(kFeatureEnumerator, VORN_CALL_FEATURE_ENUMERATOR);
VORN_SAME_KIND(kMessage, VORN_CALL_MESSAGE);
VORN_SAME_KIND(kFlightLoop, VORN_CALL_FLIGHT_LOOP);
VORN_SAME_KIND(kDraw, VORN_CALL_DRAW);
VORN_SAME_KIND(kKeySniffer, VORN_CALL_KEY_SNIFFER);
VORN_SAME_KIND(kWindowDraw, VORN_CALL_WINDOW_DRAW);
VORN_SAME_KIND(kMouseClick, VORN_CALL_MOUSE_CLICK);
VORN_SAME_KIND(kKey, VORN_CALL_KEY);
VORN_SAME_KIND(kCursor, VORN_CALL_CURSOR);
VORN_SAME_KIND(kWheel, VORN_CALL_WHEEL);
VORN_SAME_KIND(kHotKey, VORN_CALL_HOT_KEY);
VORN_SAME_KIND(kMenu, VORN_CALL_MENU);
VORN_SAME_KIND(kCommand, VORN_CALL_COMMAND);
VORN_SAME_KIND(kDataAccessor, VORN_CALL_DATA_ACCESSOR);
VORN_SAME_KIND(kSharedData, VORN_CALL_SHARED_DATA);
VORN_SAME_KIND(kCamera, VORN_CALL_CAMERA);
VORN_SAME_KIND(kPlanes, VORN_CALL_PLANES);
VORN_SAME_KIND(kObjectLoaded, VORN_CALL_OBJECT_LOADED);
#undef VORN_SAME_KIND

namespace {

const char* const kKindNames[VORN_CALL_KIND_COUNT] = {
    "start",   "enable", "disable",     "stop",      "error callback", "feature enumerator",
    "message", "flight loop", "draw",   "key sniffer", "window draw",  "mouse click",
    "key",     "cursor", "wheel",       "hot key",   "menu",           "command",
    "data accessor", "shared data", "camera", "planes", "object loaded",
};

// ---- The histogram ---------------------------------------------------------------
// Four bins per power of two of nanoseconds: a bin is at most a quarter of
// its lower edge wide, so a percentile read off it is within 25% (19% of
// the upper edge). 0 to 3 ns have a bin each.
const int kBinsPerOctave = 4;
const int kBinCount = 64 * kBinsPerOctave;

int BinOf(int64_t ns)
{
    if (ns < kBinsPerOctave)
        return ns < 0 ? 0 : static_cast<int>(ns);
    const int octave = 63 - __builtin_clzll(static_cast<uint64_t>(ns));
    const int sub = static_cast<int>((ns >> (octave - 2)) & (kBinsPerOctave - 1));
    return octave * kBinsPerOctave + sub;
}

int64_t UpperEdge(int bin)
{
    if (bin < kBinsPerOctave)
        return bin;
    const int octave = bin / kBinsPerOctave;
    const int64_t width = int64_t{1} << (octave - 2);
    return (kBinsPerOctave + bin % kBinsPerOctave) * width + width - 1;
}

// ---- The figures -----------------------------------------------------------------

struct KindFigures {
    VORNCallKind kind;
    int32_t phase;
    int32_t before;
    std::string label;
    int64_t calls = 0;
    int64_t totalNs = 0;
    int64_t maxNs = 0;
    int64_t overBudget = 0;
    bool warned = false;  // the budget warning was logged
    uint32_t bins[kBinCount] = {};
};

struct PluginFigures {
    // In the order first called; at stable addresses, so that a label
    // handed to the observer survives whatever the observer calls.
    std::vector<std::unique_ptr<KindFigures>> kinds;
    int64_t frameNs = 0;  // in the frame that is running
    int64_t lastFrameNs = 0;
    int64_t largestFrameNs = 0;
    int64_t largestFrame = -1;
    int64_t totalNs = 0;
};

struct Figures {
    std::vector<PluginFigures> plugins;  // by plug-in id
    bool frameOpen = false;              // an event 0 was seen since they were dropped
    int64_t frames = 0;                  // frames completed
};

struct RunningCall {
    int64_t startNs;
    int64_t nestedNs;  // wall time of the calls nested in it, bookkeeping included
};

// Deeper calls are left untimed (and their time stays in the call around them).
const int kMaxDepth = 64;

struct ProfileState {
    int64_t budgetNs = 0;  // 0: none
    VORNCallObserver_f observer = nullptr;
    void* observerRefcon = nullptr;
    Figures figures;
    RunningCall running[kMaxDepth] = {};
    int depth = 0;  // calls entered and not left; may pass kMaxDepth
    // The phase of the flight-loop pass that runs: flight loops do not tell
    // it themselves, the host event that runs the pass does.
    int32_t passPhase = 0;
};
ProfileState gProfile;

int64_t Now()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

std::string Label(VORNCallKind kind, int32_t phase, int32_t before)
{
    std::string label = kKindNames[static_cast<int>(kind)];
    if (kind == VORNCallKind::kFlightLoop)
        label += " (phase " + std::to_string(phase) + ")";
    else if (kind == VORNCallKind::kDraw)
        label += " (phase " + std::to_string(phase) + (before != 0 ? ", before)" : ", after)");
    return label;
}

KindFigures& FiguresFor(PluginFigures& plugin, VORNCallKind kind, int32_t phase, int32_t before)
{
    for (const auto& figures : plugin.kinds) {
        if (figures->kind == kind && figures->phase == phase && figures->before == before)
            return *figures;
    }
    auto figures = std::make_unique<KindFigures>();
    figures->kind = kind;
    figures->phase = phase;
    figures->before = before;
    figures->label = Label(kind, phase, before);
    plugin.kinds.push_back(std::move(figures));
    return *plugin.kinds.back();
}

PluginFigures* PluginFiguresFor(int id)
{
    if (id < 0)
        return nullptr;
    std::vector<PluginFigures>& plugins = gProfile.figures.plugins;
    if (static_cast<size_t>(id) >= plugins.size())
        plugins.resize(static_cast<size_t>(id) + 1);
    return &plugins[static_cast<size_t>(id)];
}

std::string Milliseconds(int64_t ns, const char* format)
{
    char text[64];
    std::snprintf(text, sizeof text, format, static_cast<double>(ns) / 1e6);
    return text;
}

// Logs the first call of a kind that ran over the budget, as the plug-in
// that made it (the call function keeps it dispatched until it returns).
void WarnOverBudget(const KindFigures& figures, int64_t selfNs)
{
    const std::string text = figures.label + " took " + Milliseconds(selfNs, "%.3f") +
                             " ms, over the budget of " + Milliseconds(gProfile.budgetNs, "%g") +
                             " ms";
    VORNLogPluginWarning(text.c_str());
}

void Record(VORNCallKind kind, int owner, int32_t phase, int32_t before, const RunningCall& call,
            int64_t elapsedNs, int64_t selfNs, int depth)
{
    PluginFigures* plugin = PluginFiguresFor(owner);
    if (plugin == nullptr)
        return;
    KindFigures& figures = FiguresFor(*plugin, kind, phase, before);
    ++figures.calls;
    figures.totalNs += selfNs;
    figures.maxNs = std::max(figures.maxNs, selfNs);
    ++figures.bins[BinOf(selfNs)];
    plugin->totalNs += selfNs;
    if (gProfile.figures.frameOpen)
        plugin->frameNs += selfNs;
    if (gProfile.budgetNs > 0 && selfNs > gProfile.budgetNs) {
        ++figures.overBudget;
        if (!figures.warned) {
            figures.warned = true;
            WarnOverBudget(figures, selfNs);
        }
    }
    if (gProfile.observer != nullptr) {
        const VORNCallTiming timing = {sizeof(VORNCallTiming), owner, static_cast<int32_t>(kind),
                                       phase, before, depth, figures.label.c_str(),
                                       call.startNs, elapsedNs, selfNs};
        gProfile.observer(&timing, gProfile.observerRefcon);
    }
}

// The upper edge of the bin that holds the share-th part of the calls, at
// most the largest time.
int64_t Percentile(const KindFigures& figures, double share)
{
    const int64_t wanted =
        std::max<int64_t>(1, static_cast<int64_t>(std::ceil(share * figures.calls)));
    int64_t seen = 0;
    for (int bin = 0; bin < kBinCount; ++bin) {
        seen += figures.bins[bin];
        if (seen >= wanted)
            return std::min(UpperEdge(bin), figures.maxNs);
    }
    return figures.maxNs;
}

const PluginFigures* KnownPluginFigures(int id)
{
    const auto& plugins = gProfile.figures.plugins;
    return id >= 0 && static_cast<size_t>(id) < plugins.size() ? &plugins[static_cast<size_t>(id)]
                                                              : nullptr;
}

}  // namespace

// ---- The call function's side --------------------------------------------------------

// VORNTimingBegin for VORNTimingBeginKeepingRegisters: saves every register
// a C function may change (the general ones and xmm0-15), calls it on an
// aligned stack, and restores them.
asm(R"(
    .text
    .p2align 4
    .globl VORNTimingBeginSavingRegisters
    .hidden VORNTimingBeginSavingRegisters
    .type VORNTimingBeginSavingRegisters, @function
VORNTimingBeginSavingRegisters:
    .cfi_startproc
    push %rbp
    .cfi_def_cfa_offset 16
    .cfi_offset %rbp, -16
    mov %rsp, %rbp
    .cfi_def_cfa_register %rbp
    push %rax
    push %rcx
    push %rdx
    push %rsi
    push %rdi
    push %r8
    push %r9
    push %r10
    push %r11
    sub $256, %rsp
    and $-16, %rsp
    movdqa %xmm0, 0(%rsp)
    movdqa %xmm1, 16(%rsp)
    movdqa %xmm2, 32(%rsp)
    movdqa %xmm3, 48(%rsp)
    movdqa %xmm4, 64(%rsp)
    movdqa %xmm5, 80(%rsp)
    movdqa %xmm6, 96(%rsp)
    movdqa %xmm7, 112(%rsp)
    movdqa %xmm8, 128(%rsp)
    movdqa %xmm9, 144(%rsp)
    movdqa %xmm10, 160(%rsp)
    movdqa %xmm11, 176(%rsp)
    movdqa %xmm12, 192(%rsp)
    movdqa %xmm13, 208(%rsp)
    movdqa %xmm14, 224(%rsp)
    movdqa %xmm15, 240(%rsp)
    call VORNTimingBegin
    movdqa 0(%rsp), %xmm0
    movdqa 16(%rsp), %xmm1
    movdqa 32(%rsp), %xmm2
    movdqa 48(%rsp), %xmm3
    movdqa 64(%rsp), %xmm4
    movdqa 80(%rsp), %xmm5
    movdqa 96(%rsp), %xmm6
    movdqa 112(%rsp), %xmm7
    movdqa 128(%rsp), %xmm8
    movdqa 144(%rsp), %xmm9
    movdqa 160(%rsp), %xmm10
    movdqa 176(%rsp), %xmm11
    movdqa 192(%rsp), %xmm12
    movdqa 208(%rsp), %xmm13
    movdqa 224(%rsp), %xmm14
    movdqa 240(%rsp), %xmm15
    lea -72(%rbp), %rsp
    pop %r11
    pop %r10
    pop %r9
    pop %r8
    pop %rdi
    pop %rsi
    pop %rdx
    pop %rcx
    pop %rax
    pop %rbp
    .cfi_def_cfa %rsp, 8
    ret
    .cfi_endproc
    .size VORNTimingBeginSavingRegisters, .-VORNTimingBeginSavingRegisters
)");

extern "C" void VORNTimingBegin() noexcept
{
    const int64_t now = Now();
    if (gProfile.depth < kMaxDepth)
        gProfile.running[gProfile.depth] = {now, 0};
    ++gProfile.depth;
}

void VORNTimingEnd(VORNCallKind kind, int32_t phase, int32_t before) noexcept
{
    const int64_t end = Now();
    const int owner = gDispatchedPlugin;
    if (gProfile.depth <= 0)  // the library was reset under the call
        return;
    const int depth = --gProfile.depth;
    if (depth >= kMaxDepth)
        return;
    const RunningCall call = gProfile.running[depth];
    const int64_t elapsedNs = end - call.startNs;
    const int64_t selfNs = std::max<int64_t>(elapsedNs - call.nestedNs, 0);
    if (kind == VORNCallKind::kFlightLoop)
        phase = gProfile.passPhase;
    VORNNoThrow([&] { Record(kind, owner, phase, before, call, elapsedNs, selfNs, depth); });
    if (depth > 0)
        gProfile.running[depth - 1].nestedNs += Now() - call.startNs;
}

// ---- The library's side -------------------------------------------------------------

void VORNTimingHostEvent(int event)
{
    if (event == 10) {
        gProfile.passPhase = 1;
        return;
    }
    if (event != 0)
        return;
    gProfile.passPhase = 0;
    Figures& figures = gProfile.figures;
    for (PluginFigures& plugin : figures.plugins) {
        if (figures.frameOpen) {
            plugin.lastFrameNs = plugin.frameNs;
            if (plugin.largestFrame < 0 || plugin.frameNs > plugin.largestFrameNs) {
                plugin.largestFrameNs = plugin.frameNs;
                plugin.largestFrame = figures.frames;
            }
        }
        plugin.frameNs = 0;
    }
    if (figures.frameOpen)
        ++figures.frames;
    figures.frameOpen = true;
}

void VORNTimingForgetPlugins()
{
    gProfile.figures = Figures();
}

void VORNResetProfile()
{
    gProfile = ProfileState();
    gDiagnostics &= static_cast<uint8_t>(~kDiagnoseTiming);
}

// ---- The host's exports --------------------------------------------------------------

VORN_EXPORT void VORNSetTimeAccounting(int on)
{
    if (on != 0 && !VORNTimingOn()) {
        gDiagnostics |= kDiagnoseTiming;
        // Frames count from the first event 0 seen with accounting on.
        gProfile.figures.frameOpen = false;
        for (PluginFigures& plugin : gProfile.figures.plugins)
            plugin.frameNs = 0;
    } else if (on == 0) {
        gDiagnostics &= static_cast<uint8_t>(~kDiagnoseTiming);
    }
}

VORN_EXPORT void VORNResetTimeAccounting(void)
{
    // The running calls stay: they are still to be left.
    VORNTimingForgetPlugins();
}

VORN_EXPORT void VORNSetFrameBudget(float milliseconds)
{
    // A budget no call can exceed (infinite, or past what the clock counts)
    // is no budget either.
    const double ns = static_cast<double>(milliseconds) * 1e6;
    gProfile.budgetNs = ns >= 1.0 && ns < 9e18 ? static_cast<int64_t>(ns) : 0;
}

VORN_EXPORT int VORNGetPluginCallTimes(VORNPluginID id, int index, VORNCallTimes* out)
{
    const PluginFigures* plugin = KnownPluginFigures(id);
    if (out == nullptr || out->structSize != static_cast<int32_t>(sizeof(VORNCallTimes)) ||
        VORNPluginRecordFor(id) == nullptr || plugin == nullptr || index < 0 ||
        static_cast<size_t>(index) >= plugin->kinds.size())
        return 0;
    const KindFigures& figures = *plugin->kinds[static_cast<size_t>(index)];
    VORNCallTimes times{};
    times.structSize = sizeof times;
    times.kind = static_cast<int32_t>(figures.kind);
    times.phase = figures.phase;
    times.before = figures.before;
    strcpytrunc(times.label, figures.label, sizeof times.label);
    times.calls = figures.calls;
    times.totalNs = figures.totalNs;
    times.maxNs = figures.maxNs;
    times.p50Ns = Percentile(figures, 0.50);
    times.p95Ns = Percentile(figures, 0.95);
    times.p99Ns = Percentile(figures, 0.99);
    times.overBudget = figures.overBudget;
    *out = times;
    return 1;
}

VORN_EXPORT int VORNGetPluginFrameTimes(VORNPluginID id, VORNFrameTimes* out)
{
    if (out == nullptr || out->structSize != static_cast<int32_t>(sizeof(VORNFrameTimes)) ||
        VORNPluginRecordFor(id) == nullptr)
        return 0;
    VORNFrameTimes times{};
    times.structSize = sizeof times;
    times.frames = gProfile.figures.frames;
    times.largestFrame = -1;
    if (const PluginFigures* plugin = KnownPluginFigures(id)) {
        times.lastFrameNs = plugin->lastFrameNs;
        times.largestFrameNs = plugin->largestFrameNs;
        times.largestFrame = plugin->largestFrame;
        times.totalNs = plugin->totalNs;
    }
    *out = times;
    return 1;
}

VORN_EXPORT void VORNSetCallObserver(VORNCallObserver_f observer, void* refcon)
{
    gProfile.observer = observer;
    gProfile.observerRefcon = observer != nullptr ? refcon : nullptr;
}
