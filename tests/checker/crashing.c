/* A plug-in that crashes while being enabled, for the checker's tests. */
#include "VORN/VORNPlugin.h"

#include <string.h>

VORN_PLUGIN_ENTRY int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    strcpy(outName, "Crashing");
    strcpy(outSignature, "vorn.tests.crashing");
    strcpy(outDescription, "Dereferences a null pointer in VPluginEnable.");
    return 1;
}

VORN_PLUGIN_ENTRY int VPluginEnable(void) { return *(volatile int*)0; }
