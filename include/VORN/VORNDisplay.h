/*
 * VORNDisplay.h - drawing in the host's drawing phases and sniffing keys.
 *
 * Registrations are owned by the plug-in that makes them and are removed
 * when it is unloaded. They may be made and removed from inside any
 * callback, including the callback being removed.
 */
#ifndef VORN_DISPLAY_H
#define VORN_DISPLAY_H

#include "VORNDefs.h"

VORN_BEGIN_DECLS

/* Drawing phases, in the order the host draws them in a frame (the window
   phase is where plug-in windows are drawn; 101 comes before 100). */
#define VORN_DRAW_PHASE_0 0
#define VORN_DRAW_PHASE_5 5
#define VORN_DRAW_PHASE_10 10
#define VORN_DRAW_PHASE_15 15
#define VORN_DRAW_PHASE_20 20
#define VORN_DRAW_PHASE_25 25
#define VORN_DRAW_PHASE_30 30
#define VORN_DRAW_PHASE_35 35
#define VORN_DRAW_PHASE_40 40
#define VORN_DRAW_PHASE_45 45
#define VORN_DRAW_PHASE_WINDOWS 50
#define VORN_DRAW_PHASE_55 55
#define VORN_DRAW_PHASE_100 100
#define VORN_DRAW_PHASE_101 101
#define VORN_DRAW_PHASE_102 102

/* Called in `phase`, before the host draws it (isBefore 1) or after (0).
   Return 0 from a "before" call to keep the host from drawing the phase.
   A callback that throws counts as having returned 1. */
typedef int (*VORNDrawCallback_f)(int phase, int isBefore, void* refcon);

/* Called for every key press; return 0 to consume the key. flags are the
   host's modifier and up/down bits. One that throws counts as returning 1. */
typedef int (*VORNKeySniffer_f)(char key, int flags, char virtualKey, void* refcon);

/* Registers callback for phase, before (wantsBefore 1) or after (0) the host
   draws it. Returns 1, or 0 if the same callback, phase, wantsBefore and
   refcon are already registered (by any plug-in). Newest is called first. */
VORN_API int VORNRegisterDrawCallback(VORNDrawCallback_f callback, int phase, int wantsBefore,
                                      void* refcon);

/* Removes the registration with these four values, whoever made it.
   Returns 1, or 0 when there is none. */
VORN_API int VORNUnregisterDrawCallback(VORNDrawCallback_f callback, int phase, int wantsBefore,
                                        void* refcon);

/* Registers a key sniffer called before (beforeWindows non-zero) or after
   the plug-in windows see each key. Returns 1, or 0 for a duplicate of the
   same three values. */
VORN_API int VORNRegisterKeySniffer(VORNKeySniffer_f callback, int beforeWindows, void* refcon);

/* Removes the key sniffer with these three values, whoever registered it.
   Returns 1, or 0 when there is none. */
VORN_API int VORNUnregisterKeySniffer(VORNKeySniffer_f callback, int beforeWindows, void* refcon);

VORN_END_DECLS

#endif
