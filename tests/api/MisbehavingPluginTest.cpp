// Plug-ins that throw out of their callbacks, one row per callback site: one warning names the
// plug-in, the call counts as the site's neutral value, the dispatched plug-in and the lists are
// as before. Three hooked plug-ins: alpha (id 1), beta (2), gamma (3). Last, a plug-in that never
// releases what it holds.

#include "../plugins/hooked.h"
#include "AgentHost.h"
#include "FreshProcess.h"
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
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

using namespace vorntest;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

std::vector<std::string> gSeen;
void See(const std::string& what) { gSeen.push_back(what + "@" + std::to_string(VORNGetMyID())); }
[[noreturn]] void Throw() { throw std::runtime_error("plug-in failure"); }

// refcon of the test's callbacks: a name to log and whether to throw.
struct Act {
    std::string name;
    bool fails = false;
    void Do(const std::string& what = "") { See(name + what); if (fails) Throw(); }
};
Act& A(void* refcon) { return *static_cast<Act*>(refcon); }

float LoopCallback(float, float, int, void* r) { return A(r).Do(), -1.0f; }
float HalfSecondLoop(float, float, int, void* r) { return A(r).Do(), 0.5f; }
void MenuCallback(void*, void* item) { A(item).Do(); }
int CommandCallback(VORNCommandRef, int, void* r) { return A(r).Do(), 1; }
void VoidCallback(void* r) { A(r).Do(); }
int ReadInt(void* r) { return A(r).Do(), 7; }
void WriteInt(void* r, int) { A(r).Do(); }
void ObjectLoaded(VORNObjectRef, void* r) { A(r).Do(); }
int DrawThrough(int, int, void* r) { return A(r).Do(), 0; }          // keeps the host out
int SniffThrough(char, int, char, void* r) { return A(r).Do(), 0; }  // consumes the key
void WindowDraw(VORNWindowID, void* r) { A(r).Do(); }
int WindowMouse(VORNWindowID, int, int, int status, void* r) { return A(r).Do(" mouse " + std::to_string(status)), 1; }
int WindowCursor(VORNWindowID, int, int, void* r) { return A(r).Do(" cursor"), 2; }
int WindowWheel(VORNWindowID, int, int, int, int clicks, void* r) { return A(r).Do(" wheel " + std::to_string(clicks)), 1; }
void WindowKey(VORNWindowID, char key, int, char, void* r, int losing)
{
    if (losing != 0) See(A(r).name + " key lost"); else A(r).Do(" key " + std::string(1, key));
}
int CameraCallback(VORNCameraPositionRecord* position, int losing, void* r)
{
    A(r).Do();
    if (position != nullptr) position->values[0] = 100.0f;
    return losing == 0 ? 1 : 0;
}
void FeatureCallback(const char* feature, void*) { See(feature), Throw(); }
void ErrorCallback(const char* message) { See(std::string("error ") + message), Throw(); }

class Misbehaving : public AgentHostTest {
public:
    void SetUp() override
    {
        AgentHostTest::SetUp();
        gSeen.clear();
        host->systemPath = SystemPath();
        for (int i = 0; i < 3; ++i) {
            modules[i] = dlopen(InstallPlugin("hooked", kNames[i] + std::string(".vpl")).c_str(), RTLD_NOW);
            ASSERT_NE(modules[i], nullptr) << dlerror();
            reinterpret_cast<HookedInstall_f>(dlsym(modules[i], "HookedInstall"))(&hooks[i]);
        }
    }
    void TearDown() override
    {
        AgentHostTest::TearDown();
        for (void* module : modules)
            if (module != nullptr) dlclose(module);
    }
    void StartAll() { Start(), host->ClearRecord(); }
    void Pass(float t) { host->elapsedTime = t; EXPECT_EQ(VORNEventHook(0, nullptr, t), 1); }
    VORNFlightLoopID Loop(int id, Act& act, VORNFlightLoop_f callback = LoopCallback, float interval = -1.0f)
    {
        return AsReturning<VORNFlightLoopID>(id, [&] {
            VORNCreateFlightLoop_t params = {sizeof params, 0, callback, &act};
            VORNFlightLoopID loop = VORNCreateFlightLoop(&params);
            return VORNScheduleFlightLoop(loop, interval, 1), loop;
        });
    }
    // A visible window over (0, 0)-(100, 100) owned by id, every callback on act.
    VORNWindowID Window(int id, Act& act)
    {
        return AsReturning<VORNWindowID>(id, [&] {
            VORNCreateWindow_t params = {sizeof params, 0, 100, 100, 0, 1, WindowDraw, WindowMouse,
                                         WindowKey, WindowCursor, WindowWheel, &act};
            return VORNCreateWindowEx(&params);
        });
    }
    // A menu item of id's own menu (under the Plugins menu) that picks act; its host item.
    int Item(int id, Act& act)
    {
        int item = 0;
        As(id, [&] {
            VORNMenuID plugins = VORNFindPluginsMenu();
            VORNMenuID menu = VORNCreateMenu("Own", plugins, VORNAppendMenuItem(plugins, "Own", nullptr, 0), MenuCallback, nullptr);
            item = host->nextHostItem;
            VORNAppendMenuItem(menu, act.name.c_str(), &act, 0);
        });
        return item;
    }
    std::string NameOf(int id)
    {
        char name[256] = "";
        VORNGetPluginInfo(id, name, nullptr, nullptr, nullptr);
        return name;
    }
    float p[7] = {1, 2, 3, 4, 5, 6, 7};
    int Camera() { return VORNCameraHook(&p[0], &p[1], &p[2], &p[3], &p[4], &p[5], &p[6]); }

