// VORNCameraInternal.h - which plug-in controls the camera, and how.
#ifndef VORN_CAMERA_INTERNAL_H
#define VORN_CAMERA_INTERNAL_H

#include "VORN/VORNCamera.h"
#include "VORN/VORNHostHooks.h"

// The host offers its camera values. Returns 0 when the controller set them,
// 1 when the host keeps its own.
int VORNAdjustCamera(float* p1, float* p2, float* p3, float* p4, float* p5, float* p6,
                     float* p7);
// The host changed its view: ends a control of duration 1.
void VORNReleaseCamera();
// Ends the control (force: whatever its duration), telling the controller.
void VORNReleaseCameraInternal(int force);

void VORNCameraDisableHook(int id);
void VORNCameraCleanupHook(int id);

// 1 in inventory's camera field when plug-in id controls the camera.
void VORNCountCameraHoldings(int id, VORNPluginInventory* inventory);

// The plug-in on record as controller, also after it let go; -1 when none
// (tests and checkers: the API only tells whether the camera is controlled).
int VORNCameraController();

// Back to the state at start (tests).
void VORNResetCamera();

#endif
