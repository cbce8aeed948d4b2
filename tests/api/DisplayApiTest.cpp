// The display family driven through the host's display entry points, with
// agent plug-ins owning what the test registers: draw callbacks per drawing
// step, key sniffers, hot keys, windows (z-order, focus, mouse, cursor,
// wheel, keys), what disabling and unloading take away; and the camera.

#include "AgentHost.h"
#include "VORN/VORNCamera.h"
#include "VORN/VORNDisplay.h"
#include "WindowProbe.h"

#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

std::vector<std::string> gLeftovers;
void KeepLeftovers(VORNPluginID id, const VORNPluginInventory* left)
{
    gLeftovers.push_back(S(id) + ": draw " + S(left->drawCallbacks) + " sniff " +
                         S(left->keySniffers) + " win " + S(left->windows) + " hot " +
                         S(left->hotKeys) + " camera " + S(left->camera));
}

class DisplayApiTest : public AgentHostTest {
protected:
    void SetUp() override
    {
        AgentHostTest::SetUp();
        gWindowCalls.clear();
        gLeftovers.clear();
        StartAgents(2);
    }
    // The callbacks' actions capture the test body's locals: none may run at shutdown.
    void TearDown() override
    {
        w1.onMouse = nullptr;
        AgentHostTest::TearDown();
    }
    VORNWindowID Open(int owner, WinProbe& p, int l = 0, int t = 100, int r = 100, int b = 0)
    {
        As(owner, [&] { OpenProbeWindow(p, l, t, r, b); });
        return p.id;
    }
    void Focus(int caller, VORNWindowID window) { As(caller, [&] { VORNTakeKeyboardFocus(window); }); }
    int Draw(int owner, Cb& c, int phase, int before)
    {
        return AsReturning<int>(owner,
                                [&] { return VORNRegisterDrawCallback(DrawCb, phase, before, &c); });
    }
    int Sniffer(int owner, Cb& c, int beforeWindows)
    {
        return AsReturning<int>(owner,
                                [&] { return VORNRegisterKeySniffer(SniffCb, beforeWindows, &c); });
    }
    VORNHotKeyID HotKey(int owner, Cb& p, char virtualKey, int flags, const char* text = "desc")
    {
        return AsReturning<VORNHotKeyID>(
            owner, [&] { return VORNRegisterHotKey(virtualKey, flags, text, ProbeHotKey, &p); });
    }
    // Offers a key as the host does: stage by stage until one consumes it.
    static int PressKey(char key, int flags, char virtualKey)
    {
        for (int stage = 0; stage < 3; ++stage) {
            if (VORNKeyPressHook(key, flags, virtualKey, stage) == 0)
                return stage;
        }
        return -1;
    }
    static int Click(int x, int y, int isDown = 1) { return VORNMouseClickHook(x, y, isDown); }
    static void WindowStep() { VORNDoDrawingHook(20, 0); }

    const int a = 1, b = 2;
    WinProbe w1{"w1"}, w2{"w2"}, w3{"w3"};
    Cb p1{"p1"}, p2{"p2"}, p3{"p3"};
};

// ---- Drawing steps and draw callbacks ----------------------------------------------------

