// The bad-input matrix: every exported function called with null pointers,
// unknown and stale handles, another plug-in's handles, negative and huge
// counts and offsets, and (where that is defined) before the host has
// started the library. One table; each row is a test of its own. The calls
// that care who is calling run inside real plug-ins (copies of the agent
// test plug-in: a is id 1, b is id 2, both with an error callback).
//
// A row's observation is one text: the result, then "| errors: " and the
// error-callback texts ("id:text"), "| host: " and the host slots called
// (DebugString aside), "| log: " and the log; empty parts are left out.

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

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

using namespace vorntest;

namespace {

// ---- Results as text ------------------------------------------------------------

std::string S(int value)
{
    return std::to_string(value);
}

std::string S(const std::string& text)
{
    return "\"" + text + "\"";
}

std::string S(float value)
{
    std::ostringstream out;
    out << value;
    return out.str();
}

std::string S(double value)
{
    return S(static_cast<float>(value));
}

std::string S(const char* text)
{
    return text != nullptr ? "\"" + std::string(text) + "\"" : "null";
}

std::string S(char* text)
{
    return S(static_cast<const char*>(text));
}

std::string S(const void* pointer)
{
    return pointer != nullptr ? "handle" : "null";
}

std::string S(void* pointer)
{
    return S(static_cast<const void*>(pointer));
}

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

// ---- Callbacks the rows hand over --------------------------------------------------

std::vector<std::string>* gErrors = nullptr;

void CollectError(const char* message)
{
    gErrors->push_back(std::to_string(VORNGetMyID()) + ":" + message);
}

float NoLoop(float, float, int, void*)
{
    return 0.0f;
}

int NoDraw(int, int, void*)
{
    return 1;
}

int NoSniff(char, int, char, void*)
{
    return 1;
}

int NoCommand(VORNCommandRef, int, void*)
{
    return 1;
}

void NoChange(void*) {}

int ReadSeven(void*)
{
    return 7;
}

int ReadArray(void*, int* values, int offset, int max)
{
    if (values == nullptr)
        return 4;
    int copied = 0;
    for (int i = offset; i < 4 && copied < max; ++i)
        values[copied++] = i;
    return copied;
}

void WriteArray(void*, int*, int, int) {}

void NoFeature(const char*, void*) {}

int NoCamera(VORNCameraPositionRecord*, int, void*)
{
    return 1;
}

void NoPlanes(void*) {}

void NoObject(VORNObjectRef, void*) {}

void NoObjectFound(const char*, void*) {}

void NoObserver(VORNPluginID, const VORNPluginInventory*) {}

int gObservedCalls = 0;

void CountCall(const VORNCallTiming*, void*)
{
    ++gObservedCalls;
}

void RunFunction(void* context)
{
    (*static_cast<std::function<void()>*>(context))();
}

// ---- The fixture a row works with ------------------------------------------------

class Matrix;
using Call = std::function<std::string(Matrix&)>;

enum class Phase {
    kRunning,     // the library started with the two agents
    kFresh,       // the same, in a process of its own (the row leaves probe
                  // indices behind, which the library keeps per process)
    kBeforeInit,  // in a process of its own that never started the library
};

struct Row {
    const char* function;
    const char* what;
    Phase phase;
    Call call;
    std::string expected;
};

class Matrix {
public:
    explicit Matrix(FakeHost& h) : host(h) {}

    // Runs body as plug-in id and returns what it returned.
    template <typename F>
    std::string As(int id, F body)
    {
        std::string out;
        std::function<void()> run = [&] { out = body(); };
        AgentRun request = {RunFunction, &run};
        VORNSendMessageToPlugin(id, AGENT_RUN_MESSAGE, &request);
        return out;
    }

    // Forgets what the row's preparations did, so that only the call under
    // test is observed.
    void Mark()
    {
        host.ClearRecord();
        errors.clear();
    }

    VORNFlightLoopID Loop(int id)
    {
        VORNFlightLoopID loop = nullptr;
        As(id, [&] {
            VORNCreateFlightLoop_t params = {sizeof params, 0, NoLoop, nullptr};
            loop = VORNCreateFlightLoop(&params);
            return kDone;
        });
        return loop;
    }

    VORNMenuID Menu(int id)
    {
        VORNMenuID menu = nullptr;
        As(id, [&] {
            menu = VORNCreateMenu("Menu", nullptr, 0, nullptr, nullptr);
            VORNAppendMenuItem(menu, "Item", nullptr, 0);
            return kDone;
        });
        return menu;
    }

    VORNDataRef Ref(int id, const char* name = "matrix/int")
    {
        VORNDataRef ref = nullptr;
        As(id, [&] {
            ref = VORNRegisterDataAccessor(name, VORN_DATA_INT | VORN_DATA_INT_ARRAY, 1,
                                           ReadSeven, nullptr, nullptr, nullptr, nullptr,
                                           nullptr, ReadArray, WriteArray, nullptr, nullptr,
                                           nullptr, nullptr, nullptr, nullptr);
            return kDone;
        });
        return ref;
    }

    // A visible window over (0, 0)-(100, 100) owned by id, without callbacks.
    VORNWindowID Window(int id)
    {
        VORNWindowID window = nullptr;
        As(id, [&] {
            return S(window = VORNCreateWindow(0, 100, 100, 0, 1, nullptr, nullptr, nullptr,
                                               nullptr));
        });
        return window;
    }

    VORNProbeRef Probe(int id)
    {
        VORNProbeRef probe = nullptr;
        As(id, [&] { return S(probe = VORNCreateProbe(VORN_PROBE_Y)); });
        return probe;
    }

    VORNCommandRef Command() { return VORNCreateCommand("matrix/command", "Matrix"); }

