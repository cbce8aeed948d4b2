// VORNLoader.cpp - the plug-in registry and dispatch: who is calling, the
// identity queries, error reporting to plug-ins and plug-in-tagged log lines.
// The rest of the host core's plug-in side lives beside it: discovery and
// loading (VORNLoaderDiscovery), the lifecycle with the table of subsystems
// (VORNLoaderLifecycle), messages, features and deliveries
// (VORNLoaderMessages).

#include "VORNLoaderInternal.h"

#include "VORNDLLUtils.h"
#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORNProfileInternal.h"
#include "VORN/VORNUtilities.h"

std::vector<std::unique_ptr<PluginRecord>> gAllPlugins;

// Zero-initialised: before any plug-in exists the host (id 0) is calling.
int gDispatchedPlugin = 0;

// Everything off until the host switches a mode on.
uint8_t gDiagnostics = 0;

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
    // Ids are handed out anew: figures kept by id would go to strangers.
    VORNTimingForgetPlugins();
}

// ---- Identity ---------------------------------------------------------------

VORN_EXPORT VORNPluginID VORNGetMyID(void)
{
    VORN_CHECK_THREAD(VORN_NO_PLUGIN_ID);
    return gDispatchedPlugin;
}

VORN_EXPORT int VORNCountPlugins(void)
{
    VORN_CHECK_THREAD(0);
    return static_cast<int>(gAllPlugins.size());
}

VORN_EXPORT VORNPluginID VORNGetNthPlugin(int index)
{
    VORN_CHECK_THREAD(VORN_NO_PLUGIN_ID);
    return index;
}

VORN_EXPORT int VORNIsPluginEnabled(VORNPluginID id)
{
    VORN_CHECK_THREAD(0);
    const PluginRecord* record = VORNPluginRecordFor(id);
    return record != nullptr && record->enabled ? 1 : 0;
}

VORN_EXPORT VORNPluginID VORNFindPluginBySignature(const char* signature)
{
    VORN_CHECK_THREAD(VORN_NO_PLUGIN_ID);
    if (signature == nullptr)
        return VORN_NO_PLUGIN_ID;
    return VORNNoThrow(VORN_NO_PLUGIN_ID, [&] {
        return FindPluginByField(&PluginRecord::signature, signature);
    });
}

VORN_EXPORT VORNPluginID VORNFindPluginByPath(const char* path)
{
    VORN_CHECK_THREAD(VORN_NO_PLUGIN_ID);
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
    VORN_CHECK_THREAD_VOID();
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
    VORN_CHECK_THREAD("");
    return DebugCurrentPluginName();
}

// ---- Errors -----------------------------------------------------------------

VORN_EXPORT void VORNSetErrorCallback(VORNErrorCallback_f callback)
{
    VORN_CHECK_THREAD_VOID();
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
