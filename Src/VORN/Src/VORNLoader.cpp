// VORNLoader.cpp - the plug-in registry and dispatch: who is calling, error
// reporting to plug-ins and plug-in-tagged log lines.

#include "VORNLoaderInternal.h"

#include "VORNDLLUtils.h"
#include "VORNDataAccessInternal.h"
#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORN/VORNUtilities.h"

#include <cstring>

std::vector<std::unique_ptr<PluginRecord>> gAllPlugins;

// Zero-initialised: before any plug-in exists the host (id 0) is calling.
int gDispatchedPlugin = 0;

namespace {

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

}  // namespace

// ---- Disable and clean-up fan-out -------------------------------------------
// Every subsystem that keeps per-plug-in state has a disable hook (release live
// resources such as focus, camera or aircraft) and/or a clean-up hook (free
// everything the plug-in owned). The orders below are fixed; a subsystem joins
// by adding its one line at its place.

void VORNRunDisableHooks(int id)
{
    // display, camera, planes
    (void)id;
}

void VORNRunCleanupHooks(int id)
{
    // commands, display, flight loops, camera, menus, planes, data refs, scenery
    VORNDataRefsCleanupHook(id);
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
    const PluginRecord* record = VORNPluginRecordFor(gDispatchedPlugin);
    if (record == nullptr || record->errorCallback == nullptr)
        return;
    // The callback is the plug-in's code; whatever it throws stays here.
    VORNNoThrow([&] { record->errorCallback(message); });
}

int VORNHasError()
{
    const PluginRecord* record = VORNPluginRecordFor(gDispatchedPlugin);
    return record != nullptr && record->errorCallback != nullptr ? 1 : 0;
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
