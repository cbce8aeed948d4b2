// ApiSequence.cpp - see ApiSequence.h. The plug-ins are registry records
// without modules; the interpreter acts as one of them by dispatching it, as
// the library does before calling plug-in code. Every record a plug-in
// registers gets a harness object ("Rec") as its refcon, which says who owns
// it, whether the model thinks it is alive, and the script its callback runs.

#include "ApiSequence.h"

#include "LibraryReset.h"
#include "VORNCameraInternal.h"
#include "VORNDataAccessInternal.h"
#include "VORNDisplayInternal.h"
#include "VORNHostInternal.h"
#include "VORNLoaderInternal.h"
#include "VORNMenusInternal.h"
#include "VORNPlanesInternal.h"
#include "VORNProcessingInternal.h"
#include "VORNSceneryInternal.h"
#include "VORNUtilitiesInternal.h"

#include "VORN/VORNCamera.h"
#include "VORN/VORNDataAccess.h"
#include "VORN/VORNDisplay.h"
#include "VORN/VORNMenus.h"
#include "VORN/VORNPlanes.h"
#include "VORN/VORNProcessing.h"
#include "VORN/VORNScenery.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace vornfuzz {
namespace {

void Check(bool ok, const char* what, long detail = 0)
{
    if (ok)
        return;
    std::fprintf(stderr, "api_sequence: model mismatch: %s (%ld)\n", what, detail);
    std::fflush(stderr);
    __builtin_trap();
}

// ---- A minimal host ---------------------------------------------------------------
// Every slot answers with a zero value, except the few whose answers the
// library relies on: time, mouse, menu and probe numbering, the system path.

template <typename F>
struct Stub;
template <typename R, typename... A>
struct Stub<R (*)(A...)> {
    static R Call(A...) { return R(); }
};

struct HostState {
    float time = 0.0f;
    int mouseX = 0, mouseY = 0;
    long nextMenu = 1000;
    int nextItem = 1, nextProbe = 0;
} gHost;

#define VORN_STUB(slot) table.slot = &Stub<decltype(table.slot)>::Call;

VORNHostHooks MakeHostTable()
{
    VORNHostHooks table{};
    table.version = VORN_HOST_HOOKS_VERSION_LOADING_MESSAGE;
    table.tableSize = VORN_HOST_HOOKS_SIZE;
    VORN_STUB(GetScreenSize) VORN_STUB(TakeKeyboardFocus) VORN_STUB(SetGraphicsState)
    VORN_STUB(BindTexture2d) VORN_STUB(GetTexture) VORN_STUB(GenerateTextureNumbers)
    VORN_STUB(WorldToLocal) VORN_STUB(LocalToWorld) VORN_STUB(DrawTranslucentDarkBox)
    VORN_STUB(DrawString) VORN_STUB(DrawNumber) VORN_STUB(GetFontDimensions)
    VORN_STUB(MeasureString) VORN_STUB(ReadCameraPosition) VORN_STUB(DrawAircraft)
    VORN_STUB(SetAircraftModel) VORN_STUB(GetNthAircraftModel) VORN_STUB(CountAircraft)
    VORN_STUB(PlaceUserAtAirport) VORN_STUB(SimulateKeyPress) VORN_STUB(SpeakString)
    VORN_STUB(CommandKeyStroke) VORN_STUB(CommandButton) VORN_STUB(GetPrefsPath)
    VORN_STUB(GetVersions) VORN_STUB(GetLanguage) VORN_STUB(DebugString) VORN_STUB(FindSymbol)
    VORN_STUB(ReinitUsersPlane) VORN_STUB(HostReceiveMessage) VORN_STUB(SetMenuItemName)
    VORN_STUB(DestroyMenu) VORN_STUB(RemoveMenuItem) VORN_STUB(GetFirstNavAid)
    VORN_STUB(GetNextNavAid) VORN_STUB(FindFirstNavAidOfType) VORN_STUB(FindLastNavAidOfType)
    VORN_STUB(FindNavAid) VORN_STUB(GetNavAidInfo) VORN_STUB(CountFMSEntries)
    VORN_STUB(GetDisplayedFMSEntry) VORN_STUB(GetDestinationFMSEntry)
    VORN_STUB(SetDisplayedFMSEntry) VORN_STUB(SetDestinationFMSEntry) VORN_STUB(GetFMSEntryInfo)
    VORN_STUB(SetFMSEntryInfo) VORN_STUB(SetFMSEntryLatLon) VORN_STUB(ClearFMSEntry)
    VORN_STUB(GetGPSDestinationType) VORN_STUB(GetGPSDestination) VORN_STUB(ShowAlert)
    VORN_STUB(ShowLoadingMessage) VORN_STUB(FindCommand) VORN_STUB(CommandBegin)
    VORN_STUB(CommandContinue) VORN_STUB(CommandEnd) VORN_STUB(ProbeTerrainXYZ)
    VORN_STUB(LoadObject) VORN_STUB(DrawObjects) VORN_STUB(UnloadObject) VORN_STUB(LookupObjects)
    VORN_STUB(LoadObjectAsync) VORN_STUB(ReloadScenery) VORN_STUB(LoadDataFile)
    VORN_STUB(SaveDataFile)
    table.GetElapsedTime = [] { return gHost.time; };
    table.GetMouseLocation = [](int* x, int* y, int) {
        if (x != nullptr)
            *x = gHost.mouseX;
        if (y != nullptr)
            *y = gHost.mouseY;
    };
    table.CreateMenu = [](long, int, const char*) { return gHost.nextMenu++; };
    table.AppendMenuItem = [](long, const char*, void*, int) { return gHost.nextItem++; };
    table.CreateProbe = [] { return gHost.nextProbe++; };
    table.GetSystemPath = [](char* out) {
        std::snprintf(out, 512, "%s", "/nonexistent/vorn-api-sequence/");
    };
    return table;
}

#undef VORN_STUB

VORNHostHooks gTable = MakeHostTable();

// ---- Program, records, model ----------------------------------------------------

const int kPlugins = 3;  // ids 1..3; 0 is the host
const int kCommands = 2;
const int kNames = 4;  // data-ref and shared-data names
const int kMaxCallDepth = 6;
const int kMaxScriptDepth = 2;
const size_t kMaxRecs = 256;  // records registered per program
const int kMaxScriptRuns = 5000;  // callback scripts run per program
int gCommandTokens[kCommands];

struct Action {
    uint8_t op = 0, a = 0, b = 0, c = 0;
};
using Script = std::vector<Action>;

enum Kind {
    kDraw, kSniffer, kLoop, kWindow, kHotKey, kMenu, kItem, kHandler,
    kDataRef, kSubscription, kPlanes, kCamera, kProbe
};

struct Rec {
    Kind kind = kDraw;
    int owner = VORN_NO_PLUGIN_ID;
    bool alive = true;
    void* handle = nullptr;
    Script script;
    int depth = 0;     // how deep in scripts it was registered
    int flag = 0;      // callback result choice (consume, keep, before...)
    int calls = 0;     // times its callback was entered
    int param = 0;     // phase, command, name or menu index by kind
    Rec* menu = nullptr;  // kItem: its menu; null for "Plugins"
};

struct PluginModel {
    bool enabled = true, unloaded = false, refuseEnable = false;
    const PluginRecord* record = nullptr;
    std::set<int> held;  // commands begun
    Script messageScript;
    // Its disable hooks run while it is still enabled: a waiting plug-in's
    // callback may hand the aircraft straight back to it, and then it keeps
    // them through its disable and its unload.
    bool disabling = false, keepsAircraft = false;
};

struct Reader {
    const uint8_t* data;
    size_t size;
    size_t pos = 0;
    uint8_t Next() { return pos < size ? data[pos++] : 0; }
};

std::deque<Rec> gRecs;  // stable addresses: they are the refcons
PluginModel gPlugins[kPlugins + 1];
int gCallDepth = 0, gCallbacks = 0, gScriptRuns = 0;

std::string Name(const char* prefix, int index)
{
    return std::string(prefix) + std::to_string(index);
}

int AsInt(const void* handle)
{
    return static_cast<int>(reinterpret_cast<intptr_t>(handle));
}

bool OwnerCallable(int id)
{
    return id >= 1 && id <= kPlugins && gPlugins[id].enabled && !gPlugins[id].unloaded;
}

Rec& NewRec(Kind kind, int owner, const Script& script, int depth)
{
    Rec& rec = gRecs.emplace_back();
    rec.kind = kind;
    rec.owner = owner;
    if (depth <= kMaxScriptDepth)
        rec.script = script;
    rec.depth = depth;
    return rec;
}

bool HandleAliveElsewhere(const Rec& rec)
{
    for (const Rec& other : gRecs) {
        if (&other != &rec && other.alive && other.kind == rec.kind && other.handle == rec.handle)
            return true;
    }
    return false;
}

int Count(int owner, Kind kind)
{
    int n = 0;
    for (const Rec& rec : gRecs)
        n += (rec.alive && rec.kind == kind && (owner < 0 || rec.owner == owner)) ? 1 : 0;
    return n;
}

// The first live record of kind that matches, or null.
template <typename Match>
Rec* FindLive(Kind kind, Match match)
{
    for (Rec& rec : gRecs) {
        if (rec.kind == kind && rec.alive && match(rec))
            return &rec;
    }
    return nullptr;
}

// The record an action targets: selector 0 is self (when self is of the
// kind), else one of the kind's records, dead ones included. Handles the
// library does not validate (flight loops) are only used while alive; a dead
// record whose handle now names a live one counts as that one.
Rec* Target(Kind kind, uint8_t selector, Rec* self, bool trusted = false)
{
    if (selector == 0 && self != nullptr && self->kind == kind)
        return self;
    std::vector<Rec*> all;
    for (Rec& rec : gRecs) {
        if (rec.kind == kind)
            all.push_back(&rec);
    }
    if (all.empty())
        return nullptr;
    Rec* rec = all[selector % all.size()];
    if (!rec->alive && (trusted || HandleAliveElsewhere(*rec)))
        return nullptr;
    return rec;
}

// ---- Callbacks -------------------------------------------------------------------

void RunActions(int id, Rec* self, const Script& script, int depth);
void RunScript(Rec* self);

// A callback of the record is being called: it must be alive, its owner
// callable and dispatched.
Rec* Enter(void* refcon)
{
    Rec* rec = static_cast<Rec*>(refcon);
    ++gCallbacks;
    Check(rec != nullptr && rec->alive, "callback of a removed record", rec ? rec->kind : -1);
    ++rec->calls;
    Check(OwnerCallable(rec->owner), "callback of a plug-in that is disabled or unloaded",
          rec->owner);
    Check(VORNGetMyID() == rec->owner, "callback runs as another plug-in", VORNGetMyID());
    return rec;
}

// Enter, then run the record's script.
Rec* Run(void* refcon)
{
    Rec* rec = Enter(refcon);
    RunScript(rec);
    return rec;
}

int DrawCB(int, int, void* refcon)
{
    return Run(refcon)->flag & 1 ? 0 : 1;
}

int SnifferCB(char, int, char, void* refcon)
{
    return Run(refcon)->flag & 1 ? 0 : 1;
}

// Hot keys and shared data.
void NotifyCB(void* refcon)
{
    Run(refcon);
}

void MenuCB(void* menuRef, void* itemRef)
{
    Rec* menu = Enter(menuRef);
    const Rec* item = static_cast<Rec*>(itemRef);
    Check(item != nullptr && item->alive && item->menu == menu, "pick of a removed item");
    RunScript(menu);
}

int CommandCB(VORNCommandRef, int, void* refcon)
{
    return Run(refcon)->flag & 1 ? 0 : 1;
}


// The model learns of enabling, disabling and unloading the way a plug-in
// does, through its entry points: the library also calls them on its own
// (a reload disables and unloads everyone).
PluginModel& EntryPlugin(const char* what)
{
    const int id = VORNGetMyID();
    Check(id >= 1 && id <= kPlugins && !gPlugins[id].unloaded, what, id);
    return gPlugins[id];
}

int EnableCB()
{
    PluginModel& p = EntryPlugin("enable of an unloaded plug-in");
    Check(!p.enabled, "enable of an enabled plug-in", VORNGetMyID());
    p.enabled = !p.refuseEnable;
    return p.enabled ? 1 : 0;
}

void DisableCB()
{
    // Disabled again inside its own disable hooks, it hears of it once per call.
    EntryPlugin("disable of an unloaded plug-in").enabled = false;
}

void StopCB()
{
    // Enabled again by another plug-in's callback during the one disable
    // sweep of a shutdown, a plug-in is stopped enabled.
    PluginModel& p = EntryPlugin("stop of an unloaded plug-in");
    p.unloaded = true;
    p.enabled = false;
}

void ReceiveCB(VORNPluginID, int, void*)
{
    const int id = VORNGetMyID();
    ++gCallbacks;
    Check(OwnerCallable(id), "message to a plug-in that cannot take it", id);
    RunActions(id, nullptr, gPlugins[id].messageScript, 0);
}

// ---- Plug-in actions --------------------------------------------------------------

enum Op {
    kRegDraw, kUnregDraw, kRegSniffer, kUnregSniffer, kCreateLoop, kDestroyLoop, kScheduleLoop,
    kCreateWindow, kDestroyWindow, kTakeFocus, kBringToFront, kSetVisible, kRegHotKey,
    kUnregHotKey, kCreateMenu, kDestroyMenu, kAppendItem, kRemoveItem, kRegHandler,
    kUnregHandler, kCommandBegin, kCommandEnd, kRegDataRef, kUnregDataRef, kReadDataRef,
    kWriteDataRef, kShare, kUnshare, kWriteShared, kAcquirePlanes, kReleasePlanes,
    kControlCamera, kDontControlCamera, kCreateProbe, kDestroyProbe, kEnablePlugin,
    kDisablePlugin, kReloadPlugins, kSendMessage, kPluginOpCount,
    // host steps
    kEvent = kPluginOpCount, kDrawStep, kMouseDown, kMouseDrag, kMouseUp, kKeyPress, kMenuPick,
    kCommandHook, kUnload, kReload, kCameraHook, kCursorWheel, kOpCount
};

// The plug-in steps that register something; they are followed by a script.
const std::set<int> kRegistering = {kRegDraw, kRegSniffer, kCreateLoop, kCreateWindow,
                                    kRegHotKey, kCreateMenu, kRegHandler, kRegDataRef,
                                    kShare, kAcquirePlanes, kControlCamera};

const float kScheduleIntervals[4] = {-1.0f, -3.0f, 0.0f, 0.5f};

// Acting plug-in `me` registers something; registrations made by a script
// give the new record their script again, one level deeper.
struct Context {
    int me;
    Rec* self;  // the record whose callback runs, or null at top level
    const Script* script;
    int depth;
};

Rec& Register(const Context& cx, Kind kind, const Action& act)
{
    Rec& rec = NewRec(kind, cx.me, *cx.script, cx.depth);
    rec.flag = act.c;
    return rec;
}

// Removes the record the action picks, whoever owns it.
void Destroy(const Context& cx, Kind kind, const Action& act, void (*destroy)(void*))
{
    if (Rec* rec = Target(kind, act.a, cx.self)) {
        destroy(rec->handle);
        rec->alive = false;
    }
}

void DoRegDraw(const Context& cx, const Action& act)
{
    static const int kPhases[4] = {0, 50, 100, 35};
    Rec& rec = Register(cx, kDraw, act);
    rec.param = kPhases[act.a & 3];
    const int before = act.b & 1;
    rec.handle = reinterpret_cast<void*>(static_cast<intptr_t>(before));
    Check(VORNRegisterDrawCallback(DrawCB, rec.param, before, &rec) == 1, "draw refused");
}

// Unregisters the record the action picks, whoever owns it; the library says
// whether it was still registered.
template <typename F>
void Unregister(const Context& cx, Kind kind, const Action& act, const char* what, F unregister)
{
    if (Rec* rec = Target(kind, act.a, cx.self)) {
        const int result = unregister(*rec);
        Check(result == (rec->alive ? 1 : 0), what, result);
        rec->alive = false;
    }
}

void DoCreateLoop(const Context& cx, const Action& act)
{
    Rec& rec = Register(cx, kLoop, act);
    const auto callback = [](float, float, int, void* refcon) {
        static const float kIntervals[4] = {-1.0f, -2.0f, 0.0f, 0.25f};
        return kIntervals[Run(refcon)->flag & 3];
    };
    VORNCreateFlightLoop_t params{sizeof params, act.a & 1, callback, &rec};
    rec.handle = VORNCreateFlightLoop(&params);
    VORNScheduleFlightLoop(rec.handle, kScheduleIntervals[act.b & 3], act.b & 4);
}

void DoCreateWindow(const Context& cx, const Action& act)
{
    Rec& rec = Register(cx, kWindow, act);
    const int left = (act.a & 7) * 10;
    const int bottom = (act.a >> 3 & 7) * 10;
    VORNCreateWindow_t params{
        sizeof params, left, bottom + 20 + (act.b >> 2 & 3) * 20, left + 20 + (act.b & 3) * 20,
        bottom, (act.b & 16) ? 0 : 1,
        [](VORNWindowID window, void* refcon) {
            Check(Run(refcon)->handle == window, "window callback for another window");
        },
        [](VORNWindowID window, int, int, int, void* refcon) {
            const Rec* rec = Run(refcon);
            Check(rec->handle == window, "mouse callback for another window");
            return rec->flag & 1;
        },
        [](VORNWindowID, char, int, char, void* refcon, int) { Run(refcon); },
        [](VORNWindowID, int, int, void* refcon) { return Enter(refcon)->flag & 2; },
        [](VORNWindowID, int, int, int, int, void* refcon) { return Run(refcon)->flag & 1; },
        &rec};
    rec.handle = VORNCreateWindowEx(&params);
    Check(rec.handle != nullptr, "window not created");
}

void DoCreateMenu(const Context& cx, const Action& act)
{
    Rec* parent = (act.b & 1) ? Target(kMenu, act.a, cx.self) : nullptr;
    Rec& rec = Register(cx, kMenu, act);
    if (parent == nullptr) {
        // The new menu hangs off an item of the caller's in "Plugins".
        NewRec(kItem, cx.me, Script(), kMaxScriptDepth + 1);
        rec.handle = VORNCreateMenu("fuzz", nullptr, 0, MenuCB, &rec);
        Check(rec.handle != nullptr, "menu not created");
        return;
    }
    rec.handle = VORNCreateMenu("fuzz", parent->handle, 0, MenuCB, &rec);
    Check((rec.handle != nullptr) == parent->alive, "sub-menu creation", parent->alive);
    if (rec.handle == nullptr)
        gRecs.pop_back();  // nothing was created (the host was not called back)
}

// The caller's items in menu (null: "Plugins"), in the host's order.
std::vector<Rec*> ItemsOf(const Rec* menu, int owner)
{
    std::vector<Rec*> items;
    for (Rec& rec : gRecs) {
        if (rec.kind == kItem && rec.alive && rec.menu == menu && rec.owner == owner)
            items.push_back(&rec);
    }
    return items;
}

void DoDestroyMenu(const Context& cx, const Action& act)
{
    Rec* menu = Target(kMenu, act.a, cx.self);
    if (menu == nullptr)
        return;
    VORNDestroyMenu(menu->handle);
    if (!menu->alive || menu->owner != cx.me)
        return;
    menu->alive = false;
    for (Rec& rec : gRecs) {
        if (rec.kind == kItem && rec.menu == menu)
            rec.alive = false;
    }
}

void DoAppendItem(const Context& cx, const Action& act)
{
    Rec* menu = Target(kMenu, act.a, cx.self);
    if (menu == nullptr)
        return;
    const int expected = menu->alive ? static_cast<int>(ItemsOf(menu, cx.me).size()) : -1;
    Rec& item = NewRec(kItem, cx.me, Script(), kMaxScriptDepth + 1);
    item.menu = menu;
    item.alive = menu->alive;
    const int index = VORNAppendMenuItem(menu->handle, "item", &item, 0);
    Check(index == expected, "append item index", index);
}

void DoRemoveItem(const Context& cx, const Action& act)
{
    Rec* menu = Target(kMenu, act.a, cx.self);
    if (menu == nullptr)
        return;
    VORNRemoveMenuItem(menu->handle, act.b & 3);
    const std::vector<Rec*> items = ItemsOf(menu, cx.me);
    if (menu->alive && (act.b & 3) < static_cast<int>(items.size()))
        items[act.b & 3]->alive = false;
}

Rec* LiveDataRef(int name)
{
    return FindLive(kDataRef, [name](const Rec& rec) { return rec.param == name; });
}

void DoRegDataRef(const Context& cx, const Action& act)
{
    const int name = act.a % kNames;
    Rec* holder = LiveDataRef(name);
    Rec& rec = Register(cx, kDataRef, act);
    rec.param = name;
    rec.handle = VORNRegisterDataAccessor(
        Name("vorn/fuzz/ref", name).c_str(), 1, 1,
        [](void* refcon) {
            Run(refcon);
            return 7;
        },
        [](void* refcon, int) { Run(refcon); }, nullptr, nullptr, nullptr, nullptr, nullptr,
        nullptr, nullptr, nullptr, nullptr, nullptr, &rec, &rec);
    Check(rec.handle != nullptr, "data ref not registered");
    if (holder != nullptr) {
        Check(holder->handle == rec.handle, "held data ref gave another handle");
        rec.alive = false;
    }
}

void DoUnregDataRef(const Context& cx, const Action& act)
{
    Rec* rec = Target(kDataRef, act.a, cx.self);
    if (rec == nullptr)
        return;
    VORNUnregisterDataAccessor(static_cast<VORNDataRef>(rec->handle));
    Rec* live = LiveDataRef(rec->param);
    if (live != nullptr && live->owner == cx.me)
        live->alive = false;
}

// Reads and writes reach the accessor of the live publisher of the name if,
// and only if, it can be called.
void DoReadOrWriteDataRef(const Context& cx, const Action& act, bool write)
{
    Rec* rec = Target(kDataRef, act.a, cx.self);
    if (rec == nullptr)
        return;
    Rec* live = LiveDataRef(rec->param);
    const bool expected = live != nullptr && OwnerCallable(live->owner);
    const int before = live != nullptr ? live->calls : 0;
    if (write)
        VORNSetDatai(static_cast<VORNDataRef>(rec->handle), act.b);
    else
        VORNGetDatai(static_cast<VORNDataRef>(rec->handle));
    // (Its script may read or write it again.)
    if (live != nullptr)
        Check(expected ? live->calls > before : live->calls == before, "accessor calls",
              live->calls - before);
}

void DoUnshare(const Context& cx, const Action& act)
{
    Rec* rec = Target(kSubscription, act.a, cx.self);
    if (rec == nullptr)
        return;
    const int result =
        VORNUnshareData(Name("vorn/fuzz/shared", rec->param).c_str(), 1, NotifyCB, rec);
    const bool expected = rec->alive && rec->owner == cx.me;
    Check(result == (expected ? 1 : 0), "unshare result", result);
    if (expected)
        rec->alive = false;
}

void DoWriteShared(const Action& act)
{
    const std::string name = Name("vorn/fuzz/shared", act.a % kNames);
    VORNShareData(name.c_str(), 1, nullptr, nullptr);
    VORNSetDatai(VORNFindDataRef(name.c_str()), act.b);
}

void DoAcquirePlanes(const Context& cx, const Action& act)
{
    Rec& rec = Register(cx, kPlanes, act);
    const auto callback = [](void* refcon) {
        Rec* waiter = Enter(refcon);
        waiter->alive = false;  // a waiting plug-in is called once
        RunScript(waiter);
    };
    if (VORNAcquirePlanes(nullptr, callback, &rec) == 1) {
        rec.alive = false;  // not queued: never called
        gPlugins[cx.me].keepsAircraft = gPlugins[cx.me].disabling;
    }
}

// The camera callback before is not told when another takes over.
void ForgetCameraCallbacks()
{
    for (Rec& rec : gRecs)
        rec.alive = rec.alive && rec.kind != kCamera;
}

// Plug-in id as an action names it: 0 is the acting plug-in itself.
int PluginArg(const Context& cx, uint8_t arg)
{
    return (arg & 3) == 0 ? cx.me : (arg & 3);
}

void DoDisable(int id)
{
    const bool outer = gPlugins[id].disabling;
    gPlugins[id].disabling = true;
    VORNDisablePlugin(id);
    gPlugins[id].disabling = outer;
    Check(!gPlugins[id].enabled, "still enabled after a disable", id);
}

void RunPluginAction(const Context& cx, const Action& act)
{
    const int op = act.op % kPluginOpCount;
    const int command = act.a % kCommands;
    // Callbacks that register callbacks could otherwise grow without bound.
    if ((kRegistering.count(op) != 0 || op == kAppendItem) && gRecs.size() >= kMaxRecs)
        return;
    switch (op) {
    case kRegDraw: return DoRegDraw(cx, act);
    case kUnregDraw:
        return Unregister(cx, kDraw, act, "unregister draw result", [](Rec& rec) {
            return VORNUnregisterDrawCallback(DrawCB, rec.param, AsInt(rec.handle), &rec);
        });
    case kRegSniffer: {
        Rec& rec = Register(cx, kSniffer, act);
        rec.param = act.a & 1;
        Check(VORNRegisterKeySniffer(SnifferCB, rec.param, &rec) == 1, "sniffer refused");
        return;
    }
    case kUnregSniffer:
        return Unregister(cx, kSniffer, act, "unregister sniffer result", [](Rec& rec) {
            return VORNUnregisterKeySniffer(SnifferCB, rec.param, &rec);
        });
    case kCreateLoop: return DoCreateLoop(cx, act);
    case kDestroyLoop:
        if (Rec* rec = Target(kLoop, act.a, cx.self, true)) {
            VORNDestroyFlightLoop(rec->handle);
            rec->alive = rec->alive && rec->owner != cx.me;  // not another's
        }
        return;
    case kScheduleLoop:
        if (Rec* rec = Target(kLoop, act.a, cx.self, true))
            VORNScheduleFlightLoop(rec->handle, kScheduleIntervals[act.b & 3], act.b & 4);
        return;
    case kCreateWindow: return DoCreateWindow(cx, act);
    case kDestroyWindow: return Destroy(cx, kWindow, act, VORNDestroyWindow);
    case kTakeFocus: {
        Rec* rec = (act.a & 7) == 7 ? nullptr : Target(kWindow, act.a, cx.self);
        return VORNTakeKeyboardFocus(rec != nullptr ? rec->handle : nullptr);
    }
    case kBringToFront:
        if (Rec* rec = Target(kWindow, act.a, cx.self))
            VORNBringWindowToFront(rec->handle);
        return;
    case kSetVisible:
        if (Rec* rec = Target(kWindow, act.a, cx.self))
            VORNSetWindowIsVisible(rec->handle, act.b & 1);
        return;
    case kRegHotKey: {
        Rec& rec = Register(cx, kHotKey, act);
        const char key = static_cast<char>('A' + (act.a & 1));
        rec.handle = VORNRegisterHotKey(key, act.b & 1, "fuzz", NotifyCB, &rec);
        return Check(rec.handle != nullptr, "hot key not registered");
    }
    case kUnregHotKey: return Destroy(cx, kHotKey, act, VORNUnregisterHotKey);
    case kCreateMenu: return DoCreateMenu(cx, act);
    case kDestroyMenu: return DoDestroyMenu(cx, act);
    case kAppendItem: return DoAppendItem(cx, act);
    case kRemoveItem: return DoRemoveItem(cx, act);
    case kRegHandler: {
        Rec& rec = Register(cx, kHandler, act);
        rec.param = command;
        rec.handle = reinterpret_cast<void*>(static_cast<intptr_t>(act.b & 1));
        return VORNRegisterCommandHandler(&gCommandTokens[command], CommandCB, act.b & 1, &rec);
    }
    case kUnregHandler:
        if (Rec* rec = Target(kHandler, act.a, cx.self)) {
            VORNUnregisterCommandHandler(&gCommandTokens[rec->param], CommandCB,
                                         AsInt(rec->handle), rec);
            rec->alive = rec->alive && rec->owner != cx.me;  // not another's
        }
        return;
    case kCommandBegin:
        VORNCommandBegin(&gCommandTokens[command]);
        gPlugins[cx.me].held.insert(command);
        return;
    case kCommandEnd:
        VORNCommandEnd(&gCommandTokens[command]);
        gPlugins[cx.me].held.erase(command);
        return;
    case kRegDataRef: return DoRegDataRef(cx, act);
    case kUnregDataRef: return DoUnregDataRef(cx, act);
    case kReadDataRef: return DoReadOrWriteDataRef(cx, act, false);
    case kWriteDataRef: return DoReadOrWriteDataRef(cx, act, true);
    case kShare: {
        Rec& rec = Register(cx, kSubscription, act);
        rec.param = act.a % kNames;
        const int result =
            VORNShareData(Name("vorn/fuzz/shared", rec.param).c_str(), 1, NotifyCB, &rec);
        return Check(result == 1, "share refused", result);
    }
    case kUnshare: return DoUnshare(cx, act);
    case kWriteShared: return DoWriteShared(act);
    case kAcquirePlanes: return DoAcquirePlanes(cx, act);
    case kReleasePlanes: return VORNReleasePlanes();
    case kControlCamera: {
        ForgetCameraCallbacks();
        const auto callback = [](VORNCameraPositionRecord*, int losing, void* refcon) {
            Rec* rec = Run(refcon);
            if (losing != 0 || (rec->flag & 1) == 0)
                rec->alive = false;  // never called again
            return losing != 0 ? 0 : rec->flag & 1;
        };
        return VORNControlCamera(1 + (act.a & 1), callback, &Register(cx, kCamera, act));
    }
    case kDontControlCamera:
        VORNDontControlCamera();
        return ForgetCameraCallbacks();
    case kCreateProbe: {
        Rec& rec = Register(cx, kProbe, act);
        rec.handle = VORNCreateProbe(act.a & 1);
        return Check(rec.handle != nullptr, "probe not created");
    }
    case kDestroyProbe: return Destroy(cx, kProbe, act, VORNDestroyProbe);
    case kEnablePlugin: {
        const int id = PluginArg(cx, act.a);
        const int result = VORNEnablePlugin(id);
        return Check(result == (OwnerCallable(id) ? 1 : 0), "enable result", result);
    }
    case kDisablePlugin: return DoDisable(PluginArg(cx, act.a));
    case kReloadPlugins: return VORNReloadPlugins();
    case kSendMessage: return VORNSendMessageToPlugin(PluginArg(cx, act.a), 1000, nullptr);
    default: return;
    }
}

void RunActions(int id, Rec* self, const Script& script, int depth)
{
    // Scripts that write what their own subscribers watch fan out at every
    // level: both the depth and the total number of runs are bounded.
    if (gCallDepth >= kMaxCallDepth || gScriptRuns >= kMaxScriptRuns)
        return;
    ++gScriptRuns;
    ++gCallDepth;
    const Context cx{id, self, &script, depth + 1};
    // A copy: an action may end the plug-in's model (a reload) mid-script.
    const Script actions = script;
    for (const Action& act : actions) {
        if (!OwnerCallable(id))
            break;  // it disabled itself: its code is not running any more
        RunPluginAction(cx, act);
    }
    --gCallDepth;
}

void RunScript(Rec* self)
{
    RunActions(self->owner, self, self->script, self->depth);
}

// ---- Set-up and tear-down ------------------------------------------------------------

// A fresh set of plug-ins after the registry was emptied (start, reload); the
// message scripts and refusals of the program stay.
void AddPlugins()
{
    for (int id = 1; id <= kPlugins; ++id) {
        PluginModel fresh;
        fresh.messageScript = gPlugins[id].messageScript;
        fresh.refuseEnable = gPlugins[id].refuseEnable;
        auto record = std::make_unique<PluginRecord>();
        record->name = Name("Fuzz plug-in ", id);
        record->signature = Name("vorn.fuzz.plugin", id);
        record->enable = EnableCB;
        record->disable = DisableCB;
        record->stop = StopCB;
        record->receive = ReceiveCB;
        record->enabled = true;
        fresh.record = record.get();
        gPlugins[id] = fresh;
        const int added = VORNAddPluginRecord(std::move(record));
        Check(added == id, "plug-in id", added);
    }
}

void StartSession()
{
    gHooks = &gTable;
    gHost = HostState();
    gRecs.clear();
    gCallDepth = gCallbacks = gScriptRuns = 0;
    for (PluginModel& p : gPlugins)
        p = PluginModel();
    vorntest::ResetLibraryState();
    VORNInitMenus();
    VORNRegisterHostPlugin();
    AddPlugins();
}

// ---- Checking the library against the model -------------------------------------------

Rec* WindowRec(const void* window)
{
    return FindLive(kWindow, [window](const Rec& rec) { return rec.handle == window; });
}

void CheckFocusAndDrag()
{
    // A plug-in that takes the focus back while its disable hooks run keeps
    // it while disabled; keys then pass it by (the callback check).
    Check(VORNFocusWindow() == nullptr || WindowRec(VORNFocusWindow()) != nullptr,
          "focus on a destroyed window");
    if (VORNDragWindow() != nullptr) {
        const Rec* rec = WindowRec(VORNDragWindow());
        Check(rec != nullptr, "drag by a destroyed window");
        Check(OwnerCallable(rec->owner), "drag by a disabled plug-in's window", rec->owner);
    }
}

void CheckWindowsAndLoops()
{
    for (Rec& rec : gRecs) {
        if (rec.kind == kWindow && (rec.alive || !HandleAliveElsewhere(rec)))
            Check(VORNGetWindowRefCon(rec.handle) == (rec.alive ? &rec : nullptr),
                  "window id known or unknown against the model", rec.alive);
    }
    int live = 0;
    for (auto* loop = VORNFirstFlightLoop(); loop != nullptr;
         loop = VORNResourceList<VORNFlightLoopRecord>::Next(loop)) {
        if (loop->dead)
            continue;
        ++live;
        const Rec* rec = static_cast<const Rec*>(loop->refcon);
        Check(rec->alive && rec->handle == loop && rec->owner == loop->owner,
              "flight loop not in the model");
    }
    Check(live == Count(-1, kLoop), "live flight loops", live);
}

void CheckInventory(int id)
{
    VORNPluginInventory inv{};
    inv.structSize = sizeof inv;
    Check(VORNGetPluginInventory(id, &inv) == 1, "inventory", id);
    const PluginModel& p = gPlugins[id];
    Check(inv.drawCallbacks == Count(id, kDraw), "draw callbacks", inv.drawCallbacks);
    Check(inv.keySniffers == Count(id, kSniffer), "key sniffers", inv.keySniffers);
    Check(inv.flightLoops == Count(id, kLoop), "flight loops", inv.flightLoops);
    Check(inv.windows == Count(id, kWindow), "windows", inv.windows);
    Check(inv.hotKeys == Count(id, kHotKey), "hot keys", inv.hotKeys);
    Check(inv.menus == Count(id, kMenu), "menus", inv.menus);
    Check(inv.menuItems == Count(id, kItem), "menu items", inv.menuItems);
    Check(inv.commandHandlers == Count(id, kHandler), "command handlers", inv.commandHandlers);
    Check(inv.heldCommands == static_cast<int>(p.held.size()), "held commands", inv.heldCommands);
    Check(inv.dataRefs == Count(id, kDataRef), "data refs", inv.dataRefs);
    Check(inv.sharedData == Count(id, kSubscription), "shared data", inv.sharedData);
    Check(inv.probes == Count(id, kProbe), "probes", inv.probes);
    Check(VORNIsPluginEnabled(id) == (OwnerCallable(id) ? 1 : 0), "enabled", id);
}

void CheckModel()
{
    Check(gDispatchedPlugin == VORN_HOST_PLUGIN_ID, "dispatched plug-in not restored",
          gDispatchedPlugin);
    for (int id = 1; id <= kPlugins; ++id)
        CheckInventory(id);
    CheckFocusAndDrag();
    CheckWindowsAndLoops();
    const int aircraftOwner = VORNPlanesOwner();
    Check(aircraftOwner == VORN_NO_PLUGIN_ID || OwnerCallable(aircraftOwner) ||
              gPlugins[aircraftOwner].keepsAircraft,
          "aircraft owner", aircraftOwner);
    Check(!VORNIsCameraBeingControlled(nullptr) || OwnerCallable(VORNCameraController()),
          "camera controller", VORNCameraController());
}

// ---- Host steps ---------------------------------------------------------------------------

void Unload(int id)
{
    if (gPlugins[id].unloaded)
        return;
    DoDisable(id);
    UnloadOnePlugin(id);
    Check(gPlugins[id].unloaded, "unloaded without being stopped", id);
    gPlugins[id].held.clear();
    for (Rec& rec : gRecs) {
        // Items it put into other plug-ins' menus stay there.
        if (rec.owner == id && !(rec.kind == kItem && rec.menu != nullptr && rec.menu->alive &&
                                 rec.menu->owner != id))
            rec.alive = false;
        if (rec.kind == kItem && rec.menu != nullptr && rec.menu->owner == id)
            rec.alive = false;
    }
}

// A reload empties the registry: the old plug-ins and all they owned are gone
// and the same three come back as new records.
void NoteReload()
{
    bool reloaded = gAllPlugins.size() < static_cast<size_t>(kPlugins + 1);
    for (int id = 1; id <= kPlugins && !reloaded; ++id)
        reloaded = gAllPlugins[id].get() != gPlugins[id].record;
    if (!reloaded)
        return;
    Check(gAllPlugins.size() == 1, "plug-ins left after a reload", gAllPlugins.size());
    for (Rec& rec : gRecs)
        rec.alive = false;
    AddPlugins();
}

// At stage 1 the focus window takes every key, through its key callback,
// unless its plug-in is disabled: then the host keeps the key.
void KeyPress(const Action& act)
{
    const char key = static_cast<char>('A' + (act.a & 1));
    const int stage = act.c % 3;
    Rec* focus = stage == 1 ? WindowRec(VORNFocusWindow()) : nullptr;
    const int before = focus != nullptr ? focus->calls : 0;
    // Asked before the key goes in: the focus window's key callback may
    // disable its own plug-in, and the key is still taken.
    const bool callable = focus != nullptr && OwnerCallable(focus->owner);
    const int result = VORNKeyPressHook(key, act.b & 1, key, stage);
    if (callable) {
        Check(result == 0, "key not taken by the focus window");
        Check(focus->calls > before, "focus window key calls", focus->calls - before);
    } else if (focus != nullptr) {
        Check(result == 1, "key taken by a disabled plug-in's focus window");
    }
}

void RunHostStep(int op, uint8_t who, const Action& act)
{
    static const int kEvents[8] = {0, 10, 9, 1, 2, 3, 8, 0};
    const int x = act.a % 100;
    const int y = act.b % 100;
    switch (op) {
    case kEvent:
        gHost.time += (act.b & 15) / 8.0f;
        VORNEventHook(kEvents[act.a & 7], nullptr, gHost.time);
        return;
    case kDrawStep: VORNDoDrawingHook(1 + act.a % 26, act.b & 1); return;
    case kMouseDown: VORNMouseClickHook(x, y, 1); return;
    case kMouseDrag:
        gHost.mouseX = x;
        gHost.mouseY = y;
        (act.c & 1) ? VORNDoDrawingHook(20, 0) : VORNDisplayMouseClickHook(x, y, 2);
        return;
    case kMouseUp: VORNMouseClickHook(x, y, 0); return;
    case kKeyPress: return KeyPress(act);
    case kMenuPick: VORNMenuHook(1 + act.a % std::max(gHost.nextItem - 1, 1)); return;
    case kCommandHook:
        VORNCommandHook(&gCommandTokens[act.a % kCommands], act.b & 1, act.b >> 1 & 1, act.c & 1);
        return;
    case kUnload: return Unload(1 + (who & 0x3f) % kPlugins);
    case kReload:
        VORNReloadPlugins();
        VORNEventHook(0, nullptr, gHost.time);
        return;
    case kCameraHook: {
        float v[7] = {};
        VORNCameraHook(&v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6]);
        return;
    }
    case kCursorWheel:
        (act.c & 1) ? (void)VORNScrollWheelHook(x, y, 0, 1) : (void)VORNCursorHook(x, y);
        return;
    default: return;
    }
}

