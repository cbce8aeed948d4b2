// Windows and hot keys owned by real plug-in modules (the agent plug-in runs
// test code as itself), driven through the host's display entry points.

#include "../plugins/agent.h"
#include "HostFixture.h"
#include "VORN/VORNDisplay.h"
#include "VORN/VORNProcessing.h"
#include "WindowProbe.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

void RunFunction(void* context)
{
    (*static_cast<std::function<void()>*>(context))();
}

int RefuseToDraw(int, int, void*)
{
    return 0;
}

int Sniff(char, int, char, void* refcon)
{
    gWindowCalls.push_back(std::string("sniff ") + static_cast<const char*>(refcon) + Me());
    return 1;
}

std::vector<std::string> gLeftovers;

void KeepLeftovers(VORNPluginID id, const VORNPluginInventory* left)
{
    gLeftovers.push_back(std::to_string(id) + ": " + std::to_string(left->windows) + " windows " +
                         std::to_string(left->hotKeys) + " hot keys");
}

class WindowApiTest : public HostTest {
protected:
    void SetUp() override
    {
        HostTest::SetUp();
        gWindowCalls.clear();
        gWindowNames.clear();
        gLeftovers.clear();
        InstallPlugin("agent", "a.vpl");
        InstallPlugin("agent", "b.vpl");
        host->systemPath = SystemPath();
        Start();
        ASSERT_EQ(VORNCountPlugins(), 3);
    }

    void TearDown() override
    {
        VORNSetUnloadObserver(nullptr);
        HostTest::TearDown();
    }

    // Runs body as plug-in id (1 or 2), through a message to it.
    void As(int id, std::function<void()> body)
    {
        AgentRun run = {RunFunction, &body};
        VORNSendMessageToPlugin(id, AGENT_RUN_MESSAGE, &run);
    }

    VORNWindowID Open(int owner, WinProbe& p, int left, int top, int right, int bottom)
    {
        As(owner, [&] { OpenProbeWindow(p, left, top, right, bottom); });
        return p.id;
    }

    VORNHotKeyID HotKey(int owner, HotKeyProbe& p, char virtualKey, int flags)
    {
        VORNHotKeyID id = nullptr;
        As(owner, [&] { id = VORNRegisterHotKey(virtualKey, flags, p.name.c_str(), ProbeHotKey, &p); });
        return id;
    }

    // Offers a key as the host does: stage by stage until one consumes it.
    int PressKey(char key, int flags, char virtualKey)
    {
        for (int stage = 0; stage < 3; ++stage) {
            if (VORNKeyPressHook(key, flags, virtualKey, stage) == 0)
                return stage;
        }
        return -1;
    }

    const int a = 1, b = 2;
    WinProbe w1{"w1"}, w2{"w2"};
};

TEST_F(WindowApiTest, OverlappingWindowsOfTwoPluginsTakeClicksFrontFirstWithFallThrough)
{
    Open(a, w1, 0, 100, 100, 0);
    Open(b, w2, 50, 150, 150, 50);
    w2.mouseResult = 0;
    EXPECT_EQ(VORNMouseClickHook(50, 50, 1), 0);
    EXPECT_EQ(VORNMouseClickHook(50, 50, 0), 0);
    EXPECT_EQ(VORNMouseClickHook(100, 60, 1), 1) << "the right edge of w1 misses, w2 lets it go";
    EXPECT_EQ(VORNMouseClickHook(120, 150, 1), 1) << "the top edge of w2 misses";
    EXPECT_THAT(gWindowCalls, ElementsAre("w2 mouse1 50,50/2", "w1 mouse1 50,50/1",
                                          "w1 mouse3 50,50/1", "w2 mouse1 100,60/2"));
}

