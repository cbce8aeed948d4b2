// WindowFixture.h - a fresh library with the host and two enabled plug-ins
// (a = 1, b = 2) and three probe windows to open as either of them.
#ifndef VORN_TEST_WINDOW_FIXTURE_H
#define VORN_TEST_WINDOW_FIXTURE_H

#include "LibraryFixture.h"
#include "WindowProbe.h"

namespace vorntest {

class WindowFixture : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        gWindowCalls.clear();
        gWindowNames.clear();
        VORNRegisterHostPlugin();
        a = AddPlugin("A", "t.a");
        b = AddPlugin("B", "t.b");
    }

    // Opens p's window as plug-in owner; the default rectangle is 0..100.
    VORNWindowID Open(int owner, WinProbe& p, int left = 0, int top = 100, int right = 100,
                      int bottom = 0)
    {
        StDispatchCallback as(owner);
        return OpenProbeWindow(p, left, top, right, bottom);
    }

    // Live windows in the list.
    int WindowCount() { return VORNLiveWindowCount(); }

    int a = 0, b = 0;
    WinProbe w1{"w1"}, w2{"w2"}, w3{"w3"};
};

}  // namespace vorntest

#endif