    using AgentHostTest::As;
    using AgentHostTest::AsReturning;
    using HostTest::host;
    static constexpr const char* kNames[3] = {"alpha", "beta", "gamma"};
    const int alpha = 1, beta = 2, gamma = 3;
    HookedHooks hooks[3];
    void* modules[3] = {nullptr, nullptr, nullptr};
};

std::string S(int value) { return std::to_string(value); }
// Joins results in the order written (the operands of + are not evaluated in order).
std::string Cat(std::initializer_list<std::string> parts)
{
    std::string out;
    for (const std::string& part : parts)
        out += part;
    return out;
}

// ---- One row per callback site ----------------------------------------------------

struct Site {
    const char* site;  // and its neutral result
    std::function<std::string(Misbehaving&)> run;  // registers, triggers; what it returned
    std::string expected;  // result | seen: calls@plug-in | log: threw(name) per warning
};

const std::vector<Site>& Sites()
{
    static const std::vector<Site> sites = {
        {"FlightLoop_KeepsItsIntervalAndThePassGoesOn", [](Misbehaving& t) {
             static Act failing{"a", true}, fine{"b"}, added{"c"};
             VORNFlightLoopID thrower = t.Loop(t.alpha, failing, HalfSecondLoop, 0.5f); t.Loop(t.beta, fine);
             t.host->elapsedTime = 0.0f;
             for (float at : {0.5f, 0.75f, 1.0f})
                 t.Pass(at);
             t.As(t.alpha, [&] { VORNDestroyFlightLoop(thrower); });  // the list is usable as before
             t.Loop(t.alpha, added); t.Pass(2.0f); return std::string(); },
         " | seen: b@2 a@1 b@2 b@2 a@1 c@1 b@2 | log: threw(alpha) threw(alpha) "},
        {"MenuHandler_ThePickCountsAsHandled", [](Misbehaving& t) {
             static Act failing{"pick", true}, fine{"other"};
             const int failingItem = t.Item(t.alpha, failing), fineItem = t.Item(t.alpha, fine); t.host->ClearRecord();
             return Cat({S(VORNMenuHook(failingItem)), S(VORNMenuHook(fineItem))}); },
         "00 | seen: pick@1 other@1 | log: threw(alpha) "},
        {"CommandHandler_CountsAs1_TheNextHandlerAndTheHostGetIt", [](Misbehaving& t) {
             static Act failing{"first", true}, fine{"second"};
             VORNCommandRef command = VORNCreateCommand("test/misbehave", "Misbehave");
             t.As(t.beta, [&] { VORNRegisterCommandHandler(command, CommandCallback, 1, &fine); });
             t.As(t.alpha, [&] { VORNRegisterCommandHandler(command, CommandCallback, 1, &failing); });
             const int result = VORNCommandHook(command, 1, 0, 1);
             t.As(t.alpha, [&] { VORNUnregisterCommandHandler(command, CommandCallback, 1, &failing); });
             return Cat({S(result), S(VORNCommandHook(command, 1, 0, 1))}); },
         "11 | seen: first@1 second@2 second@2 | log: threw(alpha) "},
        {"DataAccessors_AReadIs0_AWriteIsLost", [](Misbehaving& t) {
             static Act reader{"read", true}, writer{"write", true}; reader.fails = true; t.As(t.alpha, [&] {
                 VORNRegisterDataAccessor("test/misbehave/int", VORN_DATA_INT, 1, ReadInt, WriteInt, nullptr, nullptr,
                                          nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &reader, &writer);
             });
             int value = -1; t.As(t.beta, [&] { VORNDataRef ref = VORNFindDataRef("test/misbehave/int");
                 value = VORNGetDatai(ref); VORNSetDatai(ref, 5); See("after"); }); reader.fails = false;
             return Cat({S(value), S(VORNGetDatai(VORNFindDataRef("test/misbehave/int")))}); },
         "07 | seen: read@1 write@1 after@2 read@1 | log: threw(alpha) threw(alpha) "},
        {"SharedDataSubscriber_TheOthersAreStillTold", [](Misbehaving& t) {
             static Act failing{"a", true}, fine{"b"};
             t.As(t.alpha, [&] { VORNShareData("test/shared", VORN_DATA_INT, VoidCallback, &failing); });
             t.As(t.beta, [&] { VORNShareData("test/shared", VORN_DATA_INT, VoidCallback, &fine); });
             t.As(t.gamma, [&] { VORNSetDatai(VORNFindDataRef("test/shared"), 3); });
             return S(VORNGetDatai(VORNFindDataRef("test/shared"))); }, "3 | seen: a@1 b@2 | log: threw(alpha) "},
        {"Message_TheBroadcastGoesOn", [](Misbehaving& t) {
             t.hooks[1].message = [](int, int message, void*) { See("msg " + std::to_string(message)); Throw(); };
             t.hooks[2].message = [](int, int message, void*) { See("msg " + std::to_string(message)); };
             return S(VORNEventHook(4, nullptr, 0.0f)); }, "1 | seen: msg 103@2 msg 103@3 | log: threw(beta) "},
        {"Camera_CountsAs0_ControlIsGivenUpAndTheCameraUntouched", [](Misbehaving& t) {
             static Act failing{"camera", true}; failing.fails = true;
             t.As(t.alpha, [&] { VORNControlCamera(1, CameraCallback, &failing); });
             const std::string first = Cat({S(t.Camera()), " ", S(static_cast<int>(t.p[0])), S(VORNIsCameraBeingControlled(nullptr))});
             failing.fails = false;  // control can be taken again and works
             t.As(t.beta, [&] { VORNControlCamera(1, CameraCallback, &failing); });
             const std::string second = Cat({S(t.Camera()), " ", S(static_cast<int>(t.p[0]))}); VORNDontControlCamera();
             return first + " " + second; }, "1 10 0 100 | seen: camera@1 camera@2 | log: threw(alpha) "},
        {"PlanesAvailable_TheNextWaiterIsStillCalled", [](Misbehaving& t) {
             static Act failing{"b", true}, fine{"c"};
             const std::string first = t.AsReturning<std::string>(t.alpha, [] { return S(VORNAcquirePlanes(nullptr, nullptr, nullptr)); });
             t.As(t.beta, [&] { VORNAcquirePlanes(nullptr, VoidCallback, &failing); });
             t.As(t.gamma, [&] { VORNAcquirePlanes(nullptr, VoidCallback, &fine); });
             t.As(t.alpha, [] { VORNReleasePlanes(); });
             return Cat({first, t.AsReturning<std::string>(t.gamma, [] { return S(VORNAcquirePlanes(nullptr, nullptr, nullptr)); })}); },
         "11 | seen: b@2 c@3 | log: threw(beta) "},
        {"ObjectLoaded_TheObjectIsStillThePluginsOwn", [](Misbehaving& t) {
             static Act failing{"loaded", true}; static int house = 0;
             t.As(t.alpha, [&] { VORNLoadObjectAsync("house.obj", ObjectLoaded, &failing); });
             t.host->asyncLoads.at(0).callback(&house, t.host->asyncLoads[0].refcon);
             VORNPluginInventory held{}; held.structSize = sizeof held; VORNGetPluginInventory(t.alpha, &held);
             return S(held.objects); },
         "1 | seen: loaded@1 | log: threw(alpha) "},
        {"FeatureEnumerator_IsStillOfferedEveryFeature", [](Misbehaving& t) {
             t.As(t.alpha, [&] { VORNEnumerateFeatures(FeatureCallback, nullptr); }); return std::string(); },
         " | seen: VORN_WANTS_REFLECTIONS@1 VORN_USE_NATIVE_PATHS@1 | log: threw(alpha) threw(alpha) "},
        {"ErrorCallback_TheReportingCallGoesOn", [](Misbehaving& t) {
             static Act fine{"loop"}; VORNFlightLoopID loop = nullptr; t.As(t.alpha, [&] {
                 VORNSetErrorCallback(ErrorCallback); VORNCreateFlightLoop_t params = {3, 0, LoopCallback, &fine};
                 loop = VORNCreateFlightLoop(&params); VORNScheduleFlightLoop(loop, -1.0f, 1); }); t.Pass(1.0f);
             return S(loop != nullptr); },
         "1 | seen: error Illegal struct size for VORNCreateFlightLoop@1 loop@1 | log: threw(alpha) "},
        {"DrawCallback_CountsAs1_TheHostStillDraws", [](Misbehaving& t) {
             static Act failing{"draw", true}, fine{"other"};
             t.As(t.alpha, [&] { VORNRegisterDrawCallback(DrawThrough, 0, 1, &failing); });
             const std::string alone = S(VORNDoDrawingHook(1, 0));
             t.As(t.beta, [&] { VORNRegisterDrawCallback(DrawThrough, 0, 1, &fine); });
             const std::string behind = S(VORNDoDrawingHook(1, 0));  // a working callback still keeps the host out
             t.As(t.alpha, [&] {  // registered again, now the newest: the walk goes on past it
                 VORNUnregisterDrawCallback(DrawThrough, 0, 1, &failing);
                 VORNRegisterDrawCallback(DrawThrough, 0, 1, &failing); });
             return Cat({alone, behind, S(VORNDoDrawingHook(1, 0))}); },
         "100 | seen: draw@1 other@2 draw@1 draw@1 other@2 | log: threw(alpha) threw(alpha) threw(alpha) "},
        {"KeySniffer_CountsAs1_TheKeyGoesOn", [](Misbehaving& t) {
             static Act failing{"sniff", true}, fine{"other"};
             t.As(t.alpha, [&] { VORNRegisterKeySniffer(SniffThrough, 1, &failing); });
             const std::string alone = S(VORNKeyPressHook('k', 0, 'K', 0));
             t.As(t.beta, [&] { VORNRegisterKeySniffer(SniffThrough, 1, &fine); });  // newer: first, consumes
             const std::string behind = S(VORNKeyPressHook('k', 0, 'K', 0));
             t.As(t.alpha, [&] {  // registered again, now the newest: the key goes on past it
                 VORNUnregisterKeySniffer(SniffThrough, 1, &failing);
                 VORNRegisterKeySniffer(SniffThrough, 1, &failing); });
             return Cat({alone, behind, S(VORNKeyPressHook('k', 0, 'K', 0))}); },
         "100 | seen: sniff@1 other@2 sniff@1 other@2 | log: threw(alpha) threw(alpha) "},
        {"WindowDraw_TheWindowsInFrontAreStillDrawn", [](Misbehaving& t) {
             static Act back{"back", true}, front{"front"}; t.Window(t.alpha, back); t.Window(t.beta, front);
             return S(VORNDoDrawingHook(20, 0)); }, "1 | seen: back@1 front@2 | log: threw(alpha) "},
        {"MouseDown_CountsAs0_FallsThroughToTheWindowBehind", [](Misbehaving& t) {
             static Act back{"back"}, front{"front", true}; t.Window(t.beta, back); t.Window(t.alpha, front);
             return Cat({S(VORNMouseClickHook(10, 10, 1)), S(VORNMouseClickHook(10, 10, 0))}); },  // the window behind took the drag
         "00 | seen: front mouse 1@1 back mouse 1@2 back mouse 3@2 | log: threw(alpha) "},
        {"MouseUp_IsConsumed_TheDragEnds", [](Misbehaving& t) {
             static Act window{"w"}; window.fails = false; t.Window(t.alpha, window);
             const std::string down = S(VORNMouseClickHook(10, 10, 1)); window.fails = true;
             return Cat({down, S(VORNMouseClickHook(50, 50, 0)), S(VORNMouseClickHook(50, 50, 0))}); },  // no drag window any more
         "001 | seen: w mouse 1@1 w mouse 3@1 | log: threw(alpha) "},
        {"FocusWindowKey_IsConsumed_TheFocusStays", [](Misbehaving& t) {
             static Act act{"w", true}; VORNWindowID window = t.Window(t.alpha, act);
             t.As(t.alpha, [&] { VORNTakeKeyboardFocus(window); });
             const std::string keys = Cat({S(VORNKeyPressHook('a', 0, 'A', 1)), S(VORNKeyPressHook('b', 0, 'B', 1))});
             VORNTakeKeyboardFocus(nullptr); return keys; },
         "00 | seen: w key a@1 w key b@1 w key lost@1 | log: threw(alpha) threw(alpha) "},
        {"Cursor_CountsAs0_TheWindowBehindDecides", [](Misbehaving& t) {
             static Act back{"back"}, front{"front", true}; t.Window(t.beta, back); t.Window(t.alpha, front);
             return S(VORNCursorHook(10, 10)); }, "2 | seen: front cursor@1 back cursor@2 | log: threw(alpha) "},
        {"Wheel_CountsAs0_TheWindowBehindMayTakeIt", [](Misbehaving& t) {
             static Act back{"back"}, front{"front", true}; t.Window(t.beta, back); t.Window(t.alpha, front);
             return S(VORNScrollWheelHook(10, 10, 0, 3)); },
         "0 | seen: front wheel 3@1 back wheel 3@2 | log: threw(alpha) "},
        {"HotKey_TheKeyIsTaken", [](Misbehaving& t) {
             static Act failing{"hot", true}; VORNHotKeyID hotKey = nullptr;
             t.As(t.alpha, [&] { hotKey = VORNRegisterHotKey('H', 0, "hot", VoidCallback, &failing); });
             const std::string taken = S(VORNKeyPressHook('h', 0, 'H', 0)); VORNUnregisterHotKey(hotKey);
             return Cat({taken, S(VORNKeyPressHook('h', 0, 'H', 0)), S(VORNCountHotKeys())}); },
         "010 | seen: hot@1 | log: threw(alpha) "}, };
    return sites;
}

