// VORNDisplayHotKeys.cpp - hot keys: the registry, its API and the match of
// a key press against the bound key combinations.

#include "VORNDisplayInternal.h"

#include "VORNDLLUtils.h"
#include "VORNInternal.h"
#include "VORNLoaderInternal.h"

#include <cstdint>
#include <map>
#include <memory>
#include <tuple>
#include <unordered_set>
#include <utility>

namespace {

// Hot keys by key combination, newest first within one combination, so
// that a key press looks up its own combination instead of walking every
// hot key. Records only ever join the front of the list, so their list
// serials, largest first, are the list's order.
using Combination = std::tuple<char, int32_t, uint64_t>;  // key, flags, newest first

Combination CombinationOf(const VORNHotKeyInfoRecord& record)
{
    return Combination(record.virtualKey, record.flags, UINT64_MAX - record.serial);
}

void ForgetHotKey(VORNHotKeyInfoRecord* record);

struct HotKeyState {
    // Newest first.
    VORNResourceList<VORNHotKeyInfoRecord> hotKeys{ForgetHotKey};
    // Ids of the hot keys linked in hotKeys (a removed one until it leaves
    // the list), so that checking an id costs one look-up.
    std::unordered_set<const void*> linkedHotKeys;
    std::map<Combination, VORNHotKeyInfoRecord*> byCombination;
};
HotKeyState gHotKeyState;

// A hot key leaving the list is about to be freed: no index may keep it.
void ForgetHotKey(VORNHotKeyInfoRecord* record)
{
    gHotKeyState.linkedHotKeys.erase(record);
    gHotKeyState.byCombination.erase(CombinationOf(*record));
}

// Callers hold an iteration of the list open.
VORNHotKeyInfoRecord* FindHotKey(VORNHotKeyID id)
{
    return gHotKeyState.linkedHotKeys.count(id) != 0 ? static_cast<VORNHotKeyInfoRecord*>(id)
                                                     : nullptr;
}

class StIterateHotKeys : public StIterate<VORNHotKeyInfoRecord> {
public:
    StIterateHotKeys() : StIterate<VORNHotKeyInfoRecord>(gHotKeyState.hotKeys) {}
};

}  // namespace

VORN_EXPORT VORNHotKeyID VORNRegisterHotKey(char virtualKey, int flags, const char* description,
                                            VORNHotKey_f callback, void* refcon)
{
    VORN_CHECK_THREAD(nullptr);
    return VORNNoThrow<VORNHotKeyID>(nullptr, [&] {
        auto record = std::make_unique<VORNHotKeyInfoRecord>();
        record->owner = VORNGetDispatchedPlugin();
        record->virtualKey = virtualKey;
        record->flags = flags;
        record->description = description != nullptr ? description : "";
        record->callback = callback;
        record->refcon = refcon;
        // Allocate the index entries first; once the list has taken the
        // record nothing may fail. The combination's key needs the serial
        // that linking gives the record.
        std::map<Combination, VORNHotKeyInfoRecord*> staging{{Combination(), record.get()}};
        auto entry = staging.extract(staging.begin());
        StIterateHotKeys iterate;
        VORNLinkWithId(gHotKeyState.hotKeys, gHotKeyState.linkedHotKeys, record.get());
        entry.key() = CombinationOf(*record);
        gHotKeyState.byCombination.insert(std::move(entry));
        return static_cast<VORNHotKeyID>(record.release());
    });
}

VORN_EXPORT void VORNUnregisterHotKey(VORNHotKeyID id)
{
    VORN_CHECK_THREAD_VOID();
    StIterateHotKeys iterate;
    if (VORNHotKeyInfoRecord* record = FindHotKey(id))
        gHotKeyState.hotKeys.VORNKillResource(record, true);
}

VORN_EXPORT int VORNCountHotKeys(void)
{
    VORN_CHECK_THREAD(0);
    StIterateHotKeys iterate;
    return gHotKeyState.hotKeys.CountIf([](const VORNHotKeyInfoRecord&) { return true; });
}

VORN_EXPORT VORNHotKeyID VORNGetNthHotKey(int index)
{
    VORN_CHECK_THREAD(nullptr);
    StIterateHotKeys iterate;
    auto& hotKeys = gHotKeyState.hotKeys;
    auto remaining = static_cast<unsigned>(index);  // negative: past any count
    for (auto* r = hotKeys.First(); r != nullptr; r = hotKeys.Next(r)) {
        if (!r->dead && remaining-- == 0)
            return r;
    }
    return nullptr;
}

VORN_EXPORT void VORNGetHotKeyInfo(VORNHotKeyID id, char* outVirtualKey, int* outFlags,
                                   char* outDescription, VORNPluginID* outPlugin)
{
    VORN_CHECK_THREAD_VOID();
    StIterateHotKeys iterate;
    const VORNHotKeyInfoRecord* record = FindHotKey(id);
    if (record == nullptr)
        return;
    if (outVirtualKey != nullptr)
        *outVirtualKey = record->virtualKey;
    if (outFlags != nullptr)
        *outFlags = record->flags;
    if (outDescription != nullptr)
        strcpytrunc(outDescription, record->description, VORN_PATH_BUFFER_SIZE);
    if (outPlugin != nullptr)
        *outPlugin = record->owner;
}

VORN_EXPORT void VORNSetHotKeyCombination(VORNHotKeyID id, char virtualKey, int flags)
{
    VORN_CHECK_THREAD_VOID();
    StIterateHotKeys iterate;
    if (VORNHotKeyInfoRecord* record = FindHotKey(id)) {
        auto entry = gHotKeyState.byCombination.extract(CombinationOf(*record));
        record->virtualKey = virtualKey;
        record->flags = flags;
        entry.key() = CombinationOf(*record);
        gHotKeyState.byCombination.insert(std::move(entry));
    }
}

int VORNDispatchHotKeys(char virtualKey, int flags)
{
    StIterateHotKeys iterate;
    const auto& index = gHotKeyState.byCombination;
    for (auto it = index.lower_bound(Combination(virtualKey, flags, 0));
         it != index.end() && std::get<0>(it->first) == virtualKey &&
         std::get<1>(it->first) == flags;
         ++it) {
        VORNHotKeyInfoRecord* r = it->second;
        if (r->dead)
            continue;
        // The walk ends here, before the callback can change the index.
        if (VORNCallPlugin(VORNCallKind::kHotKey, r->owner, [&] {
                if (r->callback != nullptr)
                    r->callback(r->refcon);
            }))
            return 0;
    }
    return 1;
}

void VORNHotKeyCleanupHook(int id)
{
    gHotKeyState.hotKeys.KillOwnedBy(id);
}

void VORNCountHotKeyHoldings(int id, VORNPluginInventory* inventory)
{
    inventory->hotKeys = gHotKeyState.hotKeys.CountOwnedBy(id);
}

void VORNResetHotKeys()
{
    gHotKeyState = HotKeyState();
}

bool VORNHotKeyWalksRunning()
{
    return gHotKeyState.hotKeys.Depth() != 0;
}
