// VORNLoaderInternal.h - the plug-in registry, the dispatched plug-in, the
// one way into plug-in code, the lifecycle with its table of subsystems, and
// the records that hand deferred work back to plug-ins.
#ifndef VORN_LOADER_H
#define VORN_LOADER_H

#include "VORNInternal.h"

#include "VORN/VORNHostHooks.h"
#include "VORN/VORNPlugin.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// ---- Deliveries ----------------------------------------------------------
// A unit of work handed to a plug-in later. Deliveries are nodes of an
// intrusive doubly linked queue whose head is a VORNDeliveryHead sentinel:
// head.next is the first node, first->prev is the head, last->next is null.
// The queues are never walked while callbacks run: a delivery is taken off
// its queue before it is handed over.
class VORNDelivery {
public:
    // pluginGone false: the owner is dispatched and enabled, hand it the
    // result now. true: the owner is gone; release what the delivery holds.
    virtual void DeliverToPlugin(bool pluginGone) = 0;

    // Takes this delivery off whatever queue holds it (none: no effect).
    void Unlink()
    {
        if (mPrev != nullptr)
            mPrev->mNext = mNext;
        if (mNext != nullptr)
            mNext->mPrev = mPrev;
        mNext = nullptr;
        mPrev = nullptr;
    }

    int mPlugin = VORN_NO_PLUGIN_ID;
    VORNDelivery* mNext = nullptr;
    VORNDelivery* mPrev = nullptr;

protected:
    VORNDelivery() = default;
    ~VORNDelivery() = default;
};

class VORNDeliveryHead final : public VORNDelivery {
public:
    VORNDeliveryHead() = default;
    VORNDeliveryHead(const VORNDeliveryHead&) = delete;
    VORNDeliveryHead& operator=(const VORNDeliveryHead&) = delete;
    void DeliverToPlugin(bool) override {}
    bool IsEmpty() const { return mNext == nullptr; }

    void PushFront(VORNDelivery* delivery)
    {
        delivery->mPrev = this;
        delivery->mNext = mNext;
        if (mNext != nullptr)
            mNext->mPrev = delivery;
        mNext = delivery;
    }

    // Takes the first delivery off the queue, or null.
    VORNDelivery* PopFront()
    {
        VORNDelivery* first = mNext;
        if (first != nullptr)
            first->Unlink();
        return first;
    }
};

// ---- Registry -----------------------------------------------------------
enum { kFeatureWantsReflections = 0, kFeatureNativePaths = 1, kFeatureCount = 2 };

struct PluginRecord {
    void* module = nullptr;
    std::string name;
    std::string filePath;  // internal (UTF-8) form
    std::string signature;
    std::string description;
    VPluginStop_f stop = nullptr;
    VPluginEnable_f enable = nullptr;  // null: enabling always succeeds
    VPluginDisable_f disable = nullptr;
    VPluginReceiveMessage_f receive = nullptr;
    VORNErrorCallback_f errorCallback = nullptr;
    int errorCount = 0;     // misuse reports addressed to this plug-in
    std::string lastError;  // the latest of them
    bool enabled = false;
    bool unloaded = false;  // stopped and closed; the record only keeps its id
    int32_t features[kFeatureCount] = {0, 0};
    VORNDeliveryHead inFlight;  // async work still running
    VORNDeliveryHead pending;   // finished, waiting for the plug-in to be enabled
};

// Records live at stable heap addresses, so the delivery list heads inside
// them stay valid however the registry grows or shrinks.
// Shared: every callback site checks its owner here, inline, on the hot path.
extern std::vector<std::unique_ptr<PluginRecord>> gAllPlugins;
// Shared: the dispatch guard sets and restores it inline around every call.
extern int gDispatchedPlugin;

// The record of plug-in id, or null when id is out of range.
inline PluginRecord* VORNPluginRecordFor(int id)
{
    return (id >= 0 && static_cast<size_t>(id) < gAllPlugins.size()) ? gAllPlugins[id].get()
                                                                    : nullptr;
}

// True when the library may call into plug-in id: it is registered and
// enabled, or the registry is still empty and id is the host. Every data-ref
// access and callback runs this, so the common case (a registered id) comes
// first and a negative id fails the one unsigned range test.
inline bool VORNIsCallable(int id)
{
    const size_t count = gAllPlugins.size();
    if (__builtin_expect(static_cast<size_t>(id) < count, 1)) {
        const PluginRecord* record = gAllPlugins[static_cast<size_t>(id)].get();
        return record != nullptr && record->enabled;
    }
    return count == 0 && id == VORN_HOST_PLUGIN_ID;
}

