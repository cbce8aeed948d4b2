// VORNDataAccess.cpp - data refs: the name map and record pool, typed reads
// and writes routed to the owner, publishing and withdrawing, and shared data
// stored by the library itself.

#include "VORNDataAccessInternal.h"

#include "VORNInternal.h"
#include "VORNLoaderInternal.h"
#include "VORNResourceList.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <functional>
#include <memory>
#include <string_view>
#include <type_traits>
#include <unordered_map>

namespace {

// ---- State ---------------------------------------------------------------------

// One request to be told of writes to a shared item.
struct VORNSharedDataSubscriber : VORNResource_t {
    VORNDataChanged_f callback = nullptr;
    void* refcon = nullptr;
    int32_t owner = VORN_NO_PLUGIN_ID;  // the plug-in that subscribed
};

// One shared item: the library stores the value and publishes it as a data
// ref of the host, with the item as both refcons.
struct VORNSharedDataRecord {
    std::string name;
    int32_t type = 0;  // exactly one type bit for a usable item
    std::vector<unsigned char> storage;  // the value; only ever grows
    // Oldest first: notified in the order they subscribed. Subscribers may
    // unshare, share or write the item again while they are notified.
    VORNResourceList<VORNSharedDataSubscriber> subscribers;
};

// Nothing here is ever freed or reset while the library is loaded: data-ref
// handles and shared items (the refcons of their data refs) must stay valid
// for as long as plug-ins or the host may hold them.
struct DataAccessState {
    // Every record ever created, by name. A key is a view of the record's own
    // name, which is written once, before its entry is made, and stays where
    // it is: the record never moves and its name is never assigned again.
    std::unordered_map<std::string_view, VORNData_t*> dataRefs;
    // Per plug-in id: the first of the data refs it publishes now, the others
    // following along their owner links. Orphans are in no chain.
    std::unordered_map<int32_t, VORNData_t*> dataRefsByOwner;
    DataRefBlock* dataBlock = nullptr;  // oldest block: start of the chain
    DataRefBlock* dataFree = nullptr;   // newest block: where new records come from
    int dataCount = 0;                  // records ever created
    // Every block, by the address of its first record, so that validating a
    // handle is a binary search, not a walk over all blocks.
    std::vector<const DataRefBlock*> blocksByAddress;
    // In creation order, searched by name.
    std::vector<std::unique_ptr<VORNSharedDataRecord>> sharedData;
    // Per plug-in id: the shared items it subscribes to.
    VORNListsByOwner<VORNSharedDataRecord*> subscriptions;
};

DataAccessState gDataAccess;

// ---- Pool ----------------------------------------------------------------------

// The next free slot, opening a new block when the newest is full. The slot is
// an orphan until its registration fills it, so a failure half-way never
// leaves a record that validates.
VORNData_t* NewRecord()
{
    DataAccessState& pool = gDataAccess;
    if (pool.dataFree == nullptr || pool.dataFree->used == pool.dataFree->capacity) {
        auto& index = pool.blocksByAddress;
        index.reserve(index.size() + 1);  // nothing throws after this
        auto* block = new DataRefBlock();  // value-initialised: all fields zero
        block->capacity = kDataRefBlockCapacity;
        block->used = 0;
        (pool.dataFree ? pool.dataFree->next : pool.dataBlock) = block;
        pool.dataFree = block;
        index.insert(std::upper_bound(index.begin(), index.end(), block, std::less<>()), block);
    }
    VORNData_t* record = &pool.dataFree->records[pool.dataFree->used++];
    record->name.clear();
    record->owner = VORN_NO_PLUGIN_ID;
    ++pool.dataCount;
    return record;
}

// The block whose records start at or below address, or null.
const DataRefBlock* BlockBelow(uintptr_t address)
{
    const auto& index = gDataAccess.blocksByAddress;
    auto above = std::upper_bound(index.begin(), index.end(), address,
                                  [](uintptr_t a, const DataRefBlock* block) {
                                      return a < reinterpret_cast<uintptr_t>(&block->records[0]);
                                  });
    return above == index.begin() ? nullptr : *(above - 1);
}

// True when ref is the start of a slot already handed out; says nothing about
// whether the record is registered now.
bool IsPoolRecord(const VORNData_t* ref)
{
    if (ref == nullptr)
        return false;
    const auto address = reinterpret_cast<uintptr_t>(ref);
    const DataRefBlock* block = BlockBelow(address);
    if (block == nullptr)
        return false;
    const auto first = reinterpret_cast<uintptr_t>(&block->records[0]);
    const auto end = reinterpret_cast<uintptr_t>(&block->records[0] + block->used);
    if (address >= end)
        return false;
    return (address - first) % sizeof(VORNData_t) == 0;
}

// ---- Reads and writes ------------------------------------------------------------
// The hottest calls of the API: a null test, the field tests and the dispatch
// guard, nothing else. Handles are trusted; records are never freed, so even
// a stale handle is safe to dereference.

template <typename Callback, typename... Args>
auto ReadThrough(const VORNData_t* ref, Callback VORNData_t::*family, Args... args)
{
    using Result = std::invoke_result_t<Callback, void*, Args...>;
    if (ref == nullptr)
        return Result();
    const Callback read = ref->*family;
    if (read == nullptr)
        return Result();
    return VORNCallPlugin(VORNCallKind::kDataAccessor, ref->owner, Result(),
                          [&] { return read(ref->readRefcon, args...); });
}

template <typename Callback, typename... Args>
void WriteThrough(const VORNData_t* ref, Callback VORNData_t::*family, Args... args)
{
    if (ref == nullptr || ref->writable == 0)
        return;
    const Callback write = ref->*family;
    if (write == nullptr)
        return;
    VORNCallPlugin(VORNCallKind::kDataAccessor, ref->owner,
                   [&] { write(ref->writeRefcon, args...); });
}

// ---- Registration ---------------------------------------------------------------

// Everything a registration supplies: the type mask, the flag, the callbacks
// and the refcons. Name, owner and owner links are the registry's.
void CopyAccessors(VORNData_t& record, const VORNData_t& from)
{
    record.types = from.types;
    record.writable = from.writable;
    record.readInt = from.readInt;
    record.writeInt = from.writeInt;
    record.readFloat = from.readFloat;
    record.writeFloat = from.writeFloat;
    record.readDouble = from.readDouble;
    record.writeDouble = from.writeDouble;
    record.readIntArray = from.readIntArray;
    record.writeIntArray = from.writeIntArray;
    record.readFloatArray = from.readFloatArray;
    record.writeFloatArray = from.writeFloatArray;
    record.readData = from.readData;
    record.writeData = from.writeData;
    record.readRefcon = from.readRefcon;
    record.writeRefcon = from.writeRefcon;
}

// Makes a record an orphan, taking it out of its owner's chain.
void Orphan(VORNData_t* record)
{
    if (record->owner == VORN_NO_PLUGIN_ID)
        return;  // in no chain
    auto& byOwner = gDataAccess.dataRefsByOwner;
    if (record->ownerPrev != nullptr) {
        record->ownerPrev->ownerNext = record->ownerNext;
    } else {
        const auto first = byOwner.find(record->owner);
        if (record->ownerNext != nullptr)
            first->second = record->ownerNext;
        else
            byOwner.erase(first);
    }
    if (record->ownerNext != nullptr)
        record->ownerNext->ownerPrev = record->ownerPrev;
    record->ownerNext = record->ownerPrev = nullptr;
    record->owner = VORN_NO_PLUGIN_ID;
}

// Publishes name with the type, flag, callbacks and refcons of `accessors`
// (whose name, owner and links are ignored), owned by the dispatched plug-in.
VORNData_t* RegisterDataRef(const char* name, const VORNData_t& accessors)
{
    if (name == nullptr)
        return nullptr;
    auto& refs = gDataAccess.dataRefs;
    const auto found = refs.find(std::string_view(name));
    VORNData_t* record = found != refs.end() ? found->second : nullptr;
    if (record != nullptr && record->owner != VORN_NO_PLUGIN_ID) {
        VORNSendError("Dataref is already registered by someone else.");
        return record;
    }
    // Until the last step that may fail, the record stays an orphan; a new
    // one that never got its entry is simply never found.
    if (record == nullptr) {
        record = NewRecord();
        record->name = name;
        refs.emplace(std::string_view(record->name), record);
    }
    const int owner = VORNGetDispatchedPlugin();
    if (owner != VORN_NO_PLUGIN_ID) {
        VORNData_t*& first = gDataAccess.dataRefsByOwner[owner];
        record->ownerPrev = nullptr;
        record->ownerNext = first;
        if (first != nullptr)
            first->ownerPrev = record;
        first = record;
    }
    // A revived orphan keeps nothing of its former owner.
    CopyAccessors(*record, accessors);
    record->owner = owner;
    return record;
}

// ---- Shared data ---------------------------------------------------------------

size_t InitialSharedSize(int type)
{
    switch (type) {
    case VORN_DATA_DOUBLE:
        return sizeof(double);
    case VORN_DATA_BYTES:
        return 1;
    default:  // int, float, one-element arrays, and unknown types
        return 4;
    }
}

VORNSharedDataRecord* FindShared(std::string_view name)
{
    for (const auto& item : gDataAccess.sharedData) {
        if (item->name == name)
            return item.get();
    }
    return nullptr;
}

// Calls every subscriber, oldest first, each in its own plug-in's dispatch. A
// callback may unshare, share or write the item again (recursively). Those
// removed meanwhile stay linked, marked dead, until no pass over the item
// runs any more, and are skipped; those added meanwhile are linked at the
// back with serials above the one taken here, and wait for the next write.
void NotifySubscribers(VORNSharedDataRecord* item)
{
    auto& list = item->subscribers;
    StIterate<VORNSharedDataSubscriber> iterate(list);
    const uint64_t newest = list.Serial();
    for (auto* s = list.First(); s != nullptr && s->serial <= newest; s = list.Next(s)) {
        if (!s->dead)
            VORNCallPlugin(VORNCallKind::kSharedData, s->owner, [s] { s->callback(s->refcon); });
    }
}

template <typename T, int kType>
T SharedScalarGet(void* refcon)
{
    const auto* item = static_cast<const VORNSharedDataRecord*>(refcon);
    if (item->type != kType)
        return T();
    T value;
    std::memcpy(&value, item->storage.data(), sizeof value);
    return value;
}

template <typename T, int kType>
void SharedScalarSet(void* refcon, T value)
{
    auto* item = static_cast<VORNSharedDataRecord*>(refcon);
    if (item->type != kType)
        return;
    std::memcpy(item->storage.data(), &value, sizeof value);
    NotifySubscribers(item);
}

// Element reads (Element is the element type; bytes travel as void*): a null
// destination asks for the element count. Negative offsets and maxima and
// offsets past the end read nothing.
template <typename Element, int kType, typename Pointer = Element*>
int SharedArrayGet(void* refcon, Pointer values, int offset, int max)
{
    const auto* item = static_cast<const VORNSharedDataRecord*>(refcon);
    if (item->type != kType)
        return 0;
    const int count = static_cast<int>(item->storage.size() / sizeof(Element));
    if (values == nullptr)
        return count;
    if (offset < 0 || max < 0 || offset > count)
        return 0;
    const int copied = std::min(max, count - offset);
    std::memcpy(values, item->storage.data() + offset * sizeof(Element), copied * sizeof(Element));
    return copied;
}

// Element writes grow the storage to fit, never shrink it. Negative offsets
// and counts, a null source and sizes past INT_MAX bytes are rejected.
template <typename Element, int kType, typename Pointer = Element*>
void SharedArraySet(void* refcon, Pointer values, int offset, int count)
{
    auto* item = static_cast<VORNSharedDataRecord*>(refcon);
    if (item->type != kType || offset < 0 || count < 0 || (values == nullptr && count > 0))
        return;
    const int64_t needed = (int64_t(offset) + count) * int64_t(sizeof(Element));
    if (needed > INT_MAX)
        return;
    if (static_cast<size_t>(needed) > item->storage.size())
        item->storage.resize(static_cast<size_t>(needed));
    if (count > 0)
        std::memcpy(item->storage.data() + offset * sizeof(Element), values,
                    count * sizeof(Element));
    NotifySubscribers(item);
}

constexpr auto VORNSharedDataGeti = &SharedScalarGet<int, VORN_DATA_INT>;
constexpr auto VORNSharedDataSeti = &SharedScalarSet<int, VORN_DATA_INT>;
constexpr auto VORNSharedDataGetf = &SharedScalarGet<float, VORN_DATA_FLOAT>;
constexpr auto VORNSharedDataSetf = &SharedScalarSet<float, VORN_DATA_FLOAT>;
constexpr auto VORNSharedDataGetd = &SharedScalarGet<double, VORN_DATA_DOUBLE>;
constexpr auto VORNSharedDataSetd = &SharedScalarSet<double, VORN_DATA_DOUBLE>;
constexpr auto VORNSharedDataGetvi = &SharedArrayGet<int, VORN_DATA_INT_ARRAY>;
constexpr auto VORNSharedDataSetvi = &SharedArraySet<int, VORN_DATA_INT_ARRAY>;
constexpr auto VORNSharedDataGetvf = &SharedArrayGet<float, VORN_DATA_FLOAT_ARRAY>;
constexpr auto VORNSharedDataSetvf = &SharedArraySet<float, VORN_DATA_FLOAT_ARRAY>;
constexpr auto VORNSharedDataGetb = &SharedArrayGet<unsigned char, VORN_DATA_BYTES, void*>;
constexpr auto VORNSharedDataSetb = &SharedArraySet<unsigned char, VORN_DATA_BYTES, void*>;

// The accessors that serve item: the one pair matching its type, nothing
// for a type that is not exactly one bit.
VORNData_t SharedAccessors(VORNSharedDataRecord* item)
{
    VORNData_t accessors{};
    accessors.types = item->type;
    accessors.writable = 1;
    accessors.readRefcon = accessors.writeRefcon = item;
    switch (item->type) {
    case VORN_DATA_INT:
        accessors.readInt = VORNSharedDataGeti;
        accessors.writeInt = VORNSharedDataSeti;
        break;
    case VORN_DATA_FLOAT:
        accessors.readFloat = VORNSharedDataGetf;
        accessors.writeFloat = VORNSharedDataSetf;
        break;
    case VORN_DATA_DOUBLE:
        accessors.readDouble = VORNSharedDataGetd;
        accessors.writeDouble = VORNSharedDataSetd;
        break;
    case VORN_DATA_INT_ARRAY:
        accessors.readIntArray = VORNSharedDataGetvi;
        accessors.writeIntArray = VORNSharedDataSetvi;
        break;
    case VORN_DATA_FLOAT_ARRAY:
        accessors.readFloatArray = VORNSharedDataGetvf;
        accessors.writeFloatArray = VORNSharedDataSetvf;
        break;
    case VORN_DATA_BYTES:
        accessors.readData = VORNSharedDataGetb;
        accessors.writeData = VORNSharedDataSetb;
        break;
    default:
        break;
    }
    return accessors;
}

// Creates the item and publishes it as a data ref of the host, so that it
// belongs to no plug-in and outlives them all.
VORNSharedDataRecord* CreateShared(const char* name, int type)
{
    auto owned = std::make_unique<VORNSharedDataRecord>();
    owned->name = name;
    owned->type = type;
    owned->storage.resize(InitialSharedSize(type));
    VORNSharedDataRecord* item = owned.get();
    gDataAccess.sharedData.push_back(std::move(owned));
    StDispatchCallback host(VORN_HOST_PLUGIN_ID);
    RegisterDataRef(name, SharedAccessors(item));
    return item;
}

}  // namespace

