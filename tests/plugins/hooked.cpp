// A C++ plug-in running test-installed code in its entry points (hooked.h). Named by its file
// name without ".vpl", signed "hooked:" + its path: copies at several paths are several plug-ins.
#include "hooked.h"

#include "agent.h"

#include "VORN/VORNPlugin.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

HookedHooks* gHooks = nullptr;

std::string ModulePath()
{
    Dl_info info;
    if (dladdr(reinterpret_cast<void*>(&ModulePath), &info) != 0 && info.dli_fname != nullptr)
        return info.dli_fname;
    return "hooked";
}

std::string BaseName(const std::string& path)
{
    std::string name = path.substr(path.find_last_of('/') + 1);
    return name.substr(0, name.find('.'));
}

}  // namespace

VORN_PLUGIN_ENTRY void HookedInstall(HookedHooks* hooks) { gHooks = hooks; }

VORN_PLUGIN_ENTRY int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    const std::string path = ModulePath();
    std::snprintf(outName, 256, "%s", BaseName(path).c_str());
    std::snprintf(outSignature, 256, "hooked:%s", path.c_str());
    std::snprintf(outDescription, 256, "Runs test code in its entry points");
    return gHooks != nullptr && gHooks->start ? gHooks->start() : 1;
}

VORN_PLUGIN_ENTRY int VPluginEnable(void) { return gHooks != nullptr && gHooks->enable ? gHooks->enable() : 1; }

VORN_PLUGIN_ENTRY void VPluginDisable(void) { if (gHooks != nullptr && gHooks->disable) gHooks->disable(); }
VORN_PLUGIN_ENTRY void VPluginStop(void) { if (gHooks != nullptr && gHooks->stop) gHooks->stop(); }

VORN_PLUGIN_ENTRY void VPluginReceiveMessage(VORNPluginID from, int message, void* param)
{
    if (message == AGENT_RUN_MESSAGE && param != nullptr) {
        const AgentRun* run = static_cast<const AgentRun*>(param);
        run->fn(run->context);
    } else if (gHooks != nullptr && gHooks->message) {
        gHooks->message(from, message, param);
    }
}
