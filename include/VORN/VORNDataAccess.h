/*
 * VORNDataAccess.h - data refs: named, typed values that one owner publishes
 * through accessor callbacks and that every plug-in (and the host) reads and
 * writes by handle; and shared data, values stored by the library itself that
 * any plug-in may create and subscribe to.
 *
 * Look a name up once with VORNFindDataRef and keep the handle: handles stay
 * valid for the life of the library, across the owner's unload and a later
 * re-registration of the same name. Reads of a data ref whose owner is gone
 * or disabled return zero; writes to it are dropped.
 */
#ifndef VORN_DATA_ACCESS_H
#define VORN_DATA_ACCESS_H

#include "VORNDefs.h"

VORN_BEGIN_DECLS

/* An opaque data-ref handle; null means "none". */
typedef struct VORNData_t* VORNDataRef;

/* Type bits of a data ref's type mask; a data ref may offer several. */
typedef int VORNDataTypeID;
#define VORN_DATA_INT 1
#define VORN_DATA_FLOAT 2
#define VORN_DATA_DOUBLE 4
#define VORN_DATA_FLOAT_ARRAY 8
#define VORN_DATA_INT_ARRAY 16
#define VORN_DATA_BYTES 32

/* Accessor callbacks of a data ref's owner. Every callback gets the refcon
   given at registration (readRefcon for reads, writeRefcon for writes).
   Array and byte readers called with a null destination return, by
   convention, the number of elements available. A reader that throws counts
   as having returned 0 (nothing copied); a writer that throws loses the write. */
typedef int (*VORNGetDatai_f)(void* refcon);
typedef void (*VORNSetDatai_f)(void* refcon, int value);
typedef float (*VORNGetDataf_f)(void* refcon);
typedef void (*VORNSetDataf_f)(void* refcon, float value);
typedef double (*VORNGetDatad_f)(void* refcon);
typedef void (*VORNSetDatad_f)(void* refcon, double value);
typedef int (*VORNGetDatavi_f)(void* refcon, int* values, int offset, int max);
typedef void (*VORNSetDatavi_f)(void* refcon, int* values, int offset, int count);
typedef int (*VORNGetDatavf_f)(void* refcon, float* values, int offset, int max);
typedef void (*VORNSetDatavf_f)(void* refcon, float* values, int offset, int count);
typedef int (*VORNGetDatab_f)(void* refcon, void* bytes, int offset, int max);
typedef void (*VORNSetDatab_f)(void* refcon, void* bytes, int offset, int count);

/* Called after every write of a shared data item, with the subscriber's refcon.
   An exception it throws is logged and ignored; the others are still called. */
typedef void (*VORNDataChanged_f)(void* refcon);

/* ---- Finding and inspecting ---------------------------------------------- */

/* The handle of the registered data ref called name (exact, case-sensitive),
   or null when none is registered under it or name is null. */
VORN_API VORNDataRef VORNFindDataRef(const char* name);

/* 1 when ref is a handle of this library whose data ref is registered now;
   0 for null, foreign or misaligned pointers and unregistered data refs. */
VORN_API int VORNIsDataRefGood(VORNDataRef ref);

/* The data ref's writable flag as registered; 0 for a null handle. ref must
   be a handle from this library (it is not validated). */
VORN_API int VORNCanWriteDataRef(VORNDataRef ref);

/* The data ref's type mask as registered; 0 for a null handle. ref must be a
   handle from this library (it is not validated). */
VORN_API VORNDataTypeID VORNGetDataRefTypes(VORNDataRef ref);

/* ---- Reading and writing -------------------------------------------------- */
/* ref must be null or a handle from this library; it is not validated, for
   speed. A read returns zero when ref is null, the owner offers no reader of
   that family or is not enabled. A write is dropped when ref is null, the
   data ref is not writable, or the owner offers no writer or is not enabled.
   Array and byte calls pass values, offset and max/count to the owner as
   they are. */

VORN_API int VORNGetDatai(VORNDataRef ref);
VORN_API void VORNSetDatai(VORNDataRef ref, int value);
VORN_API float VORNGetDataf(VORNDataRef ref);
VORN_API void VORNSetDataf(VORNDataRef ref, float value);
VORN_API double VORNGetDatad(VORNDataRef ref);
VORN_API void VORNSetDatad(VORNDataRef ref, double value);
/* Copies up to max ints from element offset into values; returns the number
   copied (with a null values, the owner's element count). */
VORN_API int VORNGetDatavi(VORNDataRef ref, int* values, int offset, int max);
/* Writes count ints from values to element offset. */
VORN_API void VORNSetDatavi(VORNDataRef ref, int* values, int offset, int count);
/* As VORNGetDatavi, for floats. */
VORN_API int VORNGetDatavf(VORNDataRef ref, float* values, int offset, int max);
/* As VORNSetDatavi, for floats. */
VORN_API void VORNSetDatavf(VORNDataRef ref, float* values, int offset, int count);
/* As VORNGetDatavi, for bytes. */
VORN_API int VORNGetDatab(VORNDataRef ref, void* bytes, int offset, int max);
/* As VORNSetDatavi, for bytes. */
VORN_API void VORNSetDatab(VORNDataRef ref, void* bytes, int offset, int count);

/* ---- Publishing ------------------------------------------------------------ */

/* Publishes name with the given type mask and accessors, owned by the calling
   plug-in. Any callback may be null. If name was published before and
   withdrawn, the same handle as then is returned. If a plug-in (the caller
   included) holds name now, the error callback gets "Dataref is already
   registered by someone else." and that plug-in's handle is returned. A null
   name gets null. */
VORN_API VORNDataRef VORNRegisterDataAccessor(
    const char* name, VORNDataTypeID types, int writable, VORNGetDatai_f readInt,
    VORNSetDatai_f writeInt, VORNGetDataf_f readFloat, VORNSetDataf_f writeFloat,
    VORNGetDatad_f readDouble, VORNSetDatad_f writeDouble, VORNGetDatavi_f readIntArray,
    VORNSetDatavi_f writeIntArray, VORNGetDatavf_f readFloatArray,
    VORNSetDatavf_f writeFloatArray, VORNGetDatab_f readData, VORNSetDatab_f writeData,
    void* readRefcon, void* writeRefcon);

/* Withdraws a data ref the caller published; the handle stays valid but reads
   zero until someone publishes the name again. A pointer that is no handle
   gets "Dataref is illegal and cannot be unregistered."; another plug-in's
   (or an already withdrawn) data ref gets "Dataref is not owned by you - you
   cannot unregsiter." (both through the error callback). */
VORN_API void VORNUnregisterDataAccessor(VORNDataRef ref);

/* ---- Shared data ----------------------------------------------------------- */

/* Creates the shared item name of type (exactly one type bit) unless it
   exists, and, when callback is non-null, subscribes callback(refcon) to be
   called after every write of the item (the caller's own writes included).
   The item is a data ref owned by the host, read and written with the calls
   above; its value outlives every plug-in. Returns 1, or 0 when name exists
   with another type (nothing is done then) or name is null. Array items
   ignore negative offsets and counts, a null source and sizes past 2 GB. */
VORN_API int VORNShareData(const char* name, VORNDataTypeID type, VORNDataChanged_f callback,
                           void* refcon);

/* Removes the caller's first subscription of callback and refcon to the item
   name of type. The item and its value stay. Returns 1 when one was removed,
   0 when none matched or callback is null. */
VORN_API int VORNUnshareData(const char* name, VORNDataTypeID type, VORNDataChanged_f callback,
                             void* refcon);

VORN_END_DECLS

#endif /* VORN_DATA_ACCESS_H */
