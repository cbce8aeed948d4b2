/* A plug-in configured by "<module path>.cfg", one key=value a line (see Setting), so that
   copies of it at several paths act as several plug-ins. Every entry point logs
   "<name:what id=N>" through the real API. The message 0x7100 with an int[3] stores there what
   VORNGetMyID() (twice) and VORNCountPlugins() answer on a thread of its own. */
#define _GNU_SOURCE
#include "VORN/VORNPlugin.h"
#include "VORN/VORNProcessing.h"
#include "VORN/VORNUtilities.h"

#include <dlfcn.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>

static char gName[256] = "Scripted", gSignature[256], gDescription[256] = "Scripted test plug-in";
static int gStartResult = 1, gEnableResult = 1;
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
    char* const texts[] = {gName, gSignature, gDescription};
    int* const numbers[] = {&gStartResult, &gEnableResult, &gSendOnMessage, &gLoopInStart};
    const char* const keys[] = {"name", "signature", "description", /* then the numbers */
                                "start", "enable", "send_on_message", "loop_in_start"};
    for (int i = 0; i < 7; ++i) {
        if (strcmp(key, keys[i]) == 0 && i < 3)
            snprintf(texts[i], 256, "%s", value);
        else if (strcmp(key, keys[i]) == 0)
            sscanf(value, "%d", numbers[i - 3]);
    }
}

/* Signs with the module's path and reads the settings beside it, if there are any. */
static void ReadConfig(void)
{
    Dl_info info;
    char path[1200], line[600];
    FILE* file;
    if (dladdr((void*)&ReadConfig, &info) == 0 || info.dli_fname == NULL)
        return;
    snprintf(gSignature, sizeof gSignature, "scripted:%s", info.dli_fname);
    snprintf(path, sizeof path, "%s.cfg", info.dli_fname);
    if ((file = fopen(path, "r")) == NULL)
        return;
    while (fgets(line, sizeof line, file) != NULL) {
        char* value = strchr(line, '=');
        if (value != NULL) {
            *value++ = '\0';
            value[strcspn(value, "\r\n")] = '\0';
            Setting(line, value);
        }
    }
    fclose(file);
}

static float EveryPass(float sinceLast, float sinceLoop, int counter, void* refcon)
{
    (void)sinceLast, (void)sinceLoop, (void)counter, (void)refcon;
    Say("loop");
    return -1.0f;
}

static void* MakeCalls(void* out)
{
    int* answers = (int*)out;
    answers[0] = VORNGetMyID();
    answers[1] = VORNGetMyID();
    answers[2] = VORNCountPlugins();
    return NULL;
}

VORN_API int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    ReadConfig();
    strcpy(outName, gName);
    strcpy(outSignature, gSignature);
    strcpy(outDescription, gDescription);
    Say("start");
    if (gLoopInStart != 0)
        VORNRegisterFlightLoopCallback(EveryPass, -1.0f, NULL);
    return gStartResult;
}

VORN_API void VPluginStop(void) { Say("stop"); }

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
    pthread_t thread;
    snprintf(what, sizeof what, "msg %d from %d param %s", message, from, param ? "set" : "null");
    Say(what);
    if (gSendOnMessage != 0 && message != gSendOnMessage)
        VORNSendMessageToPlugin(-1, gSendOnMessage, NULL);
    if (message == 0x7100 && pthread_create(&thread, NULL, MakeCalls, param) == 0)
        pthread_join(thread, NULL);
}
