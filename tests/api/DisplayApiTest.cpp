// The display family driven through the host's display entry points, with
// agent plug-ins owning what the test registers: draw callbacks per drawing
// step, key sniffers, hot keys, windows (z-order, focus, mouse, cursor,
// wheel, keys), what disabling and unloading take away; and the camera.

#include "../plugins/hooked.h"
#include "AgentHost.h"
#include "VORN/VORNCamera.h"
#include "VORN/VORNDisplay.h"
#include "WindowProbe.h"

#include <dlfcn.h>
#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

namespace {

std::vector<std::string> gLeftovers;
void KeepLeftovers(VORNPluginID id, const VORNPluginInventory* left)
{
    gLeftovers.push_back(std::to_string(id) + ": draw " + std::to_string(left->drawCallbacks) +
                         " sniff " + std::to_string(left->keySniffers) + " win " +
                         std::to_string(left->windows) + " hot " + std::to_string(left->hotKeys) +
                         " camera " + std::to_string(left->camera));
}

class DisplayApiTest : public AgentHostTest {
protected:
    void SetUp() override
    {
        AgentHostTest::SetUp();
        gWindowCalls.clear();
        gLeftovers.clear();
    }

    // The callbacks' actions capture the test body's locals: none may run at shutdown.
    void TearDown() override
    {
        hooks = HookedHooks();
        for (WinProbe* p : {&w1, &w2, &w3})
            p->onDraw = nullptr, p->onMouse = nullptr, p->onKey = nullptr, p->onCursor = nullptr;
        AgentHostTest::TearDown();
        if (module != nullptr)
            dlclose(module);
    }

    // Plug-in 1 is the hooked plug-in "a" (its VPluginDisable runs hooks.disable),
    // plug-in 2 an agent.
    void StartHookedAndAgent()
    {
        const std::string path = InstallPlugin("hooked", "a.vpl");
        module = dlopen(path.c_str(), RTLD_NOW);
        ASSERT_NE(module, nullptr);
        reinterpret_cast<HookedInstall_f>(dlsym(module, "HookedInstall"))(&hooks);
        InstallPlugin("agent", "b.vpl");
        host->systemPath = SystemPath();
        Start();
    }