    FakeHost& host;
    std::vector<std::string> errors;
    const int a = 1, b = 2;
};

// A row with the library running.
Row R(const char* function, const char* what, Call call, std::string expected)
{
    return {function, what, Phase::kRunning, std::move(call), std::move(expected)};
}

// A row before VORNInitializePlugins.
Row B(const char* function, const char* what, Call call, std::string expected)
{
    return {function, what, Phase::kBeforeInit, std::move(call), std::move(expected)};
}

// A row with the library running, in a process of its own.
Row F(const char* function, const char* what, Call call, std::string expected)
{
    return {function, what, Phase::kFresh, std::move(call), std::move(expected)};
}

#define CALL(expr) [](Matrix & m) { (void)m; return S(expr); }
#define VOID(expr) [](Matrix & m) { (void)m; expr; return kDone; }
#define AS_A(expr) [](Matrix & m) { return m.As(m.a, [&] { return S(expr); }); }
#define AS_A_VOID(expr) [](Matrix & m) { return m.As(m.a, [&] { expr; return kDone; }); }

const char kForeignLoop[] = "1:Attempt to remove a flight loop callback owned by another plugin.";
const char kScheduleForeign[] =
    "1:Attempt to schedule a flight loop callback owned by another plugin.";

const std::vector<Row>& Rows()
{
    static const std::vector<Row> rows = {
        // ---- Before the host starts the library ----------------------------------
        B("VORNInitialized", "before start", CALL(VORNInitialized()), "0"),
        B("VORNGetMyID", "before start", CALL(VORNGetMyID()), "0"),
        B("VORNDebugString", "before start: nothing to write to", VOID(VORNDebugString("x")),
          "done"),
        B("VORNCountPlugins", "before start", CALL(VORNCountPlugins()), "0"),
        B("VORNIsPluginEnabled", "before start: no record, not even the host's",
          CALL(VORNIsPluginEnabled(0)), "0"),
        B("VORNFindPluginBySignature", "before start", CALL(VORNFindPluginBySignature("x")), "-1"),
        B("VORNDebugGetCurrentPluginName", "before start: the host is dispatched",
          CALL(VORNDebugGetCurrentPluginName()), "\"[VORN_PLUGIN_TARAVEL]\""),
        B("VORNSetErrorCallback", "before start: no record to keep it",
          VOID(VORNSetErrorCallback(CollectError)), "done"),
        B("VORNFindDataRef", "before start, unknown name", CALL(VORNFindDataRef("a/b")), "null"),
        B("VORNRegisterDataAccessor", "the host publishes before start",
          [](Matrix& m) {
              VORNDataRef ref = m.Ref(0, "sim/version/vorn_build_string");
              return S(VORNIsDataRefGood(ref)) + " " + S(VORNGetDatai(ref));
          },
          "0 0"),
        B("VORNInitializePlugins", "a root without a plug-ins folder",
          [](Matrix& m) {
              const int version = VORNInitializePlugins("/nonexistent/", &m.host.table, nullptr);
              VORNShutdownPlugins();
              return S(version);
          },
          "19 | host: CreateMenu(0, 0, \"Plugins\") | log: Fetching plugins for "
          "/nonexistent/Resources/plugins*"),

        // ---- Host entry points ---------------------------------------------------------
        R("VORNShutdownPlugins", "a second shutdown", VOID(VORNShutdownPlugins(); VORNShutdownPlugins()),
          "done"),
        R("VORNEventHook", "negative, 14 and huge event codes",
          CALL(VORNEventHook(-1, nullptr, 0) + VORNEventHook(14, nullptr, 0) +
               VORNEventHook(1 << 30, nullptr, 0)),
          "3"),
        R("VORNEventHook", "event 12 with a null folder", CALL(VORNEventHook(12, nullptr, 0)), "1"),
        R("VORNCameraHook", "null pointers while nobody controls the camera",
          CALL(VORNCameraHook(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr)), "1"),
        R("VORNCameraHook", "a null pointer while a plug-in controls the camera",
          [](Matrix& m) {
              static int calls = 0;
              calls = 0;
              m.As(m.a, [] {
                  VORNControlCamera(1, [](VORNCameraPositionRecord*, int, void*) { return ++calls; },
                                    nullptr);
                  return kDone;
              });
              float p[7] = {};
              return Cat({S(VORNCameraHook(&p[0], &p[1], &p[2], nullptr, &p[4], &p[5], &p[6])),
                          S(calls), S(VORNIsCameraBeingControlled(nullptr))});
          },
          "101"),
        R("VORNUpdatePlaneNameAndPath", "negative and huge index, null buffers",
          VOID(VORNUpdatePlaneNameAndPath(-1, nullptr, nullptr);
               VORNUpdatePlaneNameAndPath(1 << 30, nullptr, nullptr)),
          "done"),
        R("VORNUpdatePlaneNameAndPath", "a chosen model and a null path buffer",
          [](Matrix& m) {
              m.As(m.b, [] {
                  char user[] = "user.acf", one[] = "/m/one.acf";
                  char* paths[] = {user, one, nullptr};
                  return S(VORNAcquirePlanes(paths, nullptr, nullptr));
              });
              char path[256] = "host's";
              VORNUpdatePlaneNameAndPath(1, nullptr, nullptr);
              VORNUpdatePlaneNameAndPath(0, nullptr, path);
              const std::string kept = path;
              VORNUpdatePlaneNameAndPath(1, nullptr, path);
              return kept + " " + path;
          },
          "host's /m/one.acf*"),
        R("VORNGetNumberPlanesToHandle", "a negative count",
          CALL(VORNGetNumberPlanesToHandle(-5, 0)), "-5"),
        R("VORNGetPluginInventory", "null out, unknown ids, wrong structSize",
          [](Matrix&) {
              VORNPluginInventory out{};
              out.structSize = sizeof out;
              VORNPluginInventory small{};
              small.structSize = 4;
              return S(VORNGetPluginInventory(1, nullptr)) + S(VORNGetPluginInventory(-1, &out)) +
                     S(VORNGetPluginInventory(99, &out)) + S(VORNGetPluginInventory(1, &small)) +
                     S(small.dataRefs);
          },
          "00000"),
        R("VORNSetUnloadObserver", "null turns it off", VOID(VORNSetUnloadObserver(NoObserver);
                                                           VORNSetUnloadObserver(nullptr)),
          "done"),
        R("VORNSetTimeAccounting", "any non-zero value is on, off twice",
          [](Matrix& m) {
              VORNSetTimeAccounting(-7);
              m.As(m.a, [] { return kDone; });
              VORNSetTimeAccounting(0);
              VORNSetTimeAccounting(0);
              VORNCallTimes out{};
              out.structSize = sizeof out;
              return Cat({S(VORNGetPluginCallTimes(m.a, 0, &out)), " ", S(out.label)});
          },
          "1 \"message\""),
        R("VORNResetTimeAccounting", "while off, twice", VOID(VORNResetTimeAccounting();
                                                            VORNResetTimeAccounting()),
          "done"),
        R("VORNSetFrameBudget", "negative, NaN, infinite and huge budgets mean none",
          [](Matrix& m) {
              VORNSetTimeAccounting(1);
              std::string out;
              for (float budget : {-1.0f, std::nanf(""), HUGE_VALF, 1e30f}) {
                  VORNSetFrameBudget(budget);
                  m.As(m.a, [] { return kDone; });
                  VORNCallTimes times{};
                  times.structSize = sizeof times;
                  VORNGetPluginCallTimes(m.a, 0, &times);
                  out += S(static_cast<int>(times.overBudget));
              }
              return out;
          },
          "0000"),
        R("VORNGetPluginCallTimes", "null out, unknown ids, wrong structSize, bad indexes",
          [](Matrix& m) {
              VORNSetTimeAccounting(1);
              m.As(m.a, [] { return kDone; });  // one kind: a message
              VORNCallTimes out{};
              out.structSize = sizeof out;
              VORNCallTimes small{};
              small.structSize = 4;
              return Cat({S(VORNGetPluginCallTimes(m.a, 0, nullptr)),
                          S(VORNGetPluginCallTimes(-1, 0, &out)),
                          S(VORNGetPluginCallTimes(99, 0, &out)),
                          S(VORNGetPluginCallTimes(m.a, 0, &small)),
                          S(VORNGetPluginCallTimes(m.a, -1, &out)),
                          S(VORNGetPluginCallTimes(m.a, 1, &out)),
                          S(VORNGetPluginCallTimes(m.b, 0, &out)), S(static_cast<int>(out.calls)),
                          S(small.kind)});
          },
          "000000000"),
        R("VORNGetPluginFrameTimes", "null out, unknown ids, wrong structSize",
          [](Matrix& m) {
              VORNFrameTimes out{};
              out.structSize = sizeof out;
              VORNFrameTimes small{};
              small.structSize = 4;
              return Cat({S(VORNGetPluginFrameTimes(m.a, nullptr)),
                          S(VORNGetPluginFrameTimes(-1, &out)), S(VORNGetPluginFrameTimes(99, &out)),
                          S(VORNGetPluginFrameTimes(m.a, &small)), S(static_cast<int>(small.frames))});
          },
          "00000"),
        R("VORNSetCallObserver", "null turns it off",
          [](Matrix& m) {
              VORNSetTimeAccounting(1);
              VORNSetCallObserver(CountCall, nullptr);
              VORNSetCallObserver(nullptr, &m);
              m.As(m.a, [] { return kDone; });
              return S(gObservedCalls);
          },
          "0"),
        R("VORNSetCheckedMode", "any non-zero value is on: the main thread is still served",
          [](Matrix& m) {
              VORNSetCheckedMode(-3);
              const std::string id = m.As(m.a, [] { return S(VORNGetMyID()); });
              VORNSetCheckedMode(0);
              VORNSetCheckedMode(0);
              return id;
          },
          "1"),
        R("VORNMenuHook", "unknown and negative host items",
          CALL(VORNMenuHook(-1) + VORNMenuHook(1 << 30)), "2"),
        R("VORNCheckMenuHook", "unknown menu, bad positions, null out",
          [](Matrix&) {
              int check = 42;
              return Cat({S(VORNCheckMenuHook(-1, 0, &check)),
                          S(VORNCheckMenuHook(1000, -1, &check)),
                          S(VORNCheckMenuHook(1000, 1 << 30, nullptr)), " ", S(check)});
          },
          "111 42"),
        R("VORNMenuItemEnabled", "unknown menu and bad positions",
          CALL(VORNMenuItemEnabled(-1, 0) + VORNMenuItemEnabled(1000, -1) +
               VORNMenuItemEnabled(1000, 1 << 30)),
          "3"),
        R("VORNCommandHook", "null and unknown commands",
          [](Matrix&) {
              int unknown = 0;
              return S(VORNCommandHook(nullptr, 1, 0, 1)) + S(VORNCommandHook(&unknown, 0, 1, 0));
          },
          "11"),

        // ---- Registry, errors, lifecycle, messages, features ---------------------------------
        R("VORNGetMyID", "from the host", CALL(VORNGetMyID()), "0"),
        R("VORNCountPlugins", "host and two plug-ins", CALL(VORNCountPlugins()), "3"),
        R("VORNGetNthPlugin", "unchecked: the index comes back",
          CALL(VORNGetNthPlugin(-7) + VORNGetNthPlugin(99)), "92"),
        R("VORNIsPluginEnabled", "negative and too high ids",
          CALL(VORNIsPluginEnabled(-1) + VORNIsPluginEnabled(3) + VORNIsPluginEnabled(1 << 30)),
          "0"),
        R("VORNFindPluginBySignature", "null and unknown",
          CALL(VORNFindPluginBySignature(nullptr) + VORNFindPluginBySignature("")), "-2"),
        R("VORNFindPluginByPath", "null and unknown",
          CALL(VORNFindPluginByPath(nullptr) + VORNFindPluginByPath("/no/such.vpl")), "-2"),
        R("VORNGetPluginInfo", "all buffers null", VOID(VORNGetPluginInfo(1, nullptr, nullptr,
                                                                          nullptr, nullptr)),
          "done"),
        R("VORNSetErrorCallback", "from the host: the host's own record takes it",
          [](Matrix&) {
              VORNSetErrorCallback(CollectError);
              return S(VORNSaveDataFile(1, nullptr));
          },
          "0 | errors: 0:Null file path passed to VORNSaveDataFile."),
        R("VORNSetErrorCallback", "null removes the caller's",
          [](Matrix& m) {
              return m.As(m.b, [] {
                  VORNSetErrorCallback(nullptr);
                  return S(VORNSaveDataFile(1, nullptr));
              });
          },
          "0"),
        R("VORNDebugGetCurrentPluginName", "from the host and from a plug-in",
          [](Matrix& m) {
              return S(VORNDebugGetCurrentPluginName()) +
                     m.As(m.a, [] { return S(VORNDebugGetCurrentPluginName()); });
          },
          "\"[VORN_PLUGIN_TARAVEL]\"\"Agent\""),
        R("VORNEnablePlugin", "the host, negative and unknown ids",
          CALL(VORNEnablePlugin(0) + VORNEnablePlugin(-1) + VORNEnablePlugin(99)), "0"),
        R("VORNEnablePlugin", "another plug-in, already enabled", AS_A(VORNEnablePlugin(2)), "1"),
        R("VORNDisablePlugin", "the host, negative and unknown ids",
          [](Matrix&) {
              VORNDisablePlugin(0);
              VORNDisablePlugin(-1);
              VORNDisablePlugin(1 << 30);
              return S(VORNIsPluginEnabled(0) + VORNIsPluginEnabled(1) + VORNIsPluginEnabled(2));
          },
          "3"),
        R("VORNDisablePlugin", "twice", [](Matrix&) {
              VORNDisablePlugin(2);
              VORNDisablePlugin(2);
              return S(VORNIsPluginEnabled(2));
          },
          "0"),
        R("VORNReloadPlugins", "asked for twice: one reload after the next pass",
          [](Matrix& m) {
              m.As(m.a, [] { VORNReloadPlugins(); VORNReloadPlugins(); return kDone; });
              const int before = m.host.CountCalls("ShowAlert");
              VORNEventHook(0, nullptr, 1.0f);
              const int once = m.host.CountCalls("ShowAlert");
              VORNEventHook(0, nullptr, 2.0f);
              return Cat({S(before), S(once), S(static_cast<int>(m.host.CountCalls("ShowAlert"))),
                          S(VORNCountPlugins())});
          },
          "0113 | host: * | log: *"),
        R("VORNSendMessageToPlugin", "unknown, negative and disabled targets",
          [](Matrix&) {
              VORNDisablePlugin(2);
              VORNSendMessageToPlugin(99, AGENT_RUN_MESSAGE, nullptr);
              VORNSendMessageToPlugin(-5, AGENT_RUN_MESSAGE, nullptr);
              VORNSendMessageToPlugin(2, AGENT_RUN_MESSAGE, nullptr);
              VORNSendMessageToPlugin(-1, AGENT_RUN_MESSAGE, nullptr);
              return kDone;
          },
          "done | host: HostReceiveMessage(0, 31232, null)"),
        R("VORNHasFeature", "null and unknown", CALL(VORNHasFeature(nullptr) + VORNHasFeature("X")),
          "0"),
        R("VORNIsFeatureEnabled", "null and unknown names",
          AS_A(VORNIsFeatureEnabled(nullptr) + VORNIsFeatureEnabled("X")),
          "0 | errors: 1:Illegal feature name passed to VORNEnableFeature; "
          "1:Illegal feature name passed to VORNEnableFeature"),
        R("VORNEnableFeature", "null name", AS_A_VOID(VORNEnableFeature(nullptr, 1)),
          "done | errors: 1:Illegal feature name passed to VORNEnableFeature"),
        R("VORNEnumerateFeatures", "null enumerator", AS_A_VOID(VORNEnumerateFeatures(nullptr,
                                                                                         nullptr)),
          "done"),
        R("VORNEnumerateFeatures", "from the host", VOID(VORNEnumerateFeatures(NoFeature, nullptr)),
          "done"),

        // ---- Flight loops ----------------------------------------------------------------------
        R("VORNGetElapsedTime", "from a plug-in", AS_A(VORNGetElapsedTime()),
          "0 | host: GetElapsedTime()"),
        R("VORNGetCycleNumber", "reading has no effect",
          CALL(VORNGetCycleNumber() == VORNGetCycleNumber()), "1"),
        R("VORNCreateFlightLoop", "null params", AS_A(VORNCreateFlightLoop(nullptr)), "null"),
        R("VORNCreateFlightLoop", "bad size, phase and callback: reported, created",
          [](Matrix& m) {
              return m.As(m.a, [] {
                  VORNCreateFlightLoop_t params = {-1, 7, nullptr, nullptr};
                  VORNFlightLoopID loop = VORNCreateFlightLoop(&params);
                  const std::string made = S(loop);
                  VORNDestroyFlightLoop(loop);
                  return made;
              });
          },
          "handle | errors: 1:Illegal struct size for VORNCreateFlightLoop; "
          "1:Illegal phase type for VORNCreateFlightLoop; 1:Null callback for VORNCreateFlightLoop"
          " | host: GetElapsedTime()"),
        R("VORNDestroyFlightLoop", "null handle", AS_A_VOID(VORNDestroyFlightLoop(nullptr)), "done"),
        R("VORNDestroyFlightLoop", "another plug-in's loop",
          [](Matrix& m) {
              VORNFlightLoopID loop = m.Loop(m.b);
              m.Mark();
              return m.As(m.a, [&] { VORNDestroyFlightLoop(loop); return kDone; });
          },
          std::string("done | errors: ") + kForeignLoop),
        R("VORNScheduleFlightLoop", "null handle", AS_A_VOID(VORNScheduleFlightLoop(nullptr, 1, 1)),
          "done"),
        R("VORNScheduleFlightLoop", "another plug-in's loop",
          [](Matrix& m) {
              VORNFlightLoopID loop = m.Loop(m.b);
              m.Mark();
              return m.As(m.a, [&] { VORNScheduleFlightLoop(loop, -1.0f, 1); return kDone; });
          },
          std::string("done | errors: ") + kScheduleForeign),
        R("VORNRegisterFlightLoopCallback", "null callback", AS_A_VOID(
              VORNRegisterFlightLoopCallback(nullptr, -1.0f, nullptr)),
          "done | errors: 1:Null callback for VORNCreateFlightLoop | host: GetElapsedTime()"),
        R("VORNUnregisterFlightLoopCallback", "never registered",
          AS_A_VOID(VORNUnregisterFlightLoopCallback(NoLoop, nullptr)), "done"),
        R("VORNSetFlightLoopCallbackInterval", "never registered",
          AS_A_VOID(VORNSetFlightLoopCallbackInterval(NoLoop, 1.0f, 1, nullptr)), "done"),

        // ---- Draw callbacks and key sniffers ---------------------------------------------
        R("VORNRegisterDrawCallback", "null callback and odd phases",
          AS_A(VORNRegisterDrawCallback(nullptr, -1, 1, nullptr) +
               VORNRegisterDrawCallback(NoDraw, 1 << 30, 0, nullptr)),
          "2"),
        R("VORNRegisterDrawCallback", "a duplicate of another plug-in's",
          [](Matrix& m) {
              m.As(m.b, [] { return S(VORNRegisterDrawCallback(NoDraw, 5, 1, nullptr)); });
              return m.As(m.a, [] { return S(VORNRegisterDrawCallback(NoDraw, 5, 1, nullptr)); });
          },
          "0"),
        R("VORNUnregisterDrawCallback", "never registered",
          AS_A(VORNUnregisterDrawCallback(NoDraw, 5, 1, nullptr)), "0"),
        R("VORNUnregisterDrawCallback", "twice",
          [](Matrix& m) {
              return m.As(m.a, [] {
                  VORNRegisterDrawCallback(NoDraw, 5, 1, nullptr);
                  return Cat({S(VORNUnregisterDrawCallback(NoDraw, 5, 1, nullptr)),
                              S(VORNUnregisterDrawCallback(NoDraw, 5, 1, nullptr))});
              });
          },
          "10"),
        R("VORNRegisterKeySniffer", "null callback", AS_A(VORNRegisterKeySniffer(nullptr, 1,
                                                                                 nullptr)),
          "1"),
        R("VORNUnregisterKeySniffer", "never registered",
          AS_A(VORNUnregisterKeySniffer(NoSniff, 0, nullptr)), "0"),

        // ---- Windows, hot keys and the display entry points ---------------------------
        R("VORNCreateWindow", "inverted geometry, no callbacks",
          [](Matrix& m) {
              return m.As(m.a, [] {
                  VORNWindowID w = VORNCreateWindow(100, 0, 0, 100, 1, nullptr, nullptr, nullptr,
                                                    nullptr);
                  int left = 0, top = 0;
                  VORNGetWindowGeometry(w, &left, &top, nullptr, nullptr);
                  return Cat({S(w), " ", S(left), S(top), S(VORNIsWindowInFront(w))});
              });
          },
          "handle 10001"),
        R("VORNCreateWindowEx", "null params and wrong structSize",
          [](Matrix& m) {
              return m.As(m.a, [] {
                  VORNCreateWindow_t params = {};
                  params.structSize = sizeof params - 8;
                  return Cat({S(VORNCreateWindowEx(nullptr)), S(VORNCreateWindowEx(&params))});
              });
          },
          "nullnull"),
        R("VORNDestroyWindow", "null, unknown, mid-record, destroyed twice, another plug-in's",
          [](Matrix& m) {
              VORNWindowID theirs = m.Window(m.b);
              int unknown = 0;
              return m.As(m.a, [&] {
                  VORNDestroyWindow(nullptr);
                  VORNDestroyWindow(&unknown);
                  VORNDestroyWindow(static_cast<char*>(theirs) + 1);
                  const std::string before = S(VORNGetWindowIsVisible(theirs));
                  VORNDestroyWindow(theirs);
                  VORNDestroyWindow(theirs);
                  return Cat({before, S(VORNGetWindowIsVisible(theirs)),
                              S(VORNIsWindowInFront(theirs))});
              });
          },
          "100"),
        R("VORNTakeKeyboardFocus", "unknown and destroyed ids give it to the host",
          [](Matrix& m) {
              VORNWindowID mine = m.Window(m.a);
              int unknown = 0;
              m.Mark();
              return m.As(m.a, [&] {
                  VORNTakeKeyboardFocus(mine);
                  VORNTakeKeyboardFocus(&unknown);
                  VORNDestroyWindow(mine);
                  VORNTakeKeyboardFocus(mine);
                  return S(VORNKeyPressHook('k', 0, 'K', 1));
              });
          },
          "1 | host: TakeKeyboardFocus(1); TakeKeyboardFocus(0)*"),
        R("VORNTakeKeyboardFocus", "a window of a disabled plug-in cannot take it",
          [](Matrix& m) {
              VORNWindowID theirs = m.Window(m.b);
              VORNDisablePlugin(m.b);
              m.Mark();
              m.As(m.a, [&] { VORNTakeKeyboardFocus(theirs); return kDone; });
              return S(VORNKeyPressHook('k', 0, 'K', 1));
          },
          "1*"),
        R("VORNGetWindowGeometry", "unknown id writes nothing; null outs",
          [](Matrix& m) {
              int unknown = 0;
              int left = 42, top = 42, right = 42, bottom = 42;
              VORNGetWindowGeometry(&unknown, &left, &top, &right, &bottom);
              VORNGetWindowGeometry(m.Window(m.a), nullptr, nullptr, nullptr, nullptr);
              return Cat({S(left), S(top), S(right), S(bottom)});
          },
          "42424242"),
        R("VORNSetWindowGeometry", "unknown id; stored unchecked",
          [](Matrix& m) {
              int unknown = 0;
              VORNWindowID w = m.Window(m.a);
              VORNSetWindowGeometry(&unknown, 1, 2, 3, 4);
              VORNSetWindowGeometry(w, 1 << 30, -(1 << 30), -5, 5);
              int left = 0, top = 0, right = 0, bottom = 0;
              VORNGetWindowGeometry(w, &left, &top, &right, &bottom);
              return Cat({S(left), " ", S(top), " ", S(right), " ", S(bottom), " ",
                          S(VORNMouseClickHook(0, 0, 1))});
          },
          "1073741824 -1073741824 -5 5 1"),
        R("VORNGetWindowIsVisible", "null and unknown", [](Matrix&) {
              int unknown = 0;
              return S(VORNGetWindowIsVisible(nullptr) + VORNGetWindowIsVisible(&unknown));
          },
          "0"),
        R("VORNSetWindowIsVisible", "unknown id; a value other than 1 is kept",
          [](Matrix& m) {
              int unknown = 0;
              VORNWindowID w = m.Window(m.a);
              VORNSetWindowIsVisible(&unknown, 0);
              VORNSetWindowIsVisible(w, -3);
              return S(VORNGetWindowIsVisible(w));
          },
          "-3"),
        R("VORNGetWindowRefCon", "null and unknown", [](Matrix&) {
              int unknown = 0;
              return Cat({S(VORNGetWindowRefCon(nullptr)), S(VORNGetWindowRefCon(&unknown))});
          },
          "nullnull"),
        R("VORNSetWindowRefCon", "unknown id", [](Matrix&) {
              int unknown = 0;
              VORNSetWindowRefCon(&unknown, &unknown);
              return S(VORNGetWindowRefCon(&unknown));
          },
          "null"),
        R("VORNBringWindowToFront", "null and unknown; another plug-in's window",
          [](Matrix& m) {
              VORNWindowID theirs = m.Window(m.b);
              VORNWindowID mine = m.Window(m.a);
              int unknown = 0;
              return m.As(m.a, [&] {
                  VORNBringWindowToFront(nullptr);
                  VORNBringWindowToFront(&unknown);
                  const std::string before = S(VORNIsWindowInFront(mine));
                  VORNBringWindowToFront(theirs);
                  return Cat({before, S(VORNIsWindowInFront(theirs)), S(VORNIsWindowInFront(mine))});
              });
          },
          "110"),
        R("VORNIsWindowInFront", "null, unknown, hidden", [](Matrix& m) {
              VORNWindowID w = m.Window(m.a);
              VORNSetWindowIsVisible(w, 0);
              int unknown = 0;
              return S(VORNIsWindowInFront(nullptr) + VORNIsWindowInFront(&unknown) +
                       VORNIsWindowInFront(w));
          },
          "0"),
        R("VORNGetScreenSize", "null outs go to the host", VOID(VORNGetScreenSize(nullptr, nullptr)),
          "done | host: GetScreenSize(null, null)"),
        R("VORNGetMouseLocation", "null outs go to the host",
          VOID(VORNGetMouseLocation(nullptr, nullptr)), "done | host: GetMouseLocation(null, null, 1)"),
        R("VORNRegisterHotKey", "null description and callback: it still takes its key",
          [](Matrix& m) {
              VORNHotKeyID hotKey = nullptr;
              m.As(m.a, [&] { return S(hotKey = VORNRegisterHotKey('H', 0, nullptr, nullptr,
                                                                    nullptr)); });
              char description[VORN_PATH_BUFFER_SIZE] = "x";
              VORNGetHotKeyInfo(hotKey, nullptr, nullptr, description, nullptr);
              return Cat({S(hotKey), S(description), S(VORNKeyPressHook('h', 0, 'H', 0))});
          },
          "handle\"\"0"),
        R("VORNUnregisterHotKey", "null, unknown, mid-record, twice, another plug-in's",
          [](Matrix& m) {
              VORNHotKeyID theirs = nullptr;
              m.As(m.b, [&] { return S(theirs = VORNRegisterHotKey('H', 0, "b", nullptr,
                                                                   nullptr)); });
              int unknown = 0;
              return m.As(m.a, [&] {
                  VORNUnregisterHotKey(nullptr);
                  VORNUnregisterHotKey(&unknown);
                  VORNUnregisterHotKey(static_cast<char*>(theirs) + 1);
                  const std::string before = S(VORNCountHotKeys());
                  VORNUnregisterHotKey(theirs);
                  VORNUnregisterHotKey(theirs);
                  return Cat({before, S(VORNCountHotKeys())});
              });
          },
          "10"),
        R("VORNCountHotKeys", "none", CALL(VORNCountHotKeys()), "0"),
        R("VORNGetNthHotKey", "negative, at and past the count",
          CALL(VORNGetNthHotKey(-1) == nullptr && VORNGetNthHotKey(0) == nullptr &&
               VORNGetNthHotKey(1 << 30) == nullptr),
          "1"),
        R("VORNGetHotKeyInfo", "unknown id writes nothing; null outs", [](Matrix& m) {
              int unknown = 0;
              char key = 'x';
              int flags = 42;
              VORNPluginID owner = 42;
              VORNGetHotKeyInfo(&unknown, &key, &flags, nullptr, &owner);
              VORNHotKeyID mine = nullptr;
              m.As(m.a, [&] { return S(mine = VORNRegisterHotKey('H', 0, "a", nullptr, nullptr)); });
              VORNGetHotKeyInfo(mine, nullptr, nullptr, nullptr, nullptr);
              VORNGetHotKeyInfo(mine, nullptr, nullptr, nullptr, &owner);
              return Cat({std::string(1, key), S(flags), S(owner)});
          },
          "x421"),
        R("VORNSetHotKeyCombination", "null and unknown ids", [](Matrix&) {
              int unknown = 0;
              VORNSetHotKeyCombination(nullptr, 'A', 0);
              VORNSetHotKeyCombination(&unknown, 'A', 0);
              return S(VORNKeyPressHook('a', 0, 'A', 0));
          },
          "1"),
        R("VORNDoDrawingHook", "steps outside 1..26", CALL(VORNDoDrawingHook(0, 0) +
                                                            VORNDoDrawingHook(27, 1) +
                                                            VORNDoDrawingHook(-1, -1)),
          "3"),
        R("VORNMouseClickHook", "an up without a down; far outside the screen",
          CALL(VORNMouseClickHook(5, 5, 0) + VORNMouseClickHook(-(1 << 30), 1 << 30, 1)), "2"),
        R("VORNKeyPressHook", "stages outside 0..2; an empty key",
          CALL(VORNKeyPressHook('k', 0, 'K', -1) + VORNKeyPressHook('k', 0, 'K', 3) +
               VORNKeyPressHook(0, 0, 0, 0)),
          "3"),
        R("VORNCursorHook", "no window anywhere", CALL(VORNCursorHook(-1, 1 << 30)), "0"),
        R("VORNScrollWheelHook", "no window; odd values",
          CALL(VORNScrollWheelHook(0, 0, -1, -(1 << 30))), "1"),

        // ---- Data refs ----------------------------------------------------------------------
        R("VORNFindDataRef", "null and unknown names",
          CALL(VORNFindDataRef(nullptr) == nullptr && VORNFindDataRef("no/such") == nullptr),
          "1"),
        R("VORNIsDataRefGood", "null, foreign, mid-record and withdrawn handles",
          [](Matrix& m) {
              int foreign = 0;
              VORNDataRef ref = m.Ref(m.a);
              VORNDataRef mid = reinterpret_cast<VORNDataRef>(reinterpret_cast<char*>(ref) + 1);
              const std::string before = S(VORNIsDataRefGood(ref));
              m.As(m.a, [&] { VORNUnregisterDataAccessor(ref); return kDone; });
              return before + S(VORNIsDataRefGood(nullptr)) +
                     S(VORNIsDataRefGood(reinterpret_cast<VORNDataRef>(&foreign))) +
                     S(VORNIsDataRefGood(mid)) + S(VORNIsDataRefGood(ref));
          },
          "10000"),
        R("VORNCanWriteDataRef", "null handle", CALL(VORNCanWriteDataRef(nullptr)), "0"),
        R("VORNGetDataRefTypes", "null handle", CALL(VORNGetDataRefTypes(nullptr)), "0"),
        R("VORNGetDatai", "null handle", CALL(VORNGetDatai(nullptr)), "0"),
        R("VORNGetDatai", "a withdrawn data ref",
          [](Matrix& m) {
              VORNDataRef ref = m.Ref(m.a);
              m.As(m.a, [&] { VORNUnregisterDataAccessor(ref); return kDone; });
              return S(VORNGetDatai(ref));
          },
          "0"),
        R("VORNGetDatai", "owner disabled",
          [](Matrix& m) {
              VORNDataRef ref = m.Ref(m.a);
              VORNDisablePlugin(m.a);
              return S(VORNGetDatai(ref));
          },
          "0"),
        R("VORNSetDatai", "null handle", VOID(VORNSetDatai(nullptr, 1)), "done"),
        R("VORNSetDatai", "owner offers no writer", [](Matrix& m) {
              VORNSetDatai(m.Ref(m.a), 5);
              return kDone;
          },
          "done"),
        R("VORNGetDataf", "null handle and no float reader",
          [](Matrix& m) { return S(VORNGetDataf(nullptr)) + S(VORNGetDataf(m.Ref(m.a))); }, "00"),
        R("VORNSetDataf", "null handle", VOID(VORNSetDataf(nullptr, 1.0f)), "done"),
        R("VORNGetDatad", "null handle", CALL(VORNGetDatad(nullptr)), "0"),
        R("VORNSetDatad", "null handle", VOID(VORNSetDatad(nullptr, 1.0)), "done"),
        R("VORNGetDatavi", "null handle", CALL(VORNGetDatavi(nullptr, nullptr, 0, 0)), "0"),
        R("VORNGetDatavi", "null values asks the count; negative and huge offsets and max",
          [](Matrix& m) {
              VORNDataRef ref = m.Ref(m.a);
              int values[4] = {-1, -1, -1, -1};
              return Cat({S(VORNGetDatavi(ref, nullptr, 0, 0)),
                          S(VORNGetDatavi(ref, values, 1 << 30, 4)),
                          S(VORNGetDatavi(ref, values, 0, -3)),
                          S(VORNGetDatavi(ref, values, 2, 99)), " ", S(values[0]), S(values[1]),
                          S(values[2])});
          },
          "4002 23-1"),
        R("VORNSetDatavi", "null handle, null values", [](Matrix& m) {
              VORNSetDatavi(nullptr, nullptr, -1, -1);
              VORNSetDatavi(m.Ref(m.a), nullptr, -1, 1 << 30);
              return kDone;
          },
          "done"),
        R("VORNGetDatavf", "null handle; no float-array reader",
          [](Matrix& m) {
              float values[2] = {};
              return S(VORNGetDatavf(nullptr, values, 0, 2)) +
                     S(VORNGetDatavf(m.Ref(m.a), values, -1, 2));
          },
          "00"),
        R("VORNSetDatavf", "null handle", VOID(VORNSetDatavf(nullptr, nullptr, 0, 1)), "done"),
        R("VORNGetDatab", "null handle; no byte reader",
          [](Matrix& m) {
              char bytes[2] = {};
              return S(VORNGetDatab(nullptr, bytes, 0, 2)) +
                     S(VORNGetDatab(m.Ref(m.a), bytes, 1 << 30, -1));
          },
          "00"),
        R("VORNSetDatab", "null handle", VOID(VORNSetDatab(nullptr, nullptr, 0, -1)), "done"),
        R("VORNRegisterDataAccessor", "null name", AS_A(VORNRegisterDataAccessor(
                                                            nullptr, VORN_DATA_INT, 1, nullptr,
                                                            nullptr, nullptr, nullptr, nullptr,
                                                            nullptr, nullptr, nullptr, nullptr,
                                                            nullptr, nullptr, nullptr, nullptr,
                                                            nullptr)),
          "null"),
        R("VORNRegisterDataAccessor", "a name another plug-in holds",
          [](Matrix& m) {
              VORNDataRef theirs = m.Ref(m.b);
              m.Mark();
              VORNDataRef mine = m.Ref(m.a);
              return S(mine == theirs ? 1 : 0);
          },
          "1 | errors: 1:Dataref is already registered by someone else."),
        R("VORNUnregisterDataAccessor", "null, foreign and mid-record pointers",
          [](Matrix& m) {
              VORNDataRef ref = m.Ref(m.a);
              m.Mark();
              int foreign = 0;
              return m.As(m.a, [&] {
                  VORNUnregisterDataAccessor(nullptr);
                  VORNUnregisterDataAccessor(reinterpret_cast<VORNDataRef>(&foreign));
                  VORNUnregisterDataAccessor(
                      reinterpret_cast<VORNDataRef>(reinterpret_cast<char*>(ref) + 1));
                  return S(VORNIsDataRefGood(ref));
              });
          },
          "1 | errors: 1:Dataref is illegal and cannot be unregistered.; "
          "1:Dataref is illegal and cannot be unregistered.; "
          "1:Dataref is illegal and cannot be unregistered."),
        R("VORNUnregisterDataAccessor", "another plug-in's, and twice",
          [](Matrix& m) {
              VORNDataRef ref = m.Ref(m.b);
              m.Mark();
              m.As(m.b, [&] { VORNUnregisterDataAccessor(ref); VORNUnregisterDataAccessor(ref);
                              return kDone; });
              VORNDataRef again = m.Ref(m.b, "matrix/other");
              m.As(m.a, [&] { VORNUnregisterDataAccessor(again); return kDone; });
              return S(VORNIsDataRefGood(again));
          },
          "1 | errors: 2:Dataref is not owned by you - you cannot unregsiter.; "
          "1:Dataref is not owned by you - you cannot unregsiter."),
        R("VORNShareData", "null name, no type, two types, a clash of types",
          AS_A(Cat({S(VORNShareData(nullptr, VORN_DATA_INT, nullptr, nullptr)),
                    S(VORNShareData("matrix/shared", VORN_DATA_INT, NoChange, nullptr)),
                    S(VORNShareData("matrix/shared", VORN_DATA_FLOAT, NoChange, nullptr)),
                    S(VORNShareData("matrix/two", VORN_DATA_INT | VORN_DATA_FLOAT, nullptr,
                                    nullptr))})),
          "\"0101\""),
        R("VORNShareData", "an array item: negative and huge offsets and counts, null values",
          [](Matrix& m) {
              return m.As(m.a, [] {
                  VORNShareData("matrix/array", VORN_DATA_INT_ARRAY, nullptr, nullptr);
                  VORNDataRef ref = VORNFindDataRef("matrix/array");
                  int values[3] = {1, 2, 3};
                  VORNSetDatavi(ref, values, 0, 3);
                  VORNSetDatavi(ref, values, -1, 2);
                  VORNSetDatavi(ref, values, 1 << 30, 1);
                  VORNSetDatavi(ref, nullptr, 0, 5);
                  VORNSetDatavi(ref, values, 0, -1);
                  int out[3] = {9, 9, 9};
                  return Cat({S(VORNGetDatavi(ref, out, -1, 3)), S(VORNGetDatavi(ref, out, 1 << 30, 3)),
                              S(VORNGetDatavi(ref, out, 0, -2)), S(VORNGetDatavi(ref, nullptr, 0, 0)),
                              S(VORNGetDatavi(ref, out, 1, 99)), " ", S(out[0]), S(out[1])});
              });
          },
          "00032 23"),
        R("VORNUnshareData", "null name, null callback, never subscribed",
          AS_A(VORNUnshareData(nullptr, VORN_DATA_INT, NoChange, nullptr) +
               VORNUnshareData("matrix/shared", VORN_DATA_INT, nullptr, nullptr) +
               VORNUnshareData("matrix/none", VORN_DATA_INT, NoChange, nullptr)),
          "0"),

        // ---- Menus -------------------------------------------------------------------------
        R("VORNFindPluginsMenu", "once started", CALL(VORNFindPluginsMenu()), "handle"),
        R("VORNCreateMenu", "an unknown, freed or mid-record parent",
          [](Matrix& m) {
              VORNMenuID menu = m.Menu(m.a);
              m.As(m.a, [&] { VORNDestroyMenu(menu); return kDone; });
              m.Mark();
              int unknown = 0;
              return m.As(m.a, [&] {
                  return S(VORNCreateMenu("x", &unknown, 0, nullptr, nullptr)) +
                         S(VORNCreateMenu("x", menu, 0, nullptr, nullptr)) +
                         S(VORNCreateMenu("x", static_cast<char*>(VORNFindPluginsMenu()) + 1,
                                          0, nullptr, nullptr));
              });
          },
          "nullnullnull"),
        R("VORNCreateMenu", "null name, bad parent item",
          [](Matrix& m) {
              return m.As(m.a, [] {
                  return S(VORNCreateMenu(nullptr, VORNFindPluginsMenu(), -(1 << 20), nullptr,
                                          nullptr));
              });
          },
          "handle | host: CreateMenu(1000, -1, \"\")"),
        R("VORNDestroyMenu", "null, the Plugins menu, another plug-in's menu, twice",
          [](Matrix& m) {
              VORNMenuID theirs = m.Menu(m.b);
              VORNMenuID mine = m.Menu(m.a);
              m.Mark();
              return m.As(m.a, [&] {
                  VORNDestroyMenu(nullptr);
                  VORNDestroyMenu(VORNFindPluginsMenu());
                  VORNDestroyMenu(theirs);
                  VORNDestroyMenu(mine);
                  VORNDestroyMenu(mine);
                  return S(VORNAppendMenuItem(theirs, "still", nullptr, 0));
              });
          },
          "0 | host: RemoveMenuItem(1002, 0); DestroyMenu(1002); AppendMenuItem(1001, \"still\", "
          "null, 0)"),
        R("VORNClearAllMenuItems", "null, freed and another plug-in's menu",
          [](Matrix& m) {
              VORNMenuID theirs = m.Menu(m.b);
              VORNMenuID mine = m.Menu(m.a);
              m.As(m.a, [&] { VORNDestroyMenu(mine); return kDone; });
              m.Mark();
              return m.As(m.a, [&] {
                  VORNClearAllMenuItems(nullptr);
                  VORNClearAllMenuItems(mine);
                  VORNClearAllMenuItems(theirs);
                  return kDone;
              });
          },
          "done"),
        R("VORNAppendMenuItem", "null and freed menus; null name",
          [](Matrix& m) {
              VORNMenuID mine = m.Menu(m.a);
              m.As(m.a, [&] { VORNDestroyMenu(mine); return kDone; });
              m.Mark();
              return m.As(m.a, [&] {
                  return Cat({S(VORNAppendMenuItem(nullptr, "x", nullptr, 0)),
                              S(VORNAppendMenuItem(mine, "x", nullptr, 0)),
                              S(VORNAppendMenuItem(VORNFindPluginsMenu(), nullptr, nullptr, 0))});
              });
          },
          "-1-11 | host: AppendMenuItem(1000, \"\", null, 0)"),
        R("VORNAppendMenuSeparator", "null menu", AS_A(VORNAppendMenuSeparator(nullptr)), "-1"),
        R("VORNSetMenuItemName", "negative, huge and another plug-in's index; null menu",
          [](Matrix& m) {
              VORNMenuID theirs = m.Menu(m.b);
              m.Mark();
              return m.As(m.a, [&] {
                  VORNSetMenuItemName(theirs, -1, "x");
                  VORNSetMenuItemName(theirs, 1 << 30, "x");
                  VORNSetMenuItemName(theirs, 0, "x");
                  VORNSetMenuItemName(nullptr, 0, "x");
                  return kDone;
              });
          },
          "done | errors: 1:VORNSetMenuItemName was passed an out of range item index.; "
          "1:VORNSetMenuItemName was passed an out of range item index.; "
          "1:VORNSetMenuItemName was passed an out of range item index."),
        R("VORNCheckMenuItem", "bad index", AS_A_VOID(VORNCheckMenuItem(VORNFindPluginsMenu(), -1, 2)),
          "done | errors: 1:VORNCheckMenuItem was passed an out of range item index."),
        R("VORNCheckMenuItemState", "bad index and null out",
          [](Matrix& m) {
              VORNMenuID mine = m.Menu(m.a);
              m.Mark();
              return m.As(m.a, [&] {
                  int check = 42;
                  VORNCheckMenuItemState(mine, 5, &check);
                  VORNCheckMenuItemState(mine, 0, nullptr);
                  return S(check);
              });
          },
          "42 | errors: 1:VORNCheckMenuItemState was passed an out of range item index."),
        R("VORNEnableMenuItem", "another plug-in's item",
          [](Matrix& m) {
              VORNMenuID theirs = m.Menu(m.b);
              m.Mark();
              return m.As(m.a, [&] { VORNEnableMenuItem(theirs, 0, 0); return kDone; });
          },
          "done | errors: 1:VORNCheckMenuItemState was passed an out of range item index."),
        R("VORNRemoveMenuItem", "bad index; null menu",
          [](Matrix& m) {
              return m.As(m.a, [&] {
                  VORNRemoveMenuItem(VORNFindPluginsMenu(), 1 << 30);
                  VORNRemoveMenuItem(nullptr, 0);
                  return kDone;
              });
          },
          "done | errors: 1:VORNRemoveMenuItem was passed an out of range item index."),

        // ---- Commands and utilities --------------------------------------------------------
        R("VORNFindCommand", "null name", CALL(VORNFindCommand(nullptr)), "null"),
        R("VORNCreateCommand", "null name and description", AS_A(VORNCreateCommand(nullptr,
                                                                                   nullptr)),
          "null"),
        R("VORNCommandBegin", "null command", AS_A_VOID(VORNCommandBegin(nullptr)), "done"),
        R("VORNCommandEnd", "null command; never begun",
          [](Matrix& m) {
              VORNCommandRef command = m.Command();
              m.Mark();
              return m.As(m.a, [&] {
                  VORNCommandEnd(nullptr);
                  VORNCommandEnd(command);
                  return kDone;
              });
          },
          "done | host: CommandEnd(*)"),
        R("VORNCommandOnce", "null command", AS_A_VOID(VORNCommandOnce(nullptr)), "done"),
        R("VORNRegisterCommandHandler", "null command and null callback",
          [](Matrix& m) {
              VORNCommandRef command = m.Command();
              m.As(m.a, [&] {
                  VORNRegisterCommandHandler(nullptr, NoCommand, 1, nullptr);
                  VORNRegisterCommandHandler(command, nullptr, 1, nullptr);
                  return kDone;
              });
              return S(VORNCommandHook(command, 1, 0, 1));
          },
          "1 | host: FindCommand(\"matrix/command\", \"Matrix\", 1)"),
        R("VORNUnregisterCommandHandler", "null command; another plug-in's handler",
          [](Matrix& m) {
              VORNCommandRef command = m.Command();
              m.As(m.b, [&] { VORNRegisterCommandHandler(command, NoCommand, 1, nullptr);
                              return kDone; });
              m.As(m.a, [&] {
                  VORNUnregisterCommandHandler(nullptr, NoCommand, 1, nullptr);
                  VORNUnregisterCommandHandler(command, NoCommand, 1, nullptr);
                  return kDone;
              });
              VORNPluginInventory out{};
              out.structSize = sizeof out;
              VORNGetPluginInventory(m.b, &out);
              return S(out.commandHandlers);
          },
          "1 | host: FindCommand(\"matrix/command\", \"Matrix\", 1)"),
        R("VORNSimulateKeyPress", "negative codes pass through", VOID(VORNSimulateKeyPress(-1, -2)),
          "done | host: SimulateKeyPress(-1, -2)"),
        R("VORNSpeakString", "null text", VOID(VORNSpeakString(nullptr)),
          "done | host: SpeakString(null)"),
        R("VORNCommandKeyStroke", "negative key", VOID(VORNCommandKeyStroke(-1)),
          "done | host: CommandKeyStroke(-1)"),
        R("VORNCommandButtonPress", "negative button", AS_A_VOID(VORNCommandButtonPress(-1)),
          "done | host: CommandButton(*)"),
        R("VORNCommandButtonRelease", "never pressed", AS_A_VOID(VORNCommandButtonRelease(1 << 30)),
          "done | host: CommandButton(*)"),
        R("VORNGetVirtualKeyDescription", "negative and unknown codes",
          CALL(std::string(VORNGetVirtualKeyDescription(-1)) + VORNGetVirtualKeyDescription(0)),
          "\"UnknownUnknown\""),
        R("VORNReloadScenery", "from a plug-in", AS_A_VOID(VORNReloadScenery()),
          "done | host: ReloadScenery()"),
        R("VORNGetSystemPath", "null buffer", AS_A_VOID(VORNGetSystemPath(nullptr)), "done"),
        R("VORNGetPrefsPath", "null buffer", AS_A_VOID(VORNGetPrefsPath(nullptr)), "done"),
        R("VORNGetDirectorySeparator", "always a constant", CALL(VORNGetDirectorySeparator()),
          "\"/\""),
        R("VORNExtractFileAndPath", "null and empty", [](Matrix&) {
              char empty[1] = "";
              return S(VORNExtractFileAndPath(nullptr)) + S(VORNExtractFileAndPath(empty));
          },
          "null\"\""),
        R("VORNGetDirectoryContents", "null everything; missing folder",
          [](Matrix&) {
              int total = -1, returned = -1;
              return Cat({S(VORNGetDirectoryContents(nullptr, 0, nullptr, 0, nullptr, 0, nullptr,
                                                     nullptr)),
                          S(VORNGetDirectoryContents("/no/such/folder", 0, nullptr, 100, nullptr,
                                                     0, &total, &returned)),
                          " ", S(total), S(returned)});
          },
          "00 00"),
        R("VORNGetDirectoryContents", "negative and huge offsets, negative sizes and counts",
          [](Matrix&) {
              char names[8] = "xxxxxxx";
              char* indices[2] = {names, names};
              int total = -1, returned = -1;
              return Cat(
                  {S(VORNGetDirectoryContents("/", -5, names, 8, indices, 1, &total, &returned)),
                   S(VORNGetDirectoryContents("/", 1 << 30, names, -8, nullptr, 0, &total,
                                              &returned)),
                   S(VORNGetDirectoryContents("/", 0, names, 8, indices, -1, &total, &returned)),
                   " ", S(returned), " ", S(names[7])});
          },
          "100 0 0"),
        R("VORNInitialized", "once started", CALL(VORNInitialized()), "1"),
        R("VORNGetVersions", "null pointers", VOID(VORNGetVersions(nullptr, nullptr, nullptr)),
          "done | host: GetVersions(*)"),
        R("VORNGetLanguage", "from a plug-in", AS_A(VORNGetLanguage()),
          "0 | host: GetLanguage()"),
        R("VORNDebugString", "null text", VOID(VORNDebugString(nullptr)), "done | log: (null)"),
        R("VORNFindSymbol", "null name", CALL(VORNFindSymbol(nullptr)),
          "null | host: FindSymbol(null)"),
        R("VORNLoadDataFile", "bad kinds; a null path goes to the host",
          AS_A(VORNLoadDataFile(0, "x") + VORNLoadDataFile(-1, nullptr) +
               VORNLoadDataFile(1, nullptr)),
          "1 | errors: 1:Illegal file type passed to VORNLoadDataFile.; "
          "1:Illegal file type passed to VORNLoadDataFile. | host: LoadDataFile(1, null)"),
        R("VORNSaveDataFile", "null path first, then the kind",
          AS_A(Cat({S(VORNSaveDataFile(3, nullptr)), S(VORNSaveDataFile(-1, "x"))})),
          "\"00\" | errors: 1:Null file path passed to VORNSaveDataFile.; "
          "1:Illegal file type passed to VORNSaveDataFile."),

        // ---- Terrain probes and scenery objects ----------------------------------------------
        F("VORNCreateProbe", "an unusable type is kept", AS_A(VORNCreateProbe(-1)),
          "handle | host: CreateProbe()"),
        F("VORNDestroyProbe", "null, unknown, mid-record, destroyed twice, another plug-in's",
          [](Matrix& m) {
              VORNProbeRef theirs = m.Probe(m.b);
              int unknown = 0;
              m.As(m.a, [&] {
                  VORNDestroyProbe(nullptr);
                  VORNDestroyProbe(&unknown);
                  VORNDestroyProbe(static_cast<char*>(theirs) + 1);
                  VORNDestroyProbe(theirs);
                  VORNDestroyProbe(theirs);
                  return kDone;
              });
              return S(m.Probe(m.a));
          },
          "handle | host: CreateProbe()"),
        F("VORNProbeTerrainXYZ", "null probe, null result, wrong structSize, wrong type",
          [](Matrix& m) {
              VORNProbeRef probe = m.Probe(m.a);
              VORNProbeRef other = nullptr;
              m.As(m.a, [&] { return S(other = VORNCreateProbe(1)); });
              VORNProbeResult_t result{};
              result.structSize = sizeof result;
              VORNProbeResult_t wrong{};
              wrong.structSize = 40;
              m.Mark();
              return S(VORNProbeTerrainXYZ(nullptr, 0, 0, 0, &result)) +
                     S(VORNProbeTerrainXYZ(probe, 0, 0, 0, nullptr)) +
                     S(VORNProbeTerrainXYZ(probe, 0, 0, 0, &wrong)) +
                     S(VORNProbeTerrainXYZ(other, 0, 0, 0, &result));
          },
          "1111"),
        R("VORNLoadObject", "null path and nothing found", AS_A(VORNLoadObject(nullptr)),
          "null | host: LoadObject(null)"),
        R("VORNLoadObjectAsync", "null path and null callback, both answered",
          [](Matrix& m) {
              m.As(m.a, [] {
                  VORNLoadObjectAsync(nullptr, NoObject, nullptr);
                  VORNLoadObjectAsync("x.obj", nullptr, nullptr);
                  return kDone;
              });
              static int house = 0;
              for (const FakeHost::AsyncLoad& load : m.host.asyncLoads)
                  load.callback(&house, load.refcon);
              VORNPluginInventory out{};
              out.structSize = sizeof out;
              VORNGetPluginInventory(m.a, &out);
              return S(out.objects);
          },
          "2 | host: LoadObjectAsync(null, *); LoadObjectAsync(\"x.obj\", *)"),
        R("VORNDrawObjects", "unknown object, null placements, negative count",
          AS_A_VOID(VORNDrawObjects(nullptr, -1, nullptr, 0, 0)),
          "done | errors: 1:Illegal object, or object not owned by this plugin."),
        R("VORNUnloadObject", "null, unknown and another plug-in's object",
          [](Matrix& m) {
              static int house = 0;
              m.host.loadedObject = &house;
              m.As(m.b, [] { return S(VORNLoadObject("house.obj")); });
              m.Mark();
              return m.As(m.a, [&] {
                  VORNUnloadObject(nullptr);
                  VORNUnloadObject(&house);
                  return kDone;
              });
          },
          "done | errors: 1:Unknown object for VORNUnloadObject; "
          "1:Unknown object for VORNUnloadObject"),
        R("VORNLookupObjects", "null path and enumerator",
          AS_A(VORNLookupObjects(nullptr, 0, 0, nullptr, nullptr) +
               VORNLookupObjects(nullptr, 0, 0, NoObjectFound, nullptr)),
          "0 | host: LookupObjects(*); LookupObjects(*)"),

        // ---- Multiplayer aircraft -------------------------------------------------------------
        R("VORNAcquirePlanes", "another plug-in owns them; null callback",
          [](Matrix& m) {
              m.As(m.b, [] { return S(VORNAcquirePlanes(nullptr, nullptr, nullptr)); });
              m.Mark();
              return m.As(m.a, [] { return S(VORNAcquirePlanes(nullptr, nullptr, nullptr)); });
          },
          "0"),
        R("VORNReleasePlanes", "not the owner", [](Matrix& m) {
              m.As(m.b, [] { return S(VORNAcquirePlanes(nullptr, NoPlanes, nullptr)); });
              m.As(m.a, [] { VORNReleasePlanes(); return kDone; });
              int owner = 0;
              VORNCountAircraft(nullptr, nullptr, &owner);
              return S(owner);
          },
          "2 | host: CountAircraft(*)"),
        R("VORNSetActiveAircraftCount", "not the owner; negative",
          AS_A_VOID(VORNSetActiveAircraftCount(-1)), "done"),
        R("VORNSetAircraftModel", "not the owner; negative index; null path",
          [](Matrix& m) {
              m.As(m.b, [] { return S(VORNAcquirePlanes(nullptr, nullptr, nullptr)); });
              m.Mark();
              m.As(m.a, [] { VORNSetAircraftModel(1, "x.acf"); return kDone; });
              return m.As(m.b, [] {
                  VORNSetAircraftModel(-1, "x.acf");
                  VORNSetAircraftModel(1, nullptr);
                  return kDone;
              });
          },
          "done"),
        R("VORNDisableAIForPlane", "negative and huge indexes name no data ref",
          AS_A_VOID(VORNDisableAIForPlane(-1); VORNDisableAIForPlane(1 << 30)), "done"),
        R("VORNDrawAircraft", "not the owner", AS_A_VOID(VORNDrawAircraft(-1, 0, 0, 0, 0, 0, 0, 1,
                                                                         nullptr)),
          "done"),
        R("VORNCountAircraft", "null pointers", VOID(VORNCountAircraft(nullptr, nullptr, nullptr)),
          "done | host: CountAircraft(*)"),
        R("VORNGetNthAircraftModel", "null buffers", VOID(VORNGetNthAircraftModel(-1, nullptr,
                                                                                  nullptr)),
          "done"),
        R("VORNSetUsersAircraft", "null path", AS_A_VOID(VORNSetUsersAircraft(nullptr)), "done"),
        R("VORNPlaceUserAtAirport", "null code", AS_A_VOID(VORNPlaceUserAtAirport(nullptr)),
          "done | host: PlaceUserAtAirport(null)"),
        R("VORNReinitUsersPlane", "not the owner", AS_A_VOID(VORNReinitUsersPlane()), "done"),

        // ---- Camera -----------------------------------------------------------------------------
        R("VORNControlCamera", "null callback: the next frame gives control up",
          [](Matrix& m) {
              m.As(m.a, [] { VORNControlCamera(0, nullptr, nullptr); return kDone; });
              float p[7] = {};
              const int result = VORNCameraHook(&p[0], &p[1], &p[2], &p[3], &p[4], &p[5], &p[6]);
              return S(result) + S(VORNIsCameraBeingControlled(nullptr));
          },
          "10"),
        R("VORNDontControlCamera", "nobody controls it", AS_A_VOID(VORNDontControlCamera()), "done"),
        R("VORNIsCameraBeingControlled", "null out while controlled",
          [](Matrix& m) {
              m.As(m.a, [] { VORNControlCamera(1, NoCamera, nullptr); return kDone; });
              return S(VORNIsCameraBeingControlled(nullptr));
          },
          "1"),
        R("VORNReadCameraPosition", "null out", VOID(VORNReadCameraPosition(nullptr)), "done"),

        // ---- Graphics and navigation: forwarded unchanged; the host judges ---------------
        R("VORNSetGraphicsState", "negative values", VOID(VORNSetGraphicsState(-1, -1, -1, -1, -1,
                                                                                 -1, -1)),
          "done | host: SetGraphicsState(-1, -1, -1, -1, -1, -1, -1)"),
        R("VORNBindTexture2d", "negative numbers", VOID(VORNBindTexture2d(-1, -1)),
          "done | host: BindTexture2d(-1, -1)"),
        R("VORNGenerateTextureNumbers", "null out, negative count",
          VOID(VORNGenerateTextureNumbers(nullptr, -1)),
          "done | host: GenerateTextureNumbers(null, -1)"),
        R("VORNGetTexture", "negative id", CALL(VORNGetTexture(-1)), "0 | host: GetTexture(-1)"),
        R("VORNWorldToLocal", "null outs", VOID(VORNWorldToLocal(0, 0, 0, nullptr, nullptr,
                                                                 nullptr)),
          "done | host: WorldToLocal(0, 0, 0, null, null, null)"),
        R("VORNLocalToWorld", "null outs", VOID(VORNLocalToWorld(0, 0, 0, nullptr, nullptr,
                                                                 nullptr)),
          "done | host: LocalToWorld(0, 0, 0, null, null, null)"),
        R("VORNDrawTranslucentDarkBox", "inverted box", VOID(VORNDrawTranslucentDarkBox(9, 0, 0,
                                                                                        9)),
          "done | host: DrawTranslucentDarkBox(9, 0, 0, 9)"),
        R("VORNDrawString", "null colour, text and wrap",
          VOID(VORNDrawString(nullptr, 0, 0, nullptr, nullptr, -1)),
          "done | host: DrawString(null, 0, 0, null, null, -1)"),
        R("VORNDrawNumber", "null colour, negative digits",
          VOID(VORNDrawNumber(nullptr, 0, 0, 1.5, -1, -1, 0, 0)),
          "done | host: DrawNumber(null, 0, 0, 1.5, -1, -1, 0, 0)"),
        R("VORNGetFontDimensions", "null outs", VOID(VORNGetFontDimensions(-1, nullptr, nullptr,
                                                                           nullptr)),
          "done | host: GetFontDimensions(-1, null, null, null)"),
        R("VORNMeasureString", "null text, negative count", CALL(VORNMeasureString(0, nullptr, -1)),
          "0 | host: MeasureString(0, null, -1)"),
        R("VORNGetFirstNavAid", "forwarded", CALL(VORNGetFirstNavAid()), "0 | host: GetFirstNavAid()"),
        R("VORNGetNextNavAid", "negative ref", CALL(VORNGetNextNavAid(-1)),
          "0 | host: GetNextNavAid(-1)"),
        R("VORNFindFirstNavAidOfType", "no type bits", CALL(VORNFindFirstNavAidOfType(0)),
          "0 | host: FindFirstNavAidOfType(0)"),
        R("VORNFindLastNavAidOfType", "all bits", CALL(VORNFindLastNavAidOfType(-1)),
          "0 | host: FindLastNavAidOfType(-1)"),
        R("VORNFindNavAid", "every criterion null",
          CALL(VORNFindNavAid(nullptr, nullptr, nullptr, nullptr, nullptr, 0)),
          "0 | host: FindNavAid(null, null, null, null, null, 0)"),
        R("VORNGetNavAidInfo", "null outs", VOID(VORNGetNavAidInfo(-1, nullptr, nullptr, nullptr,
                                                                   nullptr, nullptr, nullptr,
                                                                   nullptr, nullptr, nullptr)),
          "done | host: GetNavAidInfo(-1, *)"),
        R("VORNCountFMSEntries", "forwarded", CALL(VORNCountFMSEntries()),
          "0 | host: CountFMSEntries()"),
        R("VORNGetDisplayedFMSEntry", "forwarded", CALL(VORNGetDisplayedFMSEntry()),
          "0 | host: GetDisplayedFMSEntry()"),
        R("VORNGetDestinationFMSEntry", "forwarded", CALL(VORNGetDestinationFMSEntry()),
          "0 | host: GetDestinationFMSEntry()"),
        R("VORNSetDisplayedFMSEntry", "negative index", VOID(VORNSetDisplayedFMSEntry(-1)),
          "done | host: SetDisplayedFMSEntry(-1)"),
        R("VORNSetDestinationFMSEntry", "huge index", VOID(VORNSetDestinationFMSEntry(1 << 30)),
          "done | host: SetDestinationFMSEntry(1073741824)"),
        R("VORNGetFMSEntryInfo", "null outs", VOID(VORNGetFMSEntryInfo(-1, nullptr, nullptr,
                                                                       nullptr, nullptr, nullptr,
                                                                       nullptr)),
          "done | host: GetFMSEntryInfo(-1, *)"),
        R("VORNSetFMSEntryInfo", "negative index and ref", VOID(VORNSetFMSEntryInfo(-1, -1, -1)),
          "done | host: SetFMSEntryInfo(-1, -1, -1)"),
        R("VORNSetFMSEntryLatLon", "negative index", VOID(VORNSetFMSEntryLatLon(-1, 0, 0, -1)),
          "done | host: SetFMSEntryLatLon(-1, 0, 0, -1)"),
        R("VORNClearFMSEntry", "negative index", VOID(VORNClearFMSEntry(-1)),
          "done | host: ClearFMSEntry(-1)"),
        R("VORNGetGPSDestinationType", "forwarded", CALL(VORNGetGPSDestinationType()),
          "0 | host: GetGPSDestinationType()"),
        R("VORNGetGPSDestination", "forwarded", CALL(VORNGetGPSDestination()),
          "0 | host: GetGPSDestination()"),
    };
    return rows;
}

// ---- Running a row -------------------------------------------------------------------

std::string Joined(const std::vector<std::string>& parts)
{
    std::string out;
    for (const std::string& part : parts)
        out += (out.empty() ? "" : "; ") + part;
    return out;
}

// A recorded host call as the rows expect it: arguments that are addresses
// or host-owned buffers written "*" when the expectation says so.
bool Matches(const std::string& expected, const std::string& actual)
{
    // '*' in expected matches any run of characters.
    size_t e = 0, a = 0, star = std::string::npos, mark = 0;
    while (a < actual.size()) {
        if (e < expected.size() && expected[e] == actual[a] && expected[e] != '*') {
            ++e;
            ++a;
        } else if (e < expected.size() && expected[e] == '*') {
            star = e++;
            mark = a;
        } else if (star != std::string::npos) {
            e = star + 1;
            a = ++mark;
        } else {
            return false;
        }
    }
    while (e < expected.size() && expected[e] == '*')
        ++e;
    return e == expected.size();
}

class BadInputMatrixTest : public HostTest, public ::testing::WithParamInterface<size_t> {
protected:
    std::string Observe(const Row& row, Matrix& m)
    {
        m.Mark();
        gErrors = &m.errors;
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
        return out;
    }

