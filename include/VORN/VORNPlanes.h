/*
 * VORNPlanes.h - the aircraft the host flies besides the user's. One plug-in
 * at a time may take them over, choose their models, limit how many are
 * active and draw them; others wait in line. Also the calls about the user's
 * own aircraft.
 */
#ifndef VORN_PLANES_H
#define VORN_PLANES_H

#include "VORNDefs.h"

VORN_BEGIN_DECLS

/* Called when the aircraft have been released and the caller, having asked
   before, may try VORNAcquirePlanes again. An exception it throws is logged
   and ignored; the next waiting plug-in is called all the same. */
typedef void (*VORNPlanesAvailable_f)(void* refcon);

/* Takes the aircraft over. aircraftPaths: null, or a null-terminated array of
   model paths by plane index (index 0, the user's aircraft, is never used);
   copied. Returns 1 when the caller owns the aircraft (also when it already
   did; the paths are then ignored). Returns 0 when another plug-in owns them;
   a non-null callback is then queued and called once they are released. */
VORN_API int VORNAcquirePlanes(char** aircraftPaths, VORNPlanesAvailable_f callback,
                               void* refcon);

/* Gives the aircraft up and calls the waiting plug-ins in turn. Ignored
   unless the caller owns them. */
VORN_API void VORNReleasePlanes(void);

/* Limits how many aircraft the host keeps active. Owner only. */
VORN_API void VORNSetActiveAircraftCount(int count);

/* Sets the model of plane index to aircraftPath (copied); the host loads it
   at once if it already handles that many planes, else when it gets there.
   Owner only; a negative index or null path is ignored. */
VORN_API void VORNSetAircraftModel(int index, const char* aircraftPath);

/* Switches the host's own control of plane index off. Any plug-in. */
VORN_API void VORNDisableAIForPlane(int planeIndex);

/* Draws plane planeIndex at a position and attitude. Owner only; the
   arguments go to the host unchanged. */
VORN_API void VORNDrawAircraft(int planeIndex, float x, float y, float z, float pitch,
                               float roll, float heading, int fullDraw, void* drawState);

/* Writes the host's total number of aircraft, how many are active (the
   owner's limit applied) and the owning plug-in (-1: none). Null pointers
   are skipped. */
VORN_API void VORNCountAircraft(int* outTotalAircraft, int* outActiveAircraft,
                                VORNPluginID* outController);

/* Writes the file name and the full path of aircraft index's model. Both
   buffers must hold 256 bytes; a null buffer makes the call do nothing. */
VORN_API void VORNGetNthAircraftModel(int index, char* outFileName, char* outPath);

/* Loads the model at aircraftPath as the user's aircraft. Null is ignored. */
VORN_API void VORNSetUsersAircraft(const char* aircraftPath);

/* Moves the user's aircraft to the airport with the given code. */
VORN_API void VORNPlaceUserAtAirport(const char* airportCode);

/* Has the host set the user's aircraft up again. Owner only; needs a full
   host table. */
VORN_API void VORNReinitUsersPlane(void);

VORN_END_DECLS

#endif /* VORN_PLANES_H */
