// VORNHost.cpp - the entry points that the host calls: start, stop, the
// per-event driver, and the forwarders into the subsystems that own each
// host event.

#include "VORNHostInternal.h"

#include "VORN/VORNDataAccess.h"
#include "VORNInternal.h"
#include "VORNLoaderInternal.h"
#include "VORNUtilitiesInternal.h"

#include <cstdio>
#include <cstring>

VORNHostHooks* gHooks = nullptr;
void* gSelf = nullptr;
char gDirSeparator[2] = {'/', '\0'};

namespace {

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
    PublishBuildString();
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
        default:  // codes outside 0..13, and events with nothing to do
            return 1;
        }
    });
}
