#include "HostLibrary.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>

namespace vornhost {

namespace {

template <typename T>
void Resolve(void* handle, const char* name, T& slot)
{
    slot = reinterpret_cast<T>(dlsym(handle, name));
}

std::string ExecutableFolder()
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    if (length <= 0)
        return ".";
    path[length] = '\0';
    std::string full(path);
    return full.substr(0, full.rfind('/'));
}

}  // namespace

std::string HostLibrary::DefaultPath()
{
    if (const char* fromEnvironment = std::getenv("VORN_LIBRARY"))
        return fromEnvironment;
    const std::string installed = ExecutableFolder() + "/../lib/libvorn.so.2";
    if (access(installed.c_str(), R_OK) == 0)
        return installed;
    return VORN_BUILD_LIBRARY;
}

bool HostLibrary::Open(const std::string& requested, std::string& error)
{
    const std::string path = requested.empty() ? DefaultPath() : requested;
    // RTLD_GLOBAL: plug-ins resolve the VORN API against this very copy.
    handle = dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
    if (handle == nullptr) {
        const char* reason = dlerror();
        error = "cannot load the VORN library " + path + ": " + (reason ? reason : "unknown error");
        return false;
    }
    Resolve(handle, "VORNInitializePlugins", InitializePlugins);
    Resolve(handle, "VORNShutdownPlugins", ShutdownPlugins);
    Resolve(handle, "VORNEventHook", EventHook);
    Resolve(handle, "VORNCountPlugins", CountPlugins);
    Resolve(handle, "VORNGetPluginInfo", GetPluginInfo);
    Resolve(handle, "VORNIsPluginEnabled", IsPluginEnabled);
    Resolve(handle, "VORNGetPluginInventory", GetPluginInventory);
    Resolve(handle, "VORNSetUnloadObserver", SetUnloadObserver);
    Resolve(handle, "VORNGetMyID", GetMyID);
    Resolve(handle, "VORNEnablePlugin", EnablePlugin);
    Resolve(handle, "VORNDisablePlugin", DisablePlugin);
    Resolve(handle, "VORNDoDrawingHook", DoDrawingHook);
    Resolve(handle, "VORNMouseClickHook", MouseClickHook);
    Resolve(handle, "VORNKeyPressHook", KeyPressHook);
    Resolve(handle, "VORNCursorHook", CursorHook);
    Resolve(handle, "VORNScrollWheelHook", ScrollWheelHook);
    Resolve(handle, "VORNMenuHook", MenuHook);
    Resolve(handle, "VORNCommandHook", CommandHook);
    Resolve(handle, "VORNCameraHook", CameraHook);
    Resolve(handle, "VORNSetTimeAccounting", SetTimeAccounting);
    Resolve(handle, "VORNSetFrameBudget", SetFrameBudget);
    Resolve(handle, "VORNGetPluginCallTimes", GetPluginCallTimes);
    Resolve(handle, "VORNSetCallObserver", SetCallObserver);
    if (!InitializePlugins || !ShutdownPlugins || !EventHook || !CountPlugins || !GetPluginInfo ||
        !IsPluginEnabled || !GetPluginInventory || !SetUnloadObserver || !GetMyID ||
        !EnablePlugin || !DisablePlugin) {
        error = path + " is not a VORN library: its host entry points are missing";
        return false;
    }
    return true;
}

HostLibrary::~HostLibrary()
{
    // The library stays mapped: plug-in code may still be referenced by
    // atexit handlers of the modules it loaded.
}

}  // namespace vornhost
