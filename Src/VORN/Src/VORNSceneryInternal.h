// VORNSceneryInternal.h - terrain probes and the scenery objects each
// plug-in holds.
#ifndef VORN_SCENERY_INTERNAL_H
#define VORN_SCENERY_INTERNAL_H

#include "VORN/VORNScenery.h"
#include "VORNLoaderInternal.h"

#include <cstdint>
#include <set>
#include <vector>

// One probe; its address is the handle the plug-in holds.
struct VORNProbe_t {
    int32_t owner;      // the plug-in that created it
    int32_t probeType;  // as given; only 0 can probe
    int32_t hostIndex;  // the host's probe number
};

// An asynchronous object load on its way back to the plug-in that started it.
class VORNObjectCompletion_t final : public VORNDelivery {
public:
    VORNObjectCompletion_t(VORNObjectLoaded_f callback, void* refcon);

    // false: hand the object to the plug-in, then hold it for it.
    // true: the plug-in is gone, the object goes back to the host.
    // Deletes the completion either way.
    void DeliverToPlugin(bool pluginGone) override;

    // The completion function handed to the host; refcon is the completion.
    static void AsyncCB(void* object, void* refcon);

    VORNObjectLoaded_f mCallback;
    void* mRefcon;
    void* mObject = nullptr;
};

// What plug-in id holds, for diagnostics.
void VORNCountSceneryHoldings(int id, VORNPluginInventory* inventory);

// Destroys plug-in id's probes, then gives its objects back to the host.
void VORNSceneryCleanupHook(int id);

// Forgets every probe and object record without calling the host (tests).
void VORNResetScenery();

// ---- Queries for tests ---------------------------------------------------------
// Every live probe, in address order.
std::vector<VORNProbe_t*> VORNLiveProbes();
// The host indices of destroyed probes waiting for reuse, lowest first.
const std::set<int>& VORNFreeProbeIndices();
// The objects plug-in id holds, in load order (a copy; empty when none).
std::vector<void*> VORNHeldObjects(int id);

#endif