TEST_F(DisplayApiTest, EachDrawingStepRunsItsPhaseAndAnswersAsTabled)
{
    for (int step = 1; step <= 26; ++step)
        EXPECT_EQ(VORNDoDrawingHook(step, 0), 1) << "nothing registered: the host draws " << step;
    std::vector<Cb> cbs(30, Cb(""));
    int n = 0;
    for (int phase : {0, 5, 10, 15, 20, 25, 30, 35, 40, 45, 50, 55, 100, 101, 102}) {
        for (int before : {1, 0}) {
            cbs[n].result = before != 0 ? 0 : 1;  // "before" callbacks keep the host out
            Draw(a, cbs[n++], phase, before);
        }
    }
    const std::vector<std::pair<std::vector<std::string>, int>> steps = {
        {{" 0b/1", " 0a/1"}, 0}, {{" 5b/1"}, 0},  {{" 5a/1"}, 1},  {{" 10b/1"}, 0}, {{" 10a/1"}, 1},
        {{" 15b/1"}, 0},         {{" 15a/1"}, 1}, {{" 20b/1"}, 0}, {{" 20a/1"}, 1}, {{" 25b/1"}, 0},
        {{" 25a/1"}, 1},         {{" 30b/1", " 30a/1"}, 1},        {{" 35b/1", " 35a/1"}, 0},
        {{" 40b/1"}, 0},         {{" 40a/1"}, 1}, {{" 45b/1"}, 0}, {{" 45a/1"}, 1},
        {{" 55b/1", " 55a/1"}, 1},                {{" 50b/1"}, 0}, {{" 50a/1"}, 1},
        {{" 101b/1"}, 0},        {{" 101a/1"}, 1}, {{" 100b/1"}, 0}, {{" 100a/1"}, 1},
        {{" 102b/1"}, 0},        {{" 102a/1"}, 1}};
    for (int step = 1; step <= 26; ++step) {
        gWindowCalls.clear();
        EXPECT_EQ(VORNDoDrawingHook(step, 0), steps[step - 1].second) << "step " << step;
        EXPECT_THAT(gWindowCalls, ElementsAreArray(steps[step - 1].first)) << "step " << step;
    }
    // The reflection flag 1 calls only owners that want reflections; other values call all.
    gWindowCalls.clear();
    Draw(b, p1, 30, 1);
    EXPECT_EQ(VORNDoDrawingHook(12, 1), 1);
    As(a, [] { VORNEnableFeature("VORN_WANTS_REFLECTIONS", 1); });
    EXPECT_EQ(Cat({VORNDoDrawingHook(12, 1), VORNDoDrawingHook(12, 2)}), "11");
    EXPECT_THAT(gWindowCalls, ElementsAre(" 30b/1", " 30a/1", "p1 30b/2", " 30b/1", " 30a/1"));
}

TEST_F(DisplayApiTest, DrawCallbacksRunNewestFirstAsTheirOwnersAndAreKeyedWithoutOwner)
{
    Draw(a, p1, 20, 1);
    Draw(b, p2, 20, 1);
    Draw(a, p3, 20, 0);
    std::string results;
    for (int r : {1, 0, 2, 3})  // a zero does not stop the walk; results are anded bitwise
        p2.result = r, results += S(VORNDoDrawingHook(8, 0));
    p2.result = 0;
    VORNDisablePlugin(b);
    results += S(VORNDoDrawingHook(8, 0));  // a disabled owner is skipped
    VORNEnablePlugin(b);
    results += S(VORNDoDrawingHook(8, 0));  // and keeps its registration
    EXPECT_EQ(results + S(VORNGetMyID()), "1001100");
    EXPECT_THAT(gWindowCalls, ElementsAre("p2 20b/2", "p1 20b/1", "p2 20b/2", "p1 20b/1", "p2 20b/2",
                                          "p1 20b/1", "p2 20b/2", "p1 20b/1", "p1 20b/1",
                                          "p2 20b/2", "p1 20b/1"));
    gWindowCalls.clear();
    EXPECT_EQ(Cat({Draw(a, p1, 5, 1), Draw(a, p1, 5, 1), Draw(a, p1, 5, 0), Draw(a, p1, 10, 1)}),
              "1011");
    // Any plug-in may unregister an identical registration.
    EXPECT_EQ(AsReturning<int>(b, [&] {
                  return VORNUnregisterDrawCallback(DrawCb, 10, 1, &p1) * 10 +
                         VORNUnregisterDrawCallback(DrawCb, 10, 0, &p1);
              }),
              10);
    for (int step : {2, 3, 4})
        VORNDoDrawingHook(step, 0);
    // From inside a callback: a new registration waits for the next walk and
    // belongs to the running callback's owner; a removed one is no duplicate.
    p1.action = [&] {
        EXPECT_EQ(VORNUnregisterDrawCallback(DrawCb, 5, 1, &p1), 1);  // the phase is empty now
        EXPECT_EQ(VORNRegisterDrawCallback(DrawCb, 5, 1, &p1), 1);
        EXPECT_EQ(VORNRegisterDrawCallback(DrawCb, 5, 1, &p2), 1);
        p1.action = nullptr;
    };
    VORNDoDrawingHook(2, 0);
    VORNDoDrawingHook(2, 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("p1 5b/1", "p1 5a/1", "p1 5b/1", "p2 5b/1", "p1 5b/1"));
}

// ---- Keys: sniffers, hot keys, the focus window ------------------------------------------