// ---- Finding and inspecting --------------------------------------------------------

VORN_EXPORT VORNDataRef VORNFindDataRef(const char* name)
{
    VORN_CHECK_THREAD(nullptr);
    if (name == nullptr)
        return nullptr;
    const auto found = gDataAccess.dataRefs.find(std::string_view(name));
    if (found == gDataAccess.dataRefs.end() || found->second->owner == VORN_NO_PLUGIN_ID)
        return nullptr;
    return found->second;
}

VORN_EXPORT int VORNIsDataRefGood(VORNDataRef ref)
{
    VORN_CHECK_THREAD(0);
    return IsPoolRecord(ref) && ref->owner != VORN_NO_PLUGIN_ID;
}

VORN_EXPORT int VORNCanWriteDataRef(VORNDataRef ref)
{
    VORN_CHECK_THREAD(0);
    return ref ? ref->writable : 0;
}

VORN_EXPORT VORNDataTypeID VORNGetDataRefTypes(VORNDataRef ref)
{
    VORN_CHECK_THREAD(0);
    return ref ? ref->types : 0;
}

// ---- Reads and writes ----------------------------------------------------------------

VORN_EXPORT int VORNGetDatai(VORNDataRef ref)
{
    VORN_CHECK_THREAD(0);
    return ReadThrough(ref, &VORNData_t::readInt);
}

