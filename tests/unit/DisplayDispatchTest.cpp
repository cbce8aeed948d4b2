// Display input dispatch: the host's 26 drawing steps, the window step, mouse
// capture and fall-through, the key stages, cursor and wheel, the disable and
// clean-up hooks, and window callbacks that change the windows mid-walk.

#include "WindowFixture.h"

#include <gmock/gmock.h>

#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

namespace {

int LogDraw(int phase, int isBefore, void*)
{
    gWindowCalls.push_back(std::to_string(phase) + (isBefore ? "b" : "a"));
    return isBefore ? 0 : 1;  // "before" callbacks ask the host not to draw
}

int LogSniffer(char, int, char, void* refcon)
{
    gWindowCalls.push_back(std::string("sniff ") + static_cast<const char*>(refcon) + Me());
    return 1;
}

class DisplayDispatchTest : public WindowFixture {
protected:
    int Click(int x, int y, int status = 1) { return VORNDisplayMouseClickHook(x, y, status); }
    int Key(int stage, char key = 'k', int flags = 0, char vkey = 'K')
    {
        return VORNDisplayKeyPressHook(key, flags, vkey, stage);
    }
    void Frame() { VORNDisplayDoDrawingHook(20, 0); }
};

struct StepCase {
    int step;
    std::vector<std::string> calls;
    int result;
};

TEST_F(DisplayDispatchTest, EachDrawingStepRunsItsPhaseAndAnswersAsTabled)
{
    for (int phase : {0, 5, 10, 15, 20, 25, 30, 35, 40, 45, 50, 55, 100, 101, 102}) {
        VORNRegisterDrawCallback(LogDraw, phase, 1, nullptr);
        VORNRegisterDrawCallback(LogDraw, phase, 0, nullptr);
    }
    const std::vector<StepCase> cases = {
        {0, {}, 1},           {1, {"0b", "0a"}, 0},   {2, {"5b"}, 0},   {3, {"5a"}, 1},
        {4, {"10b"}, 0},      {5, {"10a"}, 1},        {6, {"15b"}, 0},  {7, {"15a"}, 1},
        {8, {"20b"}, 0},      {9, {"20a"}, 1},        {10, {"25b"}, 0}, {11, {"25a"}, 1},
        {12, {"30b", "30a"}, 1},                      {13, {"35b", "35a"}, 0},
        {14, {"40b"}, 0},     {15, {"40a"}, 1},       {16, {"45b"}, 0}, {17, {"45a"}, 1},
        {18, {"55b", "55a"}, 1},                      {19, {"50b"}, 0}, {20, {"50a"}, 1},
        {21, {"101b"}, 0},    {22, {"101a"}, 1},      {23, {"100b"}, 0},
        {24, {"100a"}, 1},    {25, {"102b"}, 0},      {26, {"102a"}, 1}, {27, {}, 1},
        {-1, {}, 1},
    };
    for (const StepCase& c : cases) {
        gWindowCalls.clear();
        EXPECT_EQ(VORNDisplayDoDrawingHook(c.step, 0), c.result) << "step " << c.step;
        EXPECT_THAT(gWindowCalls, ElementsAreArray(c.calls)) << "step " << c.step;
    }
}

TEST_F(DisplayDispatchTest, TheReflectionFlagIsPassedOnUnchanged)
{
    VORNRegisterDrawCallback(LogDraw, 30, 1, nullptr);
    EXPECT_EQ(VORNDisplayDoDrawingHook(12, 1), 1);
    EXPECT_THAT(gWindowCalls, IsEmpty()) << "the host did not ask for reflections";
    Record(0).features[kFeatureWantsReflections] = 1;
    EXPECT_EQ(VORNDisplayDoDrawingHook(12, 1), 1);
    EXPECT_THAT(gWindowCalls, ElementsAre("30b"));
}

TEST_F(DisplayDispatchTest, TheWindowStepDrawsBackToFrontBetweenThePhase50Calls)
{
    VORNRegisterDrawCallback(LogDraw, 50, 0, nullptr);
    Open(a, w1);
    VORNWindowID hidden = Open(b, w2);
    Open(b, w3);
    VORNSetWindowIsVisible(hidden, 0);
    Record(a).enabled = false;
    Frame();
    EXPECT_THAT(gWindowCalls, ElementsAre("w3 draw/2", "50a"));
    Record(a).enabled = true;
    gWindowCalls.clear();
    Frame();
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 draw/1", "w3 draw/2", "50a"));
    EXPECT_EQ(host->CountCalls("GetMouseLocation"), 0u) << "no drag, no pointer query";
}

TEST_F(DisplayDispatchTest, AClickFallsThroughToTheWindowBehind)
{
    Open(a, w1, 0, 100, 100, 0);
    Open(b, w2, 50, 150, 150, 50);
    w2.mouseResult = 0;
    EXPECT_EQ(Click(60, 60), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("w2 mouse1 60,60/2", "w1 mouse1 60,60/1"));
    EXPECT_EQ(VORNDragWindow(), w1.id);
    EXPECT_EQ(VORNIsWindowInFront(w2.id), 1) << "a click does not raise";
    EXPECT_EQ(VORNFocusWindow(), nullptr) << "nor give focus";
    w1.mouseResult = 0;
    EXPECT_EQ(Click(60, 60), 1);
    EXPECT_EQ(Click(500, 500), 1);
}

TEST_F(DisplayDispatchTest, LeftAndBottomEdgesHitRightAndTopEdgesMiss)
{
    Open(a, w1, 10, 20, 30, 5);
    EXPECT_EQ(Click(10, 5), 0);
    EXPECT_EQ(Click(29, 19), 0);
    EXPECT_EQ(Click(30, 10), 1);
    EXPECT_EQ(Click(15, 20), 1);
    EXPECT_EQ(Click(9, 10), 1);
    EXPECT_EQ(Click(15, 4), 1);
    VORNSetWindowGeometry(w1.id, 30, 5, 10, 20);  // inverted: never hit
    EXPECT_EQ(Click(15, 10), 1);
    EXPECT_EQ(gWindowCalls.size(), 2u);
}

TEST_F(DisplayDispatchTest, DragsAndTheUpGoToTheCapturingWindowAnywhere)
{
    Open(a, w1, 0, 10, 10, 0);
    Open(b, w2, 100, 200, 200, 100);
    EXPECT_EQ(Click(5, 5), 0);
    EXPECT_EQ(Click(150, 150, 2), 0);
    host->mouseX = -3;
    host->mouseY = 900;
    Frame();
    EXPECT_EQ(Click(150, 150, 3), 0);
    EXPECT_EQ(Click(150, 150, 2), 1);
    EXPECT_EQ(Click(150, 150, 3), 1);
    EXPECT_THAT(gWindowCalls,
                ElementsAre("w1 mouse1 5,5/1", "w1 mouse2 150,150/1", "w1 mouse2 -3,900/1",
                            "w1 draw/1", "w2 draw/2", "w1 mouse3 150,150/1"));
    EXPECT_THAT(host->CallsNamed("GetMouseLocation"),
                ElementsAre(::testing::EndsWith(", 0)")));
}

TEST_F(DisplayDispatchTest, ADragOfANonCallableOwnerIsNotConsumedAndTheUpStillEndsIt)
{
    Open(a, w1);
    Click(5, 5);
    Record(a).enabled = false;
    EXPECT_EQ(Click(5, 5, 2), 1);
    EXPECT_EQ(Click(5, 5, 3), 1);
    Record(a).enabled = true;
    EXPECT_EQ(Click(5, 5, 2), 1) << "the up ended the capture";
    EXPECT_EQ(VORNDragWindow(), nullptr);
}

TEST_F(DisplayDispatchTest, ANonCallableOwnersWindowLetsTheClickThrough)
{
    Open(a, w1);
    Open(b, w2);
    Record(b).enabled = false;
    EXPECT_EQ(Click(5, 5), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 mouse1 5,5/1"));
}

TEST_F(DisplayDispatchTest, KeyStagesSniffersThenFocusThenLateSniffers)
{
    char early[] = "early", late[] = "late";
    {
        StDispatchCallback as(b);
        VORNRegisterKeySniffer(LogSniffer, 1, early);
        VORNRegisterKeySniffer(LogSniffer, 0, late);
    }
    VORNWindowID w = Open(a, w1);
    w1.onKey = [](int) {};
    EXPECT_EQ(Key(0), 1);
    EXPECT_EQ(Key(1), 1) << "no focus window";
    EXPECT_EQ(Key(2), 1);
    VORNTakeKeyboardFocus(w);
    EXPECT_EQ(Key(1, 'x', 3, 'X'), 0) << "the focus window takes every key";
    EXPECT_THAT(gWindowCalls, ElementsAre("sniff early/2", "sniff late/2",
                                          "w1 key 120 3 88 lose0 arg=w1/1"));
    gWindowCalls.clear();
    EXPECT_EQ(Key(0, 0, 0, 0), 1);
    EXPECT_EQ(Key(1, 0, 0, 0), 1);
    EXPECT_EQ(Key(2, 0, 0, 0), 1);
    EXPECT_EQ(Key(3), 1);
    EXPECT_THAT(gWindowCalls, IsEmpty()) << "an all-zero key reaches nobody";
    Record(a).enabled = false;
    EXPECT_EQ(Key(1), 1) << "a focus window that cannot be called consumes nothing";
}

TEST_F(DisplayDispatchTest, CursorTakesTheFirstNonZeroStatusFrontToBack)
{
    Open(a, w1);
    Open(b, w2);
    VORNCreateWindow(0, 100, 100, 0, 1, nullptr, nullptr, nullptr, nullptr);  // no callbacks
    EXPECT_EQ(VORNDisplayCursorHook(5, 5), 0);
    w1.cursorResult = 3;
    w2.cursorResult = 0;
    EXPECT_EQ(VORNDisplayCursorHook(5, 5), 3);
    w2.cursorResult = 2;
    EXPECT_EQ(VORNDisplayCursorHook(5, 5), 2);
    EXPECT_EQ(VORNDisplayCursorHook(500, 5), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("w2 cursor 5,5/2", "w1 cursor 5,5/1", "w2 cursor 5,5/2",
                                          "w1 cursor 5,5/1", "w2 cursor 5,5/2"));
}

TEST_F(DisplayDispatchTest, TheWheelFallsThroughAndCapturesNothing)
{
    Open(a, w1);
    Open(b, w2);
    EXPECT_EQ(VORNDisplayScrollWheelHook(5, 5, 0, -2), 1);
    w1.wheelResult = 1;
    EXPECT_EQ(VORNDisplayScrollWheelHook(5, 5, 1, 3), 0);
    EXPECT_EQ(VORNDragWindow(), nullptr);
    EXPECT_THAT(gWindowCalls, ElementsAre("w2 wheel 5,5 0 -2/2", "w1 wheel 5,5 0 -2/1",
                                          "w2 wheel 5,5 1 3/2", "w1 wheel 5,5 1 3/1"));
}

TEST_F(DisplayDispatchTest, DisablingAPluginEndsItsDragWithAnUpAndTakesItsFocus)
{
    VORNWindowID w = Open(a, w1);
    Open(b, w2, 200, 300, 300, 200);
    VORNTakeKeyboardFocus(w);
    Click(5, 5);
    host->ClearRecord();
    host->mouseX = 444;
    host->mouseY = 555;
    VORNRunDisableHooks(b);
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 mouse1 5,5/1")) << "another plug-in's: untouched";
    VORNRunDisableHooks(a);
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 mouse1 5,5/1", "w1 key 0 0 0 lose1 arg=null/1",
                                          "w1 mouse3 444,555/1"));
    EXPECT_THAT(host->CallNames(),
                ElementsAre("TakeKeyboardFocus", "GetMouseLocation"));
    EXPECT_EQ(VORNDragWindow(), nullptr);
    EXPECT_EQ(VORNFocusWindow(), nullptr);
    EXPECT_EQ(VORNGetWindowIsVisible(w), 1) << "the windows stay";
}