TEST_F(DisplayApiTest, KeysGoToEarlySniffersHotKeysTheFocusWindowThenLateSniffers)
{
    // A duplicate whoever registers it; the other stage is another registration.
    EXPECT_EQ(Cat({Sniffer(a, p1, 1), Sniffer(b, p1, 1), Sniffer(a, p1, 0), Sniffer(b, p2, 1),
                   Sniffer(a, p3, 7)}),
              "10111");
    Cb hot("hot");
    HotKey(b, hot, 'H', 0);
    VORNWindowID one = Open(a, w1);
    EXPECT_EQ(PressKey('x', 3, 'X'), -1);
    EXPECT_EQ(PressKey('h', 0, 'H'), 0);
    Focus(a, one);
    EXPECT_EQ(PressKey('y', 0, 'Y'), 1);
    Focus(a, nullptr);
    p2.result = 0;
    EXPECT_EQ(PressKey('z', 0, 'Z'), 0) << "the first sniffer returning 0 consumes the key";
    VORNDisablePlugin(b);
    EXPECT_EQ(PressKey('h', 0, 'H'), -1) << "a disabled plug-in's sniffers and hot keys are passed";
    EXPECT_EQ(VORNKeyPressHook('k', 0, 'K', 3), 1);
    EXPECT_THAT(gWindowCalls,
                ElementsAre("p3 x3X/1", "p2 x3X/2", "p1 x3X/1", "p1 x3X/1",    //
                            "p3 h0H/1", "p2 h0H/2", "p1 h0H/1", "hot hot/2",   //
                            "p3 y0Y/1", "p2 y0Y/2", "p1 y0Y/1", "w1 key 121 0 89 lose0 arg=w1/1",
                            "w1 key 0 0 0 lose1 arg=null/1", "p3 z0Z/1", "p2 z0Z/2", "p3 h0H/1",
                            "p1 h0H/1", "p1 h0H/1"));
}

TEST_F(DisplayApiTest, HotKeysListNewestFirstAndMatchExactFlagsNewestFirst)
{
    Cb h1("h1"), h2("h2"), h3("h3"), h4("h4");
    const std::string longText(600, 'd');
    std::string given = "Quit";
    VORNHotKeyID first = HotKey(a, h1, 'G', 1, longText.c_str());
    VORNHotKeyID again = HotKey(a, h2, 'G', 1);
    VORNHotKeyID other = HotKey(b, h3, 'G', 1, given.c_str());
    given = "changed";
    EXPECT_THAT(std::vector<VORNHotKeyID>({VORNGetNthHotKey(0), VORNGetNthHotKey(1),
                                           VORNGetNthHotKey(2), VORNGetNthHotKey(3)}),
                ElementsAre(other, again, first, nullptr));
    char key = 0, text[600];
    int flags = 0;
    VORNPluginID owner = -7;
    VORNGetHotKeyInfo(other, &key, &flags, text, &owner);
    EXPECT_EQ(std::string(1, key) + S(flags) + text + S(owner), "G1Quit2");
    std::memset(text, 'z', sizeof text);
    VORNGetHotKeyInfo(first, nullptr, nullptr, text, nullptr);
    EXPECT_EQ(std::string(text), std::string(511, 'd'));
    EXPECT_EQ(text[512], 'z') << "the buffer is taken to be 512 bytes";

    std::string stages = S(PressKey('g', 0, 'G'));  // one bit less is another combination
    HotKey(a, h4, 'G', 0);
    for (auto [k, f] : std::vector<std::pair<char, int>>{{'g', 5}, {'h', 1}, {'g', 1}, {'g', 0}})
        stages += S(PressKey(k, f, char(k - 32)));  // one extra bit is another one too
    VORNDisablePlugin(b);
    stages += S(PressKey('g', 1, 'G'));  // a disabled owner's match is passed over
    VORNEnablePlugin(b);
    As(a, [&] { VORNUnregisterHotKey(other); });
    VORNSetHotKeyCombination(again, 'J', 4);
    stages += Cat({PressKey('j', 4, 'J'), PressKey('g', 1, 'G')});
    EXPECT_EQ(stages, "-1-1-100000");
    EXPECT_THAT(gWindowCalls,
                ElementsAre("h3 hot/2", "h4 hot/1", "h2 hot/1", "h2 hot/1", "h1 hot/1"));
    EXPECT_EQ(VORNCountHotKeys(), 3);
}