VORN_EXPORT void VORNSetDatai(VORNDataRef ref, int value)
{
    VORN_CHECK_THREAD_VOID();
    WriteThrough(ref, &VORNData_t::writeInt, value);
}

VORN_EXPORT float VORNGetDataf(VORNDataRef ref)
{
    VORN_CHECK_THREAD(0.0f);
    return ReadThrough(ref, &VORNData_t::readFloat);
}

VORN_EXPORT void VORNSetDataf(VORNDataRef ref, float value)
{
    VORN_CHECK_THREAD_VOID();
    WriteThrough(ref, &VORNData_t::writeFloat, value);
}

VORN_EXPORT double VORNGetDatad(VORNDataRef ref)
{
    VORN_CHECK_THREAD(0.0);
    return ReadThrough(ref, &VORNData_t::readDouble);
}

VORN_EXPORT void VORNSetDatad(VORNDataRef ref, double value)
{
    VORN_CHECK_THREAD_VOID();
    WriteThrough(ref, &VORNData_t::writeDouble, value);
}

VORN_EXPORT int VORNGetDatavi(VORNDataRef ref, int* values, int offset, int max)
{
    VORN_CHECK_THREAD(0);
    return ReadThrough(ref, &VORNData_t::readIntArray, values, offset, max);
}

