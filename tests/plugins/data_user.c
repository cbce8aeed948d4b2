/* A plug-in that publishes and shares data through the real API. Its name is
   its file name without ".vpl". The names it uses begin with the text that the
   host publishes as the bytes data ref "test/api/case", so that every test
   works on data refs of its own.
   - enable: publishes "<case>/counter", an int it stores (10 x its id, read
     and write), and subscribes to the shared int "<case>/shared";
   - disable: withdraws the handle it got for the counter;
   - message 0x7000 with an int* param: writes the value to the shared item.
   What it notices goes to the log as "<name:what id=N>". */
#define _GNU_SOURCE
#include "VORN/VORNDataAccess.h"
#include "VORN/VORNPlugin.h"
#include "VORN/VORNUtilities.h"

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#define kWriteShared 0x7000

static char gName[200] = "DataUser";
static char gCase[200] = "";
static int gCounter = 0;
static VORNDataRef gCounterRef = NULL;

static void Say(const char* what)
{
    char line[600];
    snprintf(line, sizeof line, "<%s:%s id=%d>", gName, what, VORNGetMyID());
    VORNDebugString(line);
}

static void OnError(const char* message)
{
    Say(message);
}

static void NameOf(char* out, size_t size, const char* what)
{
    snprintf(out, size, "%s/%s", gCase, what);
}

static int ReadCounter(void* refcon)
{
    (void)refcon;
    return gCounter;
}

static void WriteCounter(void* refcon, int value)
{
    (void)refcon;
    gCounter = value;
}

static void SharedChanged(void* refcon)
{
    char name[256];
    char what[300];
    (void)refcon;
    NameOf(name, sizeof name, "shared");
    snprintf(what, sizeof what, "changed %d", VORNGetDatai(VORNFindDataRef(name)));
    Say(what);
}

VORN_API int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    Dl_info info;
    VORNDataRef caseRef = VORNFindDataRef("test/api/case");
    if (dladdr((void*)&VPluginStart, &info) != 0 && info.dli_fname != NULL) {
        const char* base = strrchr(info.dli_fname, '/');
        snprintf(gName, sizeof gName, "%s", base ? base + 1 : info.dli_fname);
        gName[strcspn(gName, ".")] = '\0';
    }
    if (VORNGetDatab(caseRef, gCase, 0, sizeof gCase - 1) <= 0)
        strcpy(gCase, "test/api/nocase");
    strcpy(outName, gName);
    snprintf(outSignature, 256, "datauser:%s", gName);
    strcpy(outDescription, "Publishes and shares data refs");
    VORNSetErrorCallback(OnError);
    return 1;
}

VORN_API void VPluginStop(void) {}

VORN_API int VPluginEnable(void)
{
    char name[256];
    gCounter = 10 * VORNGetMyID();
    NameOf(name, sizeof name, "counter");
    gCounterRef = VORNRegisterDataAccessor(name, VORN_DATA_INT, 1, ReadCounter, WriteCounter,
                                           NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL,
                                           NULL, NULL, NULL);
    NameOf(name, sizeof name, "shared");
    VORNShareData(name, VORN_DATA_INT, SharedChanged, NULL);
    return 1;
}

VORN_API void VPluginDisable(void)
{
    char name[256];
    VORNUnregisterDataAccessor(gCounterRef);
    NameOf(name, sizeof name, "shared");
    VORNUnshareData(name, VORN_DATA_INT, SharedChanged, NULL);
}

VORN_API void VPluginReceiveMessage(VORNPluginID from, int message, void* param)
{
    char name[256];
    (void)from;
    if (message != kWriteShared || param == NULL)
        return;
    NameOf(name, sizeof name, "shared");
    VORNSetDatai(VORNFindDataRef(name), *(int*)param);
}