TEST_F(DisplayApiTest, AHotKeyRemovedMidMatchIsSkippedAndFreedAfterTheWalk)
{
    Cb older("older"), self("self"), added("added");
    VORNHotKeyID olderId = HotKey(a, older, 'G', 0);
    VORNHotKeyID selfId = HotKey(b, self, 'G', 0);
    self.action = [&] {
        VORNUnregisterHotKey(selfId);
        VORNUnregisterHotKey(olderId);
        EXPECT_EQ(VORNCountHotKeys(), 0);
        VORNRegisterHotKey('G', 0, "added", ProbeHotKey, &added);
    };
    EXPECT_EQ(Cat({PressKey('g', 0, 'G'), PressKey('g', 0, 'G')}), "00");
    EXPECT_THAT(gWindowCalls, ElementsAre("self hot/2", "added hot/2"));
    EXPECT_EQ(Cat({Holdings(a).hotKeys, Holdings(b).hotKeys}), "01");
}

// ---- Windows -----------------------------------------------------------------------------

TEST_F(DisplayApiTest, BothCreationFormsTakeTheCallbacksByName)
{
    host->ClearRecord();
    VORNWindowID plain = AsReturning<VORNWindowID>(b, [&] {
        return VORNCreateWindow(200, 300, 300, 200, 1, ProbeDraw, ProbeKey, ProbeMouse, &w2);
    });
    w2.id = plain;
    Open(a, w1);
    EXPECT_THAT(host->calls, IsEmpty()) << "creation tells the host nothing";
    Click(250, 250);
    Click(250, 250, 0);
    Focus(b, plain);
    VORNKeyPressHook('a', 0, 'A', 1);
    WindowStep();
    EXPECT_EQ(Cat({VORNCursorHook(250, 250), VORNScrollWheelHook(250, 250, 0, 1), Holdings(b).windows}),
              "011");
    VORNSetWindowRefCon(plain, &w3);
    WindowStep();
    EXPECT_THAT(gWindowCalls, ElementsAre("w2 mouse1 250,250/2", "w2 mouse3 250,250/2",
                                          "w2 key 97 0 65 lose0 arg=w2/2", "w2 draw/2", "w1 draw/1",
                                          "w3 draw/2 other id", "w1 draw/1"));
}

TEST_F(DisplayApiTest, NewerWindowsAreInFrontUntilRaisedAndHiddenOnesNeverAre)
{
    VORNWindowID older = Open(a, w1), newer = Open(b, w2);
    std::string front = Cat({VORNIsWindowInFront(newer), VORNIsWindowInFront(older)});
    VORNBringWindowToFront(older);
    front += S(VORNIsWindowInFront(older));
    VORNBringWindowToFront(newer);
    VORNSetWindowIsVisible(newer, 0);
    front += S(VORNIsWindowInFront(older));  // hidden windows in front do not count
    VORNSetWindowIsVisible(newer, 1);
    WindowStep();  // leaves the walk on the back-most window
    front += S(VORNIsWindowInFront(Open(a, w3)));
    EXPECT_EQ(front, "10111");
    VORNBringWindowToFront(older);
    gWindowCalls.clear();
    WindowStep();
    EXPECT_THAT(gWindowCalls, ElementsAre("w2 draw/2", "w3 draw/1", "w1 draw/1"));
}

TEST_F(DisplayApiTest, AWindowRemovedMidWalkIsSkippedAndFreedAfterTheWalk)
{
    // w3's click runs a nested cursor walk in which w2 destroys w3, on which
    // the outer walk stands, and w1 behind; the outer walk goes on to w2 alone.
    Open(a, w1);
    Open(a, w2);
    Open(b, w3);
    w3.mouseResult = w2.mouseResult = 0;
    w3.onMouse = [&](int) { VORNCursorHook(5, 5); };
    w2.onCursor = [&] {
        VORNDestroyWindow(w3.id);
        VORNDestroyWindow(w1.id);
    };
    EXPECT_EQ(Click(5, 5), 1);
    EXPECT_THAT(gWindowCalls, ElementsAre("w3 mouse1 5,5/2", "w3 cursor 5,5/2", "w2 cursor 5,5/1",
                                          "w2 mouse1 5,5/1"));
    EXPECT_EQ(Cat({Holdings(a).windows, Holdings(b).windows}), "10");
}