// Scope guard around every call from the library into a plug-in: makes id the
// dispatched plug-in and restores the previous one on every path out.
// `valid` tells whether the plug-in may be called at all.
class StDispatchCallback {
public:
    explicit StDispatchCallback(int id) : valid(VORNIsCallable(id)), mSaved(gDispatchedPlugin)
    {
        gDispatchedPlugin = id;
    }
    ~StDispatchCallback() { gDispatchedPlugin = mSaved; }
    StDispatchCallback(const StDispatchCallback&) = delete;
    StDispatchCallback& operator=(const StDispatchCallback&) = delete;

    const bool valid;

private:
    int mSaved;
};

void VORNSetDispatchedPlugin(int id);
int VORNGetDispatchedPlugin();

// Appends a record and returns its id.
int VORNAddPluginRecord(std::unique_ptr<PluginRecord> record);
// Appends the host's own record ("Taravel", id 0 when the registry is empty).
int VORNRegisterHostPlugin();
// Destroys every record, leaving the registry empty.
void VORNClearPluginRegistry();

// ---- Subsystems -----------------------------------------------------------------
// What a subsystem that keeps per-plug-in state does for the lifecycle; a
// hook it does not need is null. The loader's one table of them fixes the
// orders of every fan-out.
struct VORNSubsystem {
    const char* name;
    // Plug-in id is being disabled: give back its live resources (focus,
    // drag, camera, aircraft) while it still hears of it.
    void (*disableHook)(int id);
    // Plug-in id is being unloaded: remove everything it owned.
    void (*cleanupHook)(int id);
    // Adds what plug-in id owns to its fields of inventory.
    void (*countHoldings)(int id, VORNPluginInventory* inventory);
    // Back to the state at load, without telling anyone.
    void (*reset)();
};

// Tell every subsystem that plug-in id is being disabled / unloaded, in the
// table's order, under the caller's dispatch.
void VORNRunDisableHooks(int id);
void VORNRunCleanupHooks(int id);
// Fills the subsystem counts of inventory with what plug-in id owns.
void VORNCountHoldings(int id, VORNPluginInventory* inventory);
// Every subsystem, the registry and the lifecycle back to the state at load
// (shutdown, after the plug-ins are gone; tests). Deliveries that went on
// without an owner stay: the host may still complete them.
void VORNResetLibrary();

// ---- Discovery and loading ------------------------------------------------
// Registers the host as id 0 and loads every plug-in below
// systemPath + "Resources/plugins", in the fixed order that decides the ids.
void VORNFindAndLoadPlugins(const char* systemPath);
// Loads and starts one module; returns its new id or -1. verbose governs only
// the message for a module that cannot be opened.
int LoadOnePlugin(const std::string& path, int verbose);
// Loads folder/64/lin.vpl, or else folder/lin.vpl; returns the id or -1.
int LoadFatPlugin(const std::string& folder);
// Loads every sub-folder of pluginFolder as a fat plug-in, in byte order,
// logging the folder first when there is at least one; returns the new ids.
std::vector<int> VORNLoadPluginSubfolders(const std::string& pluginFolder);

// ---- Lifecycle ----------------------------------------------------------------
// The deliveries of unloaded plug-ins whose work is still running.
VORNDeliveryHead& VORNOrphanedDeliveries();

void VORNEnableAllPlugins();
void VORNDisableAllPlugins();
void VORNEnableACFPlugins();
void VORNDisableACFPlugins();
// Stops plug-in id and removes everything it owned; the record stays.
void UnloadOnePlugin(int id);
// Unloads every plug-in and empties the registry.
void VORNUnloadPlugins();
// Carries out a full reload now.
void VORNReloadPluginsInternal();
// Carries out a reload that a plug-in asked for, if any. Run when no plug-in
// code is on the stack (the end of a flight-loop pass).
void VORNRunScheduledReload();

// ---- Aircraft and scenery plug-ins ----------------------------------------------
// The folder of the user's aircraft: the model path the host reports for
// aircraft 0, up to its last '/'; empty when the path has none.
std::string VORNUserAircraftFolder();
void VORNFindAndLoadAcfPlugins(const char* aircraftFolder);
void VORNFindAndLoadSceneryPlugins(const char* packageFolder);
void VORNUnloadAcfPlugin();

// ---- Features and deliveries ------------------------------------------------------
// Plug-in id's state of feature index feature, 0 when either is out of range.
int VORNHasFeatureInternal(int id, int feature);
// Puts delivery on its owner's in-flight list (reports an invalid owner).
void VORNQueueDelivery(VORNDelivery* delivery);
// The delivery's work is done: hand it over now, park it until its owner is
// enabled, or tell it that its owner is gone.
void VORNSendDelivery(VORNDelivery* delivery);

