// VORNChecked.cpp - checked mode: the VORN API belongs to the simulator's
// main thread (the one that called VORNInitializePlugins). While checked mode
// is on, a call from any other thread is refused at the entry of the API
// function; the refusing thread only notes the function and the module that
// called it, and the main thread reports each (plug-in, function) once at its
// next host event, because the registry, the error callbacks and the log all
// belong to the main thread.

#include "VORNCheckedInternal.h"

#include "VORNLoaderInternal.h"

#include <dlfcn.h>
#include <link.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

// A refused call: the module whose code made it and the API function.
using RefusedCall = std::pair<std::string, std::string>;

struct CheckedState {
    std::set<RefusedCall> noted;       // every call refused so far, once
    std::vector<RefusedCall> pending;  // not yet reported, in the order refused
};
CheckedState gChecked;
// Refusing threads and the main thread share gChecked; the lock is not part
// of the state, so that a reset can take it.
std::mutex gCheckedLock;

const char kAdvice[] =
    " from a thread other than the simulator's main thread: the call was refused. Call the "
    "VORN API only from the main thread (from a callback of the library).";

// The plug-in whose module is named module (as the dynamic loader names it),
// or -1.
int PluginOfModule(const std::string& module)
{
    for (size_t id = 0; id < gAllPlugins.size(); ++id) {
        link_map* map = nullptr;
        void* handle = gAllPlugins[id]->module;
        if (handle != nullptr && dlinfo(handle, RTLD_DI_LINKMAP, &map) == 0 && map != nullptr &&
            map->l_name != nullptr && module == map->l_name)
            return static_cast<int>(id);
    }
    return VORN_NO_PLUGIN_ID;
}

void Report(const RefusedCall& call)
{
    const int id = PluginOfModule(call.first);
    const PluginRecord* record = VORNPluginRecordFor(id);
    const std::string caller = record != nullptr ? "Plug-in \"" + record->name + "\""
                                                 : "Code in " + call.first;
    const std::string text = caller + " called " + call.second + kAdvice;
    StDispatchCallback asCaller(id);
    VORNLogPluginWarning(text.c_str());
    VORNSendError(text.c_str());
}

}  // namespace

__thread bool gOnMainThread = false;

void VORNRefuseCall(const char* function, void* caller) noexcept
{
    // Outside the lock: dladdr takes the dynamic loader's lock, which the
    // main thread may hold while a module it opens calls the API.
    Dl_info info;
    const char* module =
        dladdr(caller, &info) != 0 && info.dli_fname != nullptr ? info.dli_fname : "";
    VORNNoThrow([&] {
        RefusedCall call(module, function);
        std::lock_guard<std::mutex> lock(gCheckedLock);
        if (gChecked.noted.insert(call).second)
            gChecked.pending.push_back(std::move(call));
    });
}

void VORNCheckedStart()
{
    gOnMainThread = true;
    const char* fromEnvironment = std::getenv("VORN_CHECKED");
    if (fromEnvironment != nullptr && std::strcmp(fromEnvironment, "1") == 0)
        gDiagnostics |= kDiagnoseThreads;
}

void VORNReportRefusedCalls()
{
    std::vector<RefusedCall> pending;
    {
        std::lock_guard<std::mutex> lock(gCheckedLock);
        pending.swap(gChecked.pending);
    }
    for (const RefusedCall& call : pending)
        VORNNoThrow([&] { Report(call); });
}

void VORNResetChecked()
{
    gOnMainThread = false;
    std::lock_guard<std::mutex> lock(gCheckedLock);
    gChecked = CheckedState();
    gDiagnostics &= static_cast<uint8_t>(~kDiagnoseThreads);
}

VORN_EXPORT void VORNSetCheckedMode(int on)
{
    if (on != 0)
        gDiagnostics |= kDiagnoseThreads;
    else
        gDiagnostics &= static_cast<uint8_t>(~kDiagnoseThreads);
}