TEST_F(DisplayApiTest, ClicksGoFrontFirstWithFallThroughAndTheDragIsFedEveryFrame)
{
    Open(a, w1, 10, 20, 30, 5);
    Open(b, w2, 25, 150, 150, 15);
    VORNWindowID bare = VORNCreateWindow(0, 500, 500, 0, 1, nullptr, nullptr, nullptr, nullptr);
    VORNBringWindowToFront(w2.id);
    w2.mouseResult = 0;
    // The left and bottom edges hit.
    std::string taken = Cat({Click(10, 5), Click(10, 5, 0), Click(29, 19)});
    host->mouseX = 400;
    host->mouseY = -20;
    WindowStep();
    VORNDestroyWindow(bare);  // another window leaving keeps the drag
    taken += Cat({Click(401, -21, 0), Click(401, -21, 0)});  // the up ended the drag
    WindowStep();
    taken += S(VORNIsWindowInFront(w2.id));                  // a click does not raise
    taken += Cat({Click(30, 16), Click(15, 20)});  // w1's right and top edges miss, w2 lets go
    VORNSetWindowGeometry(w1.id, 30, 5, 10, 20);   // inverted: never hit
    EXPECT_EQ(taken + Cat({Click(15, 10), Click(600, 600)}), "0000111111");
    EXPECT_THAT(gWindowCalls,
                ElementsAre("w1 mouse1 10,5/1", "w1 mouse3 10,5/1", "w2 mouse1 29,19/2",
                            "w1 mouse1 29,19/1", "w1 mouse2 400,-20/1", "w1 draw/1", "w2 draw/2",
                            "w1 mouse3 401,-21/1", "w1 draw/1", "w2 draw/2", "w2 mouse1 30,16/2"));
    EXPECT_THAT(host->CallsNamed("GetMouseLocation"), ElementsAre(::testing::EndsWith(", 0)")));
}

// ---- Disable and unload ------------------------------------------------------------------

TEST_F(DisplayApiTest, DisablingTheOwnerEndsItsDragTakesItsFocusAndPassesItsWindowsOver)
{
    VORNWindowID one = Open(a, w1);
    Open(b, w2, 200, 300, 300, 200);
    Focus(a, one);
    Click(5, 5);
    host->ClearRecord();
    host->mouseX = 70;
    host->mouseY = 80;
    VORNDisablePlugin(b);
    w1.onMouse = [&](int status) {
        if (status == 3)
            VORNDisablePlugin(a);
    };
    VORNDisablePlugin(a);
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 mouse1 5,5/1", "w1 key 0 0 0 lose1 arg=null/1",
                                          "w1 mouse3 70,80/1"));
    EXPECT_THAT(host->CallTexts(), ElementsAre("TakeKeyboardFocus(0)", StartsWith("GetMouseLocation(")));
    EXPECT_EQ(Click(5, 5), 1) << "a disabled plug-in's window is passed over";
    VORNEnablePlugin(b);
    Focus(b, one);
    EXPECT_EQ(host->CountCalls("TakeKeyboardFocus"), 1u) << "nor can it take the focus";
    VORNEnablePlugin(a);
    WindowStep();
    EXPECT_EQ(gWindowCalls.end()[-2], "w1 draw/1") << "its window stayed registered";
}

