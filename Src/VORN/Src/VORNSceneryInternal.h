// VORNSceneryInternal.h - terrain probes and the scenery objects each
// plug-in holds.
#ifndef VORN_SCENERY_INTERNAL_H
#define VORN_SCENERY_INTERNAL_H

#include "VORN/VORNScenery.h"
#include "VORNLoaderInternal.h"

#include <cstdint>
#include <map>
#include <set>
#include <vector>

// One probe; its address is the handle the plug-in holds.
struct VORNProbe_t {
    int32_t owner;      // the plug-in that created it
    int32_t probeType;  // as given; only 0 can probe
    int32_t hostIndex;  // the host's probe number
};

// Every live probe, and the host indices of destroyed ones waiting for reuse
// (the host never forgets a probe, so its numbers are recycled here).
extern std::set<VORNProbe_t*> gProbes;
extern std::set<int> gFreeProbes;

// The objects each plug-in holds, in load order; an object loaded twice
// stands twice. Entries appear on first use and are only ever emptied.
extern std::map<int, std::vector<void*>> gObjects;

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

#endif
