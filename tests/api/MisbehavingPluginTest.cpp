// Plug-ins that misbehave: they throw out of their callbacks, remove
// registrations in the middle of a dispatch, ask for a reload from a menu, or
// never release what they registered. An exception stops where the plug-in
// was called: one warning names the plug-in, the call counts as having
// returned the site's neutral value (noted per test), and the dispatched
// plug-in and the lists are exactly as before.

#include "../plugins/agent.h"
#include "../plugins/hooked.h"
#include "FreshProcess.h"
#include "PluginRoot.h"
#include "VORN/VORNCamera.h"
#include "VORN/VORNDataAccess.h"
#include "VORN/VORNDisplay.h"
#include "VORN/VORNMenus.h"
#include "VORN/VORNPlanes.h"
#include "VORN/VORNProcessing.h"
#include "VORN/VORNScenery.h"
#include "VORN/VORNUtilities.h"

#include <dlfcn.h>
#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const char kThrewWarning[] = "a callback threw an exception; the library ignored it and went on";

TEST_F(LoaderTest, AnExceptionFromAMessageHandlerIsLoggedAndTheBroadcastGoesOn)
{
    root.CopyFile(TestPluginPath("throwing"), "Resources/plugins/a_throwing.vpl");
    AddScripted("b.vpl", "B", "t.b");
    Start();
    host->ClearRecord();
    EXPECT_EQ(VORNEventHook(2, nullptr, 0), 1);
    EXPECT_THAT(host->debugWrites, ElementsAre("[", "Thrower", "]: ", kThrewWarning, "\n",
                                               "<B:msg 101 from 0 param null id=2>"));
    EXPECT_EQ(VORNGetMyID(), 0);
}

TEST_F(LoaderTest, ExceptionsFromDisableAndStopDoNotStopShutdown)
{
    root.CopyFile(TestPluginPath("throwing"), "Resources/plugins/a_throwing.vpl");
    AddScripted("b.vpl", "B", "t.b");
    Start();
    host->ClearRecord();
    VORNShutdownPlugins();
    started = false;
    EXPECT_THAT(host->debugWrites,
                ElementsAre("[", "Thrower", "]: ", kThrewWarning, "\n", "<B:disable id=2>", "[",
                            "Thrower", "]: ", kThrewWarning, "\n", "<B:stop id=2>"));
    EXPECT_EQ(VORNCountPlugins(), 0);
}

// ---- Three hooked C++ plug-ins: alpha (id 1), beta (2) and gamma (3) ---------

std::vector<std::string> gSeen;

void See(const std::string& what)
{
    gSeen.push_back(what + "@" + std::to_string(VORNGetMyID()));
}

[[noreturn]] void Throw()
{
    throw std::runtime_error("plug-in failure");
}

void RunFunction(void* context)
{
    (*static_cast<std::function<void()>*>(context))();
}

// refcon of the test's callbacks: a name to log and whether to throw.
struct Act {
    explicit Act(std::string n, bool f = false) : name(std::move(n)), fails(f) {}
    std::string name;
    bool fails = false;
    std::function<void()> then;  // runs after logging, before any throw
    void Do()
    {
        See(name);
        if (then)
            then();
        if (fails)
            Throw();
    }
};

float LoopCallback(float, float, int, void* refcon)
{
    static_cast<Act*>(refcon)->Do();
    return -1.0f;
}

float HalfSecondLoop(float, float, int, void* refcon)
{
    static_cast<Act*>(refcon)->Do();
    return 0.5f;
}

void MenuCallback(void*, void* itemRef)
{
    static_cast<Act*>(itemRef)->Do();
}

int CommandCallback(VORNCommandRef, int, void* refcon)
{
    static_cast<Act*>(refcon)->Do();
    return 1;
}

void VoidCallback(void* refcon)
{
    static_cast<Act*>(refcon)->Do();
}

int ReadInt(void* refcon)
{
    static_cast<Act*>(refcon)->Do();
    return 7;
}

void WriteInt(void* refcon, int)
{
    static_cast<Act*>(refcon)->Do();
}

int CameraCallback(VORNCameraPositionRecord* position, int losing, void* refcon)
{
    static_cast<Act*>(refcon)->Do();
    if (position != nullptr)
        position->values[0] = 100.0f;
    return losing == 0 ? 1 : 0;
}

void ObjectLoaded(VORNObjectRef, void* refcon)
{
    static_cast<Act*>(refcon)->Do();
}

void FeatureCallback(const char* feature, void* refcon)
{
    See(feature);
    if (refcon != nullptr)
        Throw();
}

void ErrorCallback(const char* message)
{
    See(std::string("error ") + message);
    Throw();
}

class MisbehavingTest : public LoaderTest {
protected:
    void SetUp() override
    {
        LoaderTest::SetUp();
        gSeen.clear();
        host->systemPath = SystemPath();
        for (int i = 0; i < 3; ++i) {
            const std::string path = InstallPlugin("hooked", kNames[i] + std::string(".vpl"));
            modules[i] = dlopen(path.c_str(), RTLD_NOW);
            ASSERT_NE(modules[i], nullptr) << dlerror();
            auto install = reinterpret_cast<HookedInstall_f>(dlsym(modules[i], "HookedInstall"));
            ASSERT_NE(install, nullptr);
            install(&hooks[i]);
        }
    }

