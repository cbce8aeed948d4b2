/*
 * VORNScenery.h - terrain probes and scenery objects. The host does the
 * probing, loading and drawing; the library keeps track of which plug-in
 * holds which probe and object and gives back whatever a plug-in still holds
 * when it is unloaded.
 */
#ifndef VORN_SCENERY_H
#define VORN_SCENERY_H

#include "VORNDefs.h"

VORN_BEGIN_DECLS

/* ---- Terrain probes ---------------------------------------------------- */

/* A probe handle. Opaque; valid from VORNCreateProbe to VORNDestroyProbe or
   the unload of the plug-in that created it. */
typedef void* VORNProbeRef;

/* The only usable probe type. */
#define VORN_PROBE_Y 0

/* Result codes of VORNProbeTerrainXYZ. */
#define VORN_PROBE_HIT_TERRAIN 0
#define VORN_PROBE_ERROR 1
#define VORN_PROBE_MISSED 2

/* Filled by VORNProbeTerrainXYZ. Set structSize to sizeof(VORNProbeResult_t)
   (44) first. The three triples and the flag are the host's, written as it
   sees fit. */
typedef struct VORNProbeResult_t {
    int32_t structSize;
    float first[3];
    float second[3];
    float third[3];
    int32_t resultFlag;
} VORNProbeResult_t;

VORN_STATIC_ASSERT(sizeof(VORNProbeResult_t) == 44, probe_result_size);

/* Creates a probe of probeType, owned by the caller (any type is kept; only
   VORN_PROBE_Y probes can probe). Never null. */
VORN_API VORNProbeRef VORNCreateProbe(int probeType);

/* Destroys probe, whoever created it. An unknown or already destroyed handle
   is ignored. */
VORN_API void VORNDestroyProbe(VORNProbeRef probe);

/* Probes the terrain at the local point (x, y, z) into *outInfo. Returns
   VORN_PROBE_HIT_TERRAIN or VORN_PROBE_MISSED; VORN_PROBE_ERROR (host not
   asked) for a probe that is not of type VORN_PROBE_Y, a structSize other
   than 44, or a null probe or outInfo. The handle is not looked up
   otherwise: never pass a destroyed probe. */
VORN_API int VORNProbeTerrainXYZ(VORNProbeRef probe, float x, float y, float z,
                                 VORNProbeResult_t* outInfo);

/* ---- Scenery objects --------------------------------------------------- */

/* A loaded object: the host's opaque reference. */
typedef void* VORNObjectRef;

/* Called once when an asynchronous load ends, with the object (null when
   it failed) and the refcon given to VORNLoadObjectAsync. If it throws, the
   exception is logged and ignored and the object stays the plug-in's. */
typedef void (*VORNObjectLoaded_f)(VORNObjectRef object, void* refcon);

/* Called by VORNLookupObjects for each object path the host finds. */
typedef void (*VORNObjectFound_f)(const char* path, void* refcon);

/* One drawn instance. Set structSize to sizeof(VORNObjectPlacementRecord)
   (28). Position in local coordinates, then three orientation angles. */
typedef struct VORNObjectPlacementRecord {
    int32_t structSize;
    float x;
    float y;
    float z;
    float firstAngle;
    float secondAngle;
    float thirdAngle;
} VORNObjectPlacementRecord;

VORN_STATIC_ASSERT(sizeof(VORNObjectPlacementRecord) == 28, object_placement_size);

/* Loads the object at path now. Returns it (held by the caller until
   VORNUnloadObject or its unload; loading twice holds it twice) or null. */
VORN_API VORNObjectRef VORNLoadObject(const char* path);

/* Starts loading the object at path; callback gets it later, and only while
   the caller is enabled (a result that arrives while it is disabled waits for
   its next enable). The object is held by the caller once callback returns. */
VORN_API void VORNLoadObjectAsync(const char* path, VORNObjectLoaded_f callback, void* refcon);

/* Draws count instances of object (placements: count records). With an
   error callback set, an object the caller does not hold or any structSize
   other than 28 is reported and nothing is drawn; without one, nothing is
   checked. */
VORN_API void VORNDrawObjects(VORNObjectRef object, int count,
                              VORNObjectPlacementRecord* placements, int lighting,
                              int earthRelative);

/* Gives back one hold of object. An object the caller does not hold is
   reported ("Unknown object for VORNUnloadObject") and left alone. */
VORN_API void VORNUnloadObject(VORNObjectRef object);

/* Asks the host for the object paths behind path near (latitude, longitude);
   enumerator gets each. Returns the host's count. */
VORN_API int VORNLookupObjects(const char* path, float latitude, float longitude,
                               VORNObjectFound_f enumerator, void* refcon);

VORN_END_DECLS

#endif /* VORN_SCENERY_H */
