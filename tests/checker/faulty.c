/* A deliberately careless plug-in for the checker's tests: it misuses the
   API and leaves its registrations behind at unload. */
#include "VORN/VORNMenus.h"
#include "VORN/VORNPlugin.h"
#include "VORN/VORNUtilities.h"

#include <string.h>

static void OnError(const char* message) { (void)message; }

VORN_PLUGIN_ENTRY int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    strcpy(outName, "Faulty");
    strcpy(outSignature, "vorn.tests.faulty");
    strcpy(outDescription, "Misuses the API on purpose.");
    VORNSetErrorCallback(OnError);
    return 1;
}

VORN_PLUGIN_ENTRY int VPluginEnable(void)
{
    VORNSaveDataFile(7, "situation.sit"); /* not a data-file kind */
    VORNCreateMenu("Faulty", NULL, 0, NULL, NULL); /* on every enable, never destroyed */
    return 1;
}

VORN_PLUGIN_ENTRY void VPluginDisable(void) {}
VORN_PLUGIN_ENTRY void VPluginStop(void) {}
