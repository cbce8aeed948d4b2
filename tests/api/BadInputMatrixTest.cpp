// The bad-input matrix: every exported function (forwarders aside, see ForwarderTest) called with
// null, unknown, stale and foreign handles, out-of-range numbers, and before the library starts.
// Rows run as agent plug-ins a (id 1) and b (2), both with an error callback. A row observes one
// text: the result, "| errors: " id:texts, "| host: " the host slots called (DebugString aside),
// "| log: " the log; empty parts are left out. In an expectation '*' matches any run.

#include "../plugins/agent.h"
#include "FreshProcess.h"
#include "HostFixture.h"
#include "VORN/VORNCamera.h"
#include "VORN/VORNDataAccess.h"
#include "VORN/VORNDisplay.h"
#include "VORN/VORNGraphics.h"
#include "VORN/VORNMenus.h"
#include "VORN/VORNNavigation.h"
#include "VORN/VORNPlanes.h"
#include "VORN/VORNProcessing.h"
#include "VORN/VORNScenery.h"
#include "VORN/VORNUtilities.h"

#include <gmock/gmock.h>

#include <climits>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace vorntest {
std::vector<std::string> ForwardedFunctions();  // ForwarderTest.cpp
}

using namespace vorntest;

namespace {

std::string S(int value) { return std::to_string(value); }
std::string S(double value) { std::ostringstream out; out << static_cast<float>(value); return out.str(); }
std::string S(const std::string& text) { return "\"" + text + "\""; }
std::string S(const char* text) { return text != nullptr ? "\"" + std::string(text) + "\"" : "null"; }
std::string S(const void* pointer) { return pointer != nullptr ? "handle" : "null"; }

const std::string kDone = "done";

// Joins results in the order written (the elements of a braced list are
// evaluated left to right, the operands of + are not).
std::string Cat(std::initializer_list<std::string> parts)
{
    std::string out;
    for (const std::string& part : parts)
        out += part;
    return out;
}

std::string Joined(const std::vector<std::string>& parts)
{
    std::string out;
    for (const std::string& part : parts)
        out += (out.empty() ? "" : "; ") + part;
    return out;
}

std::vector<std::string>* gErrors = nullptr;
void CollectError(const char* message) { gErrors->push_back(std::to_string(VORNGetMyID()) + ":" + message); }

float NoLoop(float, float, int, void*) { return 0.0f; }
int NoDraw(int, int, void*) { return 1; }
int NoSniff(char, int, char, void*) { return 1; }
int NoCommand(VORNCommandRef, int, void*) { return 1; }
void NoChange(void*) {}
int ReadSeven(void*) { return 7; }
void WriteArray(void*, int*, int, int) {}
void NoObject(VORNObjectRef, void*) {}
void NoObjectFound(const char*, void*) {}
void RunFunction(void* context) { (*static_cast<std::function<void()>*>(context))(); }

int ReadArray(void*, int* values, int offset, int max)  // holds 0 1 2 3
{
    int copied = 0;
    for (int i = offset; values != nullptr && i < 4 && copied < max; ++i)
        values[copied++] = i;
    return values == nullptr ? 4 : copied;
}

// An out structure with its structSize set.
template <typename T>
T Sized(int size = sizeof(T))
{
    T out{};
    out.structSize = size;
    return out;
}

int gTouched = 0;
// Every read's result, then every write, then how many reached the owner.
std::string ReadWriteAll(VORNDataRef ref)
{
    int values[2] = {}; gTouched = 0;
    const std::string read = Cat({S(VORNGetDatai(ref)), S(VORNGetDataf(ref)), S(VORNGetDatad(ref)),
        S(VORNGetDatavi(ref, values, 0, 2)), S(VORNGetDatavf(ref, nullptr, 0, 2)), S(VORNGetDatab(ref, values, 0, 2))});
    VORNSetDatai(ref, 1); VORNSetDataf(ref, 1); VORNSetDatad(ref, 1); VORNSetDatavi(ref, values, 0, 1);
    VORNSetDatavf(ref, nullptr, 0, 1); VORNSetDatab(ref, values, 0, 1);
    return read + " " + S(gTouched);
}

// What a row works with: the host and the two agents' handles.
struct Matrix {
    // Runs body as plug-in id: what it returned, "done" for a void body, "" if it did not run.
    template <typename F>
    std::string As(int id, F body)
    {
        std::string out;
        std::function<void()> run = [&] {
            if constexpr (std::is_void_v<decltype(body())>)
                body(), out = kDone;
            else
                out = body();
        };
        AgentRun request = {RunFunction, &run};
        VORNSendMessageToPlugin(id, AGENT_RUN_MESSAGE, &request);
        return out;
    }

    // Forgets what the row's preparations did: only the call under test is observed.
    void Mark() { host.ClearRecord(); errors.clear(); }

    // Something created by plug-in id.
    template <typename T, typename F>
    T Made(int id, F make)
    {
        T made{};
        As(id, [&] { made = make(); });
        return made;
    }
    VORNMenuID Menu(int id)
    {
        return Made<VORNMenuID>(id, [] { VORNMenuID menu = VORNCreateMenu("Menu", nullptr, 0, nullptr, nullptr);
                                         VORNAppendMenuItem(menu, "Item", nullptr, 0); return menu; });
    }
    VORNDataRef Ref(int id, const char* name = "matrix/int")  // reads 7 and the array 0 1 2 3
    {
        return Made<VORNDataRef>(id, [&] { return VORNRegisterDataAccessor(name, VORN_DATA_INT | VORN_DATA_INT_ARRAY, 1,
            ReadSeven, nullptr, nullptr, nullptr, nullptr, nullptr, ReadArray, WriteArray, nullptr, nullptr, nullptr,
            nullptr, nullptr, nullptr); });
    }
    // Every reader and writer, each counting in gTouched.
    VORNDataRef Full(int id, const char* name = "matrix/full")
    {
        return Made<VORNDataRef>(id, [&] { return VORNRegisterDataAccessor(name, 0x3f, 1,
            [](void*) { return ++gTouched; }, [](void*, int) { ++gTouched; }, [](void*) { return float(++gTouched); },
            [](void*, float) { ++gTouched; }, [](void*) { return double(++gTouched); }, [](void*, double) { ++gTouched; },
            [](void*, int*, int, int) { return ++gTouched; }, [](void*, int*, int, int) { ++gTouched; },
            [](void*, float*, int, int) { return ++gTouched; }, [](void*, float*, int, int) { ++gTouched; },
            [](void*, void*, int, int) { return ++gTouched; }, [](void*, void*, int, int) { ++gTouched; }, nullptr, nullptr); });
    }
    // A visible window over (0, 0)-(100, 100) owned by id, without callbacks.
    VORNWindowID Window(int id)
    {
        return Made<VORNWindowID>(id, [] { return VORNCreateWindow(0, 100, 100, 0, 1, nullptr, nullptr, nullptr, nullptr); });
    }
    VORNProbeRef Probe(int id) { return Made<VORNProbeRef>(id, [] { return VORNCreateProbe(VORN_PROBE_Y); }); }
    VORNHotKeyID HotKey(int id, const char* text)
    {
        return Made<VORNHotKeyID>(id, [&] { return VORNRegisterHotKey('H', 0, text, nullptr, nullptr); });
    }
    VORNCommandRef Command() { return VORNCreateCommand("matrix/command", "Matrix"); }

