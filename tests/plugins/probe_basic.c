/* A minimal C plug-in; ProbeReportIdentity logs "id=<my id> count=<plug-ins>". */
#include "VORN/VORNPlugin.h"
#include "VORN/VORNUtilities.h"

#include <stdio.h>
#include <string.h>

VORN_API int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    strcpy(outName, "Probe Basic");
    strcpy(outSignature, "test.probe.basic");
    strcpy(outDescription, "Reports its identity to the log");
    return 1;
}

VORN_API void VPluginStop(void) {}
VORN_API int VPluginEnable(void) { return 1; }
VORN_API void VPluginDisable(void) {}
VORN_API void VPluginReceiveMessage(VORNPluginID from, int message, void* param)
{
    (void)from, (void)message, (void)param;
}

VORN_API void ProbeReportIdentity(void)
{
    char line[64];
    snprintf(line, sizeof line, "id=%d count=%d", VORNGetMyID(), VORNCountPlugins());
    VORNDebugString(line);
}
