/*
 * VORNCamera.h - taking over the host's camera. While a plug-in controls it,
 * the host offers its camera values every frame and the plug-in's callback
 * may rewrite them. One controller at a time: the newest caller takes over.
 */
#ifndef VORN_CAMERA_H
#define VORN_CAMERA_H

#include "VORNDefs.h"

VORN_BEGIN_DECLS

/* Control until the host changes its view, or until given up. */
#define VORN_CONTROL_CAMERA_UNTIL_VIEW_CHANGES 1
#define VORN_CONTROL_CAMERA_FOREVER 2

/* The host's seven camera values, in the host's order and units. */
typedef struct VORNCameraPositionRecord {
    float values[7];
} VORNCameraPositionRecord;

VORN_STATIC_ASSERT(sizeof(VORNCameraPositionRecord) == 28, camera_position_size);

/* The controller's callback. Each frame: position holds the host's values to
   rewrite, isLosingControl is 0; return non-zero to keep control, 0 to give it
   up. When control is taken away: position is null, isLosingControl is 1, and
   the result is ignored. A callback that throws counts as having returned 0. */
typedef int (*VORNCameraControl_f)(VORNCameraPositionRecord* position, int isLosingControl,
                                   void* refcon);

/* Takes the camera for duration (1: until the host changes its view; other
   values: until given up). A previous controller is not told. */
VORN_API void VORNControlCamera(int duration, VORNCameraControl_f callback, void* refcon);

/* Ends any plug-in's control at once, without telling its callback. */
VORN_API void VORNDontControlCamera(void);

/* Returns 1 while a plug-in controls the camera and then writes its duration
   to outDuration (if not null); else returns 0. */
VORN_API int VORNIsCameraBeingControlled(int* outDuration);

/* Reads the host's current camera values into *outPosition (null: ignored). */
VORN_API void VORNReadCameraPosition(VORNCameraPositionRecord* outPosition);

VORN_END_DECLS

#endif /* VORN_CAMERA_H */
