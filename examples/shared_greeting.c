/* shared_greeting: shared data between plug-ins. Build it twice (as
   shared_greeting_A and _B, with GREETER 'A' and 'B'): both share the byte
   data ref "vorn/examples/greeting"; B writes it when an aircraft is loaded,
   and every sharer, the writer included, is told of the change. The value belongs to
   the library, so it outlives both plug-ins. */
#include <VORN/VORNDataAccess.h>
#include <VORN/VORNPlugin.h>
#include <VORN/VORNUtilities.h>

#include <stdio.h>
#include <string.h>

#ifndef GREETER
#define GREETER 'A'
#endif

static const char kName[] = "vorn/examples/greeting";

static void GreetingChanged(void* refcon)
{
    char text[64] = "";
    char line[128];
    VORNDataRef ref = VORNFindDataRef(kName);
    (void)refcon;
    VORNGetDatab(ref, text, 0, (int)sizeof text - 1);
    snprintf(line, sizeof line, "shared_greeting %c: the greeting is now \"%s\"\n", GREETER, text);
    VORNDebugString(line);
}

VORN_PLUGIN_ENTRY int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    snprintf(outName, 256, "Shared greeting %c", GREETER);
    snprintf(outSignature, 256, "vorn.examples.shared_greeting_%c", GREETER);
    strcpy(outDescription, "Shares vorn/examples/greeting with its twin.");
    return 1;
}

VORN_PLUGIN_ENTRY int VPluginEnable(void)
{
    /* Sharing creates the item on first use; the same type is required. */
    VORNShareData(kName, VORN_DATA_BYTES, GreetingChanged, NULL);
    return 1;
}

VORN_PLUGIN_ENTRY void VPluginReceiveMessage(VORNPluginID from, int message, void* param)
{
    static char greeting[] = "hello from B";
    (void)param;
    if (GREETER == 'B' && from == VORN_HOST_PLUGIN_ID && message == VORN_MSG_PLANE_LOADED)
        VORNSetDatab(VORNFindDataRef(kName), greeting, 0, (int)sizeof greeting);
}

VORN_PLUGIN_ENTRY void VPluginDisable(void)
{
    VORNUnshareData(kName, VORN_DATA_BYTES, GreetingChanged, NULL);
}

VORN_PLUGIN_ENTRY void VPluginStop(void) {}
