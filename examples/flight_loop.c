/* flight_loop: a callback that the simulator calls again and again. Its
   return value chooses when it runs next: seconds (> 0), a number of
   flight-loop passes (< 0), or never again (0). This one logs the counter
   of "vorn/examples/counter" (if someone publishes it) once a second. */
#include <VORN/VORNDataAccess.h>
#include <VORN/VORNPlugin.h>
#include <VORN/VORNProcessing.h>
#include <VORN/VORNUtilities.h>

#include <stdio.h>
#include <string.h>

static VORNFlightLoopID gLoop = NULL;

static float LogOncePerSecond(float sinceLastCall, float passTime, int counter, void* refcon)
{
    char line[160];
    VORNDataRef counterRef = (VORNDataRef)refcon;
    snprintf(line, sizeof line,
             "flight_loop: t=%.2f s (%.2f s since last), pass %d, counter %d\n", passTime,
             sinceLastCall, counter, VORNGetDatai(counterRef));
    VORNDebugString(line);
    return 1.0f; /* again in one second */
}

VORN_PLUGIN_ENTRY int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    strcpy(outName, "Flight loop");
    strcpy(outSignature, "vorn.examples.flight_loop");
    strcpy(outDescription, "Logs once a second from a flight loop.");
    return 1;
}

VORN_PLUGIN_ENTRY int VPluginEnable(void)
{
    VORNCreateFlightLoop_t params;
    params.structSize = sizeof params;  /* records passed to VORN lead with their size */
    params.phase = 0;                   /* run before the simulation step */
    params.callback = LogOncePerSecond;
    params.refcon = VORNFindDataRef("vorn/examples/counter"); /* null is fine: reads 0 */
    gLoop = VORNCreateFlightLoop(&params);
    VORNScheduleFlightLoop(gLoop, 1.0f, 1); /* first call one second from now */
    return 1;
}

VORN_PLUGIN_ENTRY void VPluginDisable(void)
{
    VORNDestroyFlightLoop(gLoop);
    gLoop = NULL;
}

VORN_PLUGIN_ENTRY void VPluginStop(void) {}