VORN_EXPORT void VORNSetDatavi(VORNDataRef ref, int* values, int offset, int count)
{
    VORN_CHECK_THREAD_VOID();
    WriteThrough(ref, &VORNData_t::writeIntArray, values, offset, count);
}

VORN_EXPORT int VORNGetDatavf(VORNDataRef ref, float* values, int offset, int max)
{
    VORN_CHECK_THREAD(0);
    return ReadThrough(ref, &VORNData_t::readFloatArray, values, offset, max);
}

VORN_EXPORT void VORNSetDatavf(VORNDataRef ref, float* values, int offset, int count)
{
    VORN_CHECK_THREAD_VOID();
    WriteThrough(ref, &VORNData_t::writeFloatArray, values, offset, count);
}

VORN_EXPORT int VORNGetDatab(VORNDataRef ref, void* bytes, int offset, int max)
{
    VORN_CHECK_THREAD(0);
    return ReadThrough(ref, &VORNData_t::readData, bytes, offset, max);
}

VORN_EXPORT void VORNSetDatab(VORNDataRef ref, void* bytes, int offset, int count)
{
    VORN_CHECK_THREAD_VOID();
    WriteThrough(ref, &VORNData_t::writeData, bytes, offset, count);
}

// ---- Publishing --------------------------------------------------------------------------

