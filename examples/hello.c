/* hello: the smallest useful plug-in. It introduces itself, says what the
   library tells it about itself, and listens to the simulator's news. */
#include <VORN/VORNPlugin.h>
#include <VORN/VORNUtilities.h>

#include <stdio.h>
#include <string.h>

VORN_PLUGIN_ENTRY int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    /* Three 256-byte buffers; the signature must be unique among plug-ins. */
    strcpy(outName, "Hello");
    strcpy(outSignature, "vorn.examples.hello");
    strcpy(outDescription, "Introduces itself and listens to the simulator.");
    return 1; /* 0 would refuse to start */
}

VORN_PLUGIN_ENTRY int VPluginEnable(void)
{
    char line[128];
    snprintf(line, sizeof line, "hello: enabled as plug-in %d of %d\n", VORNGetMyID(),
             VORNCountPlugins());
    VORNDebugString(line);
    return 1;
}

VORN_PLUGIN_ENTRY void VPluginDisable(void)
{
    VORNDebugString("hello: disabled\n");
}

VORN_PLUGIN_ENTRY void VPluginStop(void)
{
    VORNDebugString("hello: stopped\n");
}

/* The host's events arrive as messages from plug-in 0. */
VORN_PLUGIN_ENTRY void VPluginReceiveMessage(VORNPluginID from, int message, void* param)
{
    (void)param;
    if (from == VORN_HOST_PLUGIN_ID && message == VORN_MSG_PLANE_LOADED)
        VORNSpeakString("hello: an aircraft was loaded");
}
