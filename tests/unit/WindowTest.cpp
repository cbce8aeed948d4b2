// Windows: creation records, id checks, z-order, keyboard focus and the
// callbacks that move the focus or destroy windows while it moves.

#include "WindowFixture.h"

#include <gmock/gmock.h>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class WindowTest : public WindowFixture {
protected:
    void Focus(int caller, VORNWindowID window)
    {
        StDispatchCallback as(caller);
        VORNTakeKeyboardFocus(window);
    }
};

int CountingMouse(VORNWindowID, int, int, int, void* refcon)
{
    gWindowCalls.push_back(std::string(static_cast<const char*>(refcon)) + " mouse");
    return 1;
}

void CountingKey(VORNWindowID, char, int, char, void* refcon, int)
{
    gWindowCalls.push_back(std::string(static_cast<const char*>(refcon)) + " key");
}

TEST_F(WindowTest, TheExtendedFormWantsExactly72Bytes)
{
    VORNCreateWindow_t params = {};
    params.structSize = 71;
    EXPECT_EQ(VORNCreateWindowEx(&params), nullptr);
    params.structSize = 73;
    EXPECT_EQ(VORNCreateWindowEx(&params), nullptr);
    EXPECT_EQ(VORNCreateWindowEx(nullptr), nullptr);
    EXPECT_EQ(WindowCount(), 0);
    params.structSize = 72;
    EXPECT_NE(VORNCreateWindowEx(&params), nullptr);
    EXPECT_EQ(WindowCount(), 1);
    EXPECT_THAT(host->calls, IsEmpty()) << "creation tells the host nothing";
}

TEST_F(WindowTest, CallbacksAreCopiedByNameInBothForms)
{
    char exName[] = "ex";
    char plainName[] = "plain";
    VORNCreateWindow_t params = {};
    params.structSize = sizeof params;
    params.left = 0, params.top = 10, params.right = 10, params.bottom = 0, params.visible = 1;
    params.handleMouseClickFunc = CountingMouse;
    params.handleKeyFunc = CountingKey;
    params.refcon = exName;
    VORNWindowID ex = VORNCreateWindowEx(&params);
    VORNWindowID plain =
        VORNCreateWindow(20, 30, 30, 20, 1, nullptr, CountingKey, CountingMouse, plainName);

    VORNDisplayMouseClickHook(5, 5, 1);
    VORNDisplayMouseClickHook(25, 25, 1);
    VORNTakeKeyboardFocus(ex);
    VORNDisplayKeyPressHook('a', 0, 'A', 1);
    VORNTakeKeyboardFocus(plain);
    VORNDisplayKeyPressHook('a', 0, 'A', 1);
    EXPECT_THAT(gWindowCalls,
                ElementsAre("ex mouse", "plain mouse", "ex key", "ex key" /* losing */, "plain key"));
}

TEST_F(WindowTest, TheExtendedFormKeepsItsFieldOffsets)
{
    EXPECT_EQ(sizeof(VORNCreateWindow_t), 72u);
    EXPECT_EQ(offsetof(VORNCreateWindow_t, left), 4u);
    EXPECT_EQ(offsetof(VORNCreateWindow_t, bottom), 16u);
    EXPECT_EQ(offsetof(VORNCreateWindow_t, handleMouseClickFunc), 32u);
    EXPECT_EQ(offsetof(VORNCreateWindow_t, handleKeyFunc), 40u);
    EXPECT_EQ(offsetof(VORNCreateWindow_t, refcon), 64u);
}

TEST_F(WindowTest, GeometryVisibilityAndRefconAreStoredAsGiven)
{
    VORNWindowID w = Open(a, w1);
    VORNSetWindowGeometry(w, 50, -5, 10, 20);
    int l = 0, t = 0, r = 0, bt = 0;
    VORNGetWindowGeometry(w, &l, &t, &r, &bt);
    EXPECT_EQ(l, 50);
    EXPECT_EQ(t, -5);
    EXPECT_EQ(r, 10);
    EXPECT_EQ(bt, 20);
    VORNGetWindowGeometry(w, nullptr, &t, nullptr, nullptr);
    VORNSetWindowIsVisible(w, 7);
    EXPECT_EQ(VORNGetWindowIsVisible(w), 7);
    int other = 0;
    VORNSetWindowRefCon(w, &other);
    EXPECT_EQ(VORNGetWindowRefCon(w), &other);
}

