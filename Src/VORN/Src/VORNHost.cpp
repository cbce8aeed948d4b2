// VORNHost.cpp - the entry points that the host calls: start, stop, the
// per-event driver, and the forwarders into the subsystems that own each
// host event.

#include "VORNHostInternal.h"

#include "VORNCameraInternal.h"
#include "VORNCheckedInternal.h"
#include "VORNDataAccessInternal.h"
#include "VORNDisplayInternal.h"
#include "VORNInternal.h"
#include "VORNLoaderInternal.h"
#include "VORNMenusInternal.h"
#include "VORNPlanesInternal.h"
#include "VORNProcessingInternal.h"
#include "VORNProfileInternal.h"
#include "VORNSceneryInternal.h"
#include "VORNUtilitiesInternal.h"

#include "VORNDLLUtils.h"

#include <cstdio>
#include <cstring>
#include <string>

VORNHostHooks* gHooks = nullptr;

namespace {

// What the host handed over besides its table.
struct HostState {
    void* self = nullptr;                  // the host's context; stored, never read
    char dirSeparator[2] = {'/', '\0'};   // used by the library's own path building
    VORNUnloadObserver_f unloadObserver = nullptr;
};
HostState gHost;

const int kInterfaceVersion = 19;
const char kBuildStringDataRef[] = "sim/version/vorn_build_string";

// Tells the host which library build it runs, if it published the data ref
// for it; the terminating zero is written too.
void PublishBuildString()
{
    char text[256];
    VORNFormatBuildString(text, sizeof text);
    VORNDataRef ref = VORNFindDataRef(kBuildStringDataRef);
    if (ref != nullptr)
        VORNSetDatab(ref, text, 0, static_cast<int>(std::strlen(text)) + 1);
}

}  // namespace

const char* VORNDirSeparator()
{
    return gHost.dirSeparator;
}

bool VORNHostVersionAtLeast(int version)
{
    return gHooks != nullptr && gHooks->version >= version;
}

bool VORNHostTableSizeAtLeast(unsigned size)
{
    return gHooks != nullptr && gHooks->tableSize >= size;
}

// The library's compile date and time, "Mmm dd yyyy hh:mm:ss".
void VORNFormatBuildString(char* out, size_t size)
{
    std::snprintf(out, size, "%s %s", __DATE__, __TIME__);
}

VORN_EXPORT int VORNInitializePlugins(const char* systemPath, VORNHostHooks* hooks, void* self)
{
    gHost.self = self;
    gHooks = hooks;
    gHost.dirSeparator[0] = '/';
    gHost.dirSeparator[1] = '\0';
    VORNCheckedStart();
    VORNNoThrow([&] {
        VORNInitMenus();
        PublishBuildString();
        VORNFindAndLoadPlugins(systemPath);
        VORNEnableAllPlugins();
    });
    return kInterfaceVersion;
}

VORN_EXPORT void VORNShutdownPlugins(void)
{
    VORNNoThrow([&] {
        VORNDisableAllPlugins();
        VORNUnloadPlugins();
        // Left over now: what the host itself (never unloaded) registered.
        VORNResetLibrary();
    });
}

namespace {

// Relays a host event to every enabled plug-in, with the host as sender.
void BroadcastFromHost(int message, void* param)
{
    StDispatchCallback asHost(VORN_HOST_PLUGIN_ID);
    VORNSendMessageToPlugin(VORN_NO_PLUGIN_ID, message, param);
}

// The user's aircraft was loaded: bring in the plug-ins that come with it.
void LoadUserAircraftPlugins()
{
    const std::string folder = VORNUserAircraftFolder();
    if (folder.empty())
        return;
    char buffer[512];
    strcpytrunc(buffer, folder, sizeof buffer);
    VORNFindAndLoadAcfPlugins(buffer);
    VORNEnableACFPlugins();
}

int HandleEvent(int event, void* param, float elapsed)
{
    switch (event) {
    case 0:  // a simulation step: held buttons, then phase-0 flight loops
        VORNDoRepeatedButtons();
        return VORNDoFlightLoopProcessing(elapsed, 0);
    case 1:  // the host changed its view
        VORNReleaseCamera();
        return 1;
    case 2:
        BroadcastFromHost(VORN_MSG_PLANE_CRASHED, nullptr);
        return 1;
    case 3:  // an aircraft was loaded; null param: the user's own
        BroadcastFromHost(VORN_MSG_PLANE_LOADED, param);
        if (param == nullptr)
            LoadUserAircraftPlugins();
        return 1;
    case 4:
        BroadcastFromHost(VORN_MSG_AIRPORT_LOADED, nullptr);
        return 1;
    case 6:
        BroadcastFromHost(VORN_MSG_SCENERY_LOADED, nullptr);
        return 1;
    case 7:
        BroadcastFromHost(VORN_MSG_AIRPLANE_COUNT_CHANGED, nullptr);
        return 1;
    case 8:  // an aircraft was unloaded; null param: the user's own
        BroadcastFromHost(VORN_MSG_PLANE_UNLOADED, param);
        if (param == nullptr) {
            VORNDisableACFPlugins();
            VORNUnloadAcfPlugin();
        }
        return 1;
    case 9:  // held commands go on
        VORNCommandRepeatHook();
        return 1;
    case 10:  // phase-1 flight loops
        return VORNDoFlightLoopProcessing(elapsed, 10);
    case 11:
        BroadcastFromHost(VORN_MSG_WILL_WRITE_PREFS, nullptr);
        return 1;
    case 12:  // a scenery package was added; param is its folder
        if (param != nullptr)
            VORNFindAndLoadSceneryPlugins(static_cast<const char*>(param));
        return 1;
    case 13:
        BroadcastFromHost(VORN_MSG_LIVERY_LOADED, param);
        return 1;
    default:  // 5, and codes outside 0..13
        return 1;
    }
}

}  // namespace

