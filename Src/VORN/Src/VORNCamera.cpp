// VORNCamera.cpp - one plug-in at a time rewrites the host's camera values
// each frame until it gives up, the host or another call ends it, or it is
// disabled or unloaded.

#include "VORNCameraInternal.h"

#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORNLoaderInternal.h"

#include <algorithm>
#include <iterator>

int32_t gIsControlled = 0;
int32_t gControlDuration = 0;
VORNCameraControl_f gCurrentControlFunc = nullptr;
void* gCameraControlRef = nullptr;
int32_t gCurrentControlPlugin = VORN_NO_PLUGIN_ID;

namespace {

const int kUntilViewChanges = VORN_CONTROL_CAMERA_UNTIL_VIEW_CHANGES;

void EndControl()
{
    gIsControlled = 0;
    gCurrentControlPlugin = VORN_NO_PLUGIN_ID;
}

}  // namespace

VORN_EXPORT void VORNControlCamera(int duration, VORNCameraControl_f callback, void* refcon)
{
    // The newest caller takes over; the one before is not told.
    gIsControlled = 1;
    gControlDuration = duration;
    gCurrentControlFunc = callback;
    gCameraControlRef = refcon;
    gCurrentControlPlugin = VORNGetDispatchedPlugin();
}

VORN_EXPORT void VORNDontControlCamera(void)
{
    gIsControlled = 0;
}

VORN_EXPORT int VORNIsCameraBeingControlled(int* outDuration)
{
    if (gIsControlled && outDuration != nullptr)
        *outDuration = gControlDuration;
    return gIsControlled;
}

VORN_EXPORT void VORNReadCameraPosition(VORNCameraPositionRecord* outPosition)
{
    if (outPosition == nullptr)
        return;
    float* v = outPosition->values;
    gHooks->ReadCameraPosition(&v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6]);
}

int VORNAdjustCamera(float* p1, float* p2, float* p3, float* p4, float* p5, float* p6,
                     float* p7)
{
    if (!gIsControlled)
        return 1;
    float* const host[7] = {p1, p2, p3, p4, p5, p6, p7};
    // A host that passes a null pointer keeps its camera as it is.
    if (std::find(std::begin(host), std::end(host), nullptr) != std::end(host))
        return 1;
    VORNCameraPositionRecord position;
    for (int i = 0; i < 7; ++i)
        position.values[i] = *host[i];
    const VORNCameraControl_f callback = gCurrentControlFunc;
    void* const refcon = gCameraControlRef;
    int keep = 0;  // also for a controller without a callback, or one that threw
    const bool called = VORNCallPlugin(VORNCallKind::kCamera, gCurrentControlPlugin, [&] {
        if (callback != nullptr)
            keep = callback(&position, 0, refcon);
    });
    if (!called) {
        EndControl();
        return 1;
    }
    if (keep == 0) {
        gIsControlled = 0;  // the controller stays on record
        return 1;
    }
    for (int i = 0; i < 7; ++i)
        *host[i] = position.values[i];
    return 1 - keep;
}

void VORNReleaseCameraInternal(int force)
{
    if (!gIsControlled || (force == 0 && gControlDuration != kUntilViewChanges))
        return;
    if (const VORNCameraControl_f callback = gCurrentControlFunc) {
        void* const refcon = gCameraControlRef;
        VORNCallPlugin(VORNCallKind::kCamera, gCurrentControlPlugin,
                       [&] { callback(nullptr, 1, refcon); });
    }
    EndControl();
}

void VORNReleaseCamera()
{
    VORNReleaseCameraInternal(0);
}

// Disabled or unloaded: the controller is told while it can still listen
// (at unload it is usually disabled already and hears nothing).
void VORNCameraDisableHook(int id)
{
    if (id == gCurrentControlPlugin)
        VORNReleaseCameraInternal(1);
}

void VORNCameraCleanupHook(int id)
{
    VORNCameraDisableHook(id);
}

void VORNCountCameraHoldings(int id, VORNPluginInventory* inventory)
{
    inventory->camera = gIsControlled != 0 && gCurrentControlPlugin == id ? 1 : 0;
}

void VORNResetCamera()
{
    gIsControlled = 0;
    gControlDuration = 0;
    gCurrentControlFunc = nullptr;
    gCameraControlRef = nullptr;
    gCurrentControlPlugin = VORN_NO_PLUGIN_ID;
}