TEST_F(DisplayDispatchTest, CleanUpRemovesThePluginsRegistrationsInOrderAndReleasesFocusAndDrag)
{
    char name[] = "s";
    {
        StDispatchCallback as(a);
        VORNRegisterDrawCallback(LogDraw, 5, 1, nullptr);
        VORNRegisterKeySniffer(LogSniffer, 1, name);
        VORNRegisterHotKey('G', 0, "g", ProbeHotKey, nullptr);
    }
    VORNWindowID mine = Open(a, w1);
    Open(a, w3, 500, 600, 600, 500);
    VORNWindowID theirs = Open(b, w2, 200, 300, 300, 200);
    VORNTakeKeyboardFocus(mine);
    Click(5, 5);
    Record(a).enabled = false;
    gWindowCalls.clear();
    host->ClearRecord();
    VORNRunCleanupHooks(a);
    EXPECT_THAT(gWindowCalls, IsEmpty()) << "the unloaded plug-in is not called";
    EXPECT_THAT(host->CallsNamed("TakeKeyboardFocus"), ElementsAre("TakeKeyboardFocus(0)"));
    EXPECT_EQ(VORNFocusWindow(), nullptr);
    EXPECT_EQ(VORNDragWindow(), nullptr);
    VORNPluginInventory left{};
    VORNCountDisplayHoldings(a, &left);
    EXPECT_EQ(left.drawCallbacks + left.keySniffers + left.windows + left.hotKeys, 0);
    EXPECT_EQ(VORNGetWindowIsVisible(mine), 0);
    EXPECT_EQ(VORNIsWindowInFront(theirs), 1);
    EXPECT_EQ(Click(5, 5, 2), 1);
}

