// VORNProcessingInternal.h - the flight-loop registry and the pass that the
// host's simulation events drive.
#ifndef VORN_PROCESSING_INTERNAL_H
#define VORN_PROCESSING_INTERNAL_H

#include "VORNResourceList.h"
#include "VORN/VORNHostHooks.h"
#include "VORN/VORNProcessing.h"

#include <cstdint>

// One flight loop; its address is the VORNFlightLoopID handed to plug-ins.
struct VORNFlightLoopRecord : VORNResource_t {
    float lastCallTime = 0.0f;
    int32_t lastCallCycle = 0;
    float interval = 0.0f;  // > 0 seconds, < 0 passes, 0 (or NaN) idle
    int32_t phase = 0;
    VORNFlightLoop_f callback = nullptr;
    int32_t owner = VORN_NO_PLUGIN_ID;
    // Where the pass scheduler keeps the loop (VORNProcessingQueue.h): the
    // kind of place and the index in it.
    uint32_t queueSlot = 0;
    void* refcon = nullptr;
    uint8_t queuePlace = 0;
};

// One pass: phaseSelector 0 runs the first-phase loops, anything else the
// second-phase ones. Then carries out a reload a plug-in asked for. Returns 1.
int VORNDoFlightLoopProcessing(float passTime, int phaseSelector);

// Counts the live flight loops of plug-in id.
void VORNCountFlightLoopHoldings(int id, VORNPluginInventory* inventory);

// Removes every flight loop of plug-in id.
void VORNProcessingCleanupHook(int id);

// Frees every flight loop and restarts the pass counter.
void VORNResetProcessing();

// ---- Queries for tests: the registry's state the API cannot show -----------------

// The first (newest) record still linked, removed ones included until purged; null if none.
VORNFlightLoopRecord* VORNFirstFlightLoop();
// Iterations of the registry open now (0 outside any pass).
int32_t VORNFlightLoopIterationDepth();
// True while records removed in an iteration still wait to be unlinked.
bool VORNFlightLoopPurgePending();

#endif