    VORNWindowID Open(int owner, WinProbe& p, int l = 0, int t = 100, int r = 100, int b = 0)
    {
        As(owner, [&] { OpenProbeWindow(p, l, t, r, b); });
        return p.id;
    }
    void Focus(int caller, VORNWindowID window)
    {
        As(caller, [&] { VORNTakeKeyboardFocus(window); });
    }
    int Draw(int owner, Cb& c, int phase, int before)
    {
        return AsReturning<int>(owner, [&] { return VORNRegisterDrawCallback(DrawCb, phase, before, &c); });
    }
    int Sniffer(int owner, Cb& c, int beforeWindows)
    {
        return AsReturning<int>(owner, [&] { return VORNRegisterKeySniffer(SniffCb, beforeWindows, &c); });
    }
    VORNHotKeyID HotKey(int owner, Cb& p, char virtualKey, int flags,
                        const char* description = "desc")
    {
        return AsReturning<VORNHotKeyID>(
            owner, [&] { return VORNRegisterHotKey(virtualKey, flags, description, ProbeHotKey, &p); });
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
    static int Held(int id, int VORNPluginInventory::*field)
    {
        VORNPluginInventory inventory{};
        inventory.structSize = sizeof inventory;
        VORNGetPluginInventory(id, &inventory);
        return inventory.*field;
    }

    const int a = 1, b = 2;
    WinProbe w1{"w1"}, w2{"w2"}, w3{"w3"};
    Cb p1{"p1"}, p2{"p2"}, p3{"p3"};
    HookedHooks hooks;
    void* module = nullptr;
};

// ---- Drawing steps and draw callbacks ----------------------------------------------------

struct StepCase {
    int step;
    std::vector<std::string> calls;
    int result;
};

TEST_F(DisplayApiTest, EachDrawingStepRunsItsPhaseAndAnswersAsTabled)
{
    StartAgents(2);
    for (int step = 1; step <= 26; ++step)
        EXPECT_EQ(VORNDoDrawingHook(step, 0), 1) << "with nothing registered the host draws, step " << step;
    std::vector<Cb> cbs;
    cbs.reserve(30);
    for (int phase : {0, 5, 10, 15, 20, 25, 30, 35, 40, 45, 50, 55, 100, 101, 102}) {
        for (int before : {1, 0}) {
            cbs.emplace_back("");
            cbs.back().result = before != 0 ? 0 : 1;  // "before" callbacks keep the host out
            Draw(a, cbs.back(), phase, before);
        }
    }
    const std::vector<StepCase> cases = {
        {1, {" 0b/1", " 0a/1"}, 0}, {2, {" 5b/1"}, 0},   {3, {" 5a/1"}, 1},
        {4, {" 10b/1"}, 0},         {5, {" 10a/1"}, 1},  {6, {" 15b/1"}, 0},
        {7, {" 15a/1"}, 1},         {8, {" 20b/1"}, 0},  {9, {" 20a/1"}, 1},
        {10, {" 25b/1"}, 0},        {11, {" 25a/1"}, 1}, {12, {" 30b/1", " 30a/1"}, 1},
        {13, {" 35b/1", " 35a/1"}, 0},                   {14, {" 40b/1"}, 0},
        {15, {" 40a/1"}, 1},        {16, {" 45b/1"}, 0}, {17, {" 45a/1"}, 1},
        {18, {" 55b/1", " 55a/1"}, 1},                   {19, {" 50b/1"}, 0},
        {20, {" 50a/1"}, 1},        {21, {" 101b/1"}, 0}, {22, {" 101a/1"}, 1},
        {23, {" 100b/1"}, 0},       {24, {" 100a/1"}, 1}, {25, {" 102b/1"}, 0},
        {26, {" 102a/1"}, 1},
    };
    for (const StepCase& c : cases) {
        gWindowCalls.clear();
        EXPECT_EQ(VORNDoDrawingHook(c.step, 0), c.result) << "step " << c.step;
        EXPECT_THAT(gWindowCalls, ElementsAreArray(c.calls)) << "step " << c.step;
    }
    // The reflection flag 1 calls only owners that want reflections; other values call all.
    gWindowCalls.clear();
    Draw(b, p1, 30, 1);
    EXPECT_EQ(VORNDoDrawingHook(12, 1), 1);
    As(a, [] { VORNEnableFeature("VORN_WANTS_REFLECTIONS", 1); });
    EXPECT_EQ(VORNDoDrawingHook(12, 1), 1);
    EXPECT_EQ(VORNDoDrawingHook(12, 2), 1);
    EXPECT_THAT(gWindowCalls, ElementsAre(" 30b/1", " 30a/1", "p1 30b/2", " 30b/1", " 30a/1"));
}

TEST_F(DisplayApiTest, DrawCallbacksRunNewestFirstAsTheirOwnersAndTheirResultsAreAnded)
{
    StartAgents(2);
    Draw(a, p1, 20, 1);
    Draw(b, p2, 20, 1);
    Draw(a, p3, 20, 0);
    EXPECT_EQ(VORNDoDrawingHook(8, 0), 1);
    EXPECT_EQ(VORNGetMyID(), 0);
    p2.result = 0;
    EXPECT_EQ(VORNDoDrawingHook(8, 0), 0) << "a zero does not stop the walk";
    p2.result = 2;
    EXPECT_EQ(VORNDoDrawingHook(8, 0), 0) << "results are anded bitwise";
    p2.result = 3;
    EXPECT_EQ(VORNDoDrawingHook(8, 0), 1);
    p2.result = 0;
    VORNDisablePlugin(b);
    EXPECT_EQ(VORNDoDrawingHook(8, 0), 1) << "a disabled owner is skipped";
    VORNEnablePlugin(b);
    EXPECT_EQ(VORNDoDrawingHook(8, 0), 0) << "and keeps its registration";
    EXPECT_THAT(gWindowCalls, ElementsAre("p2 20b/2", "p1 20b/1", "p2 20b/2", "p1 20b/1", "p2 20b/2",
                                          "p1 20b/1", "p2 20b/2", "p1 20b/1", "p1 20b/1",
                                          "p2 20b/2", "p1 20b/1"));
}

TEST_F(DisplayApiTest, DrawRegistrationsAreKeyedByCallbackPhaseStageAndRefconNotOwner)
{
    StartAgents(2);
    EXPECT_EQ(Draw(a, p1, 5, 1), 1);
    EXPECT_EQ(Draw(a, p1, 5, 1), 0);
    EXPECT_EQ(Draw(a, p1, 5, 0), 1);
    EXPECT_EQ(Draw(a, p1, 10, 1), 1);
    EXPECT_EQ(AsReturning<int>(b, [&] { return VORNUnregisterDrawCallback(DrawCb, 10, 1, &p1); }), 1)
        << "any plug-in may unregister an identical registration";
    EXPECT_EQ(AsReturning<int>(b, [&] { return VORNUnregisterDrawCallback(DrawCb, 10, 0, &p1); }), 0);
    VORNDoDrawingHook(2, 0);
    VORNDoDrawingHook(3, 0);
    VORNDoDrawingHook(4, 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("p1 5b/1", "p1 5a/1"));
    // From inside a callback: a new registration waits for the next walk and
    // belongs to the running callback's owner; a removed one is no duplicate.
    gWindowCalls.clear();
    p1.action = [&] {
        EXPECT_EQ(VORNUnregisterDrawCallback(DrawCb, 5, 1, &p1), 1);  // the phase is empty now
        EXPECT_EQ(VORNRegisterDrawCallback(DrawCb, 5, 1, &p1), 1);
        EXPECT_EQ(VORNRegisterDrawCallback(DrawCb, 5, 1, &p2), 1);
        p1.action = nullptr;
    };
    VORNDoDrawingHook(2, 0);
    VORNDoDrawingHook(2, 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("p1 5b/1", "p2 5b/1", "p1 5b/1"));
}

TEST_F(DisplayApiTest, ADrawCallbackRemovedMidWalkIsSkippedAndFreedAfterTheWalk)
{
    StartAgents(2);
    // p1 (phase 5) runs a nested phase 10, whose callback removes p1, on which
    // the outer walk stands, and p2 after it; the outer walk goes on to p3.
    Cb inner("inner");
    inner.action = [&] {
        VORNUnregisterDrawCallback(DrawCb, 5, 1, &p1);
        VORNUnregisterDrawCallback(DrawCb, 5, 1, &p2);
    };
    p1.action = [&] { VORNDoDrawingHook(4, 0); };
    Draw(a, inner, 10, 1);
    Draw(a, p3, 5, 1);
    Draw(a, p2, 5, 1);
    Draw(b, p1, 5, 1);
    VORNDoDrawingHook(2, 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("p1 5b/2", "inner 10b/1", "p3 5b/1"));
    EXPECT_EQ(Held(a, &VORNPluginInventory::drawCallbacks), 2);
    EXPECT_EQ(Held(b, &VORNPluginInventory::drawCallbacks), 0);
    gWindowCalls.clear();
    VORNDoDrawingHook(2, 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("p3 5b/1"));
    EXPECT_EQ(Draw(b, p1, 5, 1), 1);
}

// ---- Keys: sniffers, hot keys, the focus window ------------------------------------------

TEST_F(DisplayApiTest, KeysGoToEarlySniffersHotKeysTheFocusWindowThenLateSniffers)
{
    StartAgents(2);
    EXPECT_EQ(Sniffer(a, p1, 1), 1);
    EXPECT_EQ(Sniffer(b, p1, 1), 0) << "a duplicate, whoever registers it";
    EXPECT_EQ(Sniffer(a, p1, 0), 1) << "the other stage is another registration";
    EXPECT_EQ(Sniffer(b, p2, 1), 1);
    EXPECT_EQ(Sniffer(a, p3, 7), 1);
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
    EXPECT_EQ(PressKey('h', 0, 'H'), -1) << "sniffers and hot keys of a disabled plug-in are passed over";
    EXPECT_EQ(VORNKeyPressHook('k', 0, 'K', 3), 1);
    EXPECT_THAT(gWindowCalls,
                ElementsAre("p3 x3X/1", "p2 x3X/2", "p1 x3X/1", "p1 x3X/1",    //
                            "p3 h0H/1", "p2 h0H/2", "p1 h0H/1", "hot hot/2",   //
                            "p3 y0Y/1", "p2 y0Y/2", "p1 y0Y/1", "w1 key 121 0 89 lose0 arg=w1/1",
                            "w1 key 0 0 0 lose1 arg=null/1", "p3 z0Z/1", "p2 z0Z/2", "p3 h0H/1",
                            "p1 h0H/1", "p1 h0H/1"));
    gWindowCalls.clear();
    VORNEnablePlugin(b);
    Focus(a, one);
    for (int stage = 0; stage < 3; ++stage)
        EXPECT_EQ(VORNKeyPressHook(0, 0, 0, stage), 1) << "an all-zero key reaches nobody";
    EXPECT_THAT(gWindowCalls, IsEmpty());
}

TEST_F(DisplayApiTest, ASnifferRemovedMidWalkIsSkippedAndFreedAfterTheWalk)
{
    StartAgents(2);
    p3.action = [&] {
        EXPECT_EQ(VORNUnregisterKeySniffer(SniffCb, 1, &p3), 1);
        EXPECT_EQ(VORNUnregisterKeySniffer(SniffCb, 1, &p2), 1);
        EXPECT_EQ(VORNRegisterKeySniffer(SniffCb, 1, &p3), 1);
    };
    Sniffer(a, p1, 1);
    Sniffer(b, p2, 1);
    Sniffer(a, p3, 1);
    VORNKeyPressHook('x', 0, 'X', 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("p3 x0X/1", "p1 x0X/1"));
    EXPECT_EQ(Held(b, &VORNPluginInventory::keySniffers), 0);
    EXPECT_EQ(Held(a, &VORNPluginInventory::keySniffers), 2);
    EXPECT_EQ(VORNUnregisterKeySniffer(SniffCb, 1, &p2), 0);
}

TEST_F(DisplayApiTest, HotKeysListNewestFirstAndMatchExactFlagsNewestFirst)
{
    StartAgents(2);
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
    EXPECT_EQ(std::string(1, key) + std::to_string(flags) + text + std::to_string(owner), "G1Quit2");
    std::memset(text, 'z', sizeof text);
    VORNGetHotKeyInfo(first, nullptr, nullptr, text, nullptr);
    EXPECT_EQ(std::string(text), std::string(511, 'd'));
    EXPECT_EQ(text[512], 'z') << "the buffer is taken to be 512 bytes";

    EXPECT_EQ(PressKey('g', 0, 'G'), -1) << "one bit less is another combination";
    HotKey(a, h4, 'G', 0);
    EXPECT_EQ(PressKey('g', 5, 'G'), -1) << "and one extra bit";
    EXPECT_EQ(PressKey('h', 1, 'H'), -1);
    EXPECT_EQ(PressKey('g', 1, 'G'), 0);
    EXPECT_EQ(PressKey('g', 0, 'G'), 0);
    VORNDisablePlugin(b);
    EXPECT_EQ(PressKey('g', 1, 'G'), 0) << "a disabled owner's match is passed over";
    VORNEnablePlugin(b);
    As(a, [&] { VORNUnregisterHotKey(other); });
    VORNSetHotKeyCombination(again, 'J', 4);
    EXPECT_EQ(PressKey('j', 4, 'J'), 0);
    EXPECT_EQ(PressKey('g', 1, 'G'), 0);
    EXPECT_THAT(gWindowCalls,
                ElementsAre("h3 hot/2", "h4 hot/1", "h2 hot/1", "h2 hot/1", "h1 hot/1"));
    EXPECT_EQ(VORNCountHotKeys(), 3);
}

TEST_F(DisplayApiTest, AHotKeyRemovedMidMatchIsSkippedAndFreedAfterTheWalk)
{
    StartAgents(2);
    Cb older("older"), self("self"), added("added");
    VORNHotKeyID olderId = HotKey(a, older, 'G', 0);
    VORNHotKeyID selfId = HotKey(b, self, 'G', 0);
    self.action = [&] {
        VORNUnregisterHotKey(selfId);
        VORNUnregisterHotKey(olderId);
        EXPECT_EQ(VORNCountHotKeys(), 0);
        VORNRegisterHotKey('G', 0, "added", ProbeHotKey, &added);
    };
    EXPECT_EQ(PressKey('g', 0, 'G'), 0);
    EXPECT_EQ(PressKey('g', 0, 'G'), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("self hot/2", "added hot/2"));
    EXPECT_EQ(Held(a, &VORNPluginInventory::hotKeys), 0);
    EXPECT_EQ(Held(b, &VORNPluginInventory::hotKeys), 1);
}

// ---- Windows -----------------------------------------------------------------------------

TEST_F(DisplayApiTest, BothCreationFormsTakeTheCallbacksByNameAndTheExtendedOneItsExactSize)
{
    StartAgents(2);
    host->ClearRecord();
    VORNCreateWindow_t params = {};
    params.structSize = sizeof params + 1;
    EXPECT_EQ(VORNCreateWindowEx(&params), nullptr);
    params.structSize = sizeof params - 1;
    EXPECT_EQ(VORNCreateWindowEx(&params), nullptr);
    VORNWindowID plain = AsReturning<VORNWindowID>(b, [&] {
        return VORNCreateWindow(200, 300, 300, 200, 1, ProbeDraw, ProbeKey, ProbeMouse, &w2);
    });
    w2.id = plain;
    Open(a, w1);
    EXPECT_THAT(host->CallNames(), IsEmpty()) << "creation tells the host nothing";
    Click(250, 250);
    Click(250, 250, 0);
    Focus(b, plain);
    VORNKeyPressHook('a', 0, 'A', 1);
    WindowStep();
    EXPECT_EQ(VORNCursorHook(250, 250), 0);
    EXPECT_EQ(VORNScrollWheelHook(250, 250, 0, 1), 1);
    EXPECT_EQ(Held(b, &VORNPluginInventory::windows), 1);
    VORNSetWindowRefCon(plain, &w3);
    WindowStep();
    EXPECT_THAT(gWindowCalls,
                ElementsAre("w2 mouse1 250,250/2", "w2 mouse3 250,250/2",
                            "w2 key 97 0 65 lose0 arg=w2/2", "w2 draw/2", "w1 draw/1",
                            "w3 draw/2 other id", "w1 draw/1"));
}

TEST_F(DisplayApiTest, ADestroyedWindowsIdIsIgnoredSilently)
{
    StartAgents(1);
    VORNWindowID stale = Open(a, w1);
    VORNDestroyWindow(stale);
    host->ClearRecord();
    int l = -1, t = -1, r = -1, bt = -1;
    VORNSetWindowGeometry(stale, 1, 2, 3, 4);
    VORNGetWindowGeometry(stale, &l, &t, &r, &bt);
    VORNSetWindowIsVisible(stale, 1);
    VORNSetWindowRefCon(stale, &l);
    VORNBringWindowToFront(stale);
    EXPECT_EQ(std::to_string(l) + std::to_string(t) + std::to_string(r) + std::to_string(bt), "-1-1-1-1");
    EXPECT_EQ(VORNGetWindowRefCon(stale), nullptr);
    EXPECT_EQ(VORNGetWindowIsVisible(stale) + VORNIsWindowInFront(stale), 0);
    EXPECT_THAT(host->CallNames(), IsEmpty());
    EXPECT_EQ(Click(5, 5), 1);
    EXPECT_EQ(Held(a, &VORNPluginInventory::windows), 0);
}

TEST_F(DisplayApiTest, NewerWindowsAreInFrontUntilRaisedAndHiddenOnesNeverAre)
{
    StartAgents(2);
    VORNWindowID older = Open(a, w1);
    VORNWindowID newer = Open(b, w2);
    EXPECT_EQ(VORNIsWindowInFront(newer), 1);
    EXPECT_EQ(VORNIsWindowInFront(older), 0);
    VORNBringWindowToFront(older);
    EXPECT_EQ(VORNIsWindowInFront(older), 1);
    VORNBringWindowToFront(newer);
    VORNSetWindowIsVisible(newer, 0);
    EXPECT_EQ(VORNIsWindowInFront(older), 1) << "hidden windows in front do not count";
    VORNSetWindowIsVisible(newer, 1);
    WindowStep();  // leaves the walk on the back-most window
    VORNWindowID third = Open(a, w3);
    EXPECT_EQ(VORNIsWindowInFront(third), 1);
    VORNBringWindowToFront(older);
    gWindowCalls.clear();
    WindowStep();
    EXPECT_THAT(gWindowCalls, ElementsAre("w2 draw/2", "w3 draw/1", "w1 draw/1"));
}

TEST_F(DisplayApiTest, ClicksGoFrontFirstWithFallThroughAndTheDragIsFedEveryFrame)
{
    StartAgents(2);
    Open(a, w1, 10, 20, 30, 5);
    Open(b, w2, 25, 150, 150, 15);
    VORNWindowID bare = VORNCreateWindow(0, 500, 500, 0, 1, nullptr, nullptr, nullptr, nullptr);
    VORNBringWindowToFront(w2.id);
    w2.mouseResult = 0;
    EXPECT_EQ(Click(10, 5), 0) << "the left and bottom edges hit";
    EXPECT_EQ(Click(10, 5, 0), 0);
    EXPECT_EQ(Click(29, 19), 0);
    host->mouseX = 400;
    host->mouseY = -20;
    WindowStep();
    VORNDestroyWindow(bare);  // another window leaving keeps the drag
    EXPECT_EQ(Click(401, -21, 0), 0);
    EXPECT_EQ(Click(401, -21, 0), 1) << "the up ended the drag";
    WindowStep();
    EXPECT_EQ(VORNIsWindowInFront(w2.id), 1) << "a click does not raise";
    EXPECT_EQ(Click(30, 16), 1) << "the right edge of w1 misses, w2 lets it go";
    EXPECT_EQ(Click(15, 20), 1) << "the top edge misses";
    VORNSetWindowGeometry(w1.id, 30, 5, 10, 20);  // inverted: never hit
    EXPECT_EQ(Click(15, 10), 1);
    EXPECT_EQ(Click(600, 600), 1);
    EXPECT_THAT(gWindowCalls,
                ElementsAre("w1 mouse1 10,5/1", "w1 mouse3 10,5/1", "w2 mouse1 29,19/2",
                            "w1 mouse1 29,19/1", "w1 mouse2 400,-20/1", "w1 draw/1", "w2 draw/2",
                            "w1 mouse3 401,-21/1", "w1 draw/1", "w2 draw/2", "w2 mouse1 30,16/2"));
    EXPECT_THAT(host->CallsNamed("GetMouseLocation"), ElementsAre(::testing::EndsWith(", 0)")));
}

TEST_F(DisplayApiTest, CursorTakesTheFirstNonZeroFrontToBackAndTheWheelFallsThrough)
{
    StartAgents(2);
    Open(a, w1);
    Open(b, w2);
    EXPECT_EQ(VORNCursorHook(5, 5), 0);
    w1.cursorResult = 3;
    EXPECT_EQ(VORNCursorHook(5, 5), 3);
    w2.cursorResult = 2;
    EXPECT_EQ(VORNCursorHook(5, 5), 2);
    EXPECT_EQ(VORNCursorHook(500, 5), 0);
    EXPECT_EQ(VORNScrollWheelHook(5, 5, 0, -2), 1);
    w1.wheelResult = 1;
    EXPECT_EQ(VORNScrollWheelHook(5, 5, 1, 3), 0);
    EXPECT_EQ(Click(5, 5, 0), 1) << "the wheel captures nothing";
    EXPECT_THAT(gWindowCalls,
                ElementsAre("w2 cursor 5,5/2", "w1 cursor 5,5/1", "w2 cursor 5,5/2",
                            "w1 cursor 5,5/1", "w2 cursor 5,5/2", "w2 wheel 5,5 0 -2/2",
                            "w1 wheel 5,5 0 -2/1", "w2 wheel 5,5 1 3/2", "w1 wheel 5,5 1 3/1"));
}

TEST_F(DisplayApiTest, TheFocusMovesTellingTheLoserAndTheHostWhateverTheLoserDoes)
{
    StartAgents(2);
    VORNWindowID one = Open(a, w1);
    VORNWindowID two = Open(b, w2);
    VORNWindowID three = Open(a, w3);
    Focus(a, one);
    Focus(a, one);
    EXPECT_EQ(host->CountCalls("TakeKeyboardFocus"), 1u) << "taking it again does nothing";
    Focus(b, two);
    Focus(b, nullptr);
    Focus(a, one);
    VORNSetWindowIsVisible(two, 0);
    VORNSetWindowIsVisible(two, 1);
    VORNSetWindowIsVisible(one, 0);
    VORNSetWindowIsVisible(one, 0);
    EXPECT_EQ(PressKey('a', 0, 'A'), -1) << "hiding the focus window gave the host the keyboard";
    VORNSetWindowIsVisible(one, 1);
    // The loser takes the focus back (the inner call finds it unchanged), then
    // destroys the new focus window, then itself.
    Focus(a, one);
    w1.onKey = [&](int) { VORNTakeKeyboardFocus(one); };
    Focus(a, three);
    EXPECT_EQ(PressKey('k', 0, 'K'), 1);
    w3.onKey = [&](int) { VORNDestroyWindow(two); };
    Focus(b, two);
    EXPECT_EQ(PressKey('k', 0, 'K'), -1);
    Focus(a, one);
    VORNDestroyWindow(three);
    EXPECT_EQ(VORNKeyPressHook('k', 0, 'K', 1), 0) << "another window leaving keeps the focus";
    EXPECT_THAT(host->CallsNamed("TakeKeyboardFocus"),
                ElementsAre("TakeKeyboardFocus(1)", "TakeKeyboardFocus(1)", "TakeKeyboardFocus(0)",
                            "TakeKeyboardFocus(1)", "TakeKeyboardFocus(0)", "TakeKeyboardFocus(1)",
                            "TakeKeyboardFocus(1)", "TakeKeyboardFocus(0)", "TakeKeyboardFocus(1)"));
    w1.onKey = [&](int) { VORNDestroyWindow(one); };
    VORNDestroyWindow(one);
    EXPECT_EQ(PressKey('k', 0, 'K'), -1);
    EXPECT_EQ(host->CallsNamed("TakeKeyboardFocus").back(), "TakeKeyboardFocus(0)");
    EXPECT_EQ(Held(a, &VORNPluginInventory::windows), 0);
    EXPECT_THAT(gWindowCalls,
                ElementsAre("w1 key 0 0 0 lose1 arg=w2/1", "w2 key 0 0 0 lose1 arg=null/2",
                            "w1 key 0 0 0 lose1 arg=null/1", "w1 key 0 0 0 lose1 arg=w3/1",
                            "w3 key 107 0 75 lose0 arg=w3/1", "w3 key 0 0 0 lose1 arg=w2/1",
                            "w1 key 107 0 75 lose0 arg=w1/1", "w1 key 0 0 0 lose1 arg=null/1"));
}

TEST_F(DisplayApiTest, AWindowRemovedMidWalkIsSkippedAndFreedAfterTheWalk)
{
    StartAgents(2);
    // w3's click runs a nested cursor walk in which w2 destroys w3, on which
    // the outer walk stands, and w1 behind; the outer walk goes on to w2 alone.
    Open(a, w1);
    Open(a, w2);
    Open(b, w3);
    w3.mouseResult = 0;
    w2.mouseResult = 0;
    w3.onMouse = [&](int) { VORNCursorHook(5, 5); };
    w2.onCursor = [&] {
        VORNDestroyWindow(w3.id);
        VORNDestroyWindow(w1.id);
    };
    EXPECT_EQ(Click(5, 5), 1);
    EXPECT_THAT(gWindowCalls, ElementsAre("w3 mouse1 5,5/2", "w3 cursor 5,5/2", "w2 cursor 5,5/1",
                                          "w2 mouse1 5,5/1"));
    EXPECT_EQ(Held(a, &VORNPluginInventory::windows), 1);
    EXPECT_EQ(Held(b, &VORNPluginInventory::windows), 0);
}

TEST_F(DisplayApiTest, WindowsCreatedRaisedOrHiddenInTheirCallbacksTakeEffectNextWalk)
{
    StartAgents(2);
    WinProbe made("made");
    Open(a, w1);
    Open(a, w2);
    Open(b, w3);
    w1.onDraw = [&] {
        VORNBringWindowToFront(w3.id);
        if (made.id == nullptr)
            OpenProbeWindow(made, 0, 10, 10, 0);
    };
    w2.onDraw = [&] { VORNBringWindowToFront(w2.id); };
    WindowStep();
    w1.onDraw = nullptr;
    w2.onDraw = nullptr;
    WindowStep();
    for (WinProbe* p : {&w1, &w2, &w3, &made}) {
        p->mouseResult = 0;
        p->onMouse = [p](int) { VORNBringWindowToFront(p->id); };
    }
    EXPECT_EQ(Click(5, 5), 1) << "windows raising themselves are each asked once";
    w3.onMouse = [&](int) {
        VORNTakeKeyboardFocus(w3.id);
        VORNSetWindowIsVisible(w3.id, 0);
    };
    EXPECT_EQ(Click(5, 5), 1);
    EXPECT_EQ(Click(5, 5), 1);
    EXPECT_THAT(gWindowCalls,
                ElementsAre("w1 draw/1", "w2 draw/1", "w3 draw/2",                           //
                            "w1 draw/1", "w3 draw/2", "made draw/1", "w2 draw/1",             //
                            "w2 mouse1 5,5/1", "made mouse1 5,5/1", "w3 mouse1 5,5/2",
                            "w1 mouse1 5,5/1",                                                //
                            "w1 mouse1 5,5/1", "w3 mouse1 5,5/2", "w3 key 0 0 0 lose1 arg=null/2",
                            "made mouse1 5,5/1", "w2 mouse1 5,5/1",                           //
                            "w2 mouse1 5,5/1", "made mouse1 5,5/1", "w1 mouse1 5,5/1"));
}

TEST_F(DisplayApiTest, ADownThatDestroysOrDisablesItsWindowTakesNoDragNorDoesADestroyedDrag)
{
    StartAgents(2);
    Open(a, w1);
    Open(b, w2);
    w2.mouseResult = 0;
    w2.onMouse = [&](int) { VORNDestroyWindow(w2.id); };
    w1.onMouse = [&](int) { VORNDisablePlugin(a); };
    EXPECT_EQ(Click(5, 5), 0);
    WindowStep();
    EXPECT_EQ(Click(5, 5, 0), 1) << "no drag";
    VORNEnablePlugin(a);
    w1.onMouse = [&](int status) {
        if (status == 2)
            VORNDestroyWindow(w1.id);
    };
    EXPECT_EQ(Click(5, 5), 0);
    WindowStep();
    WindowStep();
    EXPECT_EQ(Click(5, 5, 0), 1) << "the destroyed window's drag ended";
    EXPECT_THAT(gWindowCalls, ElementsAre("w2 mouse1 5,5/2", "w1 mouse1 5,5/1", "w1 mouse1 5,5/1",
                                          "w1 mouse2 0,0/1"));
    EXPECT_EQ(host->CountCalls("GetMouseLocation"), 1u);
}

// ---- Disable and unload ------------------------------------------------------------------

TEST_F(DisplayApiTest, DisablingTheOwnerEndsItsDragTakesItsFocusAndPassesItsWindowsOver)
{
    StartAgents(2);
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
    EXPECT_THAT(host->CallNames(), ElementsAre("TakeKeyboardFocus", "GetMouseLocation"));
    EXPECT_EQ(Click(5, 5), 1) << "a disabled plug-in's window is passed over";
    VORNEnablePlugin(b);
    Focus(b, one);
    EXPECT_EQ(host->CountCalls("TakeKeyboardFocus"), 1u) << "nor can it take the focus";
    VORNEnablePlugin(a);
    WindowStep();
    EXPECT_EQ(gWindowCalls.end()[-2], "w1 draw/1") << "its window stayed registered";
}

TEST_F(DisplayApiTest, FocusAndDisableCallbacksThatDisableOrEnablePlugins)
{
    StartHookedAndAgent();
    int disables = 0;
    hooks.disable = [&] { ++disables; };
    VORNWindowID mine = Open(a, w1);
    VORNWindowID theirs = Open(b, w2, 200, 300, 300, 200);
    // The losing window disables the plug-in of the window taking the focus.
    Focus(a, mine);
    w1.onKey = [&](int) { VORNDisablePlugin(b); };
    Focus(b, theirs);
    EXPECT_EQ(PressKey('k', 0, 'K'), -1);
    // The up ending the drag at disable takes the focus back: it stays, unusable.
    VORNEnablePlugin(b);
    w1.onKey = nullptr;
    Click(5, 5);
    w1.onMouse = [&](int status) {
        if (status == 3)
            VORNTakeKeyboardFocus(w1.id);
    };
    VORNDisablePlugin(a);
    EXPECT_EQ(VORNKeyPressHook('k', 0, 'K', 1), 1) << "the host keeps keys while a is disabled";
    Focus(b, theirs);
    EXPECT_THAT(host->CallsNamed("TakeKeyboardFocus"),
                ElementsAre("TakeKeyboardFocus(1)", "TakeKeyboardFocus(0)", "TakeKeyboardFocus(1)",
                            "TakeKeyboardFocus(1)"));
    // A focus loss at disable that disables its plug-in again: it hears of each.
    VORNEnablePlugin(a);
    Focus(a, mine);
    w1.onKey = [&](int losing) {
        if (losing != 0)
            VORNDisablePlugin(a);
    };
    disables = 0;
    VORNDisablePlugin(a);
    EXPECT_EQ(disables, 2);
    // A plug-in enabled again while all are being disabled stays enabled.
    VORNEnablePlugin(a);
    w1.onKey = nullptr;
    Focus(b, theirs);
    w2.onKey = [&](int losing) {
        if (losing != 0)
            VORNEnablePlugin(a);
    };
    int enabledAtStop = -1;
    hooks.stop = [&] { enabledAtStop = VORNIsPluginEnabled(a) * 10 + VORNIsPluginEnabled(b); };
    disables = 0;
    VORNReloadPlugins();
    VORNEventHook(0, nullptr, 1.0f);
    EXPECT_EQ(disables, 1);
    EXPECT_EQ(enabledAtStop, 10);
    EXPECT_THAT(gWindowCalls,
                ElementsAre("w1 key 0 0 0 lose1 arg=w2/1", "w1 mouse1 5,5/1", "w1 mouse3 0,0/1",
                            "w2 key 0 0 0 lose1 arg=w1/2", "w1 key 0 0 0 lose1 arg=null/1",
                            "w2 key 0 0 0 lose1 arg=null/2"));
}

TEST_F(DisplayApiTest, UnloadingRemovesWhatEachPluginOwnedAndReleasesFocusAndDrag)
{
    StartAgents(2);
    VORNWindowID one = Open(a, w1);
    Open(a, w3, 500, 600, 600, 500);
    Open(b, w2, 20, 30, 30, 20);
    Cb h("h");
    HotKey(b, h, 'X', 0);
    HotKey(b, h, 'Y', 0);
    Draw(a, p1, 5, 1);
    Draw(a, p2, 5, 1);
    Draw(a, p3, 200, 1);  // a phase no step draws
    Draw(b, p3, 5, 1);
    Sniffer(a, p1, 1);
    Sniffer(b, p2, 1);
    As(a, [&] { VORNUnregisterDrawCallback(DrawCb, 5, 1, &p1); });
    // The host's own registrations outlive every plug-in.
    Cb mine("host");
    Cb hostKey("host");
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
    EXPECT_EQ(VORNCountHotKeys(), 1);
    EXPECT_EQ(VORNGetWindowIsVisible(one), 0);
    gWindowCalls.clear();
    EXPECT_EQ(Click(5, 5), 1);
    EXPECT_EQ(Click(5, 5, 0), 0);
    WindowStep();
    VORNDoDrawingHook(2, 0);
    EXPECT_EQ(PressKey('x', 0, 'X'), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("hw mouse3 5,5/0", "hw draw/0", "host 5b/0", "host x0X/0", "host hot/0"));
    EXPECT_EQ(Draw(a, p2, 5, 1) + Draw(a, p3, 200, 1) + Sniffer(a, p1, 1), 3)
        << "nothing is left to be a duplicate";
}

TEST_F(DisplayApiTest, ScreenSizeMouseLocationAndCameraPositionComeFromTheHost)
{
    StartAgents(1);
    int w = 0, h = 0, x = 0, y = 0;
    host->mouseX = 12;
    host->mouseY = 34;
    host->cameraPosition[6] = 42;
    VORNGetScreenSize(&w, &h);
    VORNGetMouseLocation(&x, &y);
    VORNCameraPositionRecord record{};
    VORNReadCameraPosition(&record);
    EXPECT_EQ(std::to_string(w) + " " + std::to_string(h) + " " + std::to_string(x) + " " +
                  std::to_string(y) + " " + std::to_string(int(record.values[0])) +
                  std::to_string(int(record.values[6])),
              "1024 768 12 34 142");
    EXPECT_THAT(host->CallsNamed("GetMouseLocation"),
                ElementsAre("GetMouseLocation(" + FmtArgs(&x, &y, 1) + ")"));
}

// ---- Camera ------------------------------------------------------------------------------

int gKeep = 1;
std::function<void()> gInside;  // runs inside the controller

std::string Values(const float* v)
{
    std::string text;
    for (int i = 0; i < 7; ++i)
        text += (i == 0 ? "" : ",") + std::to_string(int(v[i]));
    return text;
}

int Controller(VORNCameraPositionRecord* position, int losing, void* refcon)
{
    gWindowCalls.push_back(std::string(static_cast<const char*>(refcon)) + Me() + " flag " +
                           std::to_string(losing) + " " + (position ? Values(position->values) : "null"));
    if (position != nullptr)
        position->values[0] += 100;
    if (gInside)
        gInside();
    return gKeep;
}

class CameraApiTest : public DisplayApiTest {
protected:
    void SetUp() override
    {
        DisplayApiTest::SetUp();
        gKeep = 1;
        gInside = nullptr;
    }
    static void Control(int id, int duration, const char* tag)
    {
        As(id, [&] { VORNControlCamera(duration, Controller, const_cast<char*>(tag)); });
    }
    int CameraFrame() { return VORNCameraHook(&v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6]); }
    static int Duration()
    {
        int duration = -5;
        VORNIsCameraBeingControlled(&duration);
        return duration;
    }
    float v[7] = {1, 2, 3, 4, 5, 6, 7};
};

TEST_F(CameraApiTest, TheControllerRewritesTheHostsValuesUntilItGivesUp)
{
    StartAgents(2);
    EXPECT_EQ(CameraFrame(), 1);
    Control(a, 2, "A");
    EXPECT_EQ(Duration(), 2);
    EXPECT_EQ(CameraFrame(), 0);
    EXPECT_EQ(Values(v), "101,2,3,4,5,6,7");
    EXPECT_EQ(VORNGetMyID(), 0);
    gKeep = 0;
    EXPECT_EQ(CameraFrame(), 1);
    EXPECT_EQ(Values(v), "101,2,3,4,5,6,7");
    EXPECT_EQ(CameraFrame(), 1);
    EXPECT_EQ(Duration(), -5);
    VORNDisablePlugin(a);
    EXPECT_THAT(gWindowCalls, ElementsAre("A/1 flag 0 1,2,3,4,5,6,7", "A/1 flag 0 101,2,3,4,5,6,7"))
        << "a controller that gave up is not released again";
}

TEST_F(CameraApiTest, ReleaseByTheHostByTakeOverByDisableAndByUnload)
{
    StartAgents(2);
    Control(a, 1, "A");
    VORNEventHook(1, nullptr, 0);
    VORNEventHook(1, nullptr, 0);
    Control(a, 2, "A");
    Control(b, 2, "B");
    CameraFrame();
    VORNDisablePlugin(a);
    EXPECT_EQ(Held(b, &VORNPluginInventory::camera), 1);
    EXPECT_EQ(Held(a, &VORNPluginInventory::camera), 0) << "only the controller holds it";
    VORNDisablePlugin(b);
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 0);
    EXPECT_EQ(Held(b, &VORNPluginInventory::camera), 0) << "nor the last one, once released";
    VORNEnablePlugin(a);
    Control(a, 2, "A");
    VORNReloadPlugins();
    VORNEventHook(0, nullptr, 1.0f);
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("A/1 flag 1 null", "B/2 flag 0 1,2,3,4,5,6,7",
                                          "B/2 flag 1 null", "A/1 flag 1 null"));
}