VORN_EXPORT VORNDataRef VORNRegisterDataAccessor(
    const char* name, VORNDataTypeID types, int writable, VORNGetDatai_f readInt,
    VORNSetDatai_f writeInt, VORNGetDataf_f readFloat, VORNSetDataf_f writeFloat,
    VORNGetDatad_f readDouble, VORNSetDatad_f writeDouble, VORNGetDatavi_f readIntArray,
    VORNSetDatavi_f writeIntArray, VORNGetDatavf_f readFloatArray,
    VORNSetDatavf_f writeFloatArray, VORNGetDatab_f readData, VORNSetDatab_f writeData,
    void* readRefcon, void* writeRefcon)
{
    VORN_CHECK_THREAD(nullptr);
    return VORNNoThrow<VORNDataRef>(nullptr, [&] {
        const VORNData_t accessors{{},
                                   types,
                                   writable,
                                   VORN_NO_PLUGIN_ID,
                                   readInt,
                                   writeInt,
                                   readFloat,
                                   writeFloat,
                                   readDouble,
                                   writeDouble,
                                   readIntArray,
                                   writeIntArray,
                                   readFloatArray,
                                   writeFloatArray,
                                   readData,
                                   writeData,
                                   readRefcon,
                                   writeRefcon,
                                   nullptr,
                                   nullptr};
        return RegisterDataRef(name, accessors);
    });
}

VORN_EXPORT void VORNUnregisterDataAccessor(VORNDataRef ref)
{
    VORN_CHECK_THREAD_VOID();
    if (!IsPoolRecord(ref)) {
        VORNSendError("Dataref is illegal and cannot be unregistered.");
        return;
    }
    if (ref->owner != VORNGetDispatchedPlugin()) {
        VORNSendError("Dataref is not owned by you - you cannot unregsiter.");
        return;
    }
    Orphan(ref);
}

