// VORNPlanesInternal.h - ownership of the multiplayer aircraft and the line
// of plug-ins waiting for them.
#ifndef VORN_PLANES_INTERNAL_H
#define VORN_PLANES_INTERNAL_H

#include "VORN/VORNHostHooks.h"
#include "VORN/VORNPlanes.h"

#include <string>
#include <vector>

// A plug-in waiting for the aircraft.
struct VORNPlaneRequest {
    VORNPlanesAvailable_f callback;
    void* refcon;
    int plugin;
};

// The host asks which model to load for plane index (path:
// VORN_PLANE_PATH_BUFFER_SIZE bytes).
void VORNHandleUpdatePlaneNameAndPath(int index, char* name, char* path);
// The host tells how many aircraft it handles and asks how many to fly.
int VORNHandleGetNumberPlanesToHandle(int count, int flag);

void VORNPlaneDisableHook(int id);
void VORNPlaneCleanupHook(int id);

// 1 in inventory's planes field when plug-in id owns the aircraft.
void VORNCountPlaneHoldings(int id, VORNPluginInventory* inventory);

// ---- Queries for tests and checkers -----------------------------------------
// The plug-in owning the aircraft; -1: none.
int VORNPlanesOwner();
// The owner's active-aircraft limit; -1: none.
int VORNPlaneLimit();
// How many aircraft the host said it handles; -1: not told yet.
int VORNPlaneMaximum();
// The model per plane index as the owner asked for it; "": none.
const std::vector<std::string>& VORNRequestedPlanes();
// The plug-ins waiting for the aircraft, in arrival order.
const std::vector<VORNPlaneRequest>& VORNPlaneQueue();

// Back to the state at start (tests).
void VORNResetPlanes();

#endif