TEST_F(CameraApiTest, ACallbackMayLetGoOrHandOverFromInside)
{
    StartAgents(2);
    gInside = [] { VORNDontControlCamera(); };
    Control(a, 2, "A");
    EXPECT_EQ(CameraFrame(), 0) << "letting go inside still sets this frame";
    EXPECT_EQ(CameraFrame(), 1);
    gInside = [] {
        gInside = nullptr;
        VORNControlCamera(2, Controller, const_cast<char*>("next"));
    };
    Control(b, 1, "first");
    CameraFrame();
    CameraFrame();
    EXPECT_EQ(Duration(), 2);
    EXPECT_THAT(gWindowCalls, ElementsAre("A/1 flag 0 1,2,3,4,5,6,7", "first/2 flag 0 101,2,3,4,5,6,7",
                                          "next/2 flag 0 201,2,3,4,5,6,7"));
}

TEST_F(CameraApiTest, ACameraTakenInsideVPluginDisableIsDroppedUntold)
{
    StartHookedAndAgent();
    int duration = 2;
    hooks.disable = [&] { VORNControlCamera(duration, Controller, const_cast<char*>("late")); };
    VORNDisablePlugin(a);
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 1);
    EXPECT_EQ(CameraFrame(), 1) << "by the next frame";
    EXPECT_EQ(Values(v), "1,2,3,4,5,6,7");
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 0);
    VORNEnablePlugin(a);
    duration = 1;
    VORNDisablePlugin(a);
    EXPECT_EQ(VORNEventHook(1, nullptr, 0), 1) << "or a short one by the host's release";
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 0);
    EXPECT_THAT(gWindowCalls, IsEmpty());
}

}  // namespace

// What the host itself opened goes with the library: a restart starts with
// no windows.
TEST_F(DisplayApiTest, TheHostsOwnWindowIsGoneAfterARestart)
{
    StartAgents(1);
    WinProbe mine("host");
    OpenProbeWindow(mine, 0, 100, 100, 0);
    WindowStep();
    VORNShutdownPlugins();
    Start();
    WindowStep();
    EXPECT_THAT(gWindowCalls, ElementsAre("host draw/0"));
}
