/* spiky: a plug-in that is cheap on most frames and expensive now and then,
   the pattern behind most stutters. Its flight loop does a little work every
   frame and, every 45th frame, "rebuilds its cache" in one go; its draw
   callback costs a little every frame. Run the sample root with
   `vorn-host --profile --chart frames.svg` to see it stand out: the
   profile puts it first, and the chart shows the spikes above the budget.
   The fix would be to spread the rebuild over several frames. */
#include <VORN/VORNDisplay.h>
#include <VORN/VORNPlugin.h>
#include <VORN/VORNProcessing.h>

#include <string.h>
#include <time.h>

static VORNFlightLoopID gLoop = NULL;
static int gFrames = 0;

/* Stands in for real work: keeps the processor busy for this long. */
static void Work(long microseconds)
{
    struct timespec start, now;
    clock_gettime(CLOCK_MONOTONIC, &start);
    do
        clock_gettime(CLOCK_MONOTONIC, &now);
    while ((now.tv_sec - start.tv_sec) * 1000000L + (now.tv_nsec - start.tv_nsec) / 1000L <
           microseconds);
}

static float EveryFrame(float sinceLastCall, float passTime, int counter, void* refcon)
{
    (void)sinceLastCall;
    (void)passTime;
    (void)counter;
    (void)refcon;
    ++gFrames;
    if (gFrames % 45 == 0)
        Work(9000); /* the cache rebuild: 9 ms in one frame */
    else
        Work(150);
    return -1.0f; /* again on the next pass */
}

static int DrawGauges(int phase, int isBefore, void* refcon)
{
    (void)phase;
    (void)isBefore;
    (void)refcon;
    Work(60);
    return 1;
}

VORN_PLUGIN_ENTRY int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    strcpy(outName, "Spiky");
    strcpy(outSignature, "vorn.examples.spiky");
    strcpy(outDescription, "Cheap on most frames, expensive now and then.");
    return 1;
}

VORN_PLUGIN_ENTRY int VPluginEnable(void)
{
    VORNCreateFlightLoop_t params;
    params.structSize = sizeof params;
    params.phase = 0;
    params.callback = EveryFrame;
    params.refcon = NULL;
    gLoop = VORNCreateFlightLoop(&params);
    VORNScheduleFlightLoop(gLoop, -1.0f, 0); /* every pass */
    VORNRegisterDrawCallback(DrawGauges, VORN_DRAW_PHASE_WINDOWS, 0, NULL);
    return 1;
}

VORN_PLUGIN_ENTRY void VPluginDisable(void)
{
    VORNDestroyFlightLoop(gLoop);
    gLoop = NULL;
    VORNUnregisterDrawCallback(DrawGauges, VORN_DRAW_PHASE_WINDOWS, 0, NULL);
}
