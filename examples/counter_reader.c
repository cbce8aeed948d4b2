/* counter_reader: finds "vorn/examples/counter" by name once, keeps the
   handle, and bumps the counter each time an aircraft is loaded. */
#include <VORN/VORNDataAccess.h>
#include <VORN/VORNPlugin.h>
#include <VORN/VORNUtilities.h>

#include <stdio.h>
#include <string.h>

static VORNDataRef gCounter = NULL;

VORN_PLUGIN_ENTRY int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    strcpy(outName, "Counter reader");
    strcpy(outSignature, "vorn.examples.counter_reader");
    strcpy(outDescription, "Reads and writes vorn/examples/counter.");
    return 1;
}

VORN_PLUGIN_ENTRY int VPluginEnable(void)
{
    /* Look names up once: the handle stays valid for the life of the library. */
    gCounter = VORNFindDataRef("vorn/examples/counter");
    if (gCounter == NULL)
        VORNDebugString("counter_reader: nobody publishes vorn/examples/counter\n");
    return 1;
}

VORN_PLUGIN_ENTRY void VPluginDisable(void) {}
VORN_PLUGIN_ENTRY void VPluginStop(void) {}

VORN_PLUGIN_ENTRY void VPluginReceiveMessage(VORNPluginID from, int message, void* param)
{
    char line[96];
    (void)param;
    if (from != VORN_HOST_PLUGIN_ID || message != VORN_MSG_PLANE_LOADED || gCounter == NULL)
        return;
    VORNSetDatai(gCounter, VORNGetDatai(gCounter) + 1);
    snprintf(line, sizeof line, "counter_reader: aircraft loads seen: %d\n", VORNGetDatai(gCounter));
    VORNDebugString(line);
}