void VORNDataRefsCleanupHook(int id)
{
    auto& byOwner = gDataAccess.dataRefsByOwner;
    const auto first = byOwner.find(id);
    if (first != byOwner.end()) {
        for (VORNData_t* record = first->second; record != nullptr;) {
            VORNData_t* const next = record->ownerNext;
            record->owner = VORN_NO_PLUGIN_ID;
            record->ownerNext = record->ownerPrev = nullptr;
            record = next;
        }
        byOwner.erase(first);
    }
    for (VORNSharedDataRecord* item : gDataAccess.subscriptions.Take(id))
        item->subscribers.KillOwnedBy(id);
}

void VORNCountDataRefHoldings(int id, VORNPluginInventory* inventory)
{
    int32_t dataRefs = 0;
    const auto first = gDataAccess.dataRefsByOwner.find(id);
    if (first != gDataAccess.dataRefsByOwner.end()) {
        for (const VORNData_t* record = first->second; record != nullptr; record = record->ownerNext)
            ++dataRefs;
    }
    inventory->dataRefs = dataRefs;
    int32_t subscriptions = 0;
    for (VORNSharedDataRecord* item : gDataAccess.subscriptions.Of(id))
        subscriptions += item->subscribers.CountOwnedBy(id);
    inventory->sharedData = subscriptions;
}

// ---- Shared data -----------------------------------------------------------------------------

VORN_EXPORT int VORNShareData(const char* name, VORNDataTypeID type, VORNDataChanged_f callback,
                              void* refcon)
{
    VORN_CHECK_THREAD(0);
    if (name == nullptr)
        return 0;
    return VORNNoThrow(0, [&] {
        VORNSharedDataRecord* item = FindShared(name);
        if (item != nullptr && item->type != type)
            return 0;
        if (item == nullptr)
            item = CreateShared(name, type);
        if (callback != nullptr) {
            auto subscriber = std::make_unique<VORNSharedDataSubscriber>();
            subscriber->callback = callback;
            subscriber->refcon = refcon;
            subscriber->owner = VORNGetDispatchedPlugin();
            gDataAccess.subscriptions.Add(subscriber->owner, item);
            item->subscribers.PushBack(subscriber.get());
            subscriber.release();
        }
        return 1;
    });
}

VORN_EXPORT int VORNUnshareData(const char* name, VORNDataTypeID type, VORNDataChanged_f callback,
                                void* refcon)
{
    VORN_CHECK_THREAD(0);
    if (name == nullptr || callback == nullptr)
        return 0;
    VORNSharedDataRecord* item = FindShared(name);
    if (item == nullptr || item->type != type)
        return 0;
    auto& list = item->subscribers;
    const int me = VORNGetDispatchedPlugin();
    for (auto* s = list.First(); s != nullptr; s = list.Next(s)) {
        if (!s->dead && s->callback == callback && s->refcon == refcon && s->owner == me) {
            list.Kill(s);  // deferred while a write notifies the item
            if (list.CountOwnedBy(me) == 0)
                gDataAccess.subscriptions.Drop(me, item);
            return 1;
        }
    }
    return 0;
}

// ---- Queries for tests -----------------------------------------------------------------------

VORNData_t* VORNDataRefRecord(std::string_view name)
{
    auto found = gDataAccess.dataRefs.find(name);
    return found != gDataAccess.dataRefs.end() ? found->second : nullptr;
}

int VORNDataRefRecordCount()
{
    return gDataAccess.dataCount;
}

const DataRefBlock* VORNOldestDataRefBlock()
{
    return gDataAccess.dataBlock;
}

const DataRefBlock* VORNNewestDataRefBlock()
{
    return gDataAccess.dataFree;
}

int VORNSharedDataItemCount()
{
    return static_cast<int>(gDataAccess.sharedData.size());
}

int64_t VORNSharedDataSize(std::string_view name)
{
    const VORNSharedDataRecord* item = FindShared(name);
    return item != nullptr ? static_cast<int64_t>(item->storage.size()) : -1;
}

std::vector<int> VORNSharedDataSubscribers(std::string_view name)
{
    std::vector<int> ids;
    if (VORNSharedDataRecord* item = FindShared(name)) {
        auto& list = item->subscribers;
        for (auto* s = list.First(); s != nullptr; s = list.Next(s)) {
            if (!s->dead)
                ids.push_back(s->owner);
        }
    }
    return ids;
}