    void TearDown() override
    {
        LoaderTest::TearDown();
        for (void* module : modules) {
            if (module != nullptr)
                dlclose(module);
        }
    }

    void StartAll()
    {
        Start();
        ASSERT_EQ(VORNCountPlugins(), 4);
        host->ClearRecord();
    }

    // Runs body as plug-in id, through a message to it.
    void As(int id, std::function<void()> body)
    {
        AgentRun run = {RunFunction, &body};
        VORNSendMessageToPlugin(id, AGENT_RUN_MESSAGE, &run);
    }

    VORNFlightLoopID CreateLoop(int id, Act& act, VORNFlightLoop_f callback = LoopCallback,
                                float interval = -1.0f)
    {
        VORNFlightLoopID loop = nullptr;
        As(id, [&] {
            VORNCreateFlightLoop_t params = {sizeof params, 0, callback, &act};
            loop = VORNCreateFlightLoop(&params);
            VORNScheduleFlightLoop(loop, interval, 1);
        });
        return loop;
    }

    void Frame(float t)
    {
        host->elapsedTime = t;
        EXPECT_EQ(VORNEventHook(0, nullptr, t), 1);
    }

    // The log lines of one caught exception of plug-in name.
    static std::vector<std::string> Threw(const std::string& name)
    {
        return {"[", name, "]: ", kThrewWarning, "\n"};
    }

    static constexpr const char* kNames[3] = {"alpha", "beta", "gamma"};
    const int alpha = 1, beta = 2, gamma = 3;
    HookedHooks hooks[3];
    void* modules[3] = {nullptr, nullptr, nullptr};
};

// Flight loop: counts as having returned its current interval, so it keeps
// its rhythm; the pass goes on with the next loop.
TEST_F(MisbehavingTest, AFlightLoopThatThrowsKeepsItsIntervalAndThePassGoesOn)
{
    StartAll();
    Act failing{"a", true}, fine{"b"};
    VORNFlightLoopID thrower = CreateLoop(alpha, failing, HalfSecondLoop, 0.5f);
    CreateLoop(beta, fine);
    host->elapsedTime = 0.0f;
    Frame(0.5f);
    EXPECT_THAT(host->debugWrites, ::testing::ElementsAreArray(Threw("alpha")));
    EXPECT_EQ(VORNGetMyID(), 0);
    Frame(0.75f);
    Frame(1.0f);
    EXPECT_THAT(gSeen, ElementsAre("b@2", "a@1", "b@2", "b@2", "a@1"))
        << "due again half a second later, not on every pass";

    // The list is usable as before: removal and creation from the owner.
    gSeen.clear();
    Act added{"c"};
    As(alpha, [&] { VORNDestroyFlightLoop(thrower); });
    CreateLoop(alpha, added);
    Frame(2.0f);
    EXPECT_THAT(gSeen, ElementsAre("c@1", "b@2"));
}

// Menu handler: nothing to return; the pick counts as handled.
TEST_F(MisbehavingTest, AMenuHandlerThatThrowsLeavesThePickHandled)
{
    StartAll();
    Act failing{"pick", true}, fine{"other"};
    int failingItem = 0, fineItem = 0;
    As(alpha, [&] {
        VORNMenuID plugins = VORNFindPluginsMenu();
        const int slot = VORNAppendMenuItem(plugins, "Alpha", nullptr, 0);
        VORNMenuID menu = VORNCreateMenu("Alpha", plugins, slot, MenuCallback, nullptr);
        failingItem = host->nextHostItem;
        VORNAppendMenuItem(menu, "Fails", &failing, 0);
        fineItem = host->nextHostItem;
        VORNAppendMenuItem(menu, "Works", &fine, 0);
    });
    host->ClearRecord();
    EXPECT_EQ(VORNMenuHook(failingItem), 0);
    EXPECT_THAT(host->debugWrites, ::testing::ElementsAreArray(Threw("alpha")));
    EXPECT_EQ(VORNGetMyID(), 0);
    EXPECT_EQ(VORNMenuHook(fineItem), 0);
    EXPECT_THAT(gSeen, ElementsAre("pick@1", "other@1"));
}