// The log with each caught exception's warning written threw(name).
std::string Warnings(const std::string& log)
{
    static const std::regex warning("\\[([^\\]]*)\\]: a callback threw an exception; the library ignored it and went on\n");
    return std::regex_replace(log, warning, "threw($1) ");
}

std::string Joined(const std::vector<std::string>& parts)
{
    std::string out;
    for (const std::string& part : parts)
        out += (out.empty() ? "" : " ") + part;
    return out;
}

class ThrowingCallbackTest : public Misbehaving, public ::testing::WithParamInterface<size_t> {};

TEST_P(ThrowingCallbackTest, CountsAsTheNeutralResult)
{
    const Site& site = Sites()[GetParam()];
    StartAll();
    const std::string result = site.run(*this);
    EXPECT_EQ(result + " | seen: " + Joined(gSeen) + " | log: " + Warnings(host->Log()), site.expected);
    EXPECT_EQ(VORNGetMyID(), 0);
}

INSTANTIATE_TEST_SUITE_P(Sites, ThrowingCallbackTest, ::testing::Range<size_t>(0, Sites().size()),
                         [](const ::testing::TestParamInfo<size_t>& info) { return std::string(Sites()[info.param].site); });

// ---- The plug-in's own entry points --------------------------------------------

// Start counts as 0, a refusal (while it starts, a plug-in goes by its file name); enable
// counts as 0 too: the plug-in stays disabled and can be enabled later.
TEST_F(Misbehaving, AStartOrEnableThatThrowsIsARefusal)
{
    bool fail = true;
    hooks[0].start = []() -> int { Throw(); };
    hooks[1].enable = [&]() -> int { return See("enable"), fail ? Throw(), 0 : 1; };
    Start();
    EXPECT_EQ(Cat({S(VORNCountPlugins()), NameOf(1), S(VORNIsPluginEnabled(1)), S(VORNIsPluginEnabled(2))}), "3beta01");
    EXPECT_THAT(Warnings(host->Log()), AllOf(HasSubstr("threw(alpha.vpl) "), HasSubstr("threw(beta) "),
        HasSubstr("alpha.vpl. (The plugin refused to start by returning 0 from VPluginStart.)")));
    fail = false;
    EXPECT_EQ(VORNEnablePlugin(1), 1);
    EXPECT_THAT(gSeen, ElementsAre("enable@1", "enable@1"));
    EXPECT_EQ(VORNGetMyID(), 0);
}