// ---- callbacks that change the windows while they are walked ----

TEST_F(DisplayDispatchTest, AMouseDownThatDestroysItsOwnWindowTakesNoDrag)
{
    Open(a, w1);
    Open(b, w2);
    w2.mouseResult = 0;
    w2.onMouse = [&](int) { VORNDestroyWindow(w2.id); };
    w1.onMouse = [&](int) { VORNDestroyWindow(w1.id); };
    EXPECT_EQ(Click(5, 5), 0);
    EXPECT_EQ(VORNDragWindow(), nullptr);
    EXPECT_EQ(Click(5, 5, 2), 1);
    EXPECT_FALSE(VORNWindowWalksRunning());
    EXPECT_EQ(VORNGetWindowIsVisible(w1.id), 0);
}

TEST_F(DisplayDispatchTest, AWindowDestroyedBehindTheWalkIsSkipped)
{
    Open(a, w1);
    Open(a, w2);
    Open(b, w3);
    w3.mouseResult = 0;
    w3.onMouse = [&](int) { VORNDestroyWindow(w2.id); };
    EXPECT_EQ(Click(5, 5), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("w3 mouse1 5,5/2", "w1 mouse1 5,5/1"));
}

TEST_F(DisplayDispatchTest, ANestedWalkMayDestroyTheWindowTheOuterWalkStandsOn)
{
    Open(a, w1);
    Open(a, w2);
    Open(b, w3);
    w3.mouseResult = 0;
    w2.mouseResult = 0;
    w3.onMouse = [&](int) { VORNDisplayCursorHook(5, 5); };  // the host asks meanwhile
    w2.onCursor = [&] { VORNDestroyWindow(w3.id); };
    EXPECT_EQ(Click(5, 5), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("w3 mouse1 5,5/2", "w3 cursor 5,5/2", "w2 cursor 5,5/1",
                                          "w1 cursor 5,5/1", "w2 mouse1 5,5/1", "w1 mouse1 5,5/1"));
    EXPECT_FALSE(VORNWindowWalksRunning());
}

