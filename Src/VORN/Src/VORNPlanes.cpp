// VORNPlanes.cpp - one plug-in at a time owns the multiplayer aircraft; the
// others wait in line and are called back, in turn, when they are released.
// Also the host's two questions about those aircraft and the calls about the
// user's own aircraft.

#include "VORNPlanesInternal.h"

#include "VORNDLLUtils.h"
#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORNLoaderInternal.h"
#include "VORN/VORNDataAccess.h"
#include "VORN/VORNUtilities.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

int gOwner = VORN_NO_PLUGIN_ID;
int gPlaneLimit = -1;
int gPlaneMaximum = -1;
std::vector<std::string> gRequestedPlanes;
std::vector<VORNPlaneRequest> gQueue;
bool gIsSelfLoading = false;

namespace {

const int kHostPathBufferSize = 256;
const int kPathBufferSize = 512;
const int kReinitFirst = 208;
const int kReinitSecond = 201;

bool CallerOwnsPlanes()
{
    return gOwner != VORN_NO_PLUGIN_ID && gOwner == VORNGetDispatchedPlugin();
}

// A path as the caller gave it, in the library's own form.
std::string InternalPath(const char* path)
{
    std::string internal(path);
    if (VORNNeedPathConvert())
        VORNOldToUTF8(internal);
    return internal;
}

// Tells the host whether it may fly plane index itself (0) or not (1).
void WriteAiLoc(int index, int value)
{
    char name[64];
    std::snprintf(name, sizeof name, "sim/private/net_disables/ai_loc[%d]", index);
    VORNSetDatai(VORNFindDataRef(name), value);
}

// Asks the host to load a model: what it then asks back about the plane must
// not be answered from the owner's list.
void LoadModelNow(int index, const std::string& path, const char* fileName)
{
    gIsSelfLoading = true;
    gHooks->SetAircraftModel(index, path.c_str(), fileName);
    gIsSelfLoading = false;
}

// What follows the last separator of path. The search stops at index 1 and
// "none found" counts as index 0, so a bare file name loses its first
// character; hosts have always received it so, and it is kept.
const char* FileNamePart(const char* path)
{
    const size_t length = std::strlen(path);
    if (length == 0)
        return path;
    const char separator = VORNGetDirectorySeparator()[0];
    size_t at = length - 1;
    while (at > 0 && path[at] != separator)
        --at;
    return path + at + 1;
}

void CallWaitingPlugins(const std::vector<VORNPlaneRequest>& requests)
{
    for (const VORNPlaneRequest& request : requests) {
        VORNCallPlugin(VORNCallKind::kPlanes, request.plugin,
                       [&] { request.callback(request.refcon); });
    }
}

}  // namespace

VORN_EXPORT int VORNAcquirePlanes(char** aircraftPaths, VORNPlanesAvailable_f callback,
                                  void* refcon)
{
    return VORNNoThrow(0, [&] {
        const int caller = VORNGetDispatchedPlugin();
        if (CallerOwnsPlanes())
            return 1;
        if (gOwner != VORN_NO_PLUGIN_ID) {
            if (callback != nullptr)
                gQueue.push_back({callback, refcon, caller});
            return 0;
        }
        gRequestedPlanes.clear();
        for (char** path = aircraftPaths; path != nullptr && *path != nullptr; ++path)
            gRequestedPlanes.push_back(InternalPath(*path));
        gPlaneLimit = -1;
        gOwner = caller;
        return 1;
    });
}

VORN_EXPORT void VORNReleasePlanes(void)
{
    VORNNoThrow([&] {
        if (!CallerOwnsPlanes())
            return;
        gPlaneLimit = -1;
        gOwner = VORN_NO_PLUGIN_ID;
        gRequestedPlanes.clear();
        // Taken out first: the callbacks acquire again or queue afresh.
        std::vector<VORNPlaneRequest> waiting;
        waiting.swap(gQueue);
        for (int index = 1; index < gPlaneMaximum; ++index)
            WriteAiLoc(index, 0);
        CallWaitingPlugins(waiting);
    });
}

VORN_EXPORT void VORNSetActiveAircraftCount(int count)
{
    if (CallerOwnsPlanes())
        gPlaneLimit = count;
}

VORN_EXPORT void VORNSetAircraftModel(int index, const char* aircraftPath)
{
    VORNNoThrow([&] {
        if (!CallerOwnsPlanes() || index < 0 || aircraftPath == nullptr)
            return;
        const std::string path = InternalPath(aircraftPath);
        if (gRequestedPlanes.size() <= static_cast<size_t>(index))
            gRequestedPlanes.resize(static_cast<size_t>(index) + 1);
        gRequestedPlanes[index] = path;
        if (gPlaneMaximum != -1 && index < gPlaneMaximum)
            LoadModelNow(index, path, path.c_str());
    });
}