TEST_F(WindowTest, UnknownAndStaleIdsAreIgnoredSilently)
{
    int outside = 0;
    VORNWindowID stale = Open(a, w1);
    VORNDestroyWindow(stale);
    host->ClearRecord();
    for (VORNWindowID id : {stale, static_cast<VORNWindowID>(&outside), VORNWindowID(nullptr)}) {
        int l = -1, t = -1, r = -1, bt = -1;
        VORNGetWindowGeometry(id, &l, &t, &r, &bt);
        EXPECT_EQ(l + t + r + bt, -4) << "out-pointers stay unwritten";
        EXPECT_EQ(VORNGetWindowIsVisible(id), 0);
        EXPECT_EQ(VORNGetWindowRefCon(id), nullptr);
        EXPECT_EQ(VORNIsWindowInFront(id), 0);
        VORNSetWindowGeometry(id, 1, 2, 3, 4);
        VORNSetWindowIsVisible(id, 0);
        VORNSetWindowRefCon(id, nullptr);
        VORNBringWindowToFront(id);
        VORNDestroyWindow(id);
    }
    EXPECT_EQ(outside, 0);
    EXPECT_THAT(host->calls, IsEmpty());
    EXPECT_EQ(WindowCount(), 0);
    EXPECT_FALSE(VORNWindowWalksRunning());
}

TEST_F(WindowTest, NewerWindowsAreInFrontUntilRaisedOrHidden)
{
    VORNWindowID older = Open(a, w1);
    VORNWindowID newer = Open(b, w2);
    EXPECT_EQ(VORNIsWindowInFront(newer), 1);
    EXPECT_EQ(VORNIsWindowInFront(older), 0);
    VORNBringWindowToFront(older);
    EXPECT_EQ(VORNIsWindowInFront(older), 1);
    VORNBringWindowToFront(newer);
    VORNSetWindowIsVisible(newer, 0);
    EXPECT_EQ(VORNIsWindowInFront(older), 1) << "hidden windows in front do not count";
    EXPECT_EQ(VORNIsWindowInFront(newer), 0) << "a hidden window is never in front";
    VORNSetWindowIsVisible(older, 0);
    EXPECT_EQ(VORNIsWindowInFront(older), 0);
    EXPECT_EQ(WindowCount(), 2);
}

TEST_F(WindowTest, WindowsCreatedAfterADrawingPassStillGoToTheFront)
{
    VORNWindowID first = Open(a, w1);
    Open(a, w2);
    VORNDisplayDoDrawingHook(20, 0);  // leaves the walk on the back-most window
    VORNWindowID third = Open(a, w3);
    EXPECT_EQ(VORNIsWindowInFront(third), 1);
    EXPECT_EQ(WindowCount(), 3);
    VORNBringWindowToFront(first);
    gWindowCalls.clear();
    VORNDisplayDoDrawingHook(20, 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("w2 draw/1", "w3 draw/1", "w1 draw/1"));
}

TEST_F(WindowTest, TakingFocusTellsTheLosingWindowWithTheCallersArgument)
{
    VORNWindowID one = Open(a, w1);
    VORNWindowID two = Open(b, w2);
    Focus(a, one);
    EXPECT_THAT(host->CallsNamed("TakeKeyboardFocus"), ElementsAre("TakeKeyboardFocus(1)"));
    EXPECT_THAT(gWindowCalls, IsEmpty());
    Focus(a, one);
    EXPECT_EQ(host->CountCalls("TakeKeyboardFocus"), 1u) << "taking it again does nothing";
    Focus(b, two);
    Focus(b, nullptr);
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 key 0 0 0 lose1 arg=w2/1", "w2 key 0 0 0 lose1 arg=null/2"));
    EXPECT_THAT(host->CallsNamed("TakeKeyboardFocus"),
                ElementsAre("TakeKeyboardFocus(1)", "TakeKeyboardFocus(1)", "TakeKeyboardFocus(0)"));
    EXPECT_EQ(VORNFocusWindow(), nullptr);
}

TEST_F(WindowTest, AStaleIdTakesTheFocusBackToTheHost)
{
    VORNWindowID one = Open(a, w1);
    VORNWindowID gone = Open(a, w2);
    VORNDestroyWindow(gone);
    Focus(a, one);
    Focus(a, gone);
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 key 0 0 0 lose1 arg=w2/1"));
    EXPECT_EQ(host->CallsNamed("TakeKeyboardFocus").back(), "TakeKeyboardFocus(0)");
    EXPECT_EQ(VORNFocusWindow(), nullptr);
}

