// VORNScenery.cpp - terrain probes and scenery objects: who holds what, the
// checks at the API boundary, and the hand-back of everything a plug-in held
// when it is unloaded.

#include "VORNSceneryInternal.h"

#include "VORNHostInternal.h"
#include "VORNInternal.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <unordered_map>
#include <vector>

namespace {

using ProbeMap = std::map<VORNProbe_t*, std::unique_ptr<VORNProbe_t>>;

struct SceneryState {
    // Every live probe, by its address (the handle the plug-in holds).
    ProbeMap probes;
    // The live probes of each plug-in, by address.
    std::unordered_map<int32_t, std::set<VORNProbe_t*>> probesByOwner;
    // Host indices of destroyed probes, waiting for reuse: the host never
    // forgets a probe, so its numbers are recycled here.
    std::set<int> freeProbes;
    // The objects each plug-in holds, in load order; an object loaded twice
    // stands twice. Entries appear on first use and are only ever emptied.
    std::map<int, std::vector<void*>> objects;
};
SceneryState gScenery;

const int32_t kProbeResultSize = 44;
const int32_t kPlacementSize = 28;

// A host probe number: the lowest freed one, or a new one from the host.
int TakeHostIndex()
{
    std::set<int>& freeProbes = gScenery.freeProbes;
    if (freeProbes.empty())
        return gHooks->CreateProbe();
    const int index = *freeProbes.begin();
    freeProbes.erase(freeProbes.begin());
    return index;
}

// Frees the probe at live.
void DestroyProbe(ProbeMap::iterator live)
{
    VORNProbe_t* const probe = live->first;
    gScenery.freeProbes.insert(probe->hostIndex);
    const auto owned = gScenery.probesByOwner.find(probe->owner);
    owned->second.erase(probe);
    if (owned->second.empty())
        gScenery.probesByOwner.erase(owned);
    gScenery.probes.erase(live);
}

std::vector<void*>& ObjectsOf(int id)
{
    return gScenery.objects[id];
}

bool Holds(int id, void* object)
{
    const std::vector<void*>& objects = ObjectsOf(id);
    return std::find(objects.begin(), objects.end(), object) != objects.end();
}

// The checks made only for a caller that can be told what went wrong.
bool MayDraw(void* object, int count, const VORNObjectPlacementRecord* placements)
{
    if (!Holds(VORNGetDispatchedPlugin(), object)) {
        VORNSendError("Illegal object, or object not owned by this plugin.");
        return false;
    }
    for (int i = 0; i < count; ++i) {
        if (placements[i].structSize != kPlacementSize) {
            VORNSendError("Struct size mismatch for VORNDrawObjects");
            return false;
        }
    }
    return true;
}

}  // namespace

// ---- Terrain probes ------------------------------------------------------

VORN_EXPORT VORNProbeRef VORNCreateProbe(int probeType)
{
    VORN_CHECK_THREAD(nullptr);
    return VORNNoThrow<VORNProbeRef>(nullptr, [&] {
        auto probe = std::make_unique<VORNProbe_t>(
            VORNProbe_t{VORNGetDispatchedPlugin(), probeType, 0});
        VORNProbe_t* const handle = probe.get();
        // The owner's entry first (left empty should the rest fail): once
        // the probe is in the registry, indexing it cannot fail.
        std::set<VORNProbe_t*>& owned = gScenery.probesByOwner[probe->owner];
        std::set<VORNProbe_t*> staging{handle};
        auto ownerEntry = staging.extract(staging.begin());
        probe->hostIndex = TakeHostIndex();
        gScenery.probes.emplace(handle, std::move(probe));
        owned.insert(std::move(ownerEntry));
        return handle;
    });
}

VORN_EXPORT void VORNDestroyProbe(VORNProbeRef probe)
{
    VORN_CHECK_THREAD_VOID();
    VORNNoThrow([&] {
        auto found = gScenery.probes.find(static_cast<VORNProbe_t*>(probe));
        if (found != gScenery.probes.end())
            DestroyProbe(found);
    });
}

VORN_EXPORT int VORNProbeTerrainXYZ(VORNProbeRef probe, float x, float y, float z,
                                    VORNProbeResult_t* outInfo)
{
    VORN_CHECK_THREAD(0);
    const VORNProbe_t* record = static_cast<const VORNProbe_t*>(probe);
    if (record == nullptr || outInfo == nullptr || record->probeType != VORN_PROBE_Y ||
        outInfo->structSize != kProbeResultSize)
        return VORN_PROBE_ERROR;
    const float point[3] = {x, y, z};
    const int hit = gHooks->ProbeTerrainXYZ(record->hostIndex, point, outInfo->first,
                                            outInfo->second, outInfo->third,
                                            &outInfo->resultFlag);
    return hit != 0 ? VORN_PROBE_HIT_TERRAIN : VORN_PROBE_MISSED;
}

// ---- Scenery objects ----------------------------------------------------------

VORNObjectCompletion_t::VORNObjectCompletion_t(VORNObjectLoaded_f callback, void* refcon)
    : mCallback(callback), mRefcon(refcon)
{
    mPlugin = VORNGetDispatchedPlugin();
}

