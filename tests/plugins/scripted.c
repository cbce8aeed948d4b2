/* A plug-in whose identity and answers come from a text file beside it:
   "<module path>.cfg" with lines key=value (name, signature, description,
   start, enable, send_on_message, loop_in_start). Copies of the one module at several
   paths act as several different plug-ins. Every entry point logs
   "<name:what id=N>" through the real API so that tests can follow the
   order of events. */
#define _GNU_SOURCE
#include "module_config.h"

#include "VORN/VORNPlugin.h"
#include "VORN/VORNProcessing.h"
#include "VORN/VORNUtilities.h"

#include <stdio.h>
#include <string.h>

static char gName[256] = "Scripted";
static char gSignature[256] = "";
static char gDescription[256] = "Scripted test plug-in";
static int gStartResult = 1;
static int gEnableResult = 1;
static int gSendOnMessage = 0; /* message to broadcast when one arrives */
static int gLoopInStart = 0;   /* register a flight loop due every pass while starting */

static void Say(const char* what)
{
    char line[600];
    snprintf(line, sizeof line, "<%s:%s id=%d>", gName, what, VORNGetMyID());
    VORNDebugString(line);
}

static void Setting(const char* key, const char* value)
{
    if (strcmp(key, "name") == 0)
        snprintf(gName, sizeof gName, "%s", value);
    else if (strcmp(key, "signature") == 0)
        snprintf(gSignature, sizeof gSignature, "%s", value);
    else if (strcmp(key, "description") == 0)
        snprintf(gDescription, sizeof gDescription, "%s", value);
    else if (strcmp(key, "start") == 0)
        sscanf(value, "%d", &gStartResult);
    else if (strcmp(key, "enable") == 0)
        sscanf(value, "%d", &gEnableResult);
    else if (strcmp(key, "send_on_message") == 0)
        sscanf(value, "%d", &gSendOnMessage);
    else if (strcmp(key, "loop_in_start") == 0)
        sscanf(value, "%d", &gLoopInStart);
}

static void Configure(void)
{
    const char* modulePath = ModulePath((void*)&Configure);
    if (modulePath == NULL)
        return;
    snprintf(gSignature, sizeof gSignature, "scripted:%s", modulePath);
    ReadModuleConfig(modulePath, Setting);
}

static float EveryPass(float sinceLast, float sinceLoop, int counter, void* refcon)
{
    (void)sinceLast;
    (void)sinceLoop;
    (void)counter;
    (void)refcon;
    Say("loop");
    return -1.0f;
}

VORN_API int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    Configure();
    strcpy(outName, gName);
    strcpy(outSignature, gSignature);
    strcpy(outDescription, gDescription);
    Say("start");
    if (gLoopInStart != 0)
        VORNRegisterFlightLoopCallback(EveryPass, -1.0f, NULL);
    return gStartResult;
}

VORN_API void VPluginStop(void)
{
    Say("stop");
}

VORN_API int VPluginEnable(void)
{
    Say("enable");
    return gEnableResult;
}

VORN_API void VPluginDisable(void)
{
    Say(VORNIsPluginEnabled(VORNGetMyID()) ? "disable while enabled" : "disable");
}

VORN_API void VPluginReceiveMessage(VORNPluginID from, int message, void* param)
{
    char what[128];
    snprintf(what, sizeof what, "msg %d from %d param %s", message, from, param ? "set" : "null");
    Say(what);
    if (gSendOnMessage != 0 && message != gSendOnMessage)
        VORNSendMessageToPlugin(-1, gSendOnMessage, NULL);
}