TEST_F(DisplayDispatchTest, WindowsCreatedWhileDrawingAreFrontMostAndDrawnNextFrame)
{
    Open(a, w1);
    WinProbe made("made");
    w1.onDraw = [&] {
        if (made.id == nullptr)
            OpenProbeWindow(made, 0, 10, 10, 0);
    };
    Frame();
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 draw/1"));
    EXPECT_EQ(VORNIsWindowInFront(made.id), 1);
    Frame();
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 draw/1", "w1 draw/1", "made draw/1"));
}

TEST_F(DisplayDispatchTest, AWindowRaisedWhileDrawingIsDrawnOnceAndTheRestStillDrawn)
{
    Open(a, w1);
    Open(a, w2);
    Open(a, w3);
    w2.onDraw = [&] { VORNBringWindowToFront(w2.id); };
    w1.onDraw = [&] { VORNBringWindowToFront(w3.id); };
    Frame();
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 draw/1", "w2 draw/1", "w3 draw/1"));
    gWindowCalls.clear();
    w1.onDraw = nullptr;
    w2.onDraw = nullptr;
    Frame();
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 draw/1", "w3 draw/1", "w2 draw/1"));
}

TEST_F(DisplayDispatchTest, WindowsThatRaiseThemselvesOnEveryClickAreEachAskedOnce)
{
    for (WinProbe* p : {&w1, &w2, &w3}) {
        Open(a, *p);
        p->mouseResult = 0;
        p->onMouse = [p](int) { VORNBringWindowToFront(p->id); };
    }
    EXPECT_EQ(Click(5, 5), 1);
    EXPECT_THAT(gWindowCalls,
                ElementsAre("w3 mouse1 5,5/1", "w2 mouse1 5,5/1", "w1 mouse1 5,5/1"));
}

