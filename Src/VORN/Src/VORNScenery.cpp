// VORNScenery.cpp - terrain probes and scenery objects: who holds what, the
// checks at the API boundary, and the hand-back of everything a plug-in held
// when it is unloaded.

#include "VORNSceneryInternal.h"

#include "VORNHostInternal.h"
#include "VORNInternal.h"

#include <algorithm>
#include <memory>

std::set<VORNProbe_t*> gProbes;
std::set<int> gFreeProbes;
std::map<int, std::vector<void*>> gObjects;

namespace {

const int32_t kProbeResultSize = 44;
const int32_t kPlacementSize = 28;

// A host probe number: the lowest freed one, or a new one from the host.
int TakeHostIndex()
{
    if (gFreeProbes.empty())
        return gHooks->CreateProbe();
    const int index = *gFreeProbes.begin();
    gFreeProbes.erase(gFreeProbes.begin());
    return index;
}

void DestroyProbe(VORNProbe_t* probe)
{
    gFreeProbes.insert(probe->hostIndex);
    gProbes.erase(probe);
    delete probe;
}

std::vector<void*>& ObjectsOf(int id)
{
    return gObjects[id];
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
    return VORNNoThrow<VORNProbeRef>(nullptr, [&] {
        auto probe = std::make_unique<VORNProbe_t>(
            VORNProbe_t{VORNGetDispatchedPlugin(), probeType, 0});
        probe->hostIndex = TakeHostIndex();
        gProbes.insert(probe.get());
        return probe.release();
    });
}

VORN_EXPORT void VORNDestroyProbe(VORNProbeRef probe)
{
    VORNNoThrow([&] {
        auto found = gProbes.find(static_cast<VORNProbe_t*>(probe));
        if (found != gProbes.end())
            DestroyProbe(*found);
    });
}

VORN_EXPORT int VORNProbeTerrainXYZ(VORNProbeRef probe, float x, float y, float z,
                                    VORNProbeResult_t* outInfo)
{
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
    return VORNNoThrow<VORNObjectRef>(nullptr, [&] {
        void* object = gHooks->LoadObject(path);
        if (object != nullptr)
            ObjectsOf(VORNGetDispatchedPlugin()).push_back(object);
        return object;
    });
}

VORN_EXPORT void VORNLoadObjectAsync(const char* path, VORNObjectLoaded_f callback, void* refcon)
{
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
    inventory->probes = static_cast<int32_t>(std::count_if(
        gProbes.begin(), gProbes.end(), [id](const VORNProbe_t* p) { return p->owner == id; }));
    auto found = gObjects.find(id);
    inventory->objects = found == gObjects.end() ? 0 : static_cast<int32_t>(found->second.size());
}

// ---- Clean-up ------------------------------------------------------------------

void VORNSceneryCleanupHook(int id)
{
    // A copy: destroying erases from the set being walked.
    const std::vector<VORNProbe_t*> probes(gProbes.begin(), gProbes.end());
    for (VORNProbe_t* probe : probes) {
        if (probe->owner == id)
            DestroyProbe(probe);
    }
    std::vector<void*>& objects = ObjectsOf(id);
    for (void* object : objects)
        gHooks->UnloadObject(object);
    objects.clear();
}

void VORNResetScenery()
{
    for (VORNProbe_t* probe : gProbes)
        delete probe;
    gProbes.clear();
    gFreeProbes.clear();
    gObjects.clear();
}