    // Starts with two agent plug-ins, both with an error callback.
    void StartWithAgents(Matrix& m)
    {
        InstallPlugin("agent", "a.vpl");
        InstallPlugin("agent", "b.vpl");
        host->systemPath = SystemPath();
        Start();
        ASSERT_EQ(VORNCountPlugins(), 3);
        gErrors = &m.errors;
        for (int id : {m.a, m.b})
            m.As(id, [] { VORNSetErrorCallback(CollectError); return kDone; });
    }
};

TEST_P(BadInputMatrixTest, Row)
{
    const Row& row = Rows()[GetParam()];
    SCOPED_TRACE(std::string(row.function) + ": " + row.what);
    Matrix m(*host);
    if (row.phase != Phase::kRunning && !InFreshProcess()) {
        RerunInFreshProcess();
        return;
    }
    if (row.phase != Phase::kBeforeInit)
        StartWithAgents(m);
    const std::string observed = Observe(row, m);
    EXPECT_TRUE(Matches(row.expected, observed))
        << "expected: " << row.expected << "\n  observed: " << observed;
    EXPECT_EQ(VORNGetMyID(), 0);
    gErrors = nullptr;
}

std::string RowName(const ::testing::TestParamInfo<size_t>& info)
{
    return std::string(Rows()[info.param].function) + "_" + std::to_string(info.param);
}

INSTANTIATE_TEST_SUITE_P(Matrix, BadInputMatrixTest, ::testing::Range<size_t>(0, Rows().size()),
                         RowName);

// Every exported function has at least one row.
TEST(BadInputMatrixCoverage, EveryExportedFunctionHasARow)
{
    std::set<std::string> covered;
    for (const Row& row : Rows())
        covered.insert(row.function);
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
