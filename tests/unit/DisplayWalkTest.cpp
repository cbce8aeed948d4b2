// The window and hot-key walk markers the API cannot see: up inside a walk,
// down after every walk, nested or left early by a removal.

#include "LibraryFixture.h"
#include "WindowProbe.h"

#include <gtest/gtest.h>

using namespace vorntest;

namespace {

class DisplayWalkTest : public LibraryTest {};

TEST_F(DisplayWalkTest, WalkMarkersAreUpInsideAndDownAfterNestedWalks)
{
    VORNRegisterHostPlugin();
    WinProbe front("front"), back("back");
    OpenProbeWindow(back, 0, 10, 10, 0);
    OpenProbeWindow(front, 0, 10, 10, 0);
    std::vector<bool> seen;
    front.mouseResult = 0;
    front.onMouse = [&](int) {
        seen.push_back(VORNWindowWalksRunning());
        VORNDisplayCursorHook(5, 5);
        VORNDestroyWindow(front.id);
    };
    Cb hot("hot");
    VORNHotKeyID id = VORNRegisterHotKey('G', 0, "", ProbeHotKey, &hot);
    hot.action = [&] {
        seen.push_back(VORNHotKeyWalksRunning());
        VORNUnregisterHotKey(id);
    };
    VORNDisplayMouseClickHook(5, 5, 1);
    VORNDisplayKeyPressHook('g', 0, 'G', 0);
    EXPECT_EQ(seen, std::vector<bool>({true, true}));
    EXPECT_FALSE(VORNWindowWalksRunning());
    EXPECT_FALSE(VORNHotKeyWalksRunning());
    EXPECT_EQ(VORNLiveWindowCount(), 1);
}

}  // namespace
