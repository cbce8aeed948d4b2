/* A plug-in that refuses to be enabled, for the checker's tests. */
#include "VORN/VORNPlugin.h"

#include <string.h>

VORN_PLUGIN_ENTRY int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    strcpy(outName, "Refusing");
    strcpy(outSignature, "vorn.tests.refusing");
    strcpy(outDescription, "Returns 0 from VPluginEnable.");
    return 1;
}

VORN_PLUGIN_ENTRY int VPluginEnable(void) { return 0; }
