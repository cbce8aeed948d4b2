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

extern int gOwner;         // the plug-in owning the aircraft; -1: none
extern int gPlaneLimit;    // the owner's active-aircraft limit; -1: none
extern int gPlaneMaximum;  // how many aircraft the host handles; -1: not told yet
extern std::vector<std::string> gRequestedPlanes;  // model per plane index; "": none
extern std::vector<VORNPlaneRequest> gQueue;       // in arrival order
extern bool gIsSelfLoading;  // the library itself is asking the host for a model

// The host asks which model to load for plane index (path: 256 bytes).
void VORNHandleUpdatePlaneNameAndPath(int index, char* name, char* path);
// The host tells how many aircraft it handles and asks how many to fly.
int VORNHandleGetNumberPlanesToHandle(int count, int flag);

void VORNPlaneDisableHook(int id);
void VORNPlaneCleanupHook(int id);

// 1 in inventory's planes field when plug-in id owns the aircraft.
void VORNCountPlaneHoldings(int id, VORNPluginInventory* inventory);

// Back to the state at start (tests).
void VORNResetPlanes();

#endif
