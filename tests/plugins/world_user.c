/* A plug-in that probes terrain, loads and draws objects, takes the camera
   and the multiplayer aircraft through the real API, on orders from the test
   host (world_user.h). Its name is its file name without ".vpl". What it
   notices goes to the log as "<name:what id=N>". */
#define _GNU_SOURCE
#include "VORN/VORNCamera.h"
#include "VORN/VORNPlanes.h"
#include "VORN/VORNPlugin.h"
#include "VORN/VORNScenery.h"
#include "VORN/VORNUtilities.h"
#include "world_user.h"

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

static char gName[200] = "WorldUser";

static void Say(const char* what)
{
    char line[600];
    snprintf(line, sizeof line, "<%s:%s id=%d>", gName, what, VORNGetMyID());
    VORNDebugString(line);
}

static void OnError(const char* message)
{
    Say(message);
}

static void Loaded(void* object, void* refcon)
{
    char what[100];
    (void)refcon;
    snprintf(what, sizeof what, "loaded %p", object);
    Say(what);
}

static int Camera(VORNCameraPositionRecord* position, int losing, void* refcon)
{
    char what[100];
    (void)refcon;
    snprintf(what, sizeof what, "camera flag %d", losing);
    Say(what);
    if (position != NULL)
        position->values[0] = 99;
    return 1;
}

static void PlanesAvailable(void* refcon)
{
    char what[100];
    snprintf(what, sizeof what, "planes available, acquired %d",
             VORNAcquirePlanes(NULL, PlanesAvailable, refcon));
    Say(what);
}

static void Probe(WorldUserOrder* order)
{
    VORNProbeResult_t result;
    memset(&result, 0, sizeof result);
    result.structSize = order->arg;
    order->result = VORNProbeTerrainXYZ(order->handle, 1, 2, 3, &result);
}

static void Draw(WorldUserOrder* order)
{
    VORNObjectPlacementRecord at = {sizeof at, 0, 0, 0, 1, 2, 3};
    VORNDrawObjects(order->handle, 1, &at, 1, 0);
}

static void Obey(WorldUserOrder* order)
{
    switch (order->what) {
    case kCreateProbe: order->handle = VORNCreateProbe(order->arg); break;
    case kDestroyProbe: VORNDestroyProbe(order->handle); break;
    case kProbe: Probe(order); break;
    case kLoadObject: order->handle = VORNLoadObject(order->text); break;
    case kLoadObjectAsync: VORNLoadObjectAsync(order->text, Loaded, NULL); break;
    case kUnloadObject: VORNUnloadObject(order->handle); break;
    case kDrawObject: Draw(order); break;
    case kControlCamera: VORNControlCamera(order->arg, Camera, NULL); break;
    case kAcquirePlanes:
        order->result = VORNAcquirePlanes(NULL, order->arg ? PlanesAvailable : NULL, NULL);
        break;
    case kReleasePlanes: VORNReleasePlanes(); break;
    case kSetPlaneLimit: VORNSetActiveAircraftCount(order->arg); break;
    default: break;
    }
}

VORN_API int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    Dl_info info;
    if (dladdr((void*)&VPluginStart, &info) != 0 && info.dli_fname != NULL) {
        const char* base = strrchr(info.dli_fname, '/');
        snprintf(gName, sizeof gName, "%s", base ? base + 1 : info.dli_fname);
        gName[strcspn(gName, ".")] = '\0';
    }
    strcpy(outName, gName);
    snprintf(outSignature, 256, "worlduser:%s", gName);
    strcpy(outDescription, "Probes, objects, camera and aircraft");
    VORNSetErrorCallback(OnError);
    return 1;
}

VORN_API void VPluginStop(void) {}

VORN_API int VPluginEnable(void)
{
    return 1;
}

VORN_API void VPluginDisable(void) {}

VORN_API void VPluginReceiveMessage(VORNPluginID from, int message, void* param)
{
    (void)from;
    if (message == WORLD_USER_ORDER && param != NULL)
        Obey((WorldUserOrder*)param);
}
