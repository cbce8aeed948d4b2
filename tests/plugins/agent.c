/* A plug-in that lends its identity to the test: the message
   AGENT_RUN_MESSAGE with a pointer to an AgentRun calls run->fn(run->context)
   while this plug-in is the dispatched one, so that everything the test
   registers from there is owned by this plug-in. Copies at several paths act
   as several plug-ins (the signature is the module's path). */
#define _GNU_SOURCE
#include "agent.h"

#include "VORN/VORNPlugin.h"

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

VORN_API int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    Dl_info info;
    const char* path = "agent";
    if (dladdr((void*)&VPluginStart, &info) != 0 && info.dli_fname != NULL)
        path = info.dli_fname;
    snprintf(outName, 256, "Agent");
    snprintf(outSignature, 256, "agent:%s", path);
    snprintf(outDescription, 256, "Runs test code as a plug-in");
    return 1;
}

VORN_API void VPluginStop(void) {}

VORN_API int VPluginEnable(void) { return 1; }

VORN_API void VPluginDisable(void) {}

VORN_API void VPluginReceiveMessage(VORNPluginID from, int message, void* param)
{
    (void)from;
    if (message == AGENT_RUN_MESSAGE && param != NULL) {
        const struct AgentRun* run = (const struct AgentRun*)param;
        run->fn(run->context);
    }
}