// Command handler: counts as 1, so the command goes on to the next handler
// and to the host.
TEST_F(MisbehavingTest, ACommandHandlerThatThrowsLetsTheCommandThrough)
{
    StartAll();
    Act failing{"first", true}, fine{"second"};
    VORNCommandRef command = VORNCreateCommand("test/misbehave", "Misbehave");
    // Newest first: alpha's handler runs first.
    As(beta, [&] { VORNRegisterCommandHandler(command, CommandCallback, 1, &fine); });
    As(alpha, [&] { VORNRegisterCommandHandler(command, CommandCallback, 1, &failing); });
    EXPECT_EQ(VORNCommandHook(command, 1, 0, 1), 1);
    EXPECT_THAT(gSeen, ElementsAre("first@1", "second@2"));
    EXPECT_THAT(host->debugWrites, ::testing::ElementsAreArray(Threw("alpha")));
    EXPECT_EQ(VORNGetMyID(), 0);

    gSeen.clear();
    As(alpha, [&] { VORNUnregisterCommandHandler(command, CommandCallback, 1, &failing); });
    EXPECT_EQ(VORNCommandHook(command, 1, 0, 1), 1);
    EXPECT_THAT(gSeen, ElementsAre("second@2"));
}

// Data accessors: a read that throws gives 0, a write that throws is lost.
TEST_F(MisbehavingTest, DataAccessorsThatThrowReadAsZeroAndLoseTheWrite)
{
    StartAll();
    Act reader{"read", true}, writer{"write", true};
    As(alpha, [&] {
        VORNRegisterDataAccessor("test/misbehave/int", VORN_DATA_INT, 1, ReadInt, WriteInt,
                                 nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                 nullptr, nullptr, nullptr, &reader, &writer);
    });
    int value = -1;
    As(beta, [&] {
        VORNDataRef ref = VORNFindDataRef("test/misbehave/int");
        value = VORNGetDatai(ref);
        VORNSetDatai(ref, 5);
        See("after");
    });
    EXPECT_EQ(value, 0);
    EXPECT_THAT(gSeen, ElementsAre("read@1", "write@1", "after@2"));
    std::vector<std::string> twice = Threw("alpha");
    const std::vector<std::string> once = twice;
    twice.insert(twice.end(), once.begin(), once.end());
    EXPECT_THAT(host->debugWrites, ::testing::ElementsAreArray(twice));
    reader.fails = false;
    EXPECT_EQ(VORNGetDatai(VORNFindDataRef("test/misbehave/int")), 7);
}

// Shared-data subscriber: nothing to return; the other subscribers are told.
TEST_F(MisbehavingTest, ASharedDataSubscriberThatThrowsDoesNotKeepOthersUninformed)
{
    StartAll();
    Act failing{"a", true}, fine{"b"};
    As(alpha, [&] { VORNShareData("test/shared", VORN_DATA_INT, VoidCallback, &failing); });
    As(beta, [&] { VORNShareData("test/shared", VORN_DATA_INT, VoidCallback, &fine); });
    As(gamma, [&] { VORNSetDatai(VORNFindDataRef("test/shared"), 3); });
    EXPECT_THAT(gSeen, ElementsAre("a@1", "b@2"));
    EXPECT_THAT(host->debugWrites, ::testing::ElementsAreArray(Threw("alpha")));
    EXPECT_EQ(VORNGetMyID(), 0);
    EXPECT_EQ(VORNGetDatai(VORNFindDataRef("test/shared")), 3);
}

// Start: counts as 0, a refusal to start; the module is closed and the
// next plug-in takes the id.
TEST_F(MisbehavingTest, AStartThatThrowsIsARefusalToStart)
{
    hooks[0].start = [] () -> int { Throw(); };
    Start();
    EXPECT_EQ(VORNCountPlugins(), 3);
    EXPECT_EQ(NameOf(1), "beta");
    const std::string log = host->Log();
    // While it starts, a plug-in goes by its file name.
    EXPECT_NE(log.find("[alpha.vpl]: " + std::string(kThrewWarning) + "\n"), std::string::npos);
    EXPECT_NE(log.find("alpha.vpl. (The plugin refused to start by returning 0 from VPluginStart.)"),
              std::string::npos);
    EXPECT_EQ(VORNGetMyID(), 0);
}

// Enable: counts as 0, a refusal; the plug-in stays disabled and can be
// enabled later.
TEST_F(MisbehavingTest, AnEnableThatThrowsLeavesThePluginDisabled)
{
    bool fail = true;
    hooks[0].enable = [&]() -> int {
        See("enable");
        if (fail)
            Throw();
        return 1;
    };
    Start();
    EXPECT_EQ(VORNIsPluginEnabled(alpha), 0);
    EXPECT_EQ(VORNIsPluginEnabled(beta), 1);
    EXPECT_NE(host->Log().find("[alpha]: " + std::string(kThrewWarning)), std::string::npos);
    fail = false;
    EXPECT_EQ(VORNEnablePlugin(alpha), 1);
    EXPECT_THAT(gSeen, ElementsAre("enable@1", "enable@1"));
    EXPECT_EQ(VORNGetMyID(), 0);
}

// Disable from the API (not shutdown): the plug-in is disabled all the same.
TEST_F(MisbehavingTest, ADisableThatThrowsStillDisablesAndRemovesNothing)
{
    hooks[0].disable = [] { Throw(); };
    StartAll();
    Act loop{"loop"};
    CreateLoop(alpha, loop);
    VORNDisablePlugin(alpha);
    EXPECT_EQ(VORNIsPluginEnabled(alpha), 0);
    EXPECT_THAT(host->debugWrites, ::testing::ElementsAreArray(Threw("alpha")));
    Frame(1.0f);
    EXPECT_THAT(gSeen, IsEmpty());
    EXPECT_EQ(VORNEnablePlugin(alpha), 1);
    Frame(2.0f);
    EXPECT_THAT(gSeen, ElementsAre("loop@1"));
}