TEST_F(WindowApiTest, ADragIsFedEveryFrameOutsideTheWindowAndEndsWithTheUp)
{
    Open(a, w1, 0, 10, 10, 0);
    EXPECT_EQ(VORNMouseClickHook(0, 0, 1), 0);
    host->mouseX = 400;
    host->mouseY = -20;
    EXPECT_EQ(VORNDoDrawingHook(20, 0), 1);
    EXPECT_EQ(VORNMouseClickHook(401, -21, 0), 0);
    EXPECT_EQ(VORNMouseClickHook(401, -21, 0), 1);
    EXPECT_EQ(VORNDoDrawingHook(20, 0), 1);
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 mouse1 0,0/1", "w1 mouse2 400,-20/1", "w1 draw/1",
                                          "w1 mouse3 401,-21/1", "w1 draw/1"));
}

TEST_F(WindowApiTest, FocusMovesBetweenPluginsAndIsLostOnDestroy)
{
    VORNWindowID one = Open(a, w1, 0, 10, 10, 0);
    VORNWindowID two = Open(b, w2, 20, 30, 30, 20);
    As(a, [&] { VORNTakeKeyboardFocus(one); });
    As(b, [&] { VORNTakeKeyboardFocus(two); });
    As(a, [&] { VORNDestroyWindow(two); });
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 key 0 0 0 lose1 arg=w2/1",
                                          "w2 key 0 0 0 lose1 arg=null/2"));
    EXPECT_THAT(host->CallsNamed("TakeKeyboardFocus"),
                ElementsAre("TakeKeyboardFocus(1)", "TakeKeyboardFocus(1)", "TakeKeyboardFocus(0)"));
    EXPECT_EQ(PressKey('a', 0, 'A'), -1) << "nobody has the keyboard";
}

TEST_F(WindowApiTest, AFocusedWindowConsumesKeysSoLateSniffersNeverSeeThem)
{
    char early[] = "early", late[] = "late";
    As(b, [&] {
        VORNRegisterKeySniffer(Sniff, 1, early);
        VORNRegisterKeySniffer(Sniff, 0, late);
    });
    VORNWindowID one = Open(a, w1, 0, 10, 10, 0);
    EXPECT_EQ(PressKey('a', 0, 'A'), -1);
    As(a, [&] { VORNTakeKeyboardFocus(one); });
    EXPECT_EQ(PressKey('b', 0, 'B'), 1);
    EXPECT_THAT(gWindowCalls, ElementsAre("sniff early/2", "sniff late/2", "sniff early/2",
                                          "w1 key 98 0 66 lose0 arg=w1/1"));
}

TEST_F(WindowApiTest, DisablingTheOwnerTellsItOnceTellsTheHostAndEndsItsDrag)
{
    VORNWindowID one = Open(a, w1, 0, 10, 10, 0);
    As(a, [&] { VORNTakeKeyboardFocus(one); });
    VORNMouseClickHook(5, 5, 1);
    host->ClearRecord();
    host->mouseX = 70;
    host->mouseY = 80;
    VORNDisablePlugin(a);
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 mouse1 5,5/1", "w1 key 0 0 0 lose1 arg=null/1",
                                          "w1 mouse3 70,80/1"));
    EXPECT_THAT(host->CallsNamed("TakeKeyboardFocus"), ElementsAre("TakeKeyboardFocus(0)"));
    EXPECT_EQ(VORNMouseClickHook(5, 5, 1), 1) << "a disabled plug-in's window is passed over";
    VORNDoDrawingHook(20, 0);
    As(b, [&] { VORNTakeKeyboardFocus(one); });
    EXPECT_EQ(host->CountCalls("TakeKeyboardFocus"), 1u) << "nor can it take the focus";
    VORNEnablePlugin(a);
    VORNDoDrawingHook(20, 0);
    EXPECT_EQ(gWindowCalls.back(), "w1 draw/1") << "its window stayed registered";
}