// Disable from the API still disables, the loops kept for later; a stop that throws (not even a
// std::exception) does not stop a reload; disable and stop at shutdown: the others still go.
TEST_F(Misbehaving, ADisableOrStopThatThrowsStopsNothing)
{
    int starts = 0;
    hooks[0].start = [&] { return ++starts, 1; };
    hooks[0].disable = [] { throw std::logic_error("disable failed"); };
    hooks[0].stop = [] { throw 42; };
    hooks[1].disable = [] { See("disable"); };
    hooks[1].stop = [] { See("stop"); };
    StartAll();
    Act loop{"loop"};
    Loop(alpha, loop);
    VORNDisablePlugin(alpha);
    EXPECT_EQ(S(VORNIsPluginEnabled(alpha)) + " " + Warnings(host->Log()), "0 threw(alpha) ");
    Pass(1.0f);
    EXPECT_EQ(VORNEnablePlugin(alpha), 1);
    Pass(2.0f);
    EXPECT_THAT(gSeen, ElementsAre("loop@1"));
    host->ClearRecord();
    VORNReloadPlugins();
    Pass(3.0f);
    EXPECT_EQ(Cat({S(starts), S(VORNCountPlugins()), NameOf(alpha)}), "24alpha");
    EXPECT_THAT(Warnings(host->Log()), HasSubstr("threw(alpha) threw(alpha) "));
    host->ClearRecord();
    gSeen.clear();
    VORNShutdownPlugins();
    started = false;
    EXPECT_EQ(Warnings(host->Log()), "threw(alpha) threw(alpha) ");
    EXPECT_THAT(gSeen, ElementsAre("disable@2", "stop@2"));
    EXPECT_EQ(VORNCountPlugins(), 0);
}

