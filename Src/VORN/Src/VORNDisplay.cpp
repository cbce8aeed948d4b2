// VORNDisplay.cpp - the display subsystem's entry: the host's drawing steps
// and input events, handed to the draw callbacks and key sniffers
// (VORNDisplayDraw.cpp), the windows (VORNDisplayWindows.cpp) and the hot
// keys (VORNDisplayHotKeys.cpp), and the lifecycle hooks that span them.

#include "VORNDisplayInternal.h"

#include <cstdint>

namespace {

// What a host drawing step runs: one "before" or "after" dispatch of its
// phase, both in a row (with the "before" result or always 1), or the window
// step.
enum DrawStepKind { kBefore, kAfter, kBeforeAfter, kBeforeAfterResultOne, kWindowStep };

struct DrawStep {
    int32_t phase;
    DrawStepKind kind;
};

// Host steps 1 to 26. Steps 21/22 serve phase 101 and 23/24 phase 100: the
// host draws 101 first.
const DrawStep kDrawSteps[] = {
    {0, kBeforeAfter},           {5, kBefore},   {5, kAfter},    {10, kBefore},
    {10, kAfter},                {15, kBefore},  {15, kAfter},   {20, kBefore},
    {20, kAfter},                {25, kBefore},  {25, kAfter},   {30, kBeforeAfterResultOne},
    {35, kBeforeAfter},          {40, kBefore},  {40, kAfter},   {45, kBefore},
    {45, kAfter},                {55, kBeforeAfterResultOne},    {50, kBefore},
    {50, kWindowStep},           {101, kBefore}, {101, kAfter},  {100, kBefore},
    {100, kAfter},               {102, kBefore}, {102, kAfter},
};
static_assert(sizeof kDrawSteps / sizeof kDrawSteps[0] == 26, "the host has 26 drawing steps");

int RunDrawStep(const DrawStep& step, int reflectionFlag)
{
    switch (step.kind) {
    case kBefore:
        return VORNDispatchDrawingHook(step.phase, 1, reflectionFlag);
    case kAfter:
        VORNDispatchDrawingHook(step.phase, 0, reflectionFlag);
        return 1;
    case kBeforeAfter: {
        const int before = VORNDispatchDrawingHook(step.phase, 1, reflectionFlag);
        VORNDispatchDrawingHook(step.phase, 0, reflectionFlag);
        return before;
    }
    case kBeforeAfterResultOne:
        VORNDispatchDrawingHook(step.phase, 1, reflectionFlag);
        VORNDispatchDrawingHook(step.phase, 0, reflectionFlag);
        return 1;
    case kWindowStep:
        VORNDispatchWindowMouseDrag();  // one drag event per frame, moved or not
        VORNDispatchWindowDraw();
        VORNDispatchDrawingHook(step.phase, 0, reflectionFlag);
        return 1;
    }
    return 1;
}

}  // namespace

// ---- Host entry points ---------------------------------------------------------------

int VORNDisplayDoDrawingHook(int step, int reflectionFlag)
{
    if (step < 1 || step > 26)
        return 1;
    return RunDrawStep(kDrawSteps[step - 1], reflectionFlag);
}

int VORNDisplayMouseClickHook(int x, int y, int status)
{
    return VORNDispatchWindowMouseClick(x, y, status);
}

void VORNDisplayMouseDragHook()
{
    VORNDispatchWindowMouseDrag();
}

int VORNDisplayKeyPressHook(char key, int flags, char virtualKey, int stage)
{
    if (key == 0 && flags == 0 && virtualKey == 0)
        return 1;
    switch (stage) {
    case 0:
        if (VORNDispatchKeySniffers(key, flags, virtualKey, true) == 0)
            return 0;
        return VORNDispatchHotKeys(virtualKey, flags);
    case 1:
        return VORNDispatchWindowKey(key, flags, virtualKey);
    case 2:
        return VORNDispatchKeySniffers(key, flags, virtualKey, false);
    default:
        return 1;
    }
}

int VORNDisplayCursorHook(int x, int y)
{
    return VORNDispatchWindowCursor(x, y);
}

int VORNDisplayScrollWheelHook(int x, int y, int wheel, int clicks)
{
    return VORNDispatchWindowScrollWheel(x, y, wheel, clicks);
}

// ---- Disable, clean-up, inventory and reset --------------------------------------------

void VORNDisplayDisableHook(int id)
{
    VORNWindowDisableHook(id);
}

void VORNDisplayCleanupHook(int id)
{
    VORNDrawCleanupHook(id);
    VORNWindowCleanupHook(id);
    VORNHotKeyCleanupHook(id);
}

void VORNCountDisplayHoldings(int id, VORNPluginInventory* inventory)
{
    VORNCountDrawHoldings(id, inventory);
    VORNCountWindowHoldings(id, inventory);
    VORNCountHotKeyHoldings(id, inventory);
}

void VORNResetDisplay()
{
    VORNResetDraw();
    VORNResetWindows();
    VORNResetHotKeys();
}
