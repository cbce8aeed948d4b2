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

#include <cstdio>
#include <deque>
#include <set>
#include <string>
#include <vector>

namespace vornfuzz {
namespace {

// ---- Failing ------------------------------------------------------------------

[[noreturn]] void Fail(const char* what, long detail = 0)
{
    std::fprintf(stderr, "api_sequence: model mismatch: %s (%ld)\n", what, detail);
    std::fflush(stderr);
    __builtin_trap();
}

void Check(bool ok, const char* what, long detail = 0)
{
    if (!ok)
        Fail(what, detail);
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

float gTime = 0.0f;
int gMouseX = 0;
int gMouseY = 0;
long gNextHostMenu = 1000;
int gNextHostItem = 1;
int gNextProbe = 0;

float HostElapsedTime()
{
    return gTime;
}

void HostMouseLocation(int* x, int* y, int)
{
    if (x != nullptr)
        *x = gMouseX;
    if (y != nullptr)
        *y = gMouseY;
}

long HostCreateMenu(long, int, const char*)
{
    return gNextHostMenu++;
}

int HostAppendMenuItem(long, const char*, void*, int)
{
    return gNextHostItem++;
}

int HostCreateProbe()
{
    return gNextProbe++;
}

void HostSystemPath(char* out)
{
    std::snprintf(out, 512, "%s", "/nonexistent/vorn-api-sequence/");
}

#define VORN_FUZZ_STUB(slot) table.slot = &Stub<decltype(table.slot)>::Call;

VORNHostHooks MakeHostTable()
{
    VORNHostHooks table{};
    table.version = VORN_HOST_HOOKS_VERSION_LOADING_MESSAGE;
    table.tableSize = VORN_HOST_HOOKS_SIZE;
    VORN_FUZZ_STUB(GetScreenSize) VORN_FUZZ_STUB(GetMouseLocation)
    VORN_FUZZ_STUB(TakeKeyboardFocus) VORN_FUZZ_STUB(SetGraphicsState)
    VORN_FUZZ_STUB(BindTexture2d) VORN_FUZZ_STUB(GenerateTextureNumbers)
    VORN_FUZZ_STUB(GetTexture) VORN_FUZZ_STUB(WorldToLocal) VORN_FUZZ_STUB(LocalToWorld)
    VORN_FUZZ_STUB(DrawTranslucentDarkBox) VORN_FUZZ_STUB(DrawString)
    VORN_FUZZ_STUB(DrawNumber) VORN_FUZZ_STUB(GetFontDimensions)
    VORN_FUZZ_STUB(MeasureString) VORN_FUZZ_STUB(GetElapsedTime)
    VORN_FUZZ_STUB(ReadCameraPosition) VORN_FUZZ_STUB(DrawAircraft)
    VORN_FUZZ_STUB(SetAircraftModel) VORN_FUZZ_STUB(GetNthAircraftModel)
    VORN_FUZZ_STUB(CountAircraft) VORN_FUZZ_STUB(PlaceUserAtAirport)
    VORN_FUZZ_STUB(SimulateKeyPress) VORN_FUZZ_STUB(SpeakString)
    VORN_FUZZ_STUB(CommandKeyStroke) VORN_FUZZ_STUB(CommandButton)
    VORN_FUZZ_STUB(GetSystemPath) VORN_FUZZ_STUB(GetPrefsPath) VORN_FUZZ_STUB(GetVersions)
    VORN_FUZZ_STUB(GetLanguage) VORN_FUZZ_STUB(DebugString) VORN_FUZZ_STUB(FindSymbol)
    VORN_FUZZ_STUB(ReinitUsersPlane) VORN_FUZZ_STUB(HostReceiveMessage)
    VORN_FUZZ_STUB(CreateMenu) VORN_FUZZ_STUB(AppendMenuItem)
    VORN_FUZZ_STUB(SetMenuItemName) VORN_FUZZ_STUB(DestroyMenu)
    VORN_FUZZ_STUB(RemoveMenuItem) VORN_FUZZ_STUB(GetFirstNavAid)
    VORN_FUZZ_STUB(GetNextNavAid) VORN_FUZZ_STUB(FindFirstNavAidOfType)
    VORN_FUZZ_STUB(FindLastNavAidOfType) VORN_FUZZ_STUB(FindNavAid)
    VORN_FUZZ_STUB(GetNavAidInfo) VORN_FUZZ_STUB(CountFMSEntries)
    VORN_FUZZ_STUB(GetDisplayedFMSEntry) VORN_FUZZ_STUB(GetDestinationFMSEntry)
    VORN_FUZZ_STUB(SetDisplayedFMSEntry) VORN_FUZZ_STUB(SetDestinationFMSEntry)
    VORN_FUZZ_STUB(GetFMSEntryInfo) VORN_FUZZ_STUB(SetFMSEntryInfo)
    VORN_FUZZ_STUB(SetFMSEntryLatLon) VORN_FUZZ_STUB(ClearFMSEntry)
    VORN_FUZZ_STUB(GetGPSDestinationType) VORN_FUZZ_STUB(GetGPSDestination)
    VORN_FUZZ_STUB(ShowAlert) VORN_FUZZ_STUB(ShowLoadingMessage) VORN_FUZZ_STUB(FindCommand)
    VORN_FUZZ_STUB(CommandBegin) VORN_FUZZ_STUB(CommandContinue) VORN_FUZZ_STUB(CommandEnd)
    VORN_FUZZ_STUB(CreateProbe) VORN_FUZZ_STUB(ProbeTerrainXYZ) VORN_FUZZ_STUB(LoadObject)
    VORN_FUZZ_STUB(DrawObjects) VORN_FUZZ_STUB(UnloadObject) VORN_FUZZ_STUB(LookupObjects)
    VORN_FUZZ_STUB(LoadObjectAsync) VORN_FUZZ_STUB(ReloadScenery)
    VORN_FUZZ_STUB(LoadDataFile) VORN_FUZZ_STUB(SaveDataFile)
    table.GetElapsedTime = HostElapsedTime;
    table.GetMouseLocation = HostMouseLocation;
    table.CreateMenu = HostCreateMenu;
    table.AppendMenuItem = HostAppendMenuItem;
    table.CreateProbe = HostCreateProbe;
    table.GetSystemPath = HostSystemPath;
    return table;
}

#undef VORN_FUZZ_STUB

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
    kDataRef, kSubscription, kPlanes, kCamera, kProbe, kKindCount
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
    bool enabled = true;
    bool unloaded = false;
    bool refuseEnable = false;
    const PluginRecord* record = nullptr;
    std::set<int> held;  // commands begun
    Script messageScript;
    // Its disable hooks run while it is still enabled: a waiting plug-in's
    // callback may hand the aircraft straight back to it, and then it keeps
    // them through its disable and its unload.
    bool disabling = false;
    bool keepsAircraft = false;
};

class Reader {
public:
    Reader(const uint8_t* data, size_t size) : mData(data), mSize(size) {}
    bool AtEnd() const { return mPos >= mSize; }
    uint8_t Next() { return mPos < mSize ? mData[mPos++] : 0; }

private:
    const uint8_t* mData;
    size_t mSize;
    size_t mPos = 0;
};

std::deque<Rec> gRecs;  // stable addresses: they are the refcons
PluginModel gPlugins[kPlugins + 1];
int gCallDepth = 0;
int gCallbacks = 0;
int gScriptRuns = 0;

std::string Name(const char* prefix, int index)
{
    return std::string(prefix) + std::to_string(index);
}

bool OwnerCallable(int id)
{
    return id >= 1 && id <= kPlugins && gPlugins[id].enabled && !gPlugins[id].unloaded;
}

// A callback of rec is being called: it must be alive, its owner callable and
// dispatched.
void Enter(Rec* rec)
{
    ++gCallbacks;
    Check(rec != nullptr && rec->alive, "callback of a removed record", rec ? rec->kind : -1);
    ++rec->calls;
    Check(OwnerCallable(rec->owner), "callback of a plug-in that is disabled or unloaded",
          rec->owner);
    Check(VORNGetMyID() == rec->owner, "callback runs as another plug-in", VORNGetMyID());
}

Rec* AsRec(void* refcon)
{
    return static_cast<Rec*>(refcon);
}

Rec& NewRec(Kind kind, int owner, const Script& script, int depth)
{
    gRecs.emplace_back();
    Rec& rec = gRecs.back();
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
        n += (rec.alive && rec.kind == kind && rec.owner == owner) ? 1 : 0;
    return n;
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

void MarkDead(Kind kind, int owner)
{
    for (Rec& rec : gRecs) {
        if (rec.kind == kind && (owner < 0 || rec.owner == owner))
            rec.alive = false;
    }
}

// ---- Callbacks -------------------------------------------------------------------

void RunScript(Rec* self);
void RunPluginScript(int id, const Script& script);

int DrawCB(int, int, void* refcon)
{
    Rec* rec = AsRec(refcon);
    Enter(rec);
    RunScript(rec);
    return rec->flag & 1 ? 0 : 1;
}

int SnifferCB(char, int, char, void* refcon)
{
    Rec* rec = AsRec(refcon);
    Enter(rec);
    RunScript(rec);
    return rec->flag & 1 ? 0 : 1;
}

float LoopCB(float, float, int, void* refcon)
{
    Rec* rec = AsRec(refcon);
    Enter(rec);
    RunScript(rec);
    static const float kIntervals[4] = {-1.0f, -2.0f, 0.0f, 0.25f};
    return kIntervals[rec->flag & 3];
}

void WindowDrawCB(VORNWindowID window, void* refcon)
{
    Rec* rec = AsRec(refcon);
    Enter(rec);
    Check(rec->handle == window, "window callback for another window");
    RunScript(rec);
}

int WindowMouseCB(VORNWindowID window, int, int, int, void* refcon)
{
    Rec* rec = AsRec(refcon);
    Enter(rec);
    Check(rec->handle == window, "mouse callback for another window");
    RunScript(rec);
    return rec->flag & 1;
}

void WindowKeyCB(VORNWindowID, char, int, char, void* refcon, int)
{
    Rec* rec = AsRec(refcon);
    Enter(rec);
    RunScript(rec);
}

int WindowCursorCB(VORNWindowID, int, int, void* refcon)
{
    Rec* rec = AsRec(refcon);
    Enter(rec);
    return rec->flag & 2;
}

int WindowWheelCB(VORNWindowID, int, int, int, int, void* refcon)
{
    Rec* rec = AsRec(refcon);
    Enter(rec);
    RunScript(rec);
    return rec->flag & 1;
}

void HotKeyCB(void* refcon)
{
    Rec* rec = AsRec(refcon);
    Enter(rec);
    RunScript(rec);
}

void MenuCB(void* menuRef, void* itemRef)
{
    Rec* menu = AsRec(menuRef);
    Enter(menu);
    Rec* item = AsRec(itemRef);
    Check(item != nullptr && item->alive && item->menu == menu, "pick of a removed item");
    RunScript(menu);
}

int CommandCB(VORNCommandRef, int, void* refcon)
{
    Rec* rec = AsRec(refcon);
    Enter(rec);
    RunScript(rec);
    return rec->flag & 1 ? 0 : 1;
}

int ReadIntCB(void* refcon)
{
    Rec* rec = AsRec(refcon);
    Enter(rec);
    RunScript(rec);
    return 7;
}

void WriteIntCB(void* refcon, int)
{
    Rec* rec = AsRec(refcon);
    Enter(rec);
    RunScript(rec);
}

void SharedCB(void* refcon)
{
    Rec* rec = AsRec(refcon);
    Enter(rec);
    RunScript(rec);
}

void PlanesCB(void* refcon)
{
    Rec* rec = AsRec(refcon);
    Enter(rec);
    rec->alive = false;  // a waiting plug-in is called once
    RunScript(rec);
}

int CameraCB(VORNCameraPositionRecord*, int losing, void* refcon)
{
    Rec* rec = AsRec(refcon);
    Enter(rec);
    RunScript(rec);
    if (losing != 0 || (rec->flag & 1) == 0)
        rec->alive = false;  // never called again
    return losing != 0 ? 0 : rec->flag & 1;
}

// The model learns of enabling, disabling and unloading the way a plug-in
// does, through its entry points: the library also calls them on its own
// (a reload disables and unloads everyone).
int EnableCB()
{
    const int id = VORNGetMyID();
    Check(id >= 1 && id <= kPlugins && !gPlugins[id].unloaded, "enable of an unloaded plug-in", id);
    Check(!gPlugins[id].enabled, "enable of an enabled plug-in", id);
    gPlugins[id].enabled = !gPlugins[id].refuseEnable;
    return gPlugins[id].enabled ? 1 : 0;
}

void DisableCB()
{
    const int id = VORNGetMyID();
    Check(id >= 1 && id <= kPlugins && !gPlugins[id].unloaded, "disable of an unloaded plug-in",
          id);
    // Disabled again from inside its own disable hooks, a plug-in hears of
    // it once for each call.
    gPlugins[id].enabled = false;
}

void StopCB()
{
    const int id = VORNGetMyID();
    Check(id >= 1 && id <= kPlugins && !gPlugins[id].unloaded, "stop of an unloaded plug-in", id);
    // Enabled again by another plug-in's callback during the one disable
    // sweep of a shutdown, a plug-in is stopped enabled.
    gPlugins[id].unloaded = true;
    gPlugins[id].enabled = false;
}

void ReceiveCB(VORNPluginID, int, void*)
{
    const int id = VORNGetMyID();
    ++gCallbacks;
    Check(OwnerCallable(id), "message to a plug-in that cannot take it", id);
    RunPluginScript(id, gPlugins[id].messageScript);
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

void DoRegDraw(const Context& cx, const Action& act)
{
    static const int kPhases[4] = {0, 50, 100, 35};
    Rec& rec = Register(cx, kDraw, act);
    rec.param = kPhases[act.a & 3];
    const int before = act.b & 1;
    rec.handle = reinterpret_cast<void*>(static_cast<intptr_t>(before));
    Check(VORNRegisterDrawCallback(DrawCB, rec.param, before, &rec) == 1, "draw refused");
}

void DoUnregDraw(const Context& cx, const Action& act)
{
    Rec* rec = Target(kDraw, act.a, cx.self);
    if (rec == nullptr)
        return;
    const int before = static_cast<int>(reinterpret_cast<intptr_t>(rec->handle));
    const int result = VORNUnregisterDrawCallback(DrawCB, rec->param, before, rec);
    Check(result == (rec->alive ? 1 : 0), "unregister draw result", result);
    rec->alive = false;
}

void DoRegSniffer(const Context& cx, const Action& act)
{
    Rec& rec = Register(cx, kSniffer, act);
    rec.param = act.a & 1;
    Check(VORNRegisterKeySniffer(SnifferCB, rec.param, &rec) == 1, "sniffer refused");
}

void DoUnregSniffer(const Context& cx, const Action& act)
{
    Rec* rec = Target(kSniffer, act.a, cx.self);
    if (rec == nullptr)
        return;
    const int result = VORNUnregisterKeySniffer(SnifferCB, rec->param, rec);
    Check(result == (rec->alive ? 1 : 0), "unregister sniffer result", result);
    rec->alive = false;
}

void DoCreateLoop(const Context& cx, const Action& act)
{
    Rec& rec = Register(cx, kLoop, act);
    VORNCreateFlightLoop_t params{sizeof params, act.a & 1, LoopCB, &rec};
    rec.handle = VORNCreateFlightLoop(&params);
    VORNScheduleFlightLoop(rec.handle, kScheduleIntervals[act.b & 3], act.b & 4);
}

void DoDestroyLoop(const Context& cx, const Action& act)
{
    Rec* rec = Target(kLoop, act.a, cx.self, true);
    if (rec == nullptr)
        return;
    VORNDestroyFlightLoop(rec->handle);
    if (rec->owner == cx.me)
        rec->alive = false;
}

void DoScheduleLoop(const Context& cx, const Action& act)
{
    if (Rec* rec = Target(kLoop, act.a, cx.self, true))
        VORNScheduleFlightLoop(rec->handle, kScheduleIntervals[act.b & 3], act.b & 4);
}

void DoCreateWindow(const Context& cx, const Action& act)
{
    Rec& rec = Register(cx, kWindow, act);
    VORNCreateWindow_t params{};
    params.structSize = sizeof params;
    params.left = (act.a & 7) * 10;
    params.bottom = (act.a >> 3 & 7) * 10;
    params.right = params.left + 20 + (act.b & 3) * 20;
    params.top = params.bottom + 20 + (act.b >> 2 & 3) * 20;
    params.visible = (act.b & 16) ? 0 : 1;
    params.drawWindowFunc = WindowDrawCB;
    params.handleMouseClickFunc = WindowMouseCB;
    params.handleKeyFunc = WindowKeyCB;
    params.handleCursorFunc = WindowCursorCB;
    params.handleMouseWheelFunc = WindowWheelCB;
    params.refcon = &rec;
    rec.handle = VORNCreateWindowEx(&params);
    Check(rec.handle != nullptr, "window not created");
}

void DoDestroyWindow(const Context& cx, const Action& act)
{
    if (Rec* rec = Target(kWindow, act.a, cx.self)) {
        VORNDestroyWindow(rec->handle);
        rec->alive = false;
    }
}

void DoTakeFocus(const Context& cx, const Action& act)
{
    Rec* rec = (act.a & 7) == 7 ? nullptr : Target(kWindow, act.a, cx.self);
    VORNTakeKeyboardFocus(rec != nullptr ? rec->handle : nullptr);
}

void DoBringToFront(const Context& cx, const Action& act)
{
    if (Rec* rec = Target(kWindow, act.a, cx.self))
        VORNBringWindowToFront(rec->handle);
}

void DoSetVisible(const Context& cx, const Action& act)
{
    if (Rec* rec = Target(kWindow, act.a, cx.self))
        VORNSetWindowIsVisible(rec->handle, act.b & 1);
}

void DoRegHotKey(const Context& cx, const Action& act)
{
    Rec& rec = Register(cx, kHotKey, act);
    rec.handle = VORNRegisterHotKey(static_cast<char>('A' + (act.a & 1)), act.b & 1, "fuzz",
                                    HotKeyCB, &rec);
    Check(rec.handle != nullptr, "hot key not registered");
}

void DoUnregHotKey(const Context& cx, const Action& act)
{
    if (Rec* rec = Target(kHotKey, act.a, cx.self)) {
        VORNUnregisterHotKey(rec->handle);
        rec->alive = false;
    }
}

void DoCreateMenu(const Context& cx, const Action& act)
{
    Rec* parent = (act.b & 1) ? Target(kMenu, act.a, cx.self) : nullptr;
    Rec& rec = Register(cx, kMenu, act);
    if (parent == nullptr) {
        // The new menu hangs off an item of the caller's in "Plugins".
        Rec& item = NewRec(kItem, cx.me, Script(), kMaxScriptDepth + 1);
        item.menu = nullptr;
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

void DoRegHandler(const Context& cx, const Action& act)
{
    Rec& rec = Register(cx, kHandler, act);
    rec.param = act.a % kCommands;
    rec.handle = reinterpret_cast<void*>(static_cast<intptr_t>(act.b & 1));
    VORNRegisterCommandHandler(&gCommandTokens[rec.param], CommandCB, act.b & 1, &rec);
}

void DoUnregHandler(const Context& cx, const Action& act)
{
    Rec* rec = Target(kHandler, act.a, cx.self);
    if (rec == nullptr)
        return;
    const int before = static_cast<int>(reinterpret_cast<intptr_t>(rec->handle));
    VORNUnregisterCommandHandler(&gCommandTokens[rec->param], CommandCB, before, rec);
    if (rec->owner == cx.me)
        rec->alive = false;
}

Rec* LiveDataRef(int name)
{
    for (Rec& rec : gRecs) {
        if (rec.kind == kDataRef && rec.alive && rec.param == name)
            return &rec;
    }
    return nullptr;
}

void DoRegDataRef(const Context& cx, const Action& act)
{
    const int name = act.a % kNames;
    Rec* holder = LiveDataRef(name);
    Rec& rec = Register(cx, kDataRef, act);
    rec.param = name;
    rec.handle = VORNRegisterDataAccessor(Name("vorn/fuzz/ref", name).c_str(), 1, 1, ReadIntCB,
                                          WriteIntCB, nullptr, nullptr, nullptr, nullptr,
                                          nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                          &rec, &rec);
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

void DoShare(const Context& cx, const Action& act)
{
    Rec& rec = Register(cx, kSubscription, act);
    rec.param = act.a % kNames;
    const int result =
        VORNShareData(Name("vorn/fuzz/shared", rec.param).c_str(), 1, SharedCB, &rec);
    Check(result == 1, "share refused", result);
}

void DoUnshare(const Context& cx, const Action& act)
{
    Rec* rec = Target(kSubscription, act.a, cx.self);
    if (rec == nullptr)
        return;
    const int result =
        VORNUnshareData(Name("vorn/fuzz/shared", rec->param).c_str(), 1, SharedCB, rec);
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
    if (VORNAcquirePlanes(nullptr, PlanesCB, &rec) == 1) {
        rec.alive = false;  // not queued: never called
        gPlugins[cx.me].keepsAircraft = gPlugins[cx.me].disabling;
    }
}

void DoControlCamera(const Context& cx, const Action& act)
{
    MarkDead(kCamera, -1);  // the one before is not told
    Rec& rec = Register(cx, kCamera, act);
    VORNControlCamera(1 + (act.a & 1), CameraCB, &rec);
}

void DoCreateProbe(const Context& cx, const Action& act)
{
    Rec& rec = Register(cx, kProbe, act);
    rec.handle = VORNCreateProbe(act.a & 1);
    Check(rec.handle != nullptr, "probe not created");
}

void DoDestroyProbe(const Context& cx, const Action& act)
{
    if (Rec* rec = Target(kProbe, act.a, cx.self)) {
        VORNDestroyProbe(rec->handle);
        rec->alive = false;
    }
}

// Plug-in id as an action names it: 0 is the acting plug-in itself.
int PluginArg(const Context& cx, uint8_t arg)
{
    return (arg & 3) == 0 ? cx.me : (arg & 3);
}

void DoEnable(int id)
{
    const int result = VORNEnablePlugin(id);
    const PluginModel& p = gPlugins[id];
    Check(result == (p.enabled && !p.unloaded ? 1 : 0), "enable result", result);
}

void DoDisable(int id)
{
    const bool outer = gPlugins[id].disabling;
    gPlugins[id].disabling = true;
    VORNDisablePlugin(id);
    gPlugins[id].disabling = outer;
    Check(!gPlugins[id].enabled, "still enabled after a disable", id);
}

bool Registers(int op);

void RunPluginAction(const Context& cx, const Action& act)
{
    const int op = act.op % kPluginOpCount;
    // Callbacks that register callbacks could otherwise grow without bound.
    if ((Registers(op) || op == kAppendItem) && gRecs.size() >= kMaxRecs)
        return;
    switch (op) {
    case kRegDraw: return DoRegDraw(cx, act);
    case kUnregDraw: return DoUnregDraw(cx, act);
    case kRegSniffer: return DoRegSniffer(cx, act);
    case kUnregSniffer: return DoUnregSniffer(cx, act);
    case kCreateLoop: return DoCreateLoop(cx, act);
    case kDestroyLoop: return DoDestroyLoop(cx, act);
    case kScheduleLoop: return DoScheduleLoop(cx, act);
    case kCreateWindow: return DoCreateWindow(cx, act);
    case kDestroyWindow: return DoDestroyWindow(cx, act);
    case kTakeFocus: return DoTakeFocus(cx, act);
    case kBringToFront: return DoBringToFront(cx, act);
    case kSetVisible: return DoSetVisible(cx, act);
    case kRegHotKey: return DoRegHotKey(cx, act);
    case kUnregHotKey: return DoUnregHotKey(cx, act);
    case kCreateMenu: return DoCreateMenu(cx, act);
    case kDestroyMenu: return DoDestroyMenu(cx, act);
    case kAppendItem: return DoAppendItem(cx, act);
    case kRemoveItem: return DoRemoveItem(cx, act);
    case kRegHandler: return DoRegHandler(cx, act);
    case kUnregHandler: return DoUnregHandler(cx, act);
    case kCommandBegin:
        VORNCommandBegin(&gCommandTokens[act.a % kCommands]);
        gPlugins[cx.me].held.insert(act.a % kCommands);
        return;
    case kCommandEnd:
        VORNCommandEnd(&gCommandTokens[act.a % kCommands]);
        gPlugins[cx.me].held.erase(act.a % kCommands);
        return;
    case kRegDataRef: return DoRegDataRef(cx, act);
    case kUnregDataRef: return DoUnregDataRef(cx, act);
    case kReadDataRef: return DoReadOrWriteDataRef(cx, act, false);
    case kWriteDataRef: return DoReadOrWriteDataRef(cx, act, true);
    case kShare: return DoShare(cx, act);
    case kUnshare: return DoUnshare(cx, act);
    case kWriteShared: return DoWriteShared(act);
    case kAcquirePlanes: return DoAcquirePlanes(cx, act);
    case kReleasePlanes: return VORNReleasePlanes();
    case kControlCamera: return DoControlCamera(cx, act);
    case kDontControlCamera:
        VORNDontControlCamera();
        return MarkDead(kCamera, -1);
    case kCreateProbe: return DoCreateProbe(cx, act);
    case kDestroyProbe: return DoDestroyProbe(cx, act);
    case kEnablePlugin: return DoEnable(PluginArg(cx, act.a));
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

void RunPluginScript(int id, const Script& script)
{
    RunActions(id, nullptr, script, 0);
}

// ---- Set-up and tear-down ------------------------------------------------------------

int AddPlugin(int index)
{
    auto record = std::make_unique<PluginRecord>();
    record->name = Name("Fuzz plug-in ", index);
    record->signature = Name("vorn.fuzz.plugin", index);
    record->enable = EnableCB;
    record->disable = DisableCB;
    record->stop = StopCB;
    record->receive = ReceiveCB;
    record->enabled = true;
    const PluginRecord* raw = record.get();
    const int id = VORNAddPluginRecord(std::move(record));
    Check(id == index, "plug-in id", id);
    gPlugins[id].record = raw;
    return id;
}

// A fresh set of plug-ins after the registry was emptied (start, reload).
void AddPlugins()
{
    for (int id = 1; id <= kPlugins; ++id) {
        const Script message = gPlugins[id].messageScript;
        const bool refuse = gPlugins[id].refuseEnable;
        gPlugins[id] = PluginModel();
        gPlugins[id].messageScript = message;
        gPlugins[id].refuseEnable = refuse;
        AddPlugin(id);
    }
}

void StartSession()
{
    gHooks = &gTable;
    gTime = 0.0f;
    gMouseX = gMouseY = 0;
    gNextHostMenu = 1000;
    gNextHostItem = 1;
    gNextProbe = 0;
    gRecs.clear();
    gCallDepth = 0;
    gCallbacks = 0;
    gScriptRuns = 0;
    for (PluginModel& p : gPlugins)
        p = PluginModel();
    vorntest::ResetLibraryState();
    VORNInitMenus();
    VORNRegisterHostPlugin();
    AddPlugins();
}

// ---- Checking the library against the model -------------------------------------------

// Rec of the live window with id window, or null.
Rec* WindowRec(const void* window)
{
    for (Rec& rec : gRecs) {
        if (rec.kind == kWindow && rec.alive && rec.handle == window)
            return &rec;
    }
    return nullptr;
}

void CheckFocusAndDrag()
{
    if (VORNFocusWindow() != nullptr) {
        const Rec* rec = WindowRec(VORNFocusWindow());
        // A plug-in that takes the focus back while its disable hooks run
        // keeps it while disabled; keys then pass it by (the callback check).
        Check(rec != nullptr, "focus on a destroyed window");
    }
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
        const Rec* rec = AsRec(loop->refcon);
        Check(rec->alive && rec->handle == loop && rec->owner == loop->owner,
              "flight loop not in the model");
    }
    int expected = 0;
    for (const Rec& rec : gRecs)
        expected += (rec.kind == kLoop && rec.alive) ? 1 : 0;
    Check(live == expected, "live flight loops", live);
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
    Check(VORNIsPluginEnabled(id) == (p.enabled && !p.unloaded ? 1 : 0), "enabled", id);
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

Script ReadScript(Reader& in)
{
    Script script(in.Next() % 4);
    for (Action& act : script) {
        act.op = in.Next();
        act.a = in.Next();
        act.b = in.Next();
        act.c = in.Next();
    }
    return script;
}

bool Registers(int op)
{
    switch (op) {
    case kRegDraw: case kRegSniffer: case kCreateLoop: case kCreateWindow: case kRegHotKey:
    case kCreateMenu: case kRegHandler: case kRegDataRef: case kShare: case kAcquirePlanes:
    case kControlCamera:
        return true;
    default:
        return false;
    }
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
    const int plugin = 1 + (who & 0x3f) % kPlugins;
    switch (op) {
    case kEvent:
        gTime += (act.b & 15) / 8.0f;
        VORNEventHook(kEvents[act.a & 7], nullptr, gTime);
        return;
    case kDrawStep: VORNDoDrawingHook(1 + act.a % 26, act.b & 1); return;
    case kMouseDown: VORNMouseClickHook(act.a % 100, act.b % 100, 1); return;
    case kMouseDrag:
        gMouseX = act.a % 100;
        gMouseY = act.b % 100;
        (act.c & 1) ? VORNDoDrawingHook(20, 0) : VORNDisplayMouseClickHook(gMouseX, gMouseY, 2);
        return;
    case kMouseUp: VORNMouseClickHook(act.a % 100, act.b % 100, 0); return;
    case kKeyPress:
        return KeyPress(act);
    case kMenuPick: VORNMenuHook(1 + act.a % (gNextHostItem > 1 ? gNextHostItem - 1 : 1)); return;
    case kCommandHook:
        VORNCommandHook(&gCommandTokens[act.a % kCommands], act.b & 1, act.b >> 1 & 1, act.c & 1);
        return;
    case kUnload: Unload(plugin); return;
    case kReload:
        VORNReloadPlugins();
        VORNEventHook(0, nullptr, gTime);
        return;
    case kCameraHook: {
        float v[7] = {};
        VORNCameraHook(&v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6]);
        return;
    }
    case kCursorWheel:
        (act.c & 1) ? (void)VORNScrollWheelHook(act.a % 100, act.b % 100, 0, 1)
                    : (void)VORNCursorHook(act.a % 100, act.b % 100);
        return;
    default: return;
    }
}

void RunStep(Reader& in)
{
    const int op = in.Next() % kOpCount;
    const uint8_t who = in.Next();
    Action act;
    act.op = static_cast<uint8_t>(op);
    act.a = in.Next();
    act.b = in.Next();
    act.c = in.Next();
    if (op >= kPluginOpCount) {
        RunHostStep(op, who, act);
    } else {
        const int id = 1 + (who & 0x3f) % kPlugins;
        const Script script = (Registers(op) || (who & 0x40)) ? ReadScript(in) : Script();
        if (who & 0x80)
            gPlugins[id].refuseEnable = !gPlugins[id].refuseEnable;
        if (who & 0x40)
            gPlugins[id].messageScript = script;
        if (OwnerCallable(id)) {
            StDispatchCallback asPlugin(id);
            const Context cx{id, nullptr, &script, 0};
            RunPluginAction(cx, act);
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
    Reader in(data, size);
    SequenceStats stats;
    while (!in.AtEnd() && stats.steps < 400) {
        RunStep(in);
        ++stats.steps;
    }
    EndSession();
    stats.callbacks = gCallbacks;
    return stats;
}

}  // namespace vornfuzz