VORN_EXPORT int VORNEventHook(int event, void* param, float elapsed)
{
    if (__builtin_expect(gDiagnostics != 0, 0)) {
        if (VORNCheckedOn())
            VORNReportRefusedCalls();
        if (VORNTimingOn())
            VORNTimingHostEvent(event);
    }
    return VORNNoThrow(1, [&] { return HandleEvent(event, param, elapsed); });
}

// ---- Forwarding entry points ------------------------------------------------------

VORN_EXPORT int VORNCameraHook(float* p1, float* p2, float* p3, float* p4, float* p5, float* p6,
                               float* p7)
{
    return VORNNoThrow(1, [&] { return VORNAdjustCamera(p1, p2, p3, p4, p5, p6, p7); });
}

VORN_EXPORT void VORNUpdatePlaneNameAndPath(int index, char* name, char* path)
{
    VORNHandleUpdatePlaneNameAndPath(index, name, path);
}

VORN_EXPORT int VORNGetNumberPlanesToHandle(int count, int flag)
{
    return VORNHandleGetNumberPlanesToHandle(count, flag);
}

// ---- Diagnostics -------------------------------------------------------------

namespace {

// Counts what plug-in id owns in every subsystem.
VORNPluginInventory TakeInventory(const PluginRecord& record, int id)
{
    VORNPluginInventory inventory{};
    inventory.structSize = sizeof inventory;
    VORNCountHoldings(id, &inventory);
    inventory.errors = record.errorCount;
    strcpytrunc(inventory.lastError, record.lastError, sizeof inventory.lastError);
    return inventory;
}

}  // namespace

void VORNNotifyUnloadObserver(int id)
{
    const PluginRecord* record = VORNPluginRecordFor(id);
    if (gHost.unloadObserver == nullptr || record == nullptr)
        return;
    const VORNPluginInventory leftover = TakeInventory(*record, id);
    gHost.unloadObserver(id, &leftover);
}

VORN_EXPORT int VORNGetPluginInventory(VORNPluginID id, VORNPluginInventory* out)
{
    const PluginRecord* record = VORNPluginRecordFor(id);
    if (record == nullptr || out == nullptr ||
        out->structSize != static_cast<int32_t>(sizeof(VORNPluginInventory)))
        return 0;
    *out = TakeInventory(*record, id);
    return 1;
}

VORN_EXPORT void VORNSetUnloadObserver(VORNUnloadObserver_f observer)
{
    gHost.unloadObserver = observer;
}

// ---- Menu and command forwarders ------------------------------------------------

VORN_EXPORT int VORNMenuHook(int hostItem)
{
    return VORNHandleMenuItemPick(hostItem);
}

VORN_EXPORT int VORNCheckMenuHook(long hostMenu, int position, int* outCheck)
{
    return VORNHandleMenuItemCheck(hostMenu, position, outCheck);
}

VORN_EXPORT int VORNMenuItemEnabled(long hostMenu, int position)
{
    return VORNHandleMenuItemEnable(hostMenu, position);
}

VORN_EXPORT int VORNCommandHook(void* command, int isStart, int isEnd, int before)
{
    return VORNNoThrow(1, [&] { return VORNDispatchCommandHook(command, isStart, isEnd, before); });
}

// ---- Display forwarders -----------------------------------------------------------

VORN_EXPORT int VORNDoDrawingHook(int step, int reflectionFlag)
{
    return VORNNoThrow(1, [&] { return VORNDisplayDoDrawingHook(step, reflectionFlag); });
}

VORN_EXPORT int VORNMouseClickHook(int x, int y, int isDown)
{
    return VORNNoThrow(1, [&] { return VORNDisplayMouseClickHook(x, y, isDown != 0 ? 1 : 3); });
}

VORN_EXPORT int VORNKeyPressHook(char key, int flags, char virtualKey, int stage)
{
    return VORNNoThrow(1, [&] { return VORNDisplayKeyPressHook(key, flags, virtualKey, stage); });
}

VORN_EXPORT int VORNCursorHook(int x, int y)
{
    return VORNNoThrow(0, [&] { return VORNDisplayCursorHook(x, y); });
}

VORN_EXPORT int VORNScrollWheelHook(int x, int y, int wheel, int clicks)
{
    return VORNNoThrow(1, [&] { return VORNDisplayScrollWheelHook(x, y, wheel, clicks); });
}