TEST_F(WindowApiTest, HotKeysMatchExactFlagsNewestFirstAcrossPlugins)
{
    HotKeyProbe older("older"), newer("newer");
    HotKey(a, older, 'H', 2);
    VORNHotKeyID top = HotKey(b, newer, 'H', 2);
    EXPECT_EQ(PressKey('h', 3, 'H'), -1);
    EXPECT_EQ(PressKey('h', 2, 'H'), 0);
    As(a, [&] { VORNUnregisterHotKey(top); });
    EXPECT_EQ(PressKey('h', 2, 'H'), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("newer hot/2", "older hot/1"));
    char description[512];
    VORNPluginID owner = -1;
    VORNGetHotKeyInfo(VORNGetNthHotKey(0), nullptr, nullptr, description, &owner);
    EXPECT_STREQ(description, "older");
    EXPECT_EQ(owner, a);
}

TEST_F(WindowApiTest, Step12AnswersOneEvenWhenABeforeCallbackRefuses)
{
    As(a, [] {
        VORNRegisterDrawCallback(RefuseToDraw, 30, 1, nullptr);
        VORNRegisterDrawCallback(RefuseToDraw, 35, 1, nullptr);
    });
    EXPECT_EQ(VORNDoDrawingHook(12, 0), 1);
    EXPECT_EQ(VORNDoDrawingHook(13, 0), 0);
}

TEST_F(WindowApiTest, AWindowAndAHotKeyMayDestroyThemselvesInTheirOwnCallbacks)
{
    VORNWindowID one = Open(a, w1, 0, 10, 10, 0);
    w1.onDraw = [&] { VORNDestroyWindow(one); };
    HotKeyProbe once("once");
    VORNHotKeyID id = HotKey(b, once, 'O', 0);
    once.action = [&] { VORNUnregisterHotKey(id); };
    EXPECT_EQ(VORNDoDrawingHook(20, 0), 1);
    EXPECT_EQ(VORNDoDrawingHook(20, 0), 1);
    EXPECT_EQ(PressKey('o', 0, 'O'), 0);
    EXPECT_EQ(PressKey('o', 0, 'O'), -1);
    EXPECT_THAT(gWindowCalls, ElementsAre("w1 draw/1", "once hot/2"));
    EXPECT_EQ(VORNCountHotKeys(), 0);
    EXPECT_EQ(VORNGetWindowRefCon(one), nullptr);
}

TEST_F(WindowApiTest, UnloadingRemovesWhatEachPluginOwnedAndReleasesFocus)
{
    VORNWindowID one = Open(a, w1, 0, 10, 10, 0);
    Open(b, w2, 20, 30, 30, 20);
    HotKeyProbe h("h");
    HotKey(b, h, 'X', 0);
    HotKey(b, h, 'Y', 0);
    VORNPluginInventory inventory{};
    inventory.structSize = sizeof inventory;
    ASSERT_EQ(VORNGetPluginInventory(b, &inventory), 1);
    EXPECT_EQ(inventory.windows, 1);
    EXPECT_EQ(inventory.hotKeys, 2);
    As(a, [&] { VORNTakeKeyboardFocus(one); });
    VORNSetUnloadObserver(KeepLeftovers);
    VORNReloadPlugins();
    VORNEventHook(0, nullptr, 1.0f);
    EXPECT_THAT(gLeftovers, ElementsAre("1: 1 windows 0 hot keys", "2: 1 windows 2 hot keys"));
    EXPECT_EQ(host->CallsNamed("TakeKeyboardFocus").back(), "TakeKeyboardFocus(0)");
    EXPECT_EQ(VORNCountHotKeys(), 0);
    EXPECT_EQ(VORNGetWindowIsVisible(one), 0);
    gWindowCalls.clear();
    EXPECT_EQ(VORNMouseClickHook(5, 5, 1), 1);
    EXPECT_EQ(VORNDoDrawingHook(20, 0), 1);
    EXPECT_THAT(gWindowCalls, IsEmpty());
}

}  // namespace