VORN_EXPORT void VORNDisableAIForPlane(int planeIndex)
{
    WriteAiLoc(planeIndex, 1);
}

VORN_EXPORT void VORNDrawAircraft(int planeIndex, float x, float y, float z, float pitch,
                                  float roll, float heading, int fullDraw, void* drawState)
{
    if (CallerOwnsPlanes())
        gHooks->DrawAircraft(planeIndex, x, y, z, pitch, roll, heading, fullDraw, drawState);
}

VORN_EXPORT void VORNCountAircraft(int* outTotalAircraft, int* outActiveAircraft,
                                   VORNPluginID* outController)
{
    const int total = gHooks->CountAircraft(outTotalAircraft, outActiveAircraft, outController);
    const int active = gPlaneLimit == -1 ? total : std::min(total, gPlaneLimit);
    if (outTotalAircraft != nullptr)
        *outTotalAircraft = total;
    if (outActiveAircraft != nullptr)
        *outActiveAircraft = active;
    if (outController != nullptr)
        *outController = gOwner;
}

VORN_EXPORT void VORNGetNthAircraftModel(int index, char* outFileName, char* outPath)
{
    VORNNoThrow([&] {
        if (outFileName == nullptr || outPath == nullptr)
            return;
        gHooks->GetNthAircraftModel(index, outPath, outFileName);
        if (!VORNNeedPathConvert())
            return;
        std::string path(outPath);
        VORNUTF8ToOld(path);
        strcpytrunc(outPath, path, kPathBufferSize);
    });
}

VORN_EXPORT void VORNSetUsersAircraft(const char* aircraftPath)
{
    VORNNoThrow([&] {
        if (aircraftPath == nullptr)
            return;
        LoadModelNow(0, InternalPath(aircraftPath), FileNamePart(aircraftPath));
    });
}

VORN_EXPORT void VORNPlaceUserAtAirport(const char* airportCode)
{
    gHooks->PlaceUserAtAirport(airportCode);
}

VORN_EXPORT void VORNReinitUsersPlane(void)
{
    if (CallerOwnsPlanes() && VORNHostTableSizeAtLeast(VORN_HOST_HOOKS_SIZE))
        gHooks->ReinitUsersPlane(kReinitFirst, kReinitSecond);
}

// ---- The host's questions ------------------------------------------------------

void VORNHandleUpdatePlaneNameAndPath(int index, char* name, char* path)
{
    (void)name;  // the host keeps its own name for the plane
    if (gOwner == VORN_NO_PLUGIN_ID || gIsSelfLoading || index <= 0 || path == nullptr ||
        static_cast<size_t>(index) >= gRequestedPlanes.size() || gRequestedPlanes[index].empty())
        return;
    strcpytrunc(path, gRequestedPlanes[index], kHostPathBufferSize);
}

int VORNHandleGetNumberPlanesToHandle(int count, int flag)
{
    gPlaneMaximum = count;
    if (flag != 0 || gIsSelfLoading || gOwner == VORN_NO_PLUGIN_ID || gPlaneLimit == -1)
        return count;
    return std::min(gPlaneLimit, count);
}

// ---- Disable and clean-up ------------------------------------------------------

void VORNPlaneDisableHook(int id)
{
    if (id != gOwner)
        return;
    StDispatchCallback asOwner(id);
    VORNReleasePlanes();
}

void VORNPlaneCleanupHook(int id)
{
    gQueue.erase(std::remove_if(gQueue.begin(), gQueue.end(),
                                [id](const VORNPlaneRequest& r) { return r.plugin == id; }),
                 gQueue.end());
    // Runs as whoever unloads id, so this normally fails its owner check and
    // the aircraft stay with the unloaded id; a plug-in disabled before its
    // unload released them in its disable hook already.
    if (id == gOwner)
        VORNReleasePlanes();
}

void VORNCountPlaneHoldings(int id, VORNPluginInventory* inventory)
{
    inventory->planes = gOwner == id ? 1 : 0;
}

void VORNResetPlanes()
{
    gOwner = VORN_NO_PLUGIN_ID;
    gPlaneLimit = -1;
    gPlaneMaximum = -1;
    gRequestedPlanes.clear();
    gQueue.clear();
    gIsSelfLoading = false;
}
