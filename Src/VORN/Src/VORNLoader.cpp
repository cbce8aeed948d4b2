// VORNLoader.cpp - the host core's plug-in side: the registry and dispatch
// (who is calling, error reporting to plug-ins, plug-in-tagged log lines),
// discovery and loading, the lifecycle with its table of subsystems,
// aircraft and scenery plug-ins, messages, features and deliveries.

#include "VORNLoaderInternal.h"

#include "VORNCameraInternal.h"
#include "VORNDLLUtils.h"
#include "VORNDataAccessInternal.h"
#include "VORNDisplayInternal.h"
#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORNMenusInternal.h"
#include "VORNPlanesInternal.h"
#include "VORNProcessingInternal.h"
#include "VORNSceneryInternal.h"
#include "VORNUtilitiesInternal.h"
#include "VORN/VORNUtilities.h"

#include <algorithm>
#include <cstring>

std::vector<std::unique_ptr<PluginRecord>> gAllPlugins;

// Zero-initialised: before any plug-in exists the host (id 0) is calling.
int gDispatchedPlugin = 0;

namespace {

// The lifecycle's own state.
struct LoaderState {
    // The plug-ins loaded for the user's current aircraft, in load order.
    std::vector<int> currentAircraftPluginIDS;
    // A plug-in asked for a full reload, carried out after the next pass.
    bool scheduleReload = false;
};
LoaderState gLoader;

// In-flight deliveries of unloaded plug-ins. Never reset: the host may
// still complete their work after a shutdown.
VORNDeliveryHead orphaned;

const char kHostName[] = "Taravel";
const char kHostSignature[] = "corvane.taravel.taravel";
const char kHostDescription[] = "Taravel flight simulator";

// Lowest id whose field (selected by member pointer) equals value, else -1.
int FindPluginByField(std::string PluginRecord::*field, const std::string& value)
{
    for (size_t id = 0; id < gAllPlugins.size(); ++id) {
        if ((*gAllPlugins[id]).*field == value)
            return static_cast<int>(id);
    }
    return VORN_NO_PLUGIN_ID;
}

const char* const kFeatureNames[kFeatureCount] = {"VORN_WANTS_REFLECTIONS",
                                                  "VORN_USE_NATIVE_PATHS"};

// Writes each piece as its own log write, in order.
void Log(std::initializer_list<const char*> pieces)
{
    for (const char* piece : pieces)
        VORNDebugString(piece);
}

bool Contains(const std::string& text, const char* part)
{
    return text.find(part) != std::string::npos;
}

// Sorted listing of folder under pattern (byte order).
std::vector<std::string> SortedListing(const std::string& folder, const char* pattern)
{
    std::vector<std::string> names;
    VORNFetchDirectoryContents(folder.c_str(), pattern, names);
    std::sort(names.begin(), names.end());
    return names;
}

// The provisional name of a loading plug-in: what follows "plugins" and the
// separator after it, or the whole path.
std::string ProvisionalName(const std::string& path)
{
    const size_t at = path.rfind("plugins");
    if (at == std::string::npos)
        return path;
    return path.substr(std::min(path.size(), at + std::strlen("plugins") + 1));
}

// Removes the record of id (always the newest during loading).
void RemoveRecord(int id)
{
    if (id >= 0 && static_cast<size_t>(id) < gAllPlugins.size())
        gAllPlugins.erase(gAllPlugins.begin() + id);
}

// ---- delivery lists ----

void PushFront(VORNDeliveryHead& head, VORNDelivery* delivery)
{
    delivery->mPrev = &head;
    delivery->mNext = head.mNext;
    if (head.mNext != nullptr)
        head.mNext->mPrev = delivery;
    head.mNext = delivery;
}

void Unlink(VORNDelivery* delivery)
{
    if (delivery->mPrev != nullptr)
        delivery->mPrev->mNext = delivery->mNext;
    if (delivery->mNext != nullptr)
        delivery->mNext->mPrev = delivery->mPrev;
    delivery->mNext = nullptr;
    delivery->mPrev = nullptr;
}

// Takes the first delivery off head, or null.
VORNDelivery* PopFront(VORNDeliveryHead& head)
{
    VORNDelivery* first = head.mNext;
    if (first != nullptr)
        Unlink(first);
    return first;
}

int FeatureIndex(const char* name)
{
    if (name == nullptr)
        return -1;
    for (int i = 0; i < kFeatureCount; ++i) {
        if (std::strcmp(name, kFeatureNames[i]) == 0)
            return i;
    }
    return -1;
}

// Loads every sub-folder of pluginFolder as a fat plug-in, in byte order,
// logging the folder first when there is at least one; returns the new ids.
std::vector<int> LoadPluginSubfolders(const std::string& pluginFolder)
{
    std::vector<int> ids;
    const std::vector<std::string> names = SortedListing(pluginFolder, "DIR");
    if (!names.empty())
        Log({"Fetching plugins for ", pluginFolder.c_str(), "\n\n"});
    for (const std::string& name : names) {
        const int id = LoadFatPlugin(pluginFolder + "/" + name);
        if (id != VORN_NO_PLUGIN_ID)
            ids.push_back(id);
    }
    return ids;
}

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

VORNDeliveryHead& VORNOrphanedDeliveries()
{
    return orphaned;
}

// ---- Registry ---------------------------------------------------------------

void VORNSetDispatchedPlugin(int id)
{
    gDispatchedPlugin = id;
}

int VORNGetDispatchedPlugin()
{
    return gDispatchedPlugin;
}

int VORNAddPluginRecord(std::unique_ptr<PluginRecord> record)
{
    gAllPlugins.push_back(std::move(record));
    return static_cast<int>(gAllPlugins.size()) - 1;
}

int VORNRegisterHostPlugin()
{
    auto host = std::make_unique<PluginRecord>();
    host->name = kHostName;
    host->signature = kHostSignature;
    host->description = kHostDescription;
    host->receive = gHooks ? gHooks->HostReceiveMessage : nullptr;
    host->enabled = true;
    return VORNAddPluginRecord(std::move(host));
}

void VORNClearPluginRegistry()
{
    gAllPlugins.clear();
}

// ---- Identity ---------------------------------------------------------------

VORN_EXPORT VORNPluginID VORNGetMyID(void)
{
    return gDispatchedPlugin;
}

VORN_EXPORT int VORNCountPlugins(void)
{
    return static_cast<int>(gAllPlugins.size());
}

VORN_EXPORT VORNPluginID VORNGetNthPlugin(int index)
{
    return index;
}

VORN_EXPORT int VORNIsPluginEnabled(VORNPluginID id)
{
    const PluginRecord* record = VORNPluginRecordFor(id);
    return record != nullptr && record->enabled ? 1 : 0;
}

VORN_EXPORT VORNPluginID VORNFindPluginBySignature(const char* signature)
{
    if (signature == nullptr)
        return VORN_NO_PLUGIN_ID;
    return VORNNoThrow(VORN_NO_PLUGIN_ID, [&] {
        return FindPluginByField(&PluginRecord::signature, signature);
    });
}

VORN_EXPORT VORNPluginID VORNFindPluginByPath(const char* path)
{
    if (path == nullptr)
        return VORN_NO_PLUGIN_ID;
    return VORNNoThrow(VORN_NO_PLUGIN_ID, [&] {
        std::string internal(path);
        if (VORNNeedPathConvert())
            VORNOldToUTF8(internal);
        return FindPluginByField(&PluginRecord::filePath, internal);
    });
}

VORN_EXPORT void VORNGetPluginInfo(VORNPluginID id, char* outName, char* outFilePath,
                                   char* outSignature, char* outDescription)
{
    // The id is trusted by contract; an out-of-range one is still refused
    // rather than read past the registry.
    const PluginRecord* record = VORNPluginRecordFor(id);
    if (record == nullptr)
        return;
    VORNNoThrow([&] {
        if (outName)
            strcpytrunc(outName, record->name, VORN_NAME_BUFFER_SIZE);
        if (outFilePath) {
            std::string path = record->filePath;
            if (VORNNeedPathConvert())
                VORNUTF8ToOld(path);
            strcpytrunc(outFilePath, path, VORN_NAME_BUFFER_SIZE);
        }
        if (outSignature)
            strcpytrunc(outSignature, record->signature, VORN_NAME_BUFFER_SIZE);
        if (outDescription)
            strcpytrunc(outDescription, record->description, VORN_NAME_BUFFER_SIZE);
    });
}

bool VORNNeedPathConvert()
{
    const PluginRecord* record = VORNPluginRecordFor(gDispatchedPlugin);
    return record == nullptr || record->features[kFeatureNativePaths] == 0;
}

const char* DebugCurrentPluginName()
{
    if (gDispatchedPlugin == VORN_NO_PLUGIN_ID)
        return "[NO_PLUGIN_ID]";
    if (gDispatchedPlugin == VORN_HOST_PLUGIN_ID)
        return "[VORN_PLUGIN_TARAVEL]";
    if (gDispatchedPlugin < 0)
        return "[Bad plugin ID low]";
    const PluginRecord* record = VORNPluginRecordFor(gDispatchedPlugin);
    if (record == nullptr)
        return "[Bad plugin ID high]";
    return record->name.c_str();
}

VORN_EXPORT const char* VORNDebugGetCurrentPluginName(void)
{
    return DebugCurrentPluginName();
}

// ---- Errors -----------------------------------------------------------------

VORN_EXPORT void VORNSetErrorCallback(VORNErrorCallback_f callback)
{
    if (PluginRecord* record = VORNPluginRecordFor(gDispatchedPlugin))
        record->errorCallback = callback;
}

void VORNSendError(const char* message)
{
    PluginRecord* record = VORNPluginRecordFor(gDispatchedPlugin);
    if (record == nullptr)
        return;
    // Kept for the host's diagnostics, whether or not the plug-in listens.
    ++record->errorCount;
    VORNNoThrow([&] { record->lastError = message != nullptr ? message : ""; });
    const VORNErrorCallback_f callback = record->errorCallback;
    if (callback == nullptr)
        return;
    VORNCallPlugin(VORNCallKind::kErrorCallback, gDispatchedPlugin, [&] { callback(message); });
}

int VORNHasError()
{
    const PluginRecord* record = VORNPluginRecordFor(gDispatchedPlugin);
    return record != nullptr && record->errorCallback != nullptr ? 1 : 0;
}

void VORNReportPluginException()
{
    VORNNoThrow([] {
        VORNLogPluginWarning("a callback threw an exception; the library ignored it and went on");
    });
}

void VORNLogPluginWarning(const char* message)
{
    if (const PluginRecord* record = VORNPluginRecordFor(gDispatchedPlugin)) {
        VORNDebugString("[");
        VORNDebugString(record->name.c_str());
        VORNDebugString("]: ");
    } else {
        VORNDebugString("[unknown]: ");
    }
    VORNDebugString(message);
    VORNDebugString("\n");
}

// ---- Discovery and loading -----------------------------------------------------

void VORNFindAndLoadPlugins(const char* systemPath)
{
    VORNRegisterHostPlugin();
    const std::string folder = std::string(systemPath != nullptr ? systemPath : "") +
                               "Resources/plugins";
    Log({"Fetching plugins for ", folder.c_str(), "\n\n"});
    const std::vector<std::string> files = SortedListing(folder, "*.vpl");
    LoadFatPlugin(folder + "/PluginAdmin");
    for (const std::string& name : files) {
        if (Contains(name, "PluginAdmin"))
            continue;
        if (VORNHostVersionAtLeast(VORN_HOST_HOOKS_VERSION_LOADING_MESSAGE))
            gHooks->ShowLoadingMessage(("Loading Plugin: " + name).c_str());
        LoadOnePlugin(folder + "/" + name, 1);
    }
    for (const std::string& name : SortedListing(folder, "DIR")) {
        if (Contains(name, "PluginAdmin") || Contains(name, "VORN.framework") ||
            Contains(name, "VWidgets.framework"))
            continue;
        LoadFatPlugin(folder + "/" + name);
    }
}

int LoadFatPlugin(const std::string& folder)
{
    const int id = LoadOnePlugin(folder + "/64/lin.vpl", 0);
    if (id != VORN_NO_PLUGIN_ID)
        return id;
    return LoadOnePlugin(folder + "/lin.vpl", 0);
}

namespace {

template <typename T>
T LookUp(void* module, const char* name)
{
    return reinterpret_cast<T>(VORNFindSymbol(module, name, 0));
}

// Registers a freshly opened module under the next id, before it starts, so
// that it can use the API as itself from inside VPluginStart.
int RegisterLoadingPlugin(void* module, const std::string& path, VPluginStart_f& start)
{
    auto record = std::make_unique<PluginRecord>();
    record->module = module;
    record->stop = LookUp<VPluginStop_f>(module, "VPluginStop");
    record->enable = LookUp<VPluginEnable_f>(module, "VPluginEnable");
    record->disable = LookUp<VPluginDisable_f>(module, "VPluginDisable");
    record->receive = LookUp<VPluginReceiveMessage_f>(module, "VPluginReceiveMessage");
    record->filePath = path;
    record->description = path;
    record->name = ProvisionalName(path);
    start = LookUp<VPluginStart_f>(module, "VPluginStart");
    gDispatchedPlugin = static_cast<int>(gAllPlugins.size());
    return VORNAddPluginRecord(std::move(record));
}

// True when signature is already taken by a record up to and including id
// (whose own signature is still empty, so an empty one always collides).
bool SignatureTaken(const std::string& signature, int id)
{
    for (int other = 0; other <= id; ++other) {
        if (gAllPlugins[other]->signature == signature)
            return true;
    }
    return false;
}

}  // namespace

namespace {

// Steps 1 and 2 of loading: the module opened and known to be a plug-in, or
// null after the matching log line.
void* OpenPluginModule(const std::string& path, int verbose)
{
    void* module = VORNLoadDLL(path.c_str());
    if (module == nullptr) {
        if (verbose != 0)
            Log({"Failed: ", path.c_str(),
                 ".  (This file is missing, not a DLL or could not be loaded due to another "
                 "missing DLL.)\n\n"});
        return nullptr;
    }
    if (VORNFindSymbol(module, "VPluginStart", 0) == nullptr) {
        Log({"Failed: ", path.c_str(),
             ".  (This file is a loadable DLL but is missing the VPluginStart callback.)\n\n"});
        VORNUnloadDLL(module);
        return nullptr;
    }
    return module;
}

// The plug-in said no in VPluginStart: it goes, leaving the registry as it was.
void ForgetRefusedPlugin(int id, void* module, const std::string& path)
{
    Log({"Failed: ", path.c_str(),
         ". (The plugin refused to start by returning 0 from VPluginStart.)\n\n"});
    // Whatever it registered while starting would otherwise point into a
    // closed module and be inherited by the next plug-in to take this id.
    VORNRunCleanupHooks(id);
    RemoveRecord(id);
    gDispatchedPlugin = VORN_HOST_PLUGIN_ID;
    VORNUnloadDLL(module);
}

// A second plug-in with a taken (or empty) signature: stopped and unloaded.
void RejectDuplicatePlugin(int id, const std::string& path, const char* signature)
{
    gDispatchedPlugin = id;
    UnloadOnePlugin(id);
    gDispatchedPlugin = VORN_HOST_PLUGIN_ID;
    RemoveRecord(id);
    Log({"Warning: ", path.c_str(), " Signature: ", signature,
         ". (A version of this plugin is already loaded.)\n"});
}

}  // namespace

int LoadOnePlugin(const std::string& path, int verbose)
{
    void* module = OpenPluginModule(path, verbose);
    if (module == nullptr)
        return VORN_NO_PLUGIN_ID;
    VPluginStart_f start = nullptr;
    const int id = RegisterLoadingPlugin(module, path, start);
    char name[VORN_NAME_BUFFER_SIZE] = "";
    char signature[VORN_NAME_BUFFER_SIZE] = "";
    char description[VORN_NAME_BUFFER_SIZE] = "";
    const int started = VORNCallPlugin(VORNCallKind::kStart, id, 0,
                                       [&] { return start(name, signature, description); });
    // A plug-in may fill its buffers to the last byte without a terminator.
    name[sizeof name - 1] = signature[sizeof signature - 1] = description[sizeof description - 1] = '\0';
    if (started == 0) {
        ForgetRefusedPlugin(id, module, path);
        return VORN_NO_PLUGIN_ID;
    }
    gDispatchedPlugin = VORN_HOST_PLUGIN_ID;
    if (SignatureTaken(signature, id)) {
        RejectDuplicatePlugin(id, path, signature);
        return VORN_NO_PLUGIN_ID;
    }
    PluginRecord& record = *gAllPlugins[id];
    record.name = name;
    record.filePath = path;
    record.signature = signature;
    record.description = description;
    Log({"Loaded: ", path.c_str(), " (", name, ").\n\n"});
    return id;
}

// ---- Enabling and disabling ------------------------------------------------------

VORN_EXPORT int VORNEnablePlugin(VORNPluginID id)
{
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
    while (VORNDelivery* delivery = PopFront(record.pending))
        VORNNoThrow([&] { delivery->DeliverToPlugin(false); });
    return record.enabled ? 1 : 0;
}

VORN_EXPORT void VORNDisablePlugin(VORNPluginID id)
{
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
    while (VORNDelivery* delivery = PopFront(record->inFlight)) {
        delivery->mPlugin = VORN_NO_PLUGIN_ID;
        PushFront(orphaned, delivery);
    }
    // Results that were waiting learn that their plug-in is gone.
    while (VORNDelivery* delivery = PopFront(record->pending)) {
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

std::string VORNUserAircraftFolder()
{
    char path[256] = "";
    char fileName[256] = "";
    gHooks->GetNthAircraftModel(0, path, fileName);
    path[sizeof path - 1] = '\0';
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? std::string(path, static_cast<size_t>(slash - path)) : std::string();
}

void VORNFindAndLoadAcfPlugins(const char* aircraftFolder)
{
    const std::vector<int> ids = LoadPluginSubfolders(std::string(aircraftFolder) + "/plugins");
    std::vector<int>& aircraft = gLoader.currentAircraftPluginIDS;
    aircraft.insert(aircraft.end(), ids.begin(), ids.end());
}

void VORNFindAndLoadSceneryPlugins(const char* packageFolder)
{
    // The package folder arrives with its trailing separator.
    for (int id : LoadPluginSubfolders(std::string(packageFolder) + "plugins"))
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

// ---- Messages ------------------------------------------------------------------------

namespace {

void DeliverMessage(int recipient, int sender, int message, void* param)
{
    const PluginRecord* record = VORNPluginRecordFor(recipient);
    if (record == nullptr || record->receive == nullptr)
        return;
    const VPluginReceiveMessage_f receive = record->receive;
    VORNCallPlugin(VORNCallKind::kMessage, recipient, [&] { receive(sender, message, param); });
}

}  // namespace

VORN_EXPORT void VORNSendMessageToPlugin(VORNPluginID target, int message, void* param)
{
    const int sender = gDispatchedPlugin;
    if (target != VORN_NO_PLUGIN_ID) {
        DeliverMessage(target, sender, message, param);
        return;
    }
    const int count = VORNCountPlugins();
    for (int id = 0; id < count; ++id)
        DeliverMessage(id, sender, message, param);
}

// ---- Features ---------------------------------------------------------------------------

VORN_EXPORT int VORNHasFeature(const char* feature)
{
    return FeatureIndex(feature) >= 0 ? 1 : 0;
}

VORN_EXPORT int VORNIsFeatureEnabled(const char* feature)
{
    const int index = FeatureIndex(feature);
    if (index < 0) {
        // The query reports under the setter's name, as it always has.
        VORNSendError("Illegal feature name passed to VORNEnableFeature");
        return 0;
    }
    return VORNHasFeatureInternal(gDispatchedPlugin, index);
}

VORN_EXPORT void VORNEnableFeature(const char* feature, int enable)
{
    const int index = FeatureIndex(feature);
    if (index < 0) {
        VORNSendError("Illegal feature name passed to VORNEnableFeature");
        return;
    }
    if (PluginRecord* record = VORNPluginRecordFor(gDispatchedPlugin))
        record->features[index] = enable;
}

VORN_EXPORT void VORNEnumerateFeatures(VORNFeatureEnumerator_f enumerator, void* refcon)
{
    if (enumerator == nullptr)
        return;
    for (const char* name : kFeatureNames)
        VORNCallPlugin(VORNCallKind::kFeatureEnumerator, gDispatchedPlugin,
                       [&] { enumerator(name, refcon); });
}

int VORNHasFeatureInternal(int id, int feature)
{
    const PluginRecord* record = VORNPluginRecordFor(id);
    if (record == nullptr || feature < 0 || feature >= kFeatureCount)
        return 0;
    return record->features[feature];
}

// ---- Deliveries ------------------------------------------------------------------------------

void VORNQueueDelivery(VORNDelivery* delivery)
{
    PluginRecord* owner = VORNPluginRecordFor(delivery->mPlugin);
    if (owner == nullptr) {
        VORNSendError("Internal error: async queue pending but the plugin ID is invalid.");
        return;
    }
    PushFront(owner->inFlight, delivery);
}

void VORNSendDelivery(VORNDelivery* delivery)
{
    Unlink(delivery);
    PluginRecord* owner = VORNPluginRecordFor(delivery->mPlugin);
    const bool hostBeforeStart = gAllPlugins.empty() && delivery->mPlugin == VORN_HOST_PLUGIN_ID;
    if (owner == nullptr && !hostBeforeStart) {
        delivery->mPlugin = VORN_NO_PLUGIN_ID;
        VORNNoThrow([&] { delivery->DeliverToPlugin(true); });
        return;
    }
    if (!VORNIsCallable(delivery->mPlugin)) {
        PushFront(owner->pending, delivery);
        return;
    }
    StDispatchCallback asOwner(delivery->mPlugin);
    VORNNoThrow([&] { delivery->DeliverToPlugin(false); });
}