    FakeHost& host;
    std::vector<std::string> errors;
    const int a = 1, b = 2;
    int unknown = 0;  // an address no handle of the library's can have
};

using Call = std::function<std::string(Matrix&)>;

// Started with the two agents; the same in a process of its own (the row leaves probe indices
// behind, kept per process); in a process of its own that never started the library.
enum class Phase { kRunning, kFresh, kBeforeInit };

struct Row {
    const char* function;  // the functions the row covers, separated by spaces
    const char* what;
    Phase phase;
    Call call;
    std::string expected;
};

#define ROW(Name, phase) \
    Row Name(const char* f, const char* what, Call call, std::string e) { return {f, what, phase, std::move(call), std::move(e)}; }
ROW(R, Phase::kRunning)
ROW(B, Phase::kBeforeInit)
ROW(F, Phase::kFresh)

#define M []([[maybe_unused]] Matrix & m) -> std::string
#define CALL(...) M { return S(__VA_ARGS__); }
#define VOID(...) M { __VA_ARGS__; return kDone; }
#define AS_A(...) M { return m.As(m.a, [&] { return S(__VA_ARGS__); }); }
#define AS_A_VOID(...) M { return m.As(m.a, [&] { __VA_ARGS__; }); }

const std::string kIllegalRef = "1:Dataref is illegal and cannot be unregistered.";
const std::string kNotOwned = "1:Dataref is not owned by you - you cannot unregsiter.";
const std::string kIllegalFeature = "1:Illegal feature name passed to VORNEnableFeature";
const std::string kMenuRange = " was passed an out of range item index.";
const std::string kIllegalObject = "1:Illegal object, or object not owned by this plugin.";
const std::string kUnknownObject = "1:Unknown object for VORNUnloadObject";
const std::string kIllegalFile = "1:Illegal file type passed to VORNLoadDataFile.";

const std::vector<Row>& Rows()
{
    static const std::vector<Row> rows = {
        // ---- Before the host starts the library ------------------------------------------
        B("VORNInitialized VORNCountPlugins VORNIsPluginEnabled VORNGetMyID VORNFindPluginBySignature VORNFindDataRef "
          "VORNDebugGetCurrentPluginName VORNDebugString VORNSetErrorCallback VORNRegisterDataAccessor",
          "nothing started, no record, not even the host's: the host is the caller, nothing is found, kept or written; "
          "the host may register its data refs already", M {
              VORNDebugString("x"); VORNSetErrorCallback(CollectError);
              VORNDataRef ref = VORNRegisterDataAccessor("sim/version/vorn_build_string", VORN_DATA_INT, 0, ReadSeven, nullptr,
                  nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
              return Cat({S(VORNInitialized()), S(VORNCountPlugins()), S(VORNIsPluginEnabled(0)), S(VORNGetMyID()), " ",
                          S(VORNFindPluginBySignature("x")), S(VORNFindDataRef("a/b")), S(VORNDebugGetCurrentPluginName()), " ",
                          S(VORNIsDataRefGood(ref)), S(VORNGetDatai(ref))}); },
          "0000 -1null\"[VORN_PLUGIN_TARAVEL]\" 17"),
        B("VORNInitializePlugins", "a root without a plug-ins folder", M {
              const int version = VORNInitializePlugins("/nonexistent/", &m.host.table, nullptr); VORNShutdownPlugins();
              return S(version); },
          "19 | host: CreateMenu(0, 0, \"Plugins\") | log: Fetching plugins for /nonexistent/Resources/plugins*"),

        // ---- Host entry points --------------------------------------------------------------
        R("VORNShutdownPlugins", "a second shutdown does nothing", VOID(VORNShutdownPlugins(); VORNShutdownPlugins()), "done"),
        R("VORNEventHook", "negative, unused and huge event codes and event 12 with a null folder do nothing and return 1",
          CALL(VORNEventHook(-1, nullptr, 0) + VORNEventHook(14, nullptr, 0) + VORNEventHook(1 << 30, nullptr, 0) +
               VORNEventHook(5, nullptr, 0) + VORNEventHook(99, nullptr, 0) + VORNEventHook(-100, nullptr, 0) +
               VORNEventHook(12, nullptr, 0)), "7"),
        R("VORNCameraHook VORNIsCameraBeingControlled", "null pointers while nobody controls the camera; a null pointer "
          "while a plug-in controls it: not called", M {
              const int nobody = VORNCameraHook(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
              static int calls = 0; calls = 0;
              m.As(m.a, [] { VORNControlCamera(1, [](VORNCameraPositionRecord*, int, void*) { return ++calls; }, nullptr); });
              float p[7] = {};
              return Cat({S(nobody), S(VORNCameraHook(&p[0], &p[1], &p[2], nullptr, &p[4], &p[5], &p[6])), S(calls),
                          S(VORNIsCameraBeingControlled(nullptr))}); }, "1101"),
        R("VORNUpdatePlaneNameAndPath", "negative and huge index, null buffers, a chosen model and a null path buffer", M {
              m.As(m.b, [] { char user[] = "user.acf", one[] = "/m/one.acf"; char* paths[] = {user, one, nullptr};
                             VORNAcquirePlanes(paths, nullptr, nullptr); }); char path[256] = "host's";
              VORNUpdatePlaneNameAndPath(-1, nullptr, nullptr); VORNUpdatePlaneNameAndPath(1 << 30, nullptr, nullptr);
              VORNUpdatePlaneNameAndPath(1, nullptr, nullptr); VORNUpdatePlaneNameAndPath(0, nullptr, path);
              const std::string kept = path; VORNUpdatePlaneNameAndPath(1, nullptr, path);
              return kept + " " + path; }, "host's /m/one.acf*"),
        R("VORNGetNumberPlanesToHandle", "a negative count comes back", CALL(VORNGetNumberPlanesToHandle(-5, 0)), "-5"),
        R("VORNGetPluginInventory VORNGetPluginFrameTimes", "null out, unknown ids, wrong structSize give 0", M {
              auto out = Sized<VORNPluginInventory>(), small = Sized<VORNPluginInventory>(4);
              auto frames = Sized<VORNFrameTimes>(), smallFrames = Sized<VORNFrameTimes>(4);
              return Cat({S(VORNGetPluginInventory(1, nullptr)), S(VORNGetPluginInventory(-1, &out)), S(VORNGetPluginInventory(99, &out)),
                          S(VORNGetPluginInventory(1, &small)), S(small.dataRefs), " ", S(VORNGetPluginFrameTimes(m.a, nullptr)),
                          S(VORNGetPluginFrameTimes(-1, &frames)), S(VORNGetPluginFrameTimes(99, &frames)),
                          S(VORNGetPluginFrameTimes(m.a, &smallFrames)), S(static_cast<int>(smallFrames.frames))}); }, "00000 00000"),
        R("VORNSetUnloadObserver VORNSetCallObserver", "null turns them off", M {
              static int calls = 0; calls = 0; VORNSetTimeAccounting(1);
              VORNSetUnloadObserver([](VORNPluginID, const VORNPluginInventory*) { ++calls; }); VORNSetUnloadObserver(nullptr);
              VORNSetCallObserver([](const VORNCallTiming*, void*) { ++calls; }, nullptr); VORNSetCallObserver(nullptr, &m);
              m.As(m.a, [] {}); VORNShutdownPlugins(); return S(calls); }, "0"),
        R("VORNSetTimeAccounting VORNResetTimeAccounting", "reset while off, twice; any non-zero value is on, off twice", M {
              VORNResetTimeAccounting(); VORNResetTimeAccounting(); VORNSetTimeAccounting(-7); m.As(m.a, [] {});
              VORNSetTimeAccounting(0); VORNSetTimeAccounting(0); auto out = Sized<VORNCallTimes>();
              return Cat({S(VORNGetPluginCallTimes(m.a, 0, &out)), " ", S(out.label)}); }, "1 \"message\""),
        R("VORNSetFrameBudget", "negative, NaN, infinite and huge budgets mean none", M {
              VORNSetTimeAccounting(1); std::string out;
              for (float budget : {-1.0f, std::nanf(""), HUGE_VALF, 1e30f}) {
                  VORNSetFrameBudget(budget); m.As(m.a, [] {}); auto times = Sized<VORNCallTimes>();
                  VORNGetPluginCallTimes(m.a, 0, &times); out += S(static_cast<int>(times.overBudget)); }
              return out; }, "0000"),
        R("VORNGetPluginCallTimes", "null out, unknown ids, wrong structSize, bad indexes give 0", M {
              VORNSetTimeAccounting(1); m.As(m.a, [] {});  // one kind: a message
              auto out = Sized<VORNCallTimes>(), small = Sized<VORNCallTimes>(4);
              return Cat({S(VORNGetPluginCallTimes(m.a, 0, nullptr)), S(VORNGetPluginCallTimes(-1, 0, &out)),
                          S(VORNGetPluginCallTimes(99, 0, &out)), S(VORNGetPluginCallTimes(m.a, 0, &small)),
                          S(VORNGetPluginCallTimes(m.a, -1, &out)), S(VORNGetPluginCallTimes(m.a, 1, &out)),
                          S(VORNGetPluginCallTimes(m.b, 0, &out)), S(static_cast<int>(out.calls)), S(small.kind)}); },
          "000000000"),
        R("VORNSetCheckedMode", "any non-zero value is on, the main thread still served; off twice", M {
              int refused = -1, served = -1; VORNSetCheckedMode(-3); std::thread([&] { refused = VORNCountPlugins(); }).join();
              const std::string id = m.As(m.a, [] { return S(VORNGetMyID()); }); VORNSetCheckedMode(0); VORNSetCheckedMode(0);
              std::thread([&] { served = VORNCountPlugins(); }).join(); return Cat({S(refused), id, S(served)}); }, "013"),
        R("VORNMenuHook VORNMenuItemEnabled VORNCheckMenuHook VORNCommandHook",
          "unknown and negative host items, unknown menus and bad positions, a null out; null and unknown commands pass through",
          M { int check = 42; return Cat({S(VORNMenuHook(-1) + VORNMenuHook(1 << 30)),
                  S(VORNMenuItemEnabled(-1, 0) + VORNMenuItemEnabled(1000, -1) + VORNMenuItemEnabled(1000, 1 << 30)), " ",
                  S(VORNCheckMenuHook(-1, 0, &check)), S(VORNCheckMenuHook(1000, -1, &check)),
                  S(VORNCheckMenuHook(1000, 1 << 30, nullptr)), " ", S(check), " ",
                  S(VORNCommandHook(nullptr, 1, 0, 1) * 10 + VORNCommandHook(&m.unknown, 0, 1, 0))}); },
          "23 111 42 11"),

        // ---- Registry, errors, lifecycle, messages, features ------------------------------
        R("VORNGetNthPlugin VORNIsPluginEnabled VORNFindPluginBySignature VORNFindPluginByPath",
          "bad ids and names: an index comes back unchecked, none is enabled or found; an empty path is the host's", M {
              return Cat({S(VORNGetNthPlugin(-7) + VORNGetNthPlugin(99)), " ",
                          S(VORNIsPluginEnabled(-1) + VORNIsPluginEnabled(3) + VORNIsPluginEnabled(1 << 30)), " ",
                          S(VORNFindPluginBySignature(nullptr) + VORNFindPluginBySignature("")), " ", S(VORNFindPluginByPath(nullptr)),
                          S(VORNFindPluginByPath("/no/such.vpl")), S(VORNFindPluginByPath(""))}); }, "92 0 -2 -1-10"),
        R("VORNGetPluginInfo", "all buffers null; an unknown id writes nothing", M {
              char name[4] = "x"; VORNGetPluginInfo(1, nullptr, nullptr, nullptr, nullptr);
              VORNGetPluginInfo(3, name, nullptr, nullptr, nullptr); VORNGetPluginInfo(-1, name, nullptr, nullptr, nullptr);
              return S(name); }, "\"x\""),
        R("VORNSetErrorCallback", "from the host: the host's own record takes it; null removes the caller's", M {
              VORNSetErrorCallback(CollectError); const std::string host = S(VORNSaveDataFile(1, nullptr));
              return host + m.As(m.b, [] { VORNSetErrorCallback(nullptr); return S(VORNSaveDataFile(1, nullptr)); }); },
          "00 | errors: 0:Null file path passed to VORNSaveDataFile."),
        R("VORNDebugGetCurrentPluginName", "from a plug-in", AS_A(VORNDebugGetCurrentPluginName()), "\"Agent\""),
        R("VORNEnablePlugin", "the host, negative and unknown ids fail; another plug-in, already enabled, succeeds", M {
              return S(VORNEnablePlugin(0) + VORNEnablePlugin(-1) + VORNEnablePlugin(99)) +
                     m.As(m.a, [] { return S(VORNEnablePlugin(2)); }); }, "01"),
        R("VORNDisablePlugin", "the host, negative and unknown ids: nothing; twice", M {
              VORNDisablePlugin(0); VORNDisablePlugin(-1); VORNDisablePlugin(1 << 30);
              const std::string before = S(VORNIsPluginEnabled(0) + VORNIsPluginEnabled(1) + VORNIsPluginEnabled(2));
              VORNDisablePlugin(2); VORNDisablePlugin(2); return before + S(VORNIsPluginEnabled(2)); }, "30"),
        R("VORNReloadPlugins", "asked for twice: one reload after the next pass", M {
              m.As(m.a, [] { VORNReloadPlugins(); VORNReloadPlugins(); });
              const int before = m.host.CountCalls("ShowAlert"); VORNEventHook(0, nullptr, 1.0f);
              const int once = m.host.CountCalls("ShowAlert"); VORNEventHook(0, nullptr, 2.0f);
              return Cat({S(before), S(once), S(static_cast<int>(m.host.CountCalls("ShowAlert"))), S(VORNCountPlugins())}); },
          "0113 | host: * | log: *"),
        R("VORNSendMessageToPlugin", "unknown, negative and disabled targets get nothing", M {
              VORNDisablePlugin(2);
              for (int to : {99, -5, 2, -1})
                  VORNSendMessageToPlugin(to, AGENT_RUN_MESSAGE, nullptr);
              return kDone; }, "done | host: HostReceiveMessage(0, 31232, null)"),
        R("VORNHasFeature VORNIsFeatureEnabled VORNEnableFeature VORNEnumerateFeatures", "null and unknown names: none, "
          "reported where enabled; a null enumerator; from the host", M {
              VORNEnumerateFeatures([](const char*, void*) {}, nullptr); return m.As(m.a, [] {
                  VORNEnableFeature(nullptr, 1); VORNEnumerateFeatures(nullptr, nullptr);
                  return S(VORNHasFeature(nullptr) + VORNHasFeature("X") + VORNIsFeatureEnabled(nullptr) +
                           VORNIsFeatureEnabled("X")); }); },
          "0 | errors: " + kIllegalFeature + "; " + kIllegalFeature + "; " + kIllegalFeature),

        // ---- Flight loops -------------------------------------------------------------------
        R("VORNGetElapsedTime", "from a plug-in", AS_A(VORNGetElapsedTime()), "0 | host: GetElapsedTime()"),
        R("VORNGetCycleNumber", "reading has no effect", CALL(VORNGetCycleNumber() == VORNGetCycleNumber()), "1"),
        R("VORNCreateFlightLoop VORNRegisterFlightLoopCallback", "null params: none; bad size, phase (7, -1) and callback: "
          "reported, created", AS_A(Cat({S(VORNCreateFlightLoop(nullptr)), [] {
              VORNCreateFlightLoop_t params = {-1, 7, nullptr, nullptr}, phase = {sizeof phase, -1, NoLoop, nullptr};
              for (VORNFlightLoopID loop : {VORNCreateFlightLoop(&params), VORNCreateFlightLoop(&phase)}) {
                  VORNDestroyFlightLoop(loop); if (loop == nullptr) VORNDebugString("no loop"); }
              VORNRegisterFlightLoopCallback(nullptr, -1.0f, nullptr); return std::string(); }()})),
          "\"null\" | errors: 1:Illegal struct size for VORNCreateFlightLoop; 1:Illegal phase type for VORNCreateFlightLoop; "
          "1:Null callback for VORNCreateFlightLoop; 1:Illegal phase type for VORNCreateFlightLoop; "
          "1:Null callback for VORNCreateFlightLoop | host: GetElapsedTime(); GetElapsedTime(); GetElapsedTime()"),
        R("VORNDestroyFlightLoop VORNScheduleFlightLoop VORNUnregisterFlightLoopCallback VORNSetFlightLoopCallbackInterval",
          "null handle, never registered (any owner's would match): nothing; another plug-in's loop is reported", M {
              VORNFlightLoopID loop = m.Made<VORNFlightLoopID>(m.b, [] {
                  VORNCreateFlightLoop_t params = {sizeof params, 0, NoLoop, nullptr}; return VORNCreateFlightLoop(&params); }); m.Mark();
              return m.As(m.a, [&] { VORNDestroyFlightLoop(nullptr); VORNScheduleFlightLoop(nullptr, 1, 1);
                  VORNUnregisterFlightLoopCallback(NoLoop, &m.unknown); VORNSetFlightLoopCallbackInterval(NoLoop, 1, 1, &m.unknown);
                  VORNDestroyFlightLoop(loop); VORNScheduleFlightLoop(loop, -1.0f, 1); }); },
          "done | errors: 1:Attempt to remove a flight loop callback owned by another plugin.; "
          "1:Attempt to schedule a flight loop callback owned by another plugin."),

        // ---- Draw callbacks and key sniffers -------------------------------------------
        R("VORNRegisterDrawCallback VORNUnregisterDrawCallback", "null callback and odd phases taken; never registered; "
          "a duplicate of another plug-in's refused, yet removable; twice", M {
              const std::string never = m.As(m.a, [] { return S(VORNUnregisterDrawCallback(NoDraw, 5, 1, nullptr)); });
              m.As(m.b, [] { VORNRegisterDrawCallback(NoDraw, 5, 1, nullptr); }); return never + m.As(m.a, [] { return Cat({
                  S(VORNRegisterDrawCallback(nullptr, -1, 1, nullptr) + VORNRegisterDrawCallback(NoDraw, 1 << 30, 0, nullptr)),
                  S(VORNRegisterDrawCallback(NoDraw, 5, 1, nullptr)), S(VORNUnregisterDrawCallback(NoDraw, 5, 1, nullptr)),
                  S(VORNRegisterDrawCallback(NoDraw, 6, 1, nullptr)), S(VORNUnregisterDrawCallback(NoDraw, 6, 1, nullptr)),
                  S(VORNUnregisterDrawCallback(NoDraw, 6, 1, nullptr))}); }); }, "0201110"),
        R("VORNRegisterKeySniffer VORNUnregisterKeySniffer", "null callback taken; never registered", AS_A(
              Cat({S(VORNRegisterKeySniffer(nullptr, 1, nullptr)), S(VORNUnregisterKeySniffer(NoSniff, 0, nullptr))})), "\"10\""),

        // ---- Windows, hot keys and the display entry points ------------------------
        R("VORNCreateWindow VORNCreateWindowEx", "inverted geometry, no callbacks; null params and wrong structSize", M {
              return m.As(m.a, [] { VORNWindowID w = VORNCreateWindow(100, 0, 0, 100, 1, nullptr, nullptr, nullptr, nullptr);
                  int left = 0, top = 0; VORNGetWindowGeometry(w, &left, &top, nullptr, nullptr);
                  auto small = Sized<VORNCreateWindow_t>(sizeof(VORNCreateWindow_t) - 8);
                  auto big = Sized<VORNCreateWindow_t>(sizeof(VORNCreateWindow_t) + 1);
                  return Cat({S(w), " ", S(left), S(top), S(VORNIsWindowInFront(w)), " ", S(VORNCreateWindowEx(nullptr)),
                              S(VORNCreateWindowEx(&small)), S(VORNCreateWindowEx(&big))}); }); }, "handle 10001 nullnullnull"),
        R("VORNTakeKeyboardFocus", "unknown and destroyed ids give it to the host; a disabled plug-in's window cannot take it", M {
              VORNWindowID mine = m.Window(m.a), theirs = m.Window(m.b); VORNDisablePlugin(m.b); m.Mark(); return m.As(m.a, [&] {
                  VORNTakeKeyboardFocus(mine); VORNTakeKeyboardFocus(&m.unknown); VORNDestroyWindow(mine);
                  VORNTakeKeyboardFocus(mine); VORNTakeKeyboardFocus(theirs); return S(VORNKeyPressHook('k', 0, 'K', 1)); }); },
          "1 | host: TakeKeyboardFocus(1); TakeKeyboardFocus(0)*"),
        R("VORNSetWindowGeometry VORNGetWindowGeometry VORNSetWindowIsVisible VORNGetWindowIsVisible VORNSetWindowRefCon "
          "VORNGetWindowRefCon VORNBringWindowToFront VORNIsWindowInFront", "null, unknown and destroyed ids are ignored", M {
              VORNWindowID w = m.Window(m.a); m.As(m.a, [&] { VORNDestroyWindow(w); }); m.Mark(); std::string out;
              for (VORNWindowID bad : {static_cast<VORNWindowID>(nullptr), static_cast<VORNWindowID>(&m.unknown), w}) {
                  int l = -1, t = -1, r = -1, b = -1; VORNSetWindowGeometry(bad, 1, 2, 3, 4); VORNGetWindowGeometry(bad, &l, &t, &r, &b);
                  VORNSetWindowIsVisible(bad, 1); VORNSetWindowRefCon(bad, &l); VORNBringWindowToFront(bad);
                  out += Cat({S(l), S(t), S(r), S(b), " ", S(VORNGetWindowRefCon(bad)),
                              S(VORNGetWindowIsVisible(bad) + VORNIsWindowInFront(bad)), " "}); }
              return out + S(VORNMouseClickHook(5, 5, 1)); }, "-1-1-1-1 null0 -1-1-1-1 null0 -1-1-1-1 null0 1"),
        R("VORNSetWindowGeometry VORNSetWindowIsVisible", "geometry stored unchecked, null outs; a visibility other than 1 "
          "kept, hidden is not in front", M {
              VORNWindowID w = m.Window(m.a); VORNGetWindowGeometry(w, nullptr, nullptr, nullptr, nullptr);
              VORNSetWindowGeometry(w, 1 << 30, -(1 << 30), -5, 5); int left = 0, top = 0, right = 0, bottom = 0;
              VORNGetWindowGeometry(w, &left, &top, &right, &bottom); const std::string click = S(VORNMouseClickHook(0, 0, 1));
              VORNSetWindowIsVisible(w, -3); const std::string kept = S(VORNGetWindowIsVisible(w)); VORNSetWindowIsVisible(w, 0);
              return Cat({S(left), " ", S(top), " ", S(right), " ", S(bottom), " ", click, " ", kept, S(VORNIsWindowInFront(w))}); },
          "1073741824 -1073741824 -5 5 1 -30"),
        R("VORNBringWindowToFront VORNDestroyWindow", "null and unknown; another plug-in's window; destroy null, unknown, "
          "mid-record, another plug-in's, twice", M {
              VORNWindowID theirs = m.Window(m.b), mine = m.Window(m.a); return m.As(m.a, [&] {
                  VORNBringWindowToFront(nullptr); VORNBringWindowToFront(&m.unknown);
                  const std::string before = S(VORNIsWindowInFront(mine)); VORNBringWindowToFront(theirs);
                  const std::string front = Cat({before, S(VORNIsWindowInFront(theirs)), S(VORNIsWindowInFront(mine))});
                  VORNDestroyWindow(nullptr); VORNDestroyWindow(&m.unknown); VORNDestroyWindow(static_cast<char*>(theirs) + 1);
                  const std::string shown = S(VORNGetWindowIsVisible(theirs)); VORNDestroyWindow(theirs); VORNDestroyWindow(theirs);
                  return Cat({front, " ", shown, S(VORNGetWindowIsVisible(theirs)), S(VORNIsWindowInFront(theirs))}); }); },
          "110 100"),
        R("VORNGetScreenSize VORNGetMouseLocation", "null outs go to the host",
          VOID(VORNGetScreenSize(nullptr, nullptr); VORNGetMouseLocation(nullptr, nullptr)),
          "done | host: GetScreenSize(null, null); GetMouseLocation(null, null, 1)"),
        R("VORNRegisterHotKey", "null description and callback: it still takes its key", M {
              VORNHotKeyID hotKey = m.HotKey(m.a, nullptr); char description[VORN_PATH_BUFFER_SIZE] = "x";
              VORNGetHotKeyInfo(hotKey, nullptr, nullptr, description, nullptr);
              return Cat({S(hotKey), S(description), S(VORNKeyPressHook('h', 0, 'H', 0))}); }, "handle\"\"0"),
        R("VORNUnregisterHotKey VORNCountHotKeys VORNGetNthHotKey", "null, unknown, mid-record, twice, another plug-in's; "
          "then none at a negative index, at and past the count", M {
              VORNHotKeyID theirs = m.HotKey(m.b, "b"); return m.As(m.a, [&] { VORNUnregisterHotKey(nullptr);
                  VORNUnregisterHotKey(&m.unknown); VORNUnregisterHotKey(static_cast<char*>(theirs) + 1);
                  const std::string before = S(VORNCountHotKeys()); VORNUnregisterHotKey(theirs); VORNUnregisterHotKey(theirs);
                  return Cat({before, S(VORNCountHotKeys()), S(VORNGetNthHotKey(-1)), S(VORNGetNthHotKey(0)),
                              S(VORNGetNthHotKey(1 << 30))}); }); }, "10nullnullnull"),
        R("VORNGetHotKeyInfo VORNSetHotKeyCombination", "null and unknown ids write nothing and take no key; null outs", M {
              VORNHotKeyID mine = m.HotKey(m.a, "a"); char key = 'x'; int flags = 42; VORNPluginID owner = 42;
              VORNSetHotKeyCombination(nullptr, 'A', 0); VORNSetHotKeyCombination(&m.unknown, 'A', 0);
              VORNGetHotKeyInfo(&m.unknown, &key, &flags, nullptr, &owner); VORNGetHotKeyInfo(mine, nullptr, nullptr, nullptr, nullptr);
              const std::string unknown = Cat({std::string(1, key), S(flags), S(owner)});
              VORNGetHotKeyInfo(mine, nullptr, nullptr, nullptr, &owner);
              return Cat({unknown, " ", S(owner), S(VORNKeyPressHook('a', 0, 'A', 0))}); }, "x4242 11"),
        R("VORNDoDrawingHook VORNMouseClickHook VORNKeyPressHook VORNCursorHook VORNScrollWheelHook",
          "no window: drawing steps outside 1..26, an up without a down, far off the screen, key stages outside 0..2, "
          "an empty key, odd wheel values", M {
              return Cat({S(VORNDoDrawingHook(0, 0) + VORNDoDrawingHook(27, 1) + VORNDoDrawingHook(-1, -1)), " ",
                          S(VORNMouseClickHook(5, 5, 0) + VORNMouseClickHook(-(1 << 30), 1 << 30, 1)), " ",
                          S(VORNKeyPressHook('k', 0, 'K', -1) + VORNKeyPressHook('k', 0, 'K', 3) + VORNKeyPressHook(0, 0, 0, 0)),
                          " ", S(VORNCursorHook(-1, 1 << 30)), S(VORNScrollWheelHook(0, 0, -1, -(1 << 30)))}); }, "3 2 3 01"),
        R("VORNKeyPressHook", "an all-zero key at stages 1 and 2 reaches neither focus window nor sniffers", M {
              static int calls = 0; m.As(m.a, [] {
                  VORNTakeKeyboardFocus(VORNCreateWindow(0, 100, 100, 0, 1, nullptr,
                      [](VORNWindowID, char, int, char, void*, int) { ++calls; }, nullptr, nullptr));
                  VORNRegisterKeySniffer([](char, int, char, void*) { return ++calls, 1; }, 0, nullptr); });
              calls = 0; m.Mark();
              return Cat({S(VORNKeyPressHook(0, 0, 0, 1)), S(VORNKeyPressHook(0, 0, 0, 2)), " ", S(calls)}); }, "11 0"),

        // ---- Data refs --------------------------------------------------------------------
        R("VORNFindDataRef", "null and unknown names", CALL(VORNFindDataRef(nullptr) == nullptr && VORNFindDataRef("no/such") == nullptr), "1"),
        R("VORNCanWriteDataRef VORNGetDataRefTypes VORNSetDataf VORNGetDatad VORNSetDatad VORNSetDatavf VORNSetDatab",
          "null handle", M { return S(VORNCanWriteDataRef(nullptr)) + S(VORNGetDataRefTypes(nullptr)) + " " + ReadWriteAll(nullptr); },
          "00 000000 0"),
        R("VORNSetDatai VORNGetDataf VORNGetDatavf VORNGetDatab", "the owner offers no reader or writer of the type; odd offsets",
          M { VORNDataRef ref = m.Ref(m.a); float floats[2] = {}; char bytes[2] = {};
              return Cat({ReadWriteAll(ref), " ", S(VORNGetDatavf(ref, floats, -1, 2)), S(VORNGetDatab(ref, bytes, 1 << 30, -1))}); },
          "700200 0 00"),
        R("VORNGetDatai VORNSetDatai", "a disabled owner's, a withdrawn data ref: no read nor write of any type reaches the owner", M {
              VORNDataRef disabled = m.Full(m.a), withdrawn = m.Full(m.a, "matrix/withdrawn");
              m.As(m.a, [&] { VORNUnregisterDataAccessor(withdrawn); }); VORNDisablePlugin(m.a);
              return m.As(m.b, [&] { return ReadWriteAll(disabled) + " " + ReadWriteAll(withdrawn); }); }, "000000 0 000000 0"),
        R("VORNGetDatavi VORNSetDatavi", "null values ask the count; negative and huge offsets and max; a null handle", M {
              VORNDataRef ref = m.Ref(m.a); int values[4] = {-1, -1, -1, -1};
              VORNSetDatavi(nullptr, nullptr, -1, -1); VORNSetDatavi(ref, nullptr, -1, 1 << 30);
              return Cat({S(VORNGetDatavi(ref, nullptr, 0, 0)), S(VORNGetDatavi(ref, values, 1 << 30, 4)),
                          S(VORNGetDatavi(ref, values, 0, -3)), S(VORNGetDatavi(ref, values, 2, 99)), " ",
                          S(values[0]), S(values[1]), S(values[2])}); }, "4002 23-1"),
        R("VORNRegisterDataAccessor", "a null name: none; a name another plug-in holds: reported, theirs returned", M {
              VORNDataRef theirs = m.Ref(m.b); m.Mark();
              return S(m.Ref(m.a, nullptr)) + S(m.Ref(m.a) == theirs ? 1 : 0); },
          "null1 | errors: 1:Dataref is already registered by someone else."),
        R("VORNUnregisterDataAccessor VORNIsDataRefGood", "null, foreign and mid-record pointers, another plug-in's, and twice, "
          "are reported; such handles and a withdrawn one are not good", M {
              VORNDataRef ref = m.Ref(m.a), theirs = m.Ref(m.b, "matrix/other"); m.Mark();
              VORNDataRef foreign = reinterpret_cast<VORNDataRef>(&m.unknown);
              VORNDataRef mid = reinterpret_cast<VORNDataRef>(reinterpret_cast<char*>(ref) + 1);
              const std::string good = S(VORNIsDataRefGood(ref)); m.As(m.a, [&] {
                  VORNUnregisterDataAccessor(nullptr); VORNUnregisterDataAccessor(foreign); VORNUnregisterDataAccessor(mid);
                  VORNUnregisterDataAccessor(theirs); VORNUnregisterDataAccessor(ref); VORNUnregisterDataAccessor(ref); });
              return Cat({good, S(VORNIsDataRefGood(nullptr)), S(VORNIsDataRefGood(foreign)), S(VORNIsDataRefGood(mid)),
                          S(VORNIsDataRefGood(ref)), " ", S(VORNIsDataRefGood(theirs))}); },
          "10000 1 | errors: " + kIllegalRef + "; " + kIllegalRef + "; " + kIllegalRef + "; " + kNotOwned + "; " + kNotOwned),
        R("VORNShareData VORNUnshareData", "null name, no type, two types, a clash of types; null name, null callback, never "
          "subscribed", AS_A(Cat({S(VORNShareData(nullptr, VORN_DATA_INT, nullptr, nullptr)),
              S(VORNShareData("matrix/shared", VORN_DATA_INT, NoChange, nullptr)),
              S(VORNShareData("matrix/shared", VORN_DATA_FLOAT, NoChange, nullptr)),
              S(VORNShareData("matrix/two", VORN_DATA_INT | VORN_DATA_FLOAT, nullptr, nullptr)), S(VORNUnshareData(nullptr,
              VORN_DATA_INT, NoChange, nullptr) + VORNUnshareData("matrix/shared", VORN_DATA_INT, nullptr, nullptr) +
              VORNUnshareData("matrix/none", VORN_DATA_INT, NoChange, nullptr))})), "\"01010\""),
        R("VORNShareData", "an array item: negative and huge offsets and counts, null values", M {
              return m.As(m.a, [] { VORNShareData("matrix/array", VORN_DATA_INT_ARRAY, nullptr, nullptr);
                  VORNDataRef ref = VORNFindDataRef("matrix/array"); int values[3] = {1, 2, 3};
                  VORNSetDatavi(ref, values, 0, 3); VORNSetDatavi(ref, values, -1, 2);
                  VORNSetDatavi(ref, values, 1 << 30, 1); VORNSetDatavi(ref, nullptr, 0, 5);
                  VORNSetDatavi(ref, values, 0, -1); VORNSetDatavi(ref, values, INT_MAX / 4, 1);
                  VORNSetDatavi(ref, values, 1, INT_MAX); int out[3] = {9, 9, 9};
                  return Cat({S(VORNGetDatavi(ref, out, -1, 3)), S(VORNGetDatavi(ref, out, 1 << 30, 3)),
                              S(VORNGetDatavi(ref, out, 0, -2)), S(VORNGetDatavi(ref, nullptr, 0, 0)),
                              S(VORNGetDatavi(ref, out, 1, 99)), " ", S(out[0]), S(out[1])}); }); }, "00032 23"),

        // ---- Menus ---------------------------------------------------------------------
        R("VORNCreateMenu VORNFindPluginsMenu", "an unknown, freed or mid-record parent gives null; null name, bad parent item "
          "under the Plugins menu", M {
              VORNMenuID menu = m.Menu(m.a); m.As(m.a, [&] { VORNDestroyMenu(menu); }); m.Mark(); return m.As(m.a, [&] {
                  return Cat({S(VORNCreateMenu("x", &m.unknown, 0, nullptr, nullptr)), S(VORNCreateMenu("x", menu, 0, nullptr, nullptr)),
                              S(VORNCreateMenu("x", static_cast<char*>(VORNFindPluginsMenu()) + 1, 0, nullptr, nullptr)),
                              S(VORNCreateMenu(nullptr, VORNFindPluginsMenu(), -(1 << 20), nullptr, nullptr))}); }); },
          "nullnullnullhandle | host: CreateMenu(1000, -1, \"\")"),
        R("VORNDestroyMenu", "null, the Plugins menu, another plug-in's menu, twice", M {
              VORNMenuID theirs = m.Menu(m.b); VORNMenuID mine = m.Menu(m.a); m.Mark(); return m.As(m.a, [&] {
                  VORNDestroyMenu(nullptr); VORNDestroyMenu(VORNFindPluginsMenu()); VORNDestroyMenu(theirs);
                  VORNDestroyMenu(mine); VORNDestroyMenu(mine);
                  return S(VORNAppendMenuItem(theirs, "still", nullptr, 0)); }); },
          "0 | host: RemoveMenuItem(1002, 0); DestroyMenu(1002); AppendMenuItem(1001, \"still\", null, 0)"),
        R("VORNAppendMenuItem VORNAppendMenuSeparator VORNClearAllMenuItems", "null, freed and another plug-in's menus; null name",
          M { VORNMenuID theirs = m.Menu(m.b), mine = m.Menu(m.a); m.As(m.a, [&] { VORNDestroyMenu(mine); }); m.Mark();
              return m.As(m.a, [&] { VORNClearAllMenuItems(nullptr); VORNClearAllMenuItems(mine); VORNClearAllMenuItems(theirs);
                  return Cat({S(VORNAppendMenuItem(nullptr, "x", nullptr, 0)), S(VORNAppendMenuItem(mine, "x", nullptr, 0)),
                              S(VORNAppendMenuSeparator(nullptr)),
                              S(VORNAppendMenuItem(VORNFindPluginsMenu(), nullptr, nullptr, 0))}); }); },
          "-1-1-11 | host: AppendMenuItem(1000, \"\", null, 0)"),
        R("VORNSetMenuItemName", "negative, huge and another plug-in's index; null menu", M {
              VORNMenuID theirs = m.Menu(m.b); m.Mark(); return m.As(m.a, [&] {
                  for (int item : {-1, 1 << 30, 0})
                      VORNSetMenuItemName(theirs, item, "x");
                  VORNSetMenuItemName(nullptr, 0, "x"); }); },
          "done | errors: 1:VORNSetMenuItemName" + kMenuRange + "; 1:VORNSetMenuItemName" + kMenuRange +
              "; 1:VORNSetMenuItemName" + kMenuRange),
        R("VORNCheckMenuItem VORNCheckMenuItemState VORNEnableMenuItem",
          "a bad index, another plug-in's item are reported; null and unknown menus, a null out are not", M {
              VORNMenuID mine = m.Menu(m.a), theirs = m.Menu(m.b); m.Mark(); return m.As(m.a, [&] { int state = 42;
                  VORNCheckMenuItem(VORNFindPluginsMenu(), -1, 2); VORNCheckMenuItemState(mine, 5, &state);
                  VORNCheckMenuItemState(mine, 0, nullptr); VORNEnableMenuItem(theirs, 0, 0);
                  for (VORNMenuID bad : {static_cast<VORNMenuID>(nullptr), static_cast<VORNMenuID>(&m.unknown)}) {
                      VORNCheckMenuItem(bad, 0, 2); VORNCheckMenuItemState(bad, 0, &state); VORNEnableMenuItem(bad, 0, 0); }
                  return S(state); }); },
          "42 | errors: 1:VORNCheckMenuItem" + kMenuRange + "; 1:VORNCheckMenuItemState" + kMenuRange +
              "; 1:VORNCheckMenuItemState" + kMenuRange),
        R("VORNRemoveMenuItem", "bad index; null menu",
          AS_A_VOID(VORNRemoveMenuItem(VORNFindPluginsMenu(), 1 << 30); VORNRemoveMenuItem(nullptr, 0)),
          "done | errors: 1:VORNRemoveMenuItem" + kMenuRange),

        // ---- Commands and utilities ----------------------------------------------------
        R("VORNFindCommand VORNCreateCommand VORNCommandBegin VORNCommandOnce VORNCommandEnd",
          "null names and description; null command; never begun", M {
              VORNCommandRef command = m.Command(); m.Mark(); return m.As(m.a, [&] {
                  const std::string found = Cat({S(VORNFindCommand(nullptr)), S(VORNCreateCommand(nullptr, nullptr))});
                  VORNCommandBegin(nullptr); VORNCommandOnce(nullptr); VORNCommandEnd(nullptr); VORNCommandEnd(command);
                  return found; }); },
          "nullnull | host: CommandEnd(*)"),
        R("VORNRegisterCommandHandler VORNUnregisterCommandHandler", "null command and null callback register nothing; "
          "a null command; another plug-in's handler stays", M {
              VORNCommandRef command = m.Command(); m.As(m.a, [&] { VORNRegisterCommandHandler(nullptr, NoCommand, 1, nullptr);
                  VORNRegisterCommandHandler(command, nullptr, 1, nullptr); });
              const std::string hook = S(VORNCommandHook(command, 1, 0, 1));
              m.As(m.b, [&] { VORNRegisterCommandHandler(command, NoCommand, 1, nullptr); }); m.As(m.a, [&] {
                  VORNUnregisterCommandHandler(nullptr, NoCommand, 1, nullptr);
                  VORNUnregisterCommandHandler(command, NoCommand, 1, nullptr); });
              auto out = Sized<VORNPluginInventory>(); VORNGetPluginInventory(m.b, &out); return hook + S(out.commandHandlers); },
          "11 | host: FindCommand(\"matrix/command\", \"Matrix\", 1)"),
        R("VORNCommandButtonPress VORNCommandButtonRelease", "negative button; never pressed: both go to the host",
          AS_A_VOID(VORNCommandButtonPress(-1); VORNCommandButtonRelease(1 << 30)), "done | host: CommandButton(*); CommandButton(*)"),
        R("VORNGetVirtualKeyDescription", "negative and unknown codes",
          CALL(std::string(VORNGetVirtualKeyDescription(-1)) + VORNGetVirtualKeyDescription(0) +
               VORNGetVirtualKeyDescription(108) + VORNGetVirtualKeyDescription(static_cast<char>(255))),
          "\"UnknownUnknownUnknownUnknown\""),
        R("VORNGetSystemPath VORNGetPrefsPath VORNGetVersions", "null buffers: only the versions go to the host",
          AS_A_VOID(VORNGetSystemPath(nullptr); VORNGetPrefsPath(nullptr); VORNGetVersions(nullptr, nullptr, nullptr)),
          "done | host: GetVersions(*)"),
        R("VORNGetDirectorySeparator VORNExtractFileAndPath", "always a constant; null and empty paths", M { char empty[1] = "";
              return Cat({S(VORNGetDirectorySeparator()), S(VORNExtractFileAndPath(nullptr)), S(VORNExtractFileAndPath(empty))}); },
          "\"/\"null\"\""),
        R("VORNGetDirectoryContents", "null everything; missing folder; negative and huge offsets, negative sizes and counts", M {
              char names[8] = "xxxxxxx"; char* indices[2] = {names, names}; int total = -1, returned = -1;
              return Cat({S(VORNGetDirectoryContents(nullptr, 0, nullptr, 0, nullptr, 0, nullptr, nullptr)),
                          S(VORNGetDirectoryContents("/no/such/folder", 0, nullptr, 100, nullptr, 0, &total, &returned)),
                          " ", S(total), S(returned), " ", S(VORNGetDirectoryContents("/", -5, names, 8, indices, 1, &total, &returned)),
                          S(VORNGetDirectoryContents("/", 1 << 30, names, -8, nullptr, 0, &total, &returned)),
                          S(VORNGetDirectoryContents("/", 0, names, 8, indices, -1, &total, &returned)),
                          " ", S(returned), " ", S(names[7])}); }, "00 00 100 0 0"),
        R("VORNDebugString VORNFindSymbol", "null text and name go to the host",
          M { VORNDebugString(nullptr); return S(VORNFindSymbol(nullptr)); }, "null | host: FindSymbol(null) | log: (null)"),
        R("VORNLoadDataFile VORNSaveDataFile", "bad kinds; a null path goes to the host to load, is reported first to save",
          AS_A(Cat({S(VORNLoadDataFile(0, "x") + VORNLoadDataFile(-1, nullptr) + VORNLoadDataFile(1, nullptr)),
                    S(VORNSaveDataFile(3, nullptr)), S(VORNSaveDataFile(-1, "x"))})),
          "\"100\" | errors: " + kIllegalFile + "; " + kIllegalFile + "; 1:Null file path passed to VORNSaveDataFile.; "
          "1:Illegal file type passed to VORNSaveDataFile. | host: LoadDataFile(1, null)"),

        // ---- Terrain probes and scenery objects ------------------------------------------
        F("VORNCreateProbe VORNDestroyProbe VORNProbeTerrainXYZ", "unusable types are kept; destroy null, unknown, mid-record, "
          "twice, another plug-in's; probe with a null probe or result, a wrong structSize or type", M {
              VORNProbeRef theirs = m.Probe(m.b); m.As(m.a, [&] { VORNDestroyProbe(nullptr);
                  VORNDestroyProbe(&m.unknown); VORNDestroyProbe(static_cast<char*>(theirs) + 1);
                  VORNDestroyProbe(theirs); VORNDestroyProbe(theirs); });
              VORNProbeRef probe = m.Probe(m.a), one = m.Made<VORNProbeRef>(m.a, [] { return VORNCreateProbe(1); });
              VORNProbeRef unusable = m.Made<VORNProbeRef>(m.a, [] { return VORNCreateProbe(-1); });
              auto result = Sized<VORNProbeResult_t>(), wrong = Sized<VORNProbeResult_t>(40);
              return Cat({S(probe), S(one), S(unusable), " ", S(VORNProbeTerrainXYZ(nullptr, 0, 0, 0, &result)),
                          S(VORNProbeTerrainXYZ(probe, 0, 0, 0, nullptr)), S(VORNProbeTerrainXYZ(probe, 0, 0, 0, &wrong)),
                          S(VORNProbeTerrainXYZ(one, 0, 0, 0, &result)), S(VORNProbeTerrainXYZ(unusable, 0, 0, 0, &result))}); },
          "handlehandlehandle 11111 | host: CreateProbe(); CreateProbe(); CreateProbe()"),
        R("VORNLoadObjectAsync", "null path and null callback, both answered", M {
              m.As(m.a, [] { VORNLoadObjectAsync(nullptr, NoObject, nullptr); VORNLoadObjectAsync("x.obj", nullptr, nullptr); });
              static int house = 0;
              for (const FakeHost::AsyncLoad& load : m.host.asyncLoads)
                  load.callback(&house, load.refcon);
              auto out = Sized<VORNPluginInventory>(); VORNGetPluginInventory(m.a, &out); return S(out.objects); },
          "2 | host: LoadObjectAsync(null, *); LoadObjectAsync(\"x.obj\", *)"),
        R("VORNDrawObjects VORNUnloadObject", "null, unknown and another plug-in's objects; null placements, negative count", M {
              static int house = 0; m.host.loadedObject = &house; m.As(m.b, [] { VORNLoadObject("house.obj"); }); m.Mark();
              return m.As(m.a, [&] { VORNDrawObjects(nullptr, -1, nullptr, 0, 0); VORNDrawObjects(&house, 1, nullptr, 0, 0);
                  VORNUnloadObject(nullptr); VORNUnloadObject(&house); }); },
          "done | errors: " + kIllegalObject + "; " + kIllegalObject + "; " + kUnknownObject + "; " + kUnknownObject),
        R("VORNLoadObject VORNLookupObjects", "null path: nothing found; null path and enumerator", AS_A(Cat({S(VORNLoadObject(nullptr)),
              S(VORNLookupObjects(nullptr, 0, 0, nullptr, nullptr) + VORNLookupObjects(nullptr, 0, 0, NoObjectFound, nullptr))})),
          "\"null0\" | host: LoadObject(null); LookupObjects(*); LookupObjects(*)"),

        // ---- Multiplayer aircraft -------------------------------------------------------
        R("VORNAcquirePlanes VORNReleasePlanes VORNSetAircraftModel", "another plug-in owns them: not acquired (null callback), "
          "released nor set; negative index, null path", M {
              m.As(m.b, [] { VORNAcquirePlanes(nullptr, [](void*) {}, nullptr); }); m.Mark();
              const std::string acquired = m.As(m.a, [] { return S(VORNAcquirePlanes(nullptr, nullptr, nullptr)); });
              m.As(m.a, [] { VORNReleasePlanes(); VORNSetAircraftModel(1, "x.acf"); }); int owner = 0;
              m.As(m.b, [] { VORNSetAircraftModel(-1, "x.acf"); VORNSetAircraftModel(1, nullptr); });
              VORNCountAircraft(nullptr, nullptr, &owner); return acquired + S(owner); }, "02 | host: CountAircraft(*)"),
        R("VORNSetActiveAircraftCount VORNDrawAircraft VORNReinitUsersPlane VORNDisableAIForPlane VORNGetNthAircraftModel VORNSetUsersAircraft",
          "not the owner; negative and huge indexes; null buffers and path", AS_A_VOID(VORNSetActiveAircraftCount(-1);
              VORNDrawAircraft(-1, 0, 0, 0, 0, 0, 0, 1, nullptr); VORNReinitUsersPlane(); VORNDisableAIForPlane(-1);
              VORNDisableAIForPlane(1 << 30); VORNGetNthAircraftModel(-1, nullptr, nullptr); VORNSetUsersAircraft(nullptr)), "done"),
        R("VORNCountAircraft VORNPlaceUserAtAirport", "null pointers and code go to the host",
          AS_A_VOID(VORNCountAircraft(nullptr, nullptr, nullptr); VORNPlaceUserAtAirport(nullptr)),
          "done | host: CountAircraft(null, null, null); PlaceUserAtAirport(null)"),

        // ---- Camera ---------------------------------------------------------------------
        R("VORNControlCamera VORNDontControlCamera VORNReadCameraPosition", "nobody controls it, a null out; a null callback: "
          "the next frame gives control up", M {
              m.As(m.a, [] { VORNDontControlCamera(); VORNReadCameraPosition(nullptr); VORNControlCamera(0, nullptr, nullptr); });
              float p[7] = {}; const int result = VORNCameraHook(&p[0], &p[1], &p[2], &p[3], &p[4], &p[5], &p[6]);
              return S(result) + S(VORNIsCameraBeingControlled(nullptr)); }, "10"),
    };
    return rows;
}

bool Matches(const std::string& expected, const std::string& actual)
{
    const std::string escaped = std::regex_replace(expected, std::regex(R"([.^$|()\[\]{}+?\\])"), R"(\$&)");
    return std::regex_match(actual, std::regex(std::regex_replace(escaped, std::regex(R"(\*)"), R"([\s\S]*)")));
}

class BadInputMatrixTest : public HostTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(BadInputMatrixTest, Row)
{
    const Row& row = Rows()[GetParam()];
    SCOPED_TRACE(std::string(row.function) + ": " + row.what);
    if (row.phase != Phase::kRunning && !InFreshProcess()) {
        RerunInFreshProcess();
        return;
    }
    Matrix m{*host, {}};
    gErrors = &m.errors;
    if (row.phase != Phase::kBeforeInit) {
        InstallPlugin("agent", "a.vpl");
        InstallPlugin("agent", "b.vpl");
        host->systemPath = SystemPath();
        Start();
        ASSERT_EQ(VORNCountPlugins(), 3);
        for (int id : {m.a, m.b})
            m.As(id, [] { VORNSetErrorCallback(CollectError); });
    }
    m.Mark();
    std::string out = row.call(m);
    if (!m.errors.empty())
        out += " | errors: " + Joined(m.errors);
    std::vector<std::string> calls;
    for (const HostCall& call : host->calls) {
        if (call.name != "DebugString")
            calls.push_back(call.Text());
    }
    if (!calls.empty())
        out += " | host: " + Joined(calls);
    if (!host->debugWrites.empty())
        out += " | log: " + host->Log();
    EXPECT_TRUE(Matches(row.expected, out)) << "expected: " << row.expected << "\n  observed: " << out;
    EXPECT_EQ(VORNGetMyID(), 0);
    gErrors = nullptr;
}

std::string RowName(const ::testing::TestParamInfo<size_t>& info)
{
    const Row& row = Rows()[info.param];
    std::string name = std::string(row.function).substr(0, std::string(row.function).find(' ')) + "_" + row.what;
    return std::regex_replace(name, std::regex("[^A-Za-z0-9]+"), "_") + "_" + std::to_string(info.param);
}

INSTANTIATE_TEST_SUITE_P(Matrix, BadInputMatrixTest, ::testing::Range<size_t>(0, Rows().size()), RowName);

TEST(BadInputMatrixCoverage, EveryExportedFunctionHasARowOrAForwarderRow)
{
    std::set<std::string> covered;
    for (const Row& row : Rows()) {
        std::istringstream names(row.function);
        for (std::string name; names >> name;)
            covered.insert(name);
    }
    for (const std::string& name : ForwardedFunctions())
        covered.insert(name);
    std::vector<std::string> missing;
    size_t exported = 0;
    for (const auto& entry : std::filesystem::directory_iterator(VORN_EXPORTS_DIR)) {
        if (entry.path().extension() != ".txt")
            continue;
        std::ifstream list(entry.path());
        std::string name;
        while (std::getline(list, name)) {
            if (name.empty() || name[0] == '#')
                continue;
            ++exported;
            if (covered.count(name) == 0)
                missing.push_back(name);
        }
    }
    EXPECT_GT(exported, 100u);
    EXPECT_TRUE(missing.empty()) << "no row for: " << Joined(missing);
}

}  // namespace
