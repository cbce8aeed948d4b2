// VORNCamera.cpp - one plug-in at a time rewrites the host's camera values
// each frame until it gives up, the host or another call ends it, or it is
// disabled or unloaded.

#include "VORNCameraInternal.h"

#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORNLoaderInternal.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace {

// One controller at a time.
struct CameraState {
    int32_t isControlled = 0;     // a plug-in controls the camera
    int32_t controlDuration = 0;  // 1: until the host's next release
    VORNCameraControl_f currentControlFunc = nullptr;
    void* cameraControlRef = nullptr;
    // The controller; kept on record when it merely lets go. -1: none.
    int32_t currentControlPlugin = VORN_NO_PLUGIN_ID;
};
CameraState gCamera;

const int kUntilViewChanges = VORN_CONTROL_CAMERA_UNTIL_VIEW_CHANGES;

void EndControl()
{
    gCamera.isControlled = 0;
    gCamera.currentControlPlugin = VORN_NO_PLUGIN_ID;
}

}  // namespace

VORN_EXPORT void VORNControlCamera(int duration, VORNCameraControl_f callback, void* refcon)
{
    VORN_CHECK_THREAD_VOID();
    // The newest caller takes over; the one before is not told.
    gCamera.isControlled = 1;
    gCamera.controlDuration = duration;
    gCamera.currentControlFunc = callback;
    gCamera.cameraControlRef = refcon;
    gCamera.currentControlPlugin = VORNGetDispatchedPlugin();
}

VORN_EXPORT void VORNDontControlCamera(void)
{
    VORN_CHECK_THREAD_VOID();
    gCamera.isControlled = 0;
}

VORN_EXPORT int VORNIsCameraBeingControlled(int* outDuration)
{
    VORN_CHECK_THREAD(0);
    if (gCamera.isControlled && outDuration != nullptr)
        *outDuration = gCamera.controlDuration;
    return gCamera.isControlled;
}

VORN_EXPORT void VORNReadCameraPosition(VORNCameraPositionRecord* outPosition)
{
    VORN_CHECK_THREAD_VOID();
    if (outPosition == nullptr)
        return;
    float* v = outPosition->values;
    gHooks->ReadCameraPosition(&v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6]);
}

int VORNAdjustCamera(float* p1, float* p2, float* p3, float* p4, float* p5, float* p6,
                     float* p7)
{
    if (!gCamera.isControlled)
        return 1;
    float* const host[7] = {p1, p2, p3, p4, p5, p6, p7};
    // A host that passes a null pointer keeps its camera as it is.
    if (std::find(std::begin(host), std::end(host), nullptr) != std::end(host))
        return 1;
    VORNCameraPositionRecord position;
    for (int i = 0; i < 7; ++i)
        position.values[i] = *host[i];
    const VORNCameraControl_f callback = gCamera.currentControlFunc;
    void* const refcon = gCamera.cameraControlRef;
    int keep = 0;  // also for a controller without a callback, or one that threw
    const bool called = VORNCallPlugin(VORNCallKind::kCamera, gCamera.currentControlPlugin, [&] {
        if (callback != nullptr)
            keep = callback(&position, 0, refcon);
    });
    if (!called) {
        EndControl();
        return 1;
    }
    if (keep == 0) {
        gCamera.isControlled = 0;  // the controller stays on record
        return 1;
    }
    for (int i = 0; i < 7; ++i)
        *host[i] = position.values[i];
    return 1 - keep;
}

void VORNReleaseCameraInternal(int force)
{
    if (!gCamera.isControlled || (force == 0 && gCamera.controlDuration != kUntilViewChanges))
        return;
    if (const VORNCameraControl_f callback = gCamera.currentControlFunc) {
        void* const refcon = gCamera.cameraControlRef;
        VORNCallPlugin(VORNCallKind::kCamera, gCamera.currentControlPlugin,
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
    if (id == gCamera.currentControlPlugin)
        VORNReleaseCameraInternal(1);
}

void VORNCameraCleanupHook(int id)
{
    VORNCameraDisableHook(id);
}

void VORNCountCameraHoldings(int id, VORNPluginInventory* inventory)
{
    inventory->camera = gCamera.isControlled != 0 && gCamera.currentControlPlugin == id ? 1 : 0;
}

int VORNCameraController()
{
    return gCamera.currentControlPlugin;
}

void VORNResetCamera()
{
    gCamera = CameraState();
}
