// VORNDataAccessInternal.h - data refs as the loader and the tests see them:
// the record behind a handle, the pool's blocks, the unload and inventory
// hooks, and queries for state the API cannot show.
#ifndef VORN_DATA_ACCESS_INTERNAL_H
#define VORN_DATA_ACCESS_INTERNAL_H

#include "VORN/VORNDataAccess.h"
#include "VORN/VORNHostHooks.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// One data ref. Its address is the handle plug-ins keep, so a record is never
// freed, moved or reused for another name; withdrawing it only sets owner -1.
struct VORNData_t {
    std::string name;
    int32_t types;
    int32_t writable;  // 0: every write is dropped
    int32_t owner;     // plug-in id of the registrant; -1: orphan
    VORNGetDatai_f readInt;
    VORNSetDatai_f writeInt;
    VORNGetDataf_f readFloat;
    VORNSetDataf_f writeFloat;
    VORNGetDatad_f readDouble;
    VORNSetDatad_f writeDouble;
    VORNGetDatavi_f readIntArray;
    VORNSetDatavi_f writeIntArray;
    VORNGetDatavf_f readFloatArray;
    VORNSetDatavf_f writeFloatArray;
    VORNGetDatab_f readData;
    VORNSetDatab_f writeData;
    void* readRefcon;
    void* writeRefcon;
    // The owner's other data refs (unset for an orphan), so that an unload or
    // a count visits only the plug-in's own. Only the registry sets them.
    VORNData_t* ownerNext;
    VORNData_t* ownerPrev;
};

// Records come in blocks of 32, handed out from the front and never returned:
// handles are stable raw pointers, and validating one walks blocks, not records.
enum { kDataRefBlockCapacity = 32 };

struct DataRefBlock {
    DataRefBlock* next;  // the next newer block; null for the newest
    int32_t capacity;
    int32_t used;  // slots handed out, from the front
    VORNData_t records[kDataRefBlockCapacity];
};

// ---- Queries for tests: the layout and state the API cannot show -----------------

// The record name was ever registered with, orphans included; null if never.
VORNData_t* VORNDataRefRecord(std::string_view name);
// Records created so far (reviving an orphan creates none).
int VORNDataRefRecordCount();
// The oldest block of the pool (the newer ones follow along next), or null.
const DataRefBlock* VORNOldestDataRefBlock();
// The newest block of the pool, where new records come from, or null.
const DataRefBlock* VORNNewestDataRefBlock();
// Shared-data items created so far.
int VORNSharedDataItemCount();
// Bytes of the value of the shared item name; -1 when there is no such item.
int64_t VORNSharedDataSize(std::string_view name);
// Plug-in ids of the live subscribers of the shared item name, in notification order.
std::vector<int> VORNSharedDataSubscribers(std::string_view name);

// What plug-in id holds now: the data refs it publishes and its shared-data
// subscriptions. For diagnostics.
void VORNCountDataRefHoldings(int id, VORNPluginInventory* inventory);

// Withdraws every data ref plug-in id published and drops its shared-data
// subscriptions; called by the loader when the plug-in is unloaded.
void VORNDataRefsCleanupHook(int id);

#endif
