// VORNLoaderLifecycle.cpp - enabling, disabling, unloading and reloading
// plug-ins, the plug-ins of the user's aircraft and of scenery packages, and
// the one table of subsystems that every per-plug-in fan-out, the inventory
// and the library reset walk.

#include "VORNLoaderInternal.h"

#include "VORNCameraInternal.h"
#include "VORNCheckedInternal.h"
#include "VORNDLLUtils.h"
#include "VORNDataAccessInternal.h"
#include "VORNDisplayInternal.h"
#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORNMenusInternal.h"
#include "VORNPlanesInternal.h"
#include "VORNProcessingInternal.h"
#include "VORNProfileInternal.h"
#include "VORNSceneryInternal.h"
#include "VORNUtilitiesInternal.h"

#include <algorithm>

namespace {

// The lifecycle's own state.
struct LoaderState {
    // The plug-ins loaded for the user's current aircraft, in load order.
    std::vector<int> currentAircraftPluginIDS;
    // A plug-in asked for a full reload, carried out after the next pass.
    bool scheduleReload = false;
};
LoaderState gLoader;

}  // namespace

// ---- Subsystems ------------------------------------------------------------------
// Every subsystem that keeps per-plug-in state, in the order of the clean-up
// fan-out; the disable fan-out (display, camera, planes) runs in the same
// order. A subsystem joins the lifecycle, the inventory and the reset by
// adding its one row at its place.

namespace {

const VORNSubsystem kSubsystems[] = {
    // name         disable hook            clean-up hook              holdings                     reset
    {"commands",     nullptr,                VORNCommandCleanupHook,    VORNCountCommandHoldings,    VORNResetCommands},
    {"display",      VORNDisplayDisableHook, VORNDisplayCleanupHook,    VORNCountDisplayHoldings,    VORNResetDisplay},
    {"flight loops", nullptr,                VORNProcessingCleanupHook, VORNCountFlightLoopHoldings, VORNResetProcessing},
    {"camera",       VORNCameraDisableHook,  VORNCameraCleanupHook,     VORNCountCameraHoldings,     VORNResetCamera},
    {"menus",        nullptr,                VORNMenuCleanupHook,       VORNCountMenuHoldings,       VORNResetMenus},
    {"planes",       VORNPlaneDisableHook,   VORNPlaneCleanupHook,      VORNCountPlaneHoldings,      VORNResetPlanes},
    // Data-ref records and shared items are never freed: handles stay valid.
    {"data refs",    nullptr,                VORNDataRefsCleanupHook,   VORNCountDataRefHoldings,    nullptr},
    {"scenery",      nullptr,                VORNSceneryCleanupHook,    VORNCountSceneryHoldings,    VORNResetScenery},
    {"utilities",    nullptr,                nullptr,                   nullptr,                     VORNResetUtilities},
    {"time accounting", nullptr,             nullptr,                   nullptr,                     VORNResetProfile},
    {"checked mode", nullptr,                nullptr,                   nullptr,                     VORNResetChecked},
};

// Runs hook(id) of every subsystem that has one, in table order. A hook that
// fails (it can only run out of memory) does not keep the later ones from
// running.
void RunHooks(void (*VORNSubsystem::*hook)(int), int id)
{
    for (const VORNSubsystem& subsystem : kSubsystems) {
        if (subsystem.*hook != nullptr)
            VORNNoThrow([&] { (subsystem.*hook)(id); });
    }
}

}  // namespace

void VORNRunDisableHooks(int id)
{
    RunHooks(&VORNSubsystem::disableHook, id);
}

void VORNRunCleanupHooks(int id)
{
    RunHooks(&VORNSubsystem::cleanupHook, id);
}

void VORNCountHoldings(int id, VORNPluginInventory* inventory)
{
    for (const VORNSubsystem& subsystem : kSubsystems) {
        if (subsystem.countHoldings != nullptr)
            subsystem.countHoldings(id, inventory);
    }
}

void VORNResetLibrary()
{
    for (const VORNSubsystem& subsystem : kSubsystems) {
        if (subsystem.reset != nullptr)
            subsystem.reset();
    }
    VORNClearPluginRegistry();
    gLoader = LoaderState();
    gDispatchedPlugin = VORN_HOST_PLUGIN_ID;
}

// ---- Enabling and disabling ------------------------------------------------------

VORN_EXPORT int VORNEnablePlugin(VORNPluginID id)
{
    VORN_CHECK_THREAD(0);
    if (id <= VORN_HOST_PLUGIN_ID || VORNPluginRecordFor(id) == nullptr)
        return 0;
    PluginRecord& record = *gAllPlugins[id];
    if (record.unloaded)
        return 0;
    if (!record.enabled) {
        if (record.enable != nullptr) {
            const VPluginEnable_f enable = record.enable;
            record.enabled =
                VORNCallPlugin(VORNCallKind::kEnable, id, 0, [&] { return enable(); }) != 0;
            if (!record.enabled)
                return 0;
        } else {
            record.enabled = true;
        }
    }
    // Results that finished while the plug-in was disabled, newest first.
    StDispatchCallback asPlugin(id);
    while (VORNDelivery* delivery = record.pending.PopFront())
        VORNNoThrow([&] { delivery->DeliverToPlugin(false); });
    return record.enabled ? 1 : 0;
}