TEST_F(DisplayDispatchTest, AWindowMayHideOrTakeFocusDuringItsClick)
{
    Open(a, w1);
    Open(b, w2);
    w2.mouseResult = 0;
    w2.onMouse = [&](int) {
        VORNTakeKeyboardFocus(w2.id);
        VORNSetWindowIsVisible(w2.id, 0);
    };
    EXPECT_EQ(Click(5, 5), 0);
    EXPECT_EQ(VORNFocusWindow(), nullptr) << "hiding gave the focus back";
    EXPECT_THAT(host->CallsNamed("TakeKeyboardFocus"),
                ElementsAre("TakeKeyboardFocus(1)", "TakeKeyboardFocus(0)"));
    EXPECT_EQ(Click(5, 5), 0);
    EXPECT_THAT(gWindowCalls,
                ElementsAre("w2 mouse1 5,5/2", "w2 key 0 0 0 lose1 arg=null/2", "w1 mouse1 5,5/1",
                            "w1 mouse1 5,5/1"))
        << "the hidden window gets no more clicks";
}

TEST_F(DisplayDispatchTest, ADraggedWindowDestroyedMidDragEndsTheDrag)
{
    Open(a, w1);
    Click(5, 5);
    w1.onMouse = [&](int status) {
        if (status == 2)
            VORNDestroyWindow(w1.id);
    };
    EXPECT_EQ(Click(6, 6, 2), 0);
    EXPECT_EQ(Click(7, 7, 2), 1);
    EXPECT_EQ(Click(7, 7, 3), 1);
    Frame();
    EXPECT_EQ(host->CountCalls("GetMouseLocation"), 0u);
    EXPECT_FALSE(VORNWindowWalksRunning());
}