void VORNObjectCompletion_t::DeliverToPlugin(bool pluginGone)
{
    std::unique_ptr<VORNObjectCompletion_t> self(this);
    if (pluginGone) {
        gHooks->UnloadObject(mObject);
        return;
    }
    if (mCallback != nullptr)
        VORNCallPlugin(VORNCallKind::kObjectLoaded, mPlugin, [&] { mCallback(mObject, mRefcon); });
    // Held only after the callback ran: unloading it from inside the
    // callback is reported as an unknown object.
    if (mObject != nullptr)
        ObjectsOf(mPlugin).push_back(mObject);
}

void VORNObjectCompletion_t::AsyncCB(void* object, void* refcon)
{
    VORNNoThrow([&] {
        auto* completion = static_cast<VORNObjectCompletion_t*>(refcon);
        completion->mObject = object;
        VORNSendDelivery(completion);
    });
}

VORN_EXPORT VORNObjectRef VORNLoadObject(const char* path)
{
    VORN_CHECK_THREAD(nullptr);
    return VORNNoThrow<VORNObjectRef>(nullptr, [&] {
        void* object = gHooks->LoadObject(path);
        if (object != nullptr)
            ObjectsOf(VORNGetDispatchedPlugin()).push_back(object);
        return object;
    });
}

VORN_EXPORT void VORNLoadObjectAsync(const char* path, VORNObjectLoaded_f callback, void* refcon)
{
    VORN_CHECK_THREAD_VOID();
    VORNNoThrow([&] {
        auto* completion = new VORNObjectCompletion_t(callback, refcon);
        VORNQueueDelivery(completion);
        gHooks->LoadObjectAsync(path, &VORNObjectCompletion_t::AsyncCB, completion);
    });
}

VORN_EXPORT void VORNDrawObjects(VORNObjectRef object, int count,
                                 VORNObjectPlacementRecord* placements, int lighting,
                                 int earthRelative)
{
    VORN_CHECK_THREAD_VOID();
    VORNNoThrow([&] {
        if (placements == nullptr)
            count = 0;
        if (VORNHasError() && !MayDraw(object, count, placements))
            return;
        for (int i = 0; i < count; ++i) {
            const VORNObjectPlacementRecord& at = placements[i];
            // The host takes the first two angles the other way round.
            gHooks->DrawObjects(object, lighting, earthRelative, at.x, at.y, at.z,
                                at.secondAngle, at.firstAngle, at.thirdAngle);
        }
    });
}

VORN_EXPORT void VORNUnloadObject(VORNObjectRef object)
{
    VORN_CHECK_THREAD_VOID();
    VORNNoThrow([&] {
        std::vector<void*>& objects = ObjectsOf(VORNGetDispatchedPlugin());
        auto found = std::find(objects.begin(), objects.end(), object);
        if (found == objects.end()) {
            VORNSendError("Unknown object for VORNUnloadObject");
            return;
        }
        objects.erase(found);
        gHooks->UnloadObject(object);
    });
}

VORN_EXPORT int VORNLookupObjects(const char* path, float latitude, float longitude,
                                  VORNObjectFound_f enumerator, void* refcon)
{
    return gHooks->LookupObjects(path, latitude, longitude, enumerator, refcon);
}

void VORNCountSceneryHoldings(int id, VORNPluginInventory* inventory)
{
    const auto owned = gScenery.probesByOwner.find(id);
    inventory->probes =
        owned == gScenery.probesByOwner.end() ? 0 : static_cast<int32_t>(owned->second.size());
    const auto found = gScenery.objects.find(id);
    inventory->objects =
        found == gScenery.objects.end() ? 0 : static_cast<int32_t>(found->second.size());
}

// ---- Clean-up ------------------------------------------------------------------

void VORNSceneryCleanupHook(int id)
{
    // Nothing here calls a plug-in, so the probes can be freed as they are met.
    auto& byOwner = gScenery.probesByOwner;
    for (auto owned = byOwner.find(id); owned != byOwner.end(); owned = byOwner.find(id)) {
        if (owned->second.empty())
            byOwner.erase(owned);  // left by a creation that failed
        else
            DestroyProbe(gScenery.probes.find(*owned->second.begin()));
    }
    std::vector<void*>& objects = ObjectsOf(id);
    for (void* object : objects)
        gHooks->UnloadObject(object);
    objects.clear();
}

void VORNResetScenery()
{
    gScenery = SceneryState();
}

// ---- Queries for tests -------------------------------------------------------------

std::vector<VORNProbe_t*> VORNLiveProbes()
{
    std::vector<VORNProbe_t*> live;
    for (const auto& entry : gScenery.probes)
        live.push_back(entry.first);
    return live;
}

const std::set<int>& VORNFreeProbeIndices()
{
    return gScenery.freeProbes;
}

std::vector<void*> VORNHeldObjects(int id)
{
    const auto found = gScenery.objects.find(id);
    return found != gScenery.objects.end() ? found->second : std::vector<void*>();
}