VORN_EXPORT void VORNDisablePlugin(VORNPluginID id)
{
    VORN_CHECK_THREAD_VOID();
    if (id <= VORN_HOST_PLUGIN_ID || VORNPluginRecordFor(id) == nullptr)
        return;
    PluginRecord& record = *gAllPlugins[id];
    if (!record.enabled)
        return;
    // Live resources go back while the plug-in can still hear of it; then it
    // is marked disabled, so nothing dispatched during its VPluginDisable
    // reaches it.
    VORNRunDisableHooks(id);
    record.enabled = false;
    if (record.disable != nullptr) {
        const VPluginDisable_f disable = record.disable;
        VORNCallPlugin(VORNCallKind::kDisable, id, [&] { disable(); });
    }
}

void VORNEnableAllPlugins()
{
    for (int id = 0; id < VORNCountPlugins(); ++id)
        VORNEnablePlugin(id);
}

void VORNDisableAllPlugins()
{
    for (int id = 0; id < VORNCountPlugins(); ++id)
        VORNDisablePlugin(id);
}

void VORNEnableACFPlugins()
{
    const std::vector<int> ids = gLoader.currentAircraftPluginIDS;
    for (int id : ids)
        VORNEnablePlugin(id);
}

void VORNDisableACFPlugins()
{
    const std::vector<int> ids = gLoader.currentAircraftPluginIDS;
    for (int id : ids)
        VORNDisablePlugin(id);
}

// ---- Unloading and reloading -------------------------------------------------------

void UnloadOnePlugin(int id)
{
    PluginRecord* record = VORNPluginRecordFor(id);
    if (record == nullptr || record->unloaded)
        return;
    // Work still running finishes later without an owner.
    while (VORNDelivery* delivery = record->inFlight.PopFront()) {
        delivery->mPlugin = VORN_NO_PLUGIN_ID;
        VORNOrphanedDeliveries().PushFront(delivery);
    }
    // Results that were waiting learn that their plug-in is gone.
    while (VORNDelivery* delivery = record->pending.PopFront()) {
        delivery->mPlugin = VORN_NO_PLUGIN_ID;
        VORNNoThrow([&] { delivery->DeliverToPlugin(true); });
    }
    if (record->stop != nullptr) {
        const VPluginStop_f stop = record->stop;
        VORNCallPlugin(VORNCallKind::kStop, id, [&] { stop(); });
    }
    VORNNoThrow([&] {
        VORNNotifyUnloadObserver(id);
        VORNRunCleanupHooks(id);
    });
    if (record->module != nullptr) {
        VORNUnloadDLL(record->module);
        record->module = nullptr;
    }
    // The entry points died with the module; the record may stay for a while
    // to keep later ids stable, but it can never be called or enabled again.
    record->unloaded = true;
    record->enabled = false;
    record->stop = nullptr;
    record->enable = nullptr;
    record->disable = nullptr;
    record->receive = nullptr;
    record->errorCallback = nullptr;
}

void VORNUnloadPlugins()
{
    for (int id = 1; id < VORNCountPlugins(); ++id)
        UnloadOnePlugin(id);
    VORNClearPluginRegistry();
    gLoader.currentAircraftPluginIDS.clear();
}

VORN_EXPORT void VORNReloadPlugins(void)
{
    VORN_CHECK_THREAD_VOID();
    gLoader.scheduleReload = true;
}

void VORNReloadPluginsInternal()
{
    gLoader.scheduleReload = false;
    VORNDisableAllPlugins();
    VORNUnloadAcfPlugin();
    VORNUnloadPlugins();
    if (VORNHostVersionAtLeast(VORN_HOST_HOOKS_VERSION_ALERT))
        gHooks->ShowAlert("Please place your new plugin in the plugins folder.",
                          "I will then reload all plugins.", "", "");
    char systemPath[VORN_PATH_BUFFER_SIZE] = "";
    gHooks->GetSystemPath(systemPath);
    systemPath[sizeof systemPath - 1] = '\0';
    VORNFindAndLoadPlugins(systemPath);
    const std::string aircraftFolder = VORNUserAircraftFolder();
    if (!aircraftFolder.empty())
        VORNFindAndLoadAcfPlugins(aircraftFolder.c_str());
    for (int id = 0; id < VORNCountPlugins(); ++id)
        VORNEnablePlugin(id);
}

void VORNRunScheduledReload()
{
    if (gLoader.scheduleReload)
        VORNReloadPluginsInternal();
}

// ---- Aircraft and scenery plug-ins -----------------------------------------------

void VORNFindAndLoadAcfPlugins(const char* aircraftFolder)
{
    const std::vector<int> ids = VORNLoadPluginSubfolders(std::string(aircraftFolder) + "/plugins");
    std::vector<int>& aircraft = gLoader.currentAircraftPluginIDS;
    aircraft.insert(aircraft.end(), ids.begin(), ids.end());
}

void VORNFindAndLoadSceneryPlugins(const char* packageFolder)
{
    // The package folder arrives with its trailing separator.
    for (int id : VORNLoadPluginSubfolders(std::string(packageFolder) + "plugins"))
        VORNEnablePlugin(id);
}

void VORNUnloadAcfPlugin()
{
    const std::vector<int>& ids = gLoader.currentAircraftPluginIDS;
    for (int id : ids)
        UnloadOnePlugin(id);
    // Only trailing records go, so that the ids of later plug-ins stay valid.
    while (!gAllPlugins.empty() &&
           std::find(ids.begin(), ids.end(), static_cast<int>(gAllPlugins.size()) - 1) !=
               ids.end())
        gAllPlugins.pop_back();
    gLoader.currentAircraftPluginIDS.clear();
}