TEST_F(DisplayDispatchTest, AnUpThatDisablesItsOwnPluginIsDeliveredOnce)
{
    Open(a, w1);
    Click(5, 5);
    w1.onMouse = [&](int status) {
        if (status == 3)
            VORNRunDisableHooks(a);
    };
    EXPECT_EQ(Click(8, 8, 3), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 mouse1 5,5/1", "w1 mouse3 8,8/1"));
}

// ---- plug-ins disabled from inside window callbacks ----

TEST_F(DisplayDispatchTest, AMouseDownThatDisablesItsOwnPluginTakesNoDrag)
{
    Open(a, w1);
    w1.onMouse = [&](int) { VORNDisablePlugin(a); };
    EXPECT_EQ(Click(5, 5), 0);
    EXPECT_EQ(VORNDragWindow(), nullptr);
    EXPECT_EQ(Click(6, 6, 2), 1);
    EXPECT_EQ(Click(6, 6, 3), 1);
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 mouse1 5,5/1"));
}

TEST_F(DisplayDispatchTest, TheFocusDoesNotGoToAWindowWhosePluginTheLosingWindowDisabled)
{
    VORNWindowID mine = Open(a, w1);
    VORNWindowID theirs = Open(b, w2, 200, 300, 300, 200);
    VORNTakeKeyboardFocus(mine);
    w1.onKey = [&](int losing) {
        if (losing != 0)
            VORNDisablePlugin(b);
    };
    VORNTakeKeyboardFocus(theirs);
    EXPECT_EQ(VORNFocusWindow(), nullptr);
    EXPECT_THAT(host->CallsNamed("TakeKeyboardFocus"),
                ElementsAre("TakeKeyboardFocus(1)", "TakeKeyboardFocus(0)"));
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 key 0 0 0 lose1 arg=w2/1"));
}

TEST_F(DisplayDispatchTest, AFocusTakenBackByTheUpThatEndsTheDragStaysWithTheDisabledPlugin)
{
    Open(a, w1);
    Click(5, 5);
    w1.onMouse = [&](int status) {
        if (status == 3)
            VORNTakeKeyboardFocus(w1.id);
    };
    VORNDisablePlugin(a);
    EXPECT_EQ(VORNFocusWindow(), w1.id);
    EXPECT_EQ(VORNDragWindow(), nullptr);
    EXPECT_THAT(host->CallsNamed("TakeKeyboardFocus"), ElementsAre("TakeKeyboardFocus(1)"));
    EXPECT_EQ(VORNKeyPressHook('k', 0, 'K', 1), 1) << "the host keeps keys while a is disabled";
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 mouse1 5,5/1", "w1 mouse3 0,0/1"));
}

int gDisableCalls = 0;
void CountDisable()
{
    ++gDisableCalls;
}

TEST_F(DisplayDispatchTest, APluginDisabledAgainByItsFocusLossCallbackHearsOfItForEachCall)
{
    gDisableCalls = 0;
    Record(a).disable = CountDisable;
    Open(a, w1);
    VORNTakeKeyboardFocus(w1.id);
    w1.onKey = [&](int losing) {
        if (losing != 0)
            VORNDisablePlugin(a);
    };
    VORNDisablePlugin(a);
    EXPECT_EQ(gDisableCalls, 2);
    EXPECT_EQ(VORNIsPluginEnabled(a), 0);
    EXPECT_EQ(VORNFocusWindow(), nullptr);
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 key 0 0 0 lose1 arg=null/1"));
}

std::vector<std::string> gEntryCalls;
void LogDisable()
{
    gEntryCalls.push_back("disable/" + std::to_string(VORNGetMyID()));
}

TEST_F(DisplayDispatchTest, APluginEnabledAgainWhileTheOthersAreDisabledStaysEnabled)
{
    gEntryCalls.clear();
    Record(a).disable = LogDisable;
    Open(b, w2);
    VORNTakeKeyboardFocus(w2.id);
    w2.onKey = [&](int losing) {
        if (losing != 0)
            VORNEnablePlugin(a);  // a was disabled just before b
    };
    VORNDisableAllPlugins();
    EXPECT_THAT(gEntryCalls, ElementsAre("disable/1"));
    EXPECT_EQ(VORNIsPluginEnabled(a), 1);
    EXPECT_EQ(VORNIsPluginEnabled(b), 0);
}

}  // namespace