// ---- Calling plug-in code -------------------------------------------------------
// What a call from the library into plug-in code runs. The entry points and
// the callbacks a plug-in is handed inside its own API call come first: they
// are called whatever the plug-in's enabled flag says. Every later kind is
// skipped while its owner may not be called.
enum class VORNCallKind : uint8_t {
    kStart,
    kEnable,
    kDisable,
    kStop,
    kErrorCallback,      // misuse report, inside the plug-in's own API call
    kFeatureEnumerator,  // inside the plug-in's own VORNEnumerateFeatures
    kMessage,
    kFlightLoop,
    kDraw,
    kKeySniffer,
    kWindowDraw,
    kMouseClick,
    kKey,
    kCursor,
    kWheel,
    kHotKey,
    kMenu,
    kCommand,
    kDataAccessor,
    kSharedData,
    kCamera,
    kPlanes,
    kObjectLoaded,
};

// True for the kinds that only reach an owner that may be called.
constexpr bool VORNCallNeedsCallable(VORNCallKind kind)
{
    return kind > VORNCallKind::kFeatureEnumerator;
}

// Logs that the dispatched plug-in let an exception out of a callback.
void VORNReportPluginException();

// A call that is not made in a drawing phase (see VORNCallPlugin).
constexpr int32_t kNoCallPhase = -1;

// Time accounting around one call into plug-in code (VORNProfile.cpp):
// Begin when the plug-in is entered, End when it has returned or thrown;
// the call's owner is still the dispatched plug-in then. Kept out of line;
// only the accounting path calls them.
extern "C" void VORNTimingBegin() noexcept;
void VORNTimingEnd(VORNCallKind kind, int32_t phase, int32_t before) noexcept;

// Calls VORNTimingBegin without disturbing a single register of the caller
// (VORNProfile.cpp saves and restores them around it). An ordinary call
// would make every caller of VORNCallPlugin keep the plug-in's function and
// arguments in callee-saved registers, accounting on or off. The caller may
// keep data in the 128 bytes below its stack pointer (the red zone): the
// call must not write its return address there. No memory clobber: the
// accounting's state is its own, and a memory clobber would make callers
// keep the captures of their call in memory.
inline void VORNTimingBeginKeepingRegisters() noexcept
{
    asm volatile("lea -128(%%rsp), %%rsp\n\t"
                 "call VORNTimingBeginSavingRegisters\n\t"
                 "lea 128(%%rsp), %%rsp"
                 :
                 :
                 : "cc");
}

// The accounting path of VORNCallPlugin. Inlined: a call handed to an
// out-of-line function would make every caller keep the lambda's captures
// in memory, accounting on or off.
template <typename R, typename F>
__attribute__((always_inline)) inline R VORNCallPluginTimed(VORNCallKind kind, R fallback,
                                                            F& call, int32_t phase,
                                                            int32_t before) noexcept
{
    R result = fallback;
    VORNTimingBeginKeepingRegisters();
    try {
        result = call();
    } catch (...) {
        VORNReportPluginException();
    }
    VORNTimingEnd(kind, phase, before);
    return result;
}

// The one way from the library into plug-in code. Makes owner the
// dispatched plug-in for the call (restored on every path out), skips the
// call when owner may not be called (enabled, or the host before any plug-in
// exists) unless kind is one of the entry points, and stops whatever the
// call throws: one warning naming the plug-in is logged. A skipped call and
// one that threw both count as having returned fallback, so lists, iteration
// depths and the dispatched plug-in stay exactly as they were. While time
// accounting is on, the call is timed and charged to owner under kind;
// draw callbacks pass their drawing phase and before flag so that each
// phase is accounted on its own.
template <typename R, typename F>
inline R VORNCallPlugin(VORNCallKind kind, int owner, R fallback, F&& call,
                        int32_t phase = kNoCallPhase, int32_t before = kNoCallPhase) noexcept
{
    StDispatchCallback guard(owner);
    if (VORNCallNeedsCallable(kind) && !guard.valid)
        return fallback;
    if (__builtin_expect(gDiagnostics & kDiagnoseTiming, 0))
        return VORNCallPluginTimed(kind, fallback, call, phase, before);
    try {
        return call();
    } catch (...) {
        VORNReportPluginException();
        return fallback;
    }
}

// The same for calls whose result the caller takes inside call. Returns
// false when the call was skipped, true when the plug-in was called (also
// when it threw), for sites where a skipped owner changes nothing at all.
template <typename F>
inline bool VORNCallPlugin(VORNCallKind kind, int owner, F&& call) noexcept
{
    bool called = false;
    VORNCallPlugin(kind, owner, 0, [&] {
        called = true;
        call();
        return 0;
    });
    return called;
}

// Same text as VORNDebugGetCurrentPluginName, for the library's own use.
const char* DebugCurrentPluginName();

// Sends message to the dispatched plug-in's error callback, if it has one.
void VORNSendError(const char* message);
// 1 when the dispatched plug-in is valid and has an error callback. API calls
// validate their arguments only then.
int VORNHasError();
// Logs "[name]: message\n" attributed to the dispatched plug-in.
void VORNLogPluginWarning(const char* message);
// True when the dispatched plug-in exchanges paths in the legacy form.
bool VORNNeedPathConvert();

#endif