TEST_F(WindowTest, ADisabledPluginsWindowCannotTakeTheFocusButLosesItSilently)
{
    VORNWindowID one = Open(a, w1);
    VORNWindowID two = Open(b, w2);
    Focus(a, one);
    Record(a).enabled = false;
    Focus(b, two);
    EXPECT_THAT(gWindowCalls, IsEmpty()) << "the disabled owner is not called";
    EXPECT_EQ(VORNFocusWindow(), two);
    Focus(b, one);
    EXPECT_EQ(VORNFocusWindow(), two) << "a disabled plug-in's window cannot take it";
    EXPECT_EQ(host->CountCalls("TakeKeyboardFocus"), 2u);
}

TEST_F(WindowTest, DestroyingTheFocusedWindowTellsItOnceAndGivesTheHostTheKeyboard)
{
    VORNWindowID one = Open(a, w1);
    Focus(a, one);
    host->ClearRecord();
    VORNDestroyWindow(one);
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 key 0 0 0 lose1 arg=null/1"));
    EXPECT_THAT(host->CallsNamed("TakeKeyboardFocus"), ElementsAre("TakeKeyboardFocus(0)"));
    EXPECT_EQ(WindowCount(), 0);
}

TEST_F(WindowTest, HidingTheFocusedWindowRemovesTheFocusHidingAnotherDoesNot)
{
    VORNWindowID one = Open(a, w1);
    VORNWindowID two = Open(a, w2);
    Focus(a, one);
    VORNSetWindowIsVisible(two, 0);
    VORNSetWindowIsVisible(two, 1);
    EXPECT_EQ(VORNFocusWindow(), one) << "showing never gives focus either";
    VORNSetWindowIsVisible(one, 0);
    VORNSetWindowIsVisible(one, 0);
    EXPECT_EQ(VORNFocusWindow(), nullptr);
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 key 0 0 0 lose1 arg=null/1"));
}

TEST_F(WindowTest, AWindowThatDestroysItselfWhileLosingTheFocusIsToldOnce)
{
    VORNWindowID one = Open(a, w1);
    Focus(a, one);
    w1.onKey = [&](int) { VORNDestroyWindow(one); };
    VORNDestroyWindow(one);
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 key 0 0 0 lose1 arg=null/1"));
    EXPECT_EQ(WindowCount(), 0);
    EXPECT_EQ(VORNFocusWindow(), nullptr);
    EXPECT_FALSE(VORNWindowWalksRunning());
}

TEST_F(WindowTest, ALosingWindowThatDestroysTheNewFocusLeavesTheHostWithTheKeyboard)
{
    VORNWindowID one = Open(a, w1);
    VORNWindowID two = Open(b, w2);
    Focus(a, one);
    w1.onKey = [&](int) { VORNDestroyWindow(two); };
    host->ClearRecord();
    Focus(b, two);
    EXPECT_EQ(VORNFocusWindow(), nullptr);
    EXPECT_THAT(host->CallsNamed("TakeKeyboardFocus"), ElementsAre("TakeKeyboardFocus(0)"));
    EXPECT_EQ(WindowCount(), 1);
}

TEST_F(WindowTest, ALosingWindowThatTakesTheFocusBackHasTheLastWord)
{
    VORNWindowID one = Open(a, w1);
    VORNWindowID two = Open(a, w2);
    Focus(a, one);
    w1.onKey = [&](int) { VORNTakeKeyboardFocus(one); };
    Focus(a, two);
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 key 0 0 0 lose1 arg=w2/1"));
    EXPECT_EQ(VORNFocusWindow(), two) << "the inner call found the focus unchanged";
}

TEST_F(WindowTest, OwnershipAndInventoryFollowTheDispatchedPlugin)
{
    Open(a, w1);
    Open(b, w2);
    Open(b, w3);
    VORNPluginInventory inventory{};
    VORNCountDisplayHoldings(b, &inventory);
    EXPECT_EQ(inventory.windows, 2);
    VORNCountDisplayHoldings(a, &inventory);
    EXPECT_EQ(inventory.windows, 1);
}

TEST_F(WindowTest, ScreenSizeAndMouseLocationComeFromTheHost)
{
    int w = 0, h = 0, x = 0, y = 0;
    host->mouseX = 12;
    host->mouseY = 34;
    VORNGetScreenSize(&w, &h);
    VORNGetMouseLocation(&x, &y);
    EXPECT_EQ(w, 1024);
    EXPECT_EQ(h, 768);
    EXPECT_EQ(x, 12);
    EXPECT_EQ(y, 34);
    EXPECT_THAT(host->CallsNamed("GetMouseLocation"),
                ElementsAre("GetMouseLocation(" + FmtArgs(&x, &y, 1) + ")"));
}

}  // namespace
