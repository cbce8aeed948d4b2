// VORNLoaderMessages.cpp - messages between plug-ins, the optional
// features each plug-in may turn on, and deliveries: work finished later
// and handed to its plug-in when it can take it.

#include "VORNLoaderInternal.h"

#include "VORNInternal.h"

#include <cstring>

namespace {

const char* const kFeatureNames[kFeatureCount] = {"VORN_WANTS_REFLECTIONS",
                                                  "VORN_USE_NATIVE_PATHS"};

int FeatureIndex(const char* name)
{
    if (name == nullptr)
        return -1;
    for (int i = 0; i < kFeatureCount; ++i) {
        if (std::strcmp(name, kFeatureNames[i]) == 0)
            return i;
    }
    return -1;
}

// In-flight deliveries of unloaded plug-ins. Never reset: the host may
// still complete their work after a shutdown.
VORNDeliveryHead orphaned;

}  // namespace

VORNDeliveryHead& VORNOrphanedDeliveries()
{
    return orphaned;
}

// ---- Messages ------------------------------------------------------------------------

namespace {

void DeliverMessage(int recipient, int sender, int message, void* param)
{
    const PluginRecord* record = VORNPluginRecordFor(recipient);
    if (record == nullptr || record->receive == nullptr)
        return;
    const VPluginReceiveMessage_f receive = record->receive;
    VORNCallPlugin(VORNCallKind::kMessage, recipient, [&] { receive(sender, message, param); });
}

}  // namespace

VORN_EXPORT void VORNSendMessageToPlugin(VORNPluginID target, int message, void* param)
{
    VORN_CHECK_THREAD_VOID();
    const int sender = gDispatchedPlugin;
    if (target != VORN_NO_PLUGIN_ID) {
        DeliverMessage(target, sender, message, param);
        return;
    }
    const int count = VORNCountPlugins();
    for (int id = 0; id < count; ++id)
        DeliverMessage(id, sender, message, param);
}

// ---- Features ---------------------------------------------------------------------------

VORN_EXPORT int VORNHasFeature(const char* feature)
{
    VORN_CHECK_THREAD(0);
    return FeatureIndex(feature) >= 0 ? 1 : 0;
}

VORN_EXPORT int VORNIsFeatureEnabled(const char* feature)
{
    VORN_CHECK_THREAD(0);
    const int index = FeatureIndex(feature);
    if (index < 0) {
        // The query reports under the setter's name, as it always has.
        VORNSendError("Illegal feature name passed to VORNEnableFeature");
        return 0;
    }
    return VORNHasFeatureInternal(gDispatchedPlugin, index);
}

VORN_EXPORT void VORNEnableFeature(const char* feature, int enable)
{
    VORN_CHECK_THREAD_VOID();
    const int index = FeatureIndex(feature);
    if (index < 0) {
        VORNSendError("Illegal feature name passed to VORNEnableFeature");
        return;
    }
    if (PluginRecord* record = VORNPluginRecordFor(gDispatchedPlugin))
        record->features[index] = enable;
}

VORN_EXPORT void VORNEnumerateFeatures(VORNFeatureEnumerator_f enumerator, void* refcon)
{
    VORN_CHECK_THREAD_VOID();
    if (enumerator == nullptr)
        return;
    for (const char* name : kFeatureNames)
        VORNCallPlugin(VORNCallKind::kFeatureEnumerator, gDispatchedPlugin,
                       [&] { enumerator(name, refcon); });
}

int VORNHasFeatureInternal(int id, int feature)
{
    const PluginRecord* record = VORNPluginRecordFor(id);
    if (record == nullptr || feature < 0 || feature >= kFeatureCount)
        return 0;
    return record->features[feature];
}

// ---- Deliveries ------------------------------------------------------------------------------

void VORNQueueDelivery(VORNDelivery* delivery)
{
    PluginRecord* owner = VORNPluginRecordFor(delivery->mPlugin);
    if (owner == nullptr) {
        VORNSendError("Internal error: async queue pending but the plugin ID is invalid.");
        return;
    }
    owner->inFlight.PushFront(delivery);
}

void VORNSendDelivery(VORNDelivery* delivery)
{
    delivery->Unlink();
    PluginRecord* owner = VORNPluginRecordFor(delivery->mPlugin);
    const bool hostBeforeStart = gAllPlugins.empty() && delivery->mPlugin == VORN_HOST_PLUGIN_ID;
    if (owner == nullptr && !hostBeforeStart) {
        delivery->mPlugin = VORN_NO_PLUGIN_ID;
        VORNNoThrow([&] { delivery->DeliverToPlugin(true); });
        return;
    }
    if (!VORNIsCallable(delivery->mPlugin)) {
        owner->pending.PushFront(delivery);
        return;
    }
    StDispatchCallback asOwner(delivery->mPlugin);
    VORNNoThrow([&] { delivery->DeliverToPlugin(false); });
}
