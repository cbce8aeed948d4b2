/*
 * VORNProcessing.h - flight loops: plug-in callbacks called again and again
 * as the simulation runs, at an interval each call chooses by its result.
 *
 * Interval: greater than 0, seconds; less than 0, a number of passes (-1 is
 * every pass of the loop's phase); 0, not called until scheduled again.
 */
#ifndef VORN_PROCESSING_H
#define VORN_PROCESSING_H

#include "VORNDefs.h"

VORN_BEGIN_DECLS

/* Flight-loop phases: the first runs with each simulation step, the second
   in a later pass of the same frame. */
#define VORN_FLIGHT_LOOP_PHASE_FIRST 0
#define VORN_FLIGHT_LOOP_PHASE_SECOND 1

/* sinceLastCall: seconds since this loop was last called (or created or
   scheduled relative to now); passTime: the host's elapsed time of this
   pass; counter: the pass counter. Returns the next interval. A callback
   that throws counts as having returned the interval it was called with. */
typedef float (*VORNFlightLoop_f)(float sinceLastCall, float passTime, int counter,
                                  void* refcon);

/* Opaque handle of a flight loop created by VORNCreateFlightLoop. */
typedef void* VORNFlightLoopID;

/* Parameters of VORNCreateFlightLoop; structSize must be
   sizeof(VORNCreateFlightLoop_t), 24. */
typedef struct {
    int structSize;
    int phase; /* VORN_FLIGHT_LOOP_PHASE_... */
    VORNFlightLoop_f callback;
    void* refcon;
} VORNCreateFlightLoop_t;

VORN_STATIC_ASSERT(sizeof(VORNCreateFlightLoop_t) == 24, create_flight_loop_is_24_bytes);

/* The host's elapsed simulator time in seconds. */
VORN_API float VORNGetElapsedTime(void);

/* The pass counter: advanced by every flight-loop pass of either phase. */
VORN_API int VORNGetCycleNumber(void);

/* Creates an unscheduled flight loop owned by the caller and returns its
   handle. A caller with an error callback is told about a bad structSize,
   phase or null callback, but the loop is created all the same. A null
   params pointer creates nothing and returns null. */
VORN_API VORNFlightLoopID VORNCreateFlightLoop(VORNCreateFlightLoop_t* params);

/* Removes one of the caller's flight loops; the handle is dead afterwards.
   Another plug-in's loop is reported and kept. A null handle is ignored.
   Handles are not looked up (this runs on the frame's path): never pass a
   destroyed handle, here or to VORNScheduleFlightLoop. */
VORN_API void VORNDestroyFlightLoop(VORNFlightLoopID flightLoopID);

/* Sets the interval of one of the caller's loops; relativeToNow non-zero
   also restarts its time from now. Another plug-in's loop is reported and
   kept unchanged. A null handle is ignored. */
VORN_API void VORNScheduleFlightLoop(VORNFlightLoopID flightLoopID, float interval,
                                     int relativeToNow);

/* Older interface: creates a first-phase loop with interval. Loops made this
   way are found again by callback and refcon. */
VORN_API void VORNRegisterFlightLoopCallback(VORNFlightLoop_f callback, float interval,
                                             void* refcon);

/* Older interface: removes the newest loop with this callback and refcon,
   whoever owns it. Nothing happens if there is none. */
VORN_API void VORNUnregisterFlightLoopCallback(VORNFlightLoop_f callback, void* refcon);

/* Older interface: sets the interval of every loop with this callback and
   refcon, whoever owns them; relativeToNow non-zero restarts their time. */
VORN_API void VORNSetFlightLoopCallbackInterval(VORNFlightLoop_f callback, float interval,
                                                int relativeToNow, void* refcon);

VORN_END_DECLS

#endif