void RunStep(Reader& in)
{
    const int op = in.Next() % kOpCount;
    const uint8_t who = in.Next();
    const Action act{static_cast<uint8_t>(op), in.Next(), in.Next(), in.Next()};
    if (op >= kPluginOpCount) {
        RunHostStep(op, who, act);
    } else {
        const int id = 1 + (who & 0x3f) % kPlugins;
        Script script;
        if (kRegistering.count(op) != 0 || (who & 0x40)) {
            script.resize(in.Next() % 4);
            for (Action& step : script)
                step = Action{in.Next(), in.Next(), in.Next(), in.Next()};
        }
        if (who & 0x80)
            gPlugins[id].refuseEnable = !gPlugins[id].refuseEnable;
        if (who & 0x40)
            gPlugins[id].messageScript = script;
        if (OwnerCallable(id)) {
            StDispatchCallback asPlugin(id);
            RunPluginAction(Context{id, nullptr, &script, 0}, act);
        }
    }
    NoteReload();
    CheckModel();
}

// Unloads every plug-in: afterwards nothing of theirs may be left anywhere.
void EndSession()
{
    for (int id = 1; id <= kPlugins; ++id)
        Unload(id);
    CheckModel();
    vorntest::ResetLibraryState();
    gHooks = nullptr;
}

}  // namespace

SequenceStats RunApiSequence(const uint8_t* data, size_t size)
{
    StartSession();
    Reader in{data, size};
    SequenceStats stats;
    while (in.pos < size && stats.steps < 400) {
        RunStep(in);
        ++stats.steps;
    }
    EndSession();
    stats.callbacks = gCallbacks;
    return stats;
}

}  // namespace vornfuzz
