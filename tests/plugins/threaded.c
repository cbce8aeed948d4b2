/* A plug-in that calls the API from a thread of its own, for the tests of
   checked mode (see threaded.h). Its error callback logs
   "<Threaded:error text>" and a newline. */
#include "threaded.h"

#include "VORN/VORNDataAccess.h"
#include "VORN/VORNPlugin.h"
#include "VORN/VORNUtilities.h"

#include <pthread.h>
#include <stdio.h>
#include <string.h>

static void OnError(const char* message)
{
    char line[1200];
    snprintf(line, sizeof line, "<Threaded:%s>\n", message);
    VORNDebugString(line);
}

static void* MakeCalls(void* context)
{
    struct ThreadedCalls* calls = (struct ThreadedCalls*)context;
    calls->found = VORNFindDataRef(calls->dataRefName);
    calls->value = VORNGetDatai(calls->dataRef);
    calls->valueAgain = VORNGetDatai(calls->dataRef);
    calls->myId = VORNGetMyID();
    return NULL;
}

VORN_API int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    strcpy(outName, "Threaded");
    strcpy(outSignature, "vorn.tests.threaded");
    strcpy(outDescription, "Calls the API from a thread of its own");
    VORNSetErrorCallback(OnError);
    return 1;
}

VORN_API void VPluginReceiveMessage(VORNPluginID from, int message, void* param)
{
    pthread_t thread;
    (void)from;
    if (param == NULL)
        return;
    if (message == THREADED_RUN_HERE_MESSAGE) {
        MakeCalls(param);
    } else if (message == THREADED_RUN_MESSAGE &&
               pthread_create(&thread, NULL, MakeCalls, param) == 0) {
        pthread_join(thread, NULL);
    }
}
