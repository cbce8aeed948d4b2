/* hot_key: binds Control+H to a callback and reports the binding, as any
   plug-in (or the host) can list it, through VORNGetHotKeyInfo. With
   vorn-host: `key h 4` presses it. */
#include <VORN/VORNDisplay.h>
#include <VORN/VORNPlugin.h>
#include <VORN/VORNUtilities.h>

#include <stdio.h>
#include <string.h>

#define CONTROL_FLAG 4 /* the host's modifier bit for Control */

static VORNHotKeyID gHotKey = NULL;

static void SayHello(void* refcon)
{
    (void)refcon;
    VORNDebugString("hot_key: Control+H pressed\n");
}

VORN_PLUGIN_ENTRY int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    strcpy(outName, "Hot key");
    strcpy(outSignature, "vorn.examples.hot_key");
    strcpy(outDescription, "Binds Control+H and reports the binding.");
    return 1;
}

VORN_PLUGIN_ENTRY int VPluginEnable(void)
{
    char virtualKey = 0;
    int flags = 0;
    char description[512]; /* VORNGetHotKeyInfo fills up to 512 bytes */
    VORNPluginID owner = VORN_NO_PLUGIN_ID;
    char line[600];

    /* The description is copied; matching needs these exact flags. */
    gHotKey = VORNRegisterHotKey('H', CONTROL_FLAG, "Say hello from hot_key", SayHello, NULL);
    VORNGetHotKeyInfo(gHotKey, &virtualKey, &flags, description, &owner);
    snprintf(line, sizeof line, "hot_key: '%s' on key %c flags %d, owned by plug-in %d (hot keys: %d)\n",
             description, virtualKey, flags, owner, VORNCountHotKeys());
    VORNDebugString(line);
    return 1;
}

VORN_PLUGIN_ENTRY void VPluginDisable(void)
{
    VORNUnregisterHotKey(gHotKey);
    gHotKey = NULL;
}

VORN_PLUGIN_ENTRY void VPluginStop(void) {}

VORN_PLUGIN_ENTRY void VPluginReceiveMessage(VORNPluginID from, int message, void* param)
{
    (void)from, (void)message, (void)param;
}