// Stop at a reload: the reload carries on and loads the plug-in again.
TEST_F(MisbehavingTest, AStopThatThrowsDoesNotStopAReload)
{
    int starts = 0;
    hooks[0].start = [&] { return ++starts, 1; };
    hooks[0].stop = [] { Throw(); };
    StartAll();
    VORNReloadPlugins();
    Frame(1.0f);
    EXPECT_EQ(starts, 2);
    EXPECT_EQ(VORNCountPlugins(), 4);
    EXPECT_EQ(NameOf(alpha), "alpha");
    EXPECT_NE(host->Log().find("[alpha]: " + std::string(kThrewWarning)), std::string::npos);
}

// Message: nothing to return; the broadcast goes on.
TEST_F(MisbehavingTest, AMessageHandlerThatThrowsDoesNotStopTheBroadcast)
{
    hooks[1].message = [](int, int message, void*) {
        See("msg " + std::to_string(message));
        Throw();
    };
    hooks[2].message = [](int, int message, void*) { See("msg " + std::to_string(message)); };
    StartAll();
    EXPECT_EQ(VORNEventHook(4, nullptr, 0.0f), 1);
    EXPECT_THAT(gSeen, ElementsAre("msg 103@2", "msg 103@3"));
    EXPECT_THAT(host->debugWrites, ::testing::ElementsAreArray(Threw("beta")));
    EXPECT_EQ(VORNGetMyID(), 0);
}

