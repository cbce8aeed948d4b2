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

namespace {

struct PlanesState {
    int owner = VORN_NO_PLUGIN_ID;  // the plug-in owning the aircraft; -1: none
    int planeLimit = -1;            // the owner's active-aircraft limit; -1: none
    int planeMaximum = -1;          // how many aircraft the host handles; -1: not told yet
    std::vector<std::string> requestedPlanes;  // model per plane index; "": none
    std::vector<VORNPlaneRequest> queue;       // in arrival order
    bool isSelfLoading = false;  // the library itself is asking the host for a model
};
PlanesState gPlanes;

const int kPathBufferSize = 512;
const int kReinitFirst = 208;
const int kReinitSecond = 201;

bool CallerOwnsPlanes()
{
    return gPlanes.owner != VORN_NO_PLUGIN_ID && gPlanes.owner == VORNGetDispatchedPlugin();
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
    gPlanes.isSelfLoading = true;
    gHooks->SetAircraftModel(index, path.c_str(), fileName);
    gPlanes.isSelfLoading = false;
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
    VORN_CHECK_THREAD(0);
    return VORNNoThrow(0, [&] {
        const int caller = VORNGetDispatchedPlugin();
        if (CallerOwnsPlanes())
            return 1;
        if (gPlanes.owner != VORN_NO_PLUGIN_ID) {
            if (callback != nullptr)
                gPlanes.queue.push_back({callback, refcon, caller});
            return 0;
        }
        gPlanes.requestedPlanes.clear();
        for (char** path = aircraftPaths; path != nullptr && *path != nullptr; ++path)
            gPlanes.requestedPlanes.push_back(InternalPath(*path));
        gPlanes.planeLimit = -1;
        gPlanes.owner = caller;
        return 1;
    });
}

VORN_EXPORT void VORNReleasePlanes(void)
{
    VORN_CHECK_THREAD_VOID();
    VORNNoThrow([&] {
        if (!CallerOwnsPlanes())
            return;
        gPlanes.planeLimit = -1;
        gPlanes.owner = VORN_NO_PLUGIN_ID;
        gPlanes.requestedPlanes.clear();
        // Taken out first: the callbacks acquire again or queue afresh.
        std::vector<VORNPlaneRequest> waiting;
        waiting.swap(gPlanes.queue);
        for (int index = 1; index < gPlanes.planeMaximum; ++index)
            WriteAiLoc(index, 0);
        CallWaitingPlugins(waiting);
    });
}

VORN_EXPORT void VORNSetActiveAircraftCount(int count)
{
    VORN_CHECK_THREAD_VOID();
    if (CallerOwnsPlanes())
        gPlanes.planeLimit = count;
}

VORN_EXPORT void VORNSetAircraftModel(int index, const char* aircraftPath)
{
    VORN_CHECK_THREAD_VOID();
    VORNNoThrow([&] {
        if (!CallerOwnsPlanes() || index < 0 || aircraftPath == nullptr)
            return;
        const std::string path = InternalPath(aircraftPath);
        if (gPlanes.requestedPlanes.size() <= static_cast<size_t>(index))
            gPlanes.requestedPlanes.resize(static_cast<size_t>(index) + 1);
        gPlanes.requestedPlanes[index] = path;
        if (gPlanes.planeMaximum != -1 && index < gPlanes.planeMaximum)
            LoadModelNow(index, path, path.c_str());
    });
}

VORN_EXPORT void VORNDisableAIForPlane(int planeIndex)
{
    VORN_CHECK_THREAD_VOID();
    WriteAiLoc(planeIndex, 1);
}

VORN_EXPORT void VORNDrawAircraft(int planeIndex, float x, float y, float z, float pitch,
                                  float roll, float heading, int fullDraw, void* drawState)
{
    VORN_CHECK_THREAD_VOID();
    if (CallerOwnsPlanes())
        gHooks->DrawAircraft(planeIndex, x, y, z, pitch, roll, heading, fullDraw, drawState);
}

VORN_EXPORT void VORNCountAircraft(int* outTotalAircraft, int* outActiveAircraft,
                                   VORNPluginID* outController)
{
    VORN_CHECK_THREAD_VOID();
    const int total = gHooks->CountAircraft(outTotalAircraft, outActiveAircraft, outController);
    const int active = gPlanes.planeLimit == -1 ? total : std::min(total, gPlanes.planeLimit);
    if (outTotalAircraft != nullptr)
        *outTotalAircraft = total;
    if (outActiveAircraft != nullptr)
        *outActiveAircraft = active;
    if (outController != nullptr)
        *outController = gPlanes.owner;
}

VORN_EXPORT void VORNGetNthAircraftModel(int index, char* outFileName, char* outPath)
{
    VORN_CHECK_THREAD_VOID();
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
    VORN_CHECK_THREAD_VOID();
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
    VORN_CHECK_THREAD_VOID();
    if (CallerOwnsPlanes() && VORNHostTableSizeAtLeast(VORN_HOST_HOOKS_SIZE))
        gHooks->ReinitUsersPlane(kReinitFirst, kReinitSecond);
}

// ---- The host's questions ------------------------------------------------------

void VORNHandleUpdatePlaneNameAndPath(int index, char* name, char* path)
{
    (void)name;  // the host keeps its own name for the plane
    if (gPlanes.owner == VORN_NO_PLUGIN_ID || gPlanes.isSelfLoading || index <= 0 ||
        path == nullptr || static_cast<size_t>(index) >= gPlanes.requestedPlanes.size())
        return;
    const std::string& requested = gPlanes.requestedPlanes[index];
    // A path too long for the host's buffer names no file the system could
    // open; the host keeps its own model rather than getting a cut path.
    if (requested.empty() || requested.size() >= VORN_PLANE_PATH_BUFFER_SIZE)
        return;
    std::memcpy(path, requested.c_str(), requested.size() + 1);
}

int VORNHandleGetNumberPlanesToHandle(int count, int flag)
{
    gPlanes.planeMaximum = count;
    if (flag != 0 || gPlanes.isSelfLoading || gPlanes.owner == VORN_NO_PLUGIN_ID ||
        gPlanes.planeLimit == -1)
        return count;
    return std::min(gPlanes.planeLimit, count);
}

// ---- Disable and clean-up ------------------------------------------------------

void VORNPlaneDisableHook(int id)
{
    if (id != gPlanes.owner)
        return;
    StDispatchCallback asOwner(id);
    VORNReleasePlanes();
}

void VORNPlaneCleanupHook(int id)
{
    std::vector<VORNPlaneRequest>& queue = gPlanes.queue;
    queue.erase(std::remove_if(queue.begin(), queue.end(),
                               [id](const VORNPlaneRequest& r) { return r.plugin == id; }),
                queue.end());
    // Runs as whoever unloads id, so this normally fails its owner check and
    // the aircraft stay with the unloaded id; a plug-in disabled before its
    // unload released them in its disable hook already.
    if (id == gPlanes.owner)
        VORNReleasePlanes();
}

void VORNCountPlaneHoldings(int id, VORNPluginInventory* inventory)
{
    inventory->planes = gPlanes.owner == id ? 1 : 0;
}

int VORNPlanesOwner()
{
    return gPlanes.owner;
}

int VORNPlaneLimit()
{
    return gPlanes.planeLimit;
}

int VORNPlaneMaximum()
{
    return gPlanes.planeMaximum;
}

const std::vector<std::string>& VORNRequestedPlanes()
{
    return gPlanes.requestedPlanes;
}

const std::vector<VORNPlaneRequest>& VORNPlaneQueue()
{
    return gPlanes.queue;
}

void VORNResetPlanes()
{
    gPlanes = PlanesState();
}
