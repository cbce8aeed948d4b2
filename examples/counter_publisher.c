/* counter_publisher: publishes a data ref that other plug-ins (and the host)
   can read and write by name: "vorn/examples/counter", an int. */
#include <VORN/VORNDataAccess.h>
#include <VORN/VORNPlugin.h>

#include <string.h>

static int gCounter = 0;
static VORNDataRef gCounterRef = NULL;

/* The owner answers reads and writes; the library calls these with this
   plug-in as the dispatched one, and only while it is enabled. */
static int ReadCounter(void* refcon)
{
    return *(int*)refcon;
}

static void WriteCounter(void* refcon, int value)
{
    *(int*)refcon = value;
}

VORN_PLUGIN_ENTRY int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    strcpy(outName, "Counter publisher");
    strcpy(outSignature, "vorn.examples.counter_publisher");
    strcpy(outDescription, "Publishes vorn/examples/counter.");
    /* Publish while starting, so that every plug-in finds it when enabled. */
    gCounterRef = VORNRegisterDataAccessor("vorn/examples/counter", VORN_DATA_INT, 1,
                                           ReadCounter, WriteCounter, NULL, NULL, NULL, NULL,
                                           NULL, NULL, NULL, NULL, NULL, NULL,
                                           &gCounter, &gCounter);
    return 1;
}

VORN_PLUGIN_ENTRY void VPluginStop(void)
{
    /* Withdraw what we published; readers' handles then read 0. */
    VORNUnregisterDataAccessor(gCounterRef);
}

VORN_PLUGIN_ENTRY int VPluginEnable(void) { return 1; }
VORN_PLUGIN_ENTRY void VPluginDisable(void) {}
