// VORNHost.cpp - the entry points that the host calls: start, stop, the
// per-event driver, and the forwarders into the subsystems that own each
// host event.

#include "VORNHostInternal.h"

#include "VORNInternal.h"
#include "VORNLoaderInternal.h"
#include "VORNMenusInternal.h"
#include "VORNUtilitiesInternal.h"

#include <cstdio>

VORNHostHooks* gHooks = nullptr;
void* gSelf = nullptr;
char gDirSeparator[2] = {'/', '\0'};

namespace {

const int kInterfaceVersion = 19;

}  // namespace

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
    gSelf = self;
    gHooks = hooks;
    gDirSeparator[0] = '/';
    gDirSeparator[1] = '\0';
    VORNInitMenus();
    (void)systemPath;
    VORNNoThrow([&] { VORNRegisterHostPlugin(); });
    return kInterfaceVersion;
}

VORN_EXPORT void VORNShutdownPlugins(void)
{
    VORNNoThrow([&] { VORNClearPluginRegistry(); });
}

VORN_EXPORT int VORNEventHook(int event, void* param, float elapsed)
{
    (void)param;
    (void)elapsed;
    return VORNNoThrow(1, [&] {
        switch (event) {
        case 0:  // a simulation step: held buttons, then phase-0 flight loops
            VORNDoRepeatedButtons();
            return 1;
        case 9:  // held commands go on
            VORNCommandRepeatHook();
            return 1;
        default:  // codes outside 0..13, and events with nothing to do
            return 1;
        }
    });
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