TEST_F(DisplayApiTest, UnloadingRemovesWhatEachPluginOwnedAndReleasesFocusAndDrag)
{
    VORNWindowID one = Open(a, w1);
    Open(a, w3, 500, 600, 600, 500);
    Open(b, w2, 20, 30, 30, 20);
    Cb h("h");
    HotKey(b, h, 'X', 0);
    HotKey(b, h, 'Y', 0);
    Draw(a, p1, 5, 1);
    Draw(a, p2, 5, 1);
    Draw(b, p3, 5, 1);
    Draw(a, p3, 200, 1);  // a phase no step draws
    Sniffer(a, p1, 1);
    Sniffer(b, p2, 1);
    As(a, [&] { VORNUnregisterDrawCallback(DrawCb, 5, 1, &p1); });
    // The host's own registrations outlive every plug-in.
    Cb mine("host"), hostKey("host");
    WinProbe hostWindow("hw");
    VORNRegisterDrawCallback(DrawCb, 5, 1, &mine);
    VORNRegisterKeySniffer(SniffCb, 1, &mine);
    VORNRegisterHotKey('X', 0, "", ProbeHotKey, &hostKey);
    OpenProbeWindow(hostWindow, 700, 800, 800, 700);
    Focus(a, one);
    Click(750, 750);  // the host's window keeps its drag
    VORNSetUnloadObserver(KeepLeftovers);
    gWindowCalls.clear();
    host->ClearRecord();
    VORNReloadPlugins();
    VORNEventHook(0, nullptr, 1.0f);
    EXPECT_THAT(gLeftovers, ElementsAre("1: draw 2 sniff 1 win 2 hot 0 camera 0",
                                        "2: draw 1 sniff 1 win 1 hot 2 camera 0"));
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 key 0 0 0 lose1 arg=null/1"));
    EXPECT_EQ(host->CallsNamed("TakeKeyboardFocus").back(), "TakeKeyboardFocus(0)");
    EXPECT_EQ(Cat({VORNCountHotKeys(), VORNGetWindowIsVisible(one)}), "10");
    gWindowCalls.clear();
    EXPECT_EQ(Cat({Click(5, 5), Click(5, 5, 0)}), "10");
    WindowStep();
    VORNDoDrawingHook(2, 0);
    EXPECT_EQ(PressKey('x', 0, 'X'), 0);
    EXPECT_THAT(gWindowCalls,
                ElementsAre("hw mouse3 5,5/0", "hw draw/0", "host 5b/0", "host x0X/0", "host hot/0"));
    EXPECT_EQ(Draw(a, p2, 5, 1) + Draw(a, p3, 200, 1) + Sniffer(a, p1, 1), 3)
        << "nothing is left to be a duplicate";
}

TEST_F(DisplayApiTest, ScreenSizeMouseLocationAndCameraPositionComeFromTheHost)
{
    int w = 0, h = 0, x = 0, y = 0;
    host->mouseX = 12;
    host->mouseY = 34;
    host->cameraPosition[6] = 42;
    VORNGetScreenSize(&w, &h);
    VORNGetMouseLocation(&x, &y);
    VORNCameraPositionRecord record{};
    VORNReadCameraPosition(&record);
    EXPECT_EQ(Cat({w, h, x, y, int(record.values[0]), int(record.values[6])}), "10247681234142");
    EXPECT_THAT(host->CallsNamed("GetMouseLocation"),
                ElementsAre("GetMouseLocation(" + FmtArgs(&x, &y, 1) + ")"));
}

// ---- Camera ------------------------------------------------------------------------------

// Logs "<refcon>/<caller> flag <losing> <the seven values or null>".
int Controller(VORNCameraPositionRecord* position, int losing, void* refcon)
{
    std::string seen = static_cast<const char*>(refcon) + Me() + " flag " + S(losing) + " ";
    for (int i = 0; position != nullptr && i < 7; ++i)
        seen += S(int(position->values[i]));
    gWindowCalls.push_back(position != nullptr ? seen : seen + "null");
    if (position != nullptr)
        position->values[0] += 100;
    return 1;
}

TEST_F(DisplayApiTest, CameraReleaseByTheHostByTakeOverByDisableAndByUnload)
{
    auto control = [](int id, int duration, const char* tag) {
        As(id, [&] { VORNControlCamera(duration, Controller, const_cast<char*>(tag)); });
    };
    control(a, 1, "A");
    VORNEventHook(1, nullptr, 0);
    VORNEventHook(1, nullptr, 0);
    control(a, 2, "A");
    control(b, 2, "B");
    VORNEventHook(1, nullptr, 0);  // which ends only a control for the next frame
    float v[7] = {1, 2, 3, 4, 5, 6, 7};
    VORNCameraHook(&v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6]);
    VORNDisablePlugin(a);
    // Only the controller holds it, and not once released.
    EXPECT_EQ(Cat({Holdings(b).camera, Holdings(a).camera}), "10");
    VORNDisablePlugin(b);
    EXPECT_EQ(Cat({VORNIsCameraBeingControlled(nullptr), Holdings(b).camera}), "00");
    VORNEnablePlugin(a);
    control(a, 2, "A");
    VORNReloadPlugins();
    VORNEventHook(0, nullptr, 1.0f);
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("A/1 flag 1 null", "B/2 flag 0 1234567",
                                          "B/2 flag 1 null", "A/1 flag 1 null"));
}

}  // namespace