// Camera: counts as 0, giving control up; the host's camera is untouched.
TEST_F(MisbehavingTest, ACameraCallbackThatThrowsGivesUpControl)
{
    StartAll();
    Act failing{"camera", true};
    As(alpha, [&] { VORNControlCamera(1, CameraCallback, &failing); });
    float p[7] = {1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(VORNCameraHook(&p[0], &p[1], &p[2], &p[3], &p[4], &p[5], &p[6]), 1);
    EXPECT_EQ(p[0], 1.0f);
    EXPECT_EQ(VORNIsCameraBeingControlled(nullptr), 0);
    EXPECT_THAT(host->debugWrites, ::testing::ElementsAreArray(Threw("alpha")));
    EXPECT_EQ(VORNGetMyID(), 0);

    // Control can be taken again and works.
    failing.fails = false;
    As(beta, [&] { VORNControlCamera(1, CameraCallback, &failing); });
    EXPECT_EQ(VORNCameraHook(&p[0], &p[1], &p[2], &p[3], &p[4], &p[5], &p[6]), 0);
    EXPECT_EQ(p[0], 100.0f);
    VORNDontControlCamera();  // its refcon lives on this test's stack
}

// Planes available: nothing to return; the next waiting plug-in is called.
TEST_F(MisbehavingTest, APlanesAvailableCallbackThatThrowsDoesNotSkipTheNextWaiter)
{
    StartAll();
    Act failing{"b", true}, fine{"c"};
    int got = -1;
    As(alpha, [&] { got = VORNAcquirePlanes(nullptr, nullptr, nullptr); });
    ASSERT_EQ(got, 1);
    As(beta, [&] { VORNAcquirePlanes(nullptr, VoidCallback, &failing); });
    As(gamma, [&] { VORNAcquirePlanes(nullptr, VoidCallback, &fine); });
    As(alpha, [] { VORNReleasePlanes(); });
    EXPECT_THAT(gSeen, ElementsAre("b@2", "c@3"));
    EXPECT_THAT(host->debugWrites, ::testing::ElementsAreArray(Threw("beta")));
    As(gamma, [&] { got = VORNAcquirePlanes(nullptr, nullptr, nullptr); });
    EXPECT_EQ(got, 1);
}

// Asynchronous object: nothing to return; the object stays the plug-in's.
TEST_F(MisbehavingTest, AnObjectLoadedCallbackThatThrowsStillHandsTheObjectOver)
{
    StartAll();
    Act failing{"loaded", true};
    int house = 0;
    As(alpha, [&] { VORNLoadObjectAsync("house.obj", ObjectLoaded, &failing); });
    ASSERT_EQ(host->asyncLoads.size(), 1u);
    host->asyncLoads[0].callback(&house, host->asyncLoads[0].refcon);
    EXPECT_THAT(gSeen, ElementsAre("loaded@1"));
    EXPECT_THAT(host->debugWrites, ::testing::ElementsAreArray(Threw("alpha")));
    EXPECT_EQ(VORNGetMyID(), 0);
    VORNPluginInventory inventory{};
    inventory.structSize = sizeof inventory;
    ASSERT_EQ(VORNGetPluginInventory(alpha, &inventory), 1);
    EXPECT_EQ(inventory.objects, 1);
}

// Feature enumerator: nothing to return; every feature is still offered.
TEST_F(MisbehavingTest, AFeatureEnumeratorThatThrowsIsStillOfferedEveryFeature)
{
    StartAll();
    int failing = 1;
    As(alpha, [&] { VORNEnumerateFeatures(FeatureCallback, &failing); });
    EXPECT_THAT(gSeen, ElementsAre("VORN_WANTS_REFLECTIONS@1", "VORN_USE_NATIVE_PATHS@1"));
    std::vector<std::string> twice = Threw("alpha");
    const std::vector<std::string> once = twice;
    twice.insert(twice.end(), once.begin(), once.end());
    EXPECT_THAT(host->debugWrites, ::testing::ElementsAreArray(twice));
}

// Error callback: nothing to return; the call that reported goes on.
TEST_F(MisbehavingTest, AnErrorCallbackThatThrowsDoesNotStopTheReportingCall)
{
    StartAll();
    Act fine{"loop"};
    VORNFlightLoopID loop = nullptr;
    As(alpha, [&] {
        VORNSetErrorCallback(ErrorCallback);
        VORNCreateFlightLoop_t params = {3, 0, LoopCallback, &fine};
        loop = VORNCreateFlightLoop(&params);
        VORNScheduleFlightLoop(loop, -1.0f, 1);
    });
    EXPECT_NE(loop, nullptr);
    EXPECT_THAT(gSeen, ElementsAre("error Illegal struct size for VORNCreateFlightLoop@1"));
    EXPECT_THAT(host->debugWrites, ::testing::ElementsAreArray(Threw("alpha")));
    Frame(1.0f);
    EXPECT_THAT(gSeen.back(), "loop@1");
}

// ---- Display: draw callbacks, key sniffers, windows and hot keys ---------------

int DrawThrough(int, int, void* refcon)
{
    static_cast<Act*>(refcon)->Do();
    return 0;  // keep the host from drawing, unless it threw
}

int SniffThrough(char, int, char, void* refcon)
{
    static_cast<Act*>(refcon)->Do();
    return 0;  // consume the key, unless it threw
}

void WindowDraw(VORNWindowID, void* refcon)
{
    static_cast<Act*>(refcon)->Do();
}

int WindowMouse(VORNWindowID, int, int, int status, void* refcon)
{
    auto* act = static_cast<Act*>(refcon);
    See(act->name + " mouse " + std::to_string(status));
    if (act->fails)
        Throw();
    return 1;
}

void WindowKey(VORNWindowID, char key, int, char, void* refcon, int losingFocus)
{
    auto* act = static_cast<Act*>(refcon);
    See(act->name + " key " + (losingFocus != 0 ? std::string("lost") : std::string(1, key)));
    if (act->fails && losingFocus == 0)
        Throw();
}

int WindowCursor(VORNWindowID, int, int, void* refcon)
{
    auto* act = static_cast<Act*>(refcon);
    See(act->name + " cursor");
    if (act->fails)
        Throw();
    return 2;
}

int WindowWheel(VORNWindowID, int, int, int, int clicks, void* refcon)
{
    auto* act = static_cast<Act*>(refcon);
    See(act->name + " wheel " + std::to_string(clicks));
    if (act->fails)
        Throw();
    return 1;
}

void HotKeyCallback(void* refcon)
{
    static_cast<Act*>(refcon)->Do();
}

class MisbehavingDisplayTest : public MisbehavingTest {
protected:
    // A visible window over (0, 0)-(100, 100) owned by id, every callback on act.
    VORNWindowID Window(int id, Act& act)
    {
        VORNWindowID window = nullptr;
        As(id, [&] {
            VORNCreateWindow_t params = {sizeof params, 0,           100,          100,
                                         0,             1,           WindowDraw,   WindowMouse,
                                         WindowKey,     WindowCursor, WindowWheel, &act};
            window = VORNCreateWindowEx(&params);
        });
        return window;
    }

    void ExpectOneWarningFor(const std::string& name)
    {
        EXPECT_THAT(host->debugWrites, ::testing::ElementsAreArray(Threw(name)));
        EXPECT_EQ(VORNGetMyID(), 0);
        host->ClearRecord();
    }
};

// Draw callback: counts as 1, so the host still draws the step.
TEST_F(MisbehavingDisplayTest, ADrawCallbackThatThrowsLetsTheHostDraw)
{
    StartAll();
    Act failing{"draw", true}, fine{"other"};
    As(alpha, [&] { VORNRegisterDrawCallback(DrawThrough, 0, 1, &failing); });
    EXPECT_EQ(VORNDoDrawingHook(1, 0), 1);
    ExpectOneWarningFor("alpha");
    As(beta, [&] { VORNRegisterDrawCallback(DrawThrough, 0, 1, &fine); });
    EXPECT_EQ(VORNDoDrawingHook(1, 0), 0) << "a working callback still keeps the host out";
    EXPECT_THAT(gSeen, ElementsAre("draw@1", "other@2", "draw@1"));
}

// Key sniffer: counts as 1, so the key goes on to the windows and the host.
TEST_F(MisbehavingDisplayTest, AKeySnifferThatThrowsLetsTheKeyGoOn)
{
    StartAll();
    Act failing{"sniff", true};
    As(alpha, [&] { VORNRegisterKeySniffer(SniffThrough, 1, &failing); });
    EXPECT_EQ(VORNKeyPressHook('k', 0, 'K', 0), 1);
    ExpectOneWarningFor("alpha");
    EXPECT_THAT(gSeen, ElementsAre("sniff@1"));
}

// Window drawing: nothing to return; the windows in front are still drawn.
TEST_F(MisbehavingDisplayTest, AWindowThatThrowsWhileDrawingDoesNotHideTheOthers)
{
    StartAll();
    Act back{"back", true}, front{"front"};
    Window(alpha, back);
    Window(beta, front);
    EXPECT_EQ(VORNDoDrawingHook(20, 0), 1);
    EXPECT_THAT(gSeen, ElementsAre("back@1", "front@2"));
    ExpectOneWarningFor("alpha");
}

// Mouse: a down counts as 0, so it falls through to the window behind.
TEST_F(MisbehavingDisplayTest, AMouseDownThatThrowsFallsThroughToTheWindowBehind)
{
    StartAll();
    Act back{"back"}, front{"front", true};
    Window(beta, back);
    Window(alpha, front);
    EXPECT_EQ(VORNMouseClickHook(10, 10, 1), 0);
    ExpectOneWarningFor("alpha");
    EXPECT_EQ(VORNMouseClickHook(10, 10, 0), 0) << "the window behind took the drag";
    EXPECT_THAT(gSeen, ElementsAre("front mouse 1@1", "back mouse 1@2", "back mouse 3@2"));
}

// Mouse: a drag or up that throws is still delivered as consumed.
TEST_F(MisbehavingDisplayTest, AMouseUpThatThrowsEndsTheDragAllTheSame)
{
    StartAll();
    Act window{"w"};
    Window(alpha, window);
    EXPECT_EQ(VORNMouseClickHook(10, 10, 1), 0);
    window.fails = true;
    EXPECT_EQ(VORNMouseClickHook(50, 50, 0), 0);
    ExpectOneWarningFor("alpha");
    EXPECT_EQ(VORNMouseClickHook(50, 50, 0), 1) << "no drag window any more";
}

// Key to the focus window: the focus window takes every key, throw or not.
TEST_F(MisbehavingDisplayTest, AFocusWindowThatThrowsOnAKeyKeepsTheFocus)
{
    StartAll();
    Act act{"w", true};
    VORNWindowID window = Window(alpha, act);
    As(alpha, [&] { VORNTakeKeyboardFocus(window); });
    EXPECT_EQ(VORNKeyPressHook('a', 0, 'A', 1), 0);
    ExpectOneWarningFor("alpha");
    EXPECT_EQ(VORNKeyPressHook('b', 0, 'B', 1), 0);
    ExpectOneWarningFor("alpha");
    VORNTakeKeyboardFocus(nullptr);
    EXPECT_THAT(gSeen, ElementsAre("w key a@1", "w key b@1", "w key lost@1"));
}

// Cursor: counts as 0, so the window behind decides.
TEST_F(MisbehavingDisplayTest, ACursorCallbackThatThrowsLetsTheWindowBehindDecide)
{
    StartAll();
    Act back{"back"}, front{"front", true};
    Window(beta, back);
    Window(alpha, front);
    EXPECT_EQ(VORNCursorHook(10, 10), 2);
    ExpectOneWarningFor("alpha");
    EXPECT_THAT(gSeen, ElementsAre("front cursor@1", "back cursor@2"));
}

// Wheel: counts as 0, so the window behind may take it.
TEST_F(MisbehavingDisplayTest, AWheelCallbackThatThrowsLetsTheWindowBehindTakeIt)
{
    StartAll();
    Act back{"back"}, front{"front", true};
    Window(beta, back);
    Window(alpha, front);
    EXPECT_EQ(VORNScrollWheelHook(10, 10, 0, 3), 0);
    ExpectOneWarningFor("alpha");
    EXPECT_THAT(gSeen, ElementsAre("front wheel 3@1", "back wheel 3@2"));
}

// Hot key: nothing to return; the key counts as taken by the hot key.
TEST_F(MisbehavingDisplayTest, AHotKeyThatThrowsStillTakesTheKey)
{
    StartAll();
    Act failing{"hot", true};
    VORNHotKeyID hotKey = nullptr;
    As(alpha, [&] { hotKey = VORNRegisterHotKey('H', 0, "hot", HotKeyCallback, &failing); });
    EXPECT_EQ(VORNKeyPressHook('h', 0, 'H', 0), 0);
    ExpectOneWarningFor("alpha");
    VORNUnregisterHotKey(hotKey);
    EXPECT_EQ(VORNKeyPressHook('h', 0, 'H', 0), 1);
    EXPECT_EQ(VORNCountHotKeys(), 0);
    EXPECT_THAT(gSeen, ElementsAre("hot@1"));
}

// ---- Removals in the middle of a dispatch -------------------------------------

TEST_F(MisbehavingTest, AFlightLoopThatDestroysItselfIsNotCalledAgain)
{
    StartAll();
    Act self{"self"}, next{"next"};
    VORNFlightLoopID handle = nullptr;
    self.then = [&] { VORNDestroyFlightLoop(handle); };
    CreateLoop(beta, next);
    handle = CreateLoop(alpha, self);  // newest first: runs first
    Frame(1.0f);
    Frame(2.0f);
    EXPECT_THAT(gSeen, ElementsAre("self@1", "next@2", "next@2"));
    EXPECT_THAT(host->debugWrites, IsEmpty());
}

TEST_F(MisbehavingTest, AFlightLoopThatRemovesAllItsPluginsLoopsStopsTheLaterOnesAtOnce)
{
    StartAll();
    Act first{"first"}, other{"other"}, later{"later"};
    std::vector<VORNFlightLoopID> mine;
    first.then = [&] {
        for (VORNFlightLoopID loop : mine)
            VORNDestroyFlightLoop(loop);
    };
    // Newest first: first, other, later.
    mine.push_back(CreateLoop(alpha, later));
    CreateLoop(beta, other);
    mine.push_back(CreateLoop(alpha, first));
    Frame(1.0f);
    Frame(2.0f);
    EXPECT_THAT(gSeen, ElementsAre("first@1", "other@2", "other@2"));
}

TEST_F(MisbehavingTest, AFlightLoopCannotRemoveAnotherPluginsLoopButCanDisableThePlugin)
{
    StartAll();
    Act first{"first"}, victim{"victim"};
    VORNFlightLoopID victimLoop = CreateLoop(beta, victim);
    std::vector<std::string> errors;
    static std::vector<std::string>* sErrors = &errors;
    As(alpha, [] { VORNSetErrorCallback([](const char* m) { sErrors->push_back(m); }); });
    first.then = [&] { VORNDestroyFlightLoop(victimLoop); };
    CreateLoop(alpha, first);
    Frame(1.0f);
    EXPECT_THAT(errors, ElementsAre("Attempt to remove a flight loop callback owned by another plugin."));
    EXPECT_THAT(gSeen, ElementsAre("first@1", "victim@2"));

    // Disabling the other plug-in from inside the pass: its loops stop at once.
    gSeen.clear();
    hooks[1].disable = [] { See("disable"); };
    Act second{"second"};
    second.then = [&] { VORNDisablePlugin(beta); };
    Act fresh{"fresh"};
    CreateLoop(beta, fresh);
    CreateLoop(gamma, second);
    Frame(2.0f);
    EXPECT_THAT(gSeen, ElementsAre("second@3", "disable@2", "first@1"));
    EXPECT_EQ(VORNGetMyID(), 0);
}

TEST_F(MisbehavingTest, ACommandHandlerThatUnregistersItselfMidDispatchLetsTheNextRun)
{
    StartAll();
    Act self{"self"}, next{"next"};
    VORNCommandRef command = VORNCreateCommand("test/self", "Self");
    self.then = [&] { VORNUnregisterCommandHandler(command, CommandCallback, 1, &self); };
    As(beta, [&] { VORNRegisterCommandHandler(command, CommandCallback, 1, &next); });
    As(alpha, [&] { VORNRegisterCommandHandler(command, CommandCallback, 1, &self); });
    EXPECT_EQ(VORNCommandHook(command, 1, 0, 1), 1);
    EXPECT_EQ(VORNCommandHook(command, 1, 0, 1), 1);
    EXPECT_THAT(gSeen, ElementsAre("self@1", "next@2", "next@2"));
}

// ---- Reload asked for from a menu handler ----------------------------------------

TEST_F(MisbehavingTest, AReloadAskedForFromAMenuHandlerRunsAfterTheNextPassOnce)
{
    int starts = 0;
    hooks[0].start = [&] { return ++starts, 1; };
    StartAll();
    Act reload{"reload"};
    reload.then = [] { VORNReloadPlugins(); };
    int item = 0;
    Act loop{"loop"};
    As(alpha, [&] {
        VORNMenuID plugins = VORNFindPluginsMenu();
        item = host->nextHostItem;
        VORNAppendMenuItem(plugins, "Reload", &reload, 0);
    });
    // The Plugins menu has no handler of alpha's: give alpha its own menu.
    As(alpha, [&] {
        VORNMenuID plugins = VORNFindPluginsMenu();
        VORNMenuID menu = VORNCreateMenu("Alpha", plugins, 1, MenuCallback, nullptr);
        item = host->nextHostItem;
        VORNAppendMenuItem(menu, "Reload", &reload, 0);
    });
    CreateLoop(beta, loop);
    EXPECT_EQ(VORNMenuHook(item), 0);
    EXPECT_EQ(starts, 1) << "nothing is reloaded under the handler";
    EXPECT_EQ(VORNIsPluginEnabled(alpha), 1);
    Frame(1.0f);
    EXPECT_THAT(gSeen, ElementsAre("reload@1", "loop@2")) << "the pass runs before the reload";
    EXPECT_EQ(starts, 2);
    EXPECT_EQ(VORNCountPlugins(), 4);
    Frame(2.0f);
    Frame(3.0f);
    EXPECT_EQ(starts, 2) << "once";
    EXPECT_EQ(gSeen.size(), 2u) << "the old loop went with the reload";
}

// ---- A plug-in that never releases what it registered -----------------------------

std::vector<std::string> gLeftovers;

void RecordLeftover(VORNPluginID id, const VORNPluginInventory* left)
{
    gLeftovers.push_back(std::to_string(id) + ": refs " + std::to_string(left->dataRefs) +
                         " shared " + std::to_string(left->sharedData) + " loops " +
                         std::to_string(left->flightLoops) + " draw " +
                         std::to_string(left->drawCallbacks) + " sniffers " +
                         std::to_string(left->keySniffers) + " menus " +
                         std::to_string(left->menus) + " handlers " +
                         std::to_string(left->commandHandlers) + " held " +
                         std::to_string(left->heldCommands) + " probes " +
                         std::to_string(left->probes) + " objects " +
                         std::to_string(left->objects) + " planes " +
                         std::to_string(left->planes));
}

int DrawCallback(int, int, void* refcon)
{
    static_cast<Act*>(refcon)->Do();
    return 1;
}

int SnifferCallback(char, int, char, void* refcon)
{
    static_cast<Act*>(refcon)->Do();
    return 1;
}

TEST_F(MisbehavingTest, WhatAPluginNeverReleasedIsFreedAtUnloadAndNeverCalledAgain)
{
    // The probe's host index stays with the library for the whole process.
    if (!InFreshProcess()) {
        RerunInFreshProcess();
        return;
    }
    gLeftovers.clear();
    StartAll();
    VORNSetUnloadObserver(RecordLeftover);
    Act act{"leftover"};
    int house = 0;
    host->loadedObject = &house;
    VORNCommandRef command = VORNCreateCommand("test/leftover", "Leftover");
    VORNDataRef ref = nullptr;
    As(alpha, [&] {
        ref = VORNRegisterDataAccessor("test/leftover/int", VORN_DATA_INT, 1, ReadInt, WriteInt,
                                       nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                       nullptr, nullptr, nullptr, nullptr, &act, &act);
        VORNShareData("test/leftover/shared", VORN_DATA_INT, VoidCallback, &act);
        VORNCreateFlightLoop_t params = {sizeof params, 0, LoopCallback, &act};
        VORNScheduleFlightLoop(VORNCreateFlightLoop(&params), -1.0f, 1);
        VORNRegisterDrawCallback(DrawCallback, 0, 1, &act);
        VORNRegisterKeySniffer(SnifferCallback, 0, &act);
        VORNCreateMenu("Leftover", nullptr, 0, MenuCallback, nullptr);
        VORNRegisterCommandHandler(command, CommandCallback, 1, &act);
        VORNCommandBegin(command);
        VORNCreateProbe(VORN_PROBE_Y);
        VORNLoadObject("house.obj");
        VORNAcquirePlanes(nullptr, nullptr, nullptr);
        VORNControlCamera(1, CameraCallback, &act);
    });
    EXPECT_THAT(gSeen, IsEmpty());
    host->ClearRecord();
    VORNShutdownPlugins();
    started = false;
    EXPECT_THAT(gLeftovers, ElementsAre("1: refs 1 shared 1 loops 1 draw 1 sniffers 1 menus 1 "
                                        "handlers 1 held 1 probes 1 objects 1 planes 0",
                                        "2: refs 0 shared 0 loops 0 draw 0 sniffers 0 menus 0 "
                                        "handlers 0 held 0 probes 0 objects 0 planes 0",
                                        "3: refs 0 shared 0 loops 0 draw 0 sniffers 0 menus 0 "
                                        "handlers 0 held 0 probes 0 objects 0 planes 0"));
    EXPECT_EQ(host->CountCalls("UnloadObject"), 1u);
    EXPECT_EQ(host->CountCalls("DestroyMenu"), 1u);
    EXPECT_EQ(host->CountCalls("CommandEnd"), 1u);
    // Disabling took the aircraft and the camera back; the camera callback
    // heard of it once, before the unload.
    EXPECT_THAT(gSeen, ElementsAre("leftover@1"));
    VORNSetUnloadObserver(nullptr);

    // Started again over the same modules: none of the old registrations answers.
    Start();
    host->ClearRecord();
    Frame(1.0f);
    EXPECT_EQ(VORNCommandHook(command, 1, 0, 1), 1);
    EXPECT_EQ(VORNIsDataRefGood(ref), 0);
    float p[7] = {};
    EXPECT_EQ(VORNCameraHook(&p[0], &p[1], &p[2], &p[3], &p[4], &p[5], &p[6]), 1);
    EXPECT_THAT(gSeen, ElementsAre("leftover@1"));
}

}  // namespace
