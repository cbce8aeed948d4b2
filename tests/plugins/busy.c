/* A plug-in that spends known amounts of time, for the tests of the time
   accounting. Configured by "<module path>.cfg", lines key=value:
   - name: its name (the signature is "busy:" + its path);
   - loop_us: it has a flight loop, due on every pass of phase loop_phase
     (default 0), that busy-waits this many microseconds;
   - spike_us, spike_every: every spike_every-th call of the loop waits
     spike_us instead;
   - publish, publish_us: it publishes the int data ref named publish,
     whose read busy-waits publish_us microseconds and returns 7;
   - read: its flight loop reads the int data ref of that name on every call.
   It waits on the monotonic clock, so a wait lasts at least its length. */
#define _GNU_SOURCE
#include "module_config.h"

#include "VORN/VORNDataAccess.h"
#include "VORN/VORNPlugin.h"
#include "VORN/VORNProcessing.h"

#include <stdio.h>
#include <string.h>
#include <time.h>

static char gName[256] = "Busy";
static char gSignature[256] = "busy";
static long gLoopMicros = -1; /* no loop */
static int gLoopPhase = 0;
static long gSpikeMicros = 0;
static int gSpikeEvery = 0;
static char gPublish[256] = "";
static long gPublishMicros = 0;
static char gRead[256] = "";
static int gLoopCalls = 0;
static VORNFlightLoopID gLoop = NULL;
static VORNDataRef gPublished = NULL;

static void Setting(const char* key, const char* value)
{
    if (strcmp(key, "name") == 0)
        snprintf(gName, sizeof gName, "%s", value);
    else if (strcmp(key, "loop_us") == 0)
        sscanf(value, "%ld", &gLoopMicros);
    else if (strcmp(key, "loop_phase") == 0)
        sscanf(value, "%d", &gLoopPhase);
    else if (strcmp(key, "spike_us") == 0)
        sscanf(value, "%ld", &gSpikeMicros);
    else if (strcmp(key, "spike_every") == 0)
        sscanf(value, "%d", &gSpikeEvery);
    else if (strcmp(key, "publish") == 0)
        snprintf(gPublish, sizeof gPublish, "%s", value);
    else if (strcmp(key, "publish_us") == 0)
        sscanf(value, "%ld", &gPublishMicros);
    else if (strcmp(key, "read") == 0)
        snprintf(gRead, sizeof gRead, "%s", value);
}

static void Configure(void)
{
    const char* modulePath = ModulePath((void*)&Configure);
    if (modulePath == NULL)
        return;
    snprintf(gSignature, sizeof gSignature, "busy:%s", modulePath);
    ReadModuleConfig(modulePath, Setting);
}

static void Spin(long micros)
{
    struct timespec start, now;
    clock_gettime(CLOCK_MONOTONIC, &start);
    do
        clock_gettime(CLOCK_MONOTONIC, &now);
    while ((now.tv_sec - start.tv_sec) * 1000000L + (now.tv_nsec - start.tv_nsec) / 1000L < micros);
}

static int ReadPublished(void* refcon)
{
    (void)refcon;
    Spin(gPublishMicros);
    return 7;
}

static float Loop(float sinceLast, float sinceLoop, int counter, void* refcon)
{
    (void)sinceLast;
    (void)sinceLoop;
    (void)counter;
    (void)refcon;
    ++gLoopCalls;
    Spin(gSpikeEvery > 0 && gLoopCalls % gSpikeEvery == 0 ? gSpikeMicros : gLoopMicros);
    if (gRead[0] != '\0')
        VORNGetDatai(VORNFindDataRef(gRead));
    return -1.0f;
}

VORN_API int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    Configure();
    strcpy(outName, gName);
    strcpy(outSignature, gSignature);
    strcpy(outDescription, "Spends known amounts of time");
    return 1;
}

VORN_API void VPluginStop(void) {}

VORN_API int VPluginEnable(void)
{
    if (gPublish[0] != '\0' && gPublished == NULL)
        gPublished = VORNRegisterDataAccessor(gPublish, VORN_DATA_INT, 0, ReadPublished, NULL,
                                              NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL,
                                              NULL, NULL, NULL, NULL);
    if (gLoopMicros >= 0) {
        VORNCreateFlightLoop_t params;
        params.structSize = sizeof params;
        params.phase = gLoopPhase;
        params.callback = Loop;
        params.refcon = NULL;
        gLoop = VORNCreateFlightLoop(&params);
        VORNScheduleFlightLoop(gLoop, -1.0f, 0);
    }
    return 1;
}

VORN_API void VPluginDisable(void)
{
    VORNDestroyFlightLoop(gLoop);
    gLoop = NULL;
}
