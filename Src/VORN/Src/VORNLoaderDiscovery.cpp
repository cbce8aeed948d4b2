// VORNLoaderDiscovery.cpp - finding plug-in modules below a folder and
// loading one: opening the module, registering it under the next id,
// starting it, and turning away refusals and duplicate signatures.

#include "VORNLoaderInternal.h"

#include "VORNDLLUtils.h"
#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORN/VORNUtilities.h"

#include <algorithm>
#include <cstring>

namespace {

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

}  // namespace

// Loads every sub-folder of pluginFolder as a fat plug-in, in byte order,
// logging the folder first when there is at least one; returns the new ids.
std::vector<int> VORNLoadPluginSubfolders(const std::string& pluginFolder)
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

// The module opened and known to be a plug-in, or null after the matching
// log line.
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

std::string VORNUserAircraftFolder()
{
    char path[256] = "";
    char fileName[256] = "";
    gHooks->GetNthAircraftModel(0, path, fileName);
    path[sizeof path - 1] = '\0';
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? std::string(path, static_cast<size_t>(slash - path)) : std::string();
}
