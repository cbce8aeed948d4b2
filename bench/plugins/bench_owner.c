/* The aircraft plug-in of the unload benchmarks. It owns ten records spread
   over the registries an unload clears, and removes none of them itself, so
   that unloading it is the library's clean-up of what it left behind. */
#include "VORN/VORNDataAccess.h"
#include "VORN/VORNDisplay.h"
#include "VORN/VORNPlugin.h"
#include "VORN/VORNProcessing.h"
#include "VORN/VORNScenery.h"

#include <stddef.h>
#include <string.h>

#include "bench_entry_points.h"

static int value = 0;

static int ReadInt(void* refcon)
{
    return *(const int*)refcon;
}

static void Changed(void* refcon)
{
    (void)refcon;
}

static float Loop(float sinceLastCall, float passTime, int counter, void* refcon)
{
    (void)sinceLastCall;
    (void)passTime;
    (void)counter;
    (void)refcon;
    return 1.0f;
}

static int Draw(int phase, int isBefore, void* refcon)
{
    (void)phase;
    (void)isBefore;
    (void)refcon;
    return 1;
}

static int Sniff(char key, int flags, char virtualKey, void* refcon)
{
    (void)key;
    (void)flags;
    (void)virtualKey;
    (void)refcon;
    return 1;
}

static void HotKey(void* refcon)
{
    (void)refcon;
}

static void Publish(const char* name)
{
    VORNRegisterDataAccessor(name, VORN_DATA_INT, 0, ReadInt, NULL, NULL, NULL, NULL, NULL, NULL,
                             NULL, NULL, NULL, NULL, NULL, &value, NULL);
}

VORN_API int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    strcpy(outName, "Bench Owner");
    strcpy(outSignature, "vorn.bench.owner");
    strcpy(outDescription, "Owns ten records and leaves them to its unload");
    Publish("vorn/bench/owner/first");
    Publish("vorn/bench/owner/second");
    Publish("vorn/bench/owner/third");
    VORNShareData("vorn/bench/owner/shared", VORN_DATA_INT, Changed, NULL);
    VORNCreateFlightLoop_t loop = {sizeof loop, VORN_FLIGHT_LOOP_PHASE_FIRST, Loop, NULL};
    VORNScheduleFlightLoop(VORNCreateFlightLoop(&loop), 1.0f, 1);
    VORNRegisterDrawCallback(Draw, 50, 0, NULL);
    VORNRegisterKeySniffer(Sniff, 1, NULL);
    VORNCreateWindow(0, 100, 100, 0, 0, NULL, NULL, NULL, NULL);
    VORNRegisterHotKey('B', 0, "Bench owner", HotKey, NULL);
    VORNCreateProbe(VORN_PROBE_Y);
    return 1;
}