// ---- Holdings never released ------------------------------------------------------------

std::vector<std::string> gLeftovers;
void RecordLeftover(VORNPluginID id, const VORNPluginInventory* left)
{
    std::string line = std::to_string(id) + ":";
    for (int count : {left->dataRefs, left->sharedData, left->flightLoops, left->drawCallbacks, left->keySniffers,
                      left->menus, left->commandHandlers, left->heldCommands, left->probes, left->objects, left->planes})
        line += " " + std::to_string(count);
    gLeftovers.push_back(line);
}
int DrawCallback(int, int, void* r) { return A(r).Do(), 1; }
int SnifferCallback(char, int, char, void* r) { return A(r).Do(), 1; }

// Freed at unload (reported to the unload observer), and never called again.
TEST_F(Misbehaving, WhatAPluginNeverReleasedIsFreedAtUnloadAndNeverCalledAgain)
{
    if (!InFreshProcess())  // the probe's host index stays with the library for the whole process
        return RerunInFreshProcess();
    gLeftovers.clear();
    StartAll();
    VORNSetUnloadObserver(RecordLeftover);
    Act act{"leftover"};
    int house = 0;
    host->loadedObject = &house;
    VORNCommandRef command = VORNCreateCommand("test/leftover", "Leftover");
    VORNDataRef ref = nullptr;
    As(alpha, [&] {
        ref = VORNRegisterDataAccessor("test/leftover/int", VORN_DATA_INT, 1, ReadInt, WriteInt, nullptr, nullptr, nullptr,
                                       nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &act, &act);
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
    host->ClearRecord();
    VORNShutdownPlugins();
    started = false;
    // refs, shared, loops, draw, sniffers, menus, handlers, held, probes, objects, planes
    EXPECT_THAT(gLeftovers, ElementsAre("1: 1 1 1 1 1 1 1 1 1 1 0", "2: 0 0 0 0 0 0 0 0 0 0 0", "3: 0 0 0 0 0 0 0 0 0 0 0"));
    EXPECT_EQ(host->CountCalls("UnloadObject") * 100 + host->CountCalls("DestroyMenu") * 10 + host->CountCalls("CommandEnd"), 111u);
    // Disabling took the aircraft and the camera back; the camera callback heard of it once.
    EXPECT_THAT(gSeen, ElementsAre("leftover@1"));
    VORNSetUnloadObserver(nullptr);
    Start();  // again over the same modules: none of the old registrations answers
    Pass(1.0f);
    EXPECT_EQ(VORNCommandHook(command, 1, 0, 1) * 10 + VORNIsDataRefGood(ref), 10);
    EXPECT_EQ(Camera(), 1);
    EXPECT_THAT(gSeen, ElementsAre("leftover@1"));
}

}  // namespace
