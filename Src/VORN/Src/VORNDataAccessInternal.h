// VORNDataAccessInternal.h - the data-ref registry: records, their pool, the
// name map, and the shared-data items built on top of them.
#ifndef VORN_DATA_ACCESS_INTERNAL_H
#define VORN_DATA_ACCESS_INTERNAL_H

#include "VORN/VORNDataAccess.h"
#include "VORN/VORNHostHooks.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
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

extern std::map<std::string, VORNData_t*, std::less<>> gDataRefs;
extern DataRefBlock* gDataBlock;  // oldest block: start of validation walks
extern DataRefBlock* gDataFree;   // newest block: where new records come from
extern int gDataCount;            // records ever created

// ---- Shared data ---------------------------------------------------------------

struct VORNSharedDataSubscriber {
    VORNDataChanged_f callback;
    void* refcon;
    int plugin;  // the plug-in that subscribed
    // Increases along the list (appends only, erasures keep the order), so a
    // notification pass can find its place again after callbacks changed it.
    uint64_t serial;
};

struct VORNSharedDataRecord {
    std::string name;
    int32_t type;  // exactly one type bit for a usable item
    std::vector<unsigned char> storage;  // the value; only ever grows
    std::vector<VORNSharedDataSubscriber> subscribers;  // in subscription order
    uint64_t nextSerial = 1;
};

// In creation order. Items live as long as the library; their data refs keep
// pointers to them as refcons.
extern std::vector<std::unique_ptr<VORNSharedDataRecord>> gSharedData;

// What plug-in id holds now: the data refs it publishes and its shared-data
// subscriptions. For diagnostics.
void VORNCountDataRefHoldings(int id, VORNPluginInventory* inventory);

// Withdraws every data ref plug-in id published and drops its shared-data
// subscriptions; called by the loader when the plug-in is unloaded.
void VORNDataRefsCleanupHook(int id);

#endif
