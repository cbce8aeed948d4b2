/* A plug-in that publishes and shares data through the real API: enabled, it
   publishes the int "test/data_user/counter" (read and write) and subscribes
   to the shared int "test/data_user/shared"; disabled, it withdraws both. */
#include "VORN/VORNDataAccess.h"
#include "VORN/VORNPlugin.h"

#include <string.h>

static int gCounter = 0;
static VORNDataRef gCounterRef = NULL;

static int ReadCounter(void* refcon) { return (void)refcon, gCounter; }
static void WriteCounter(void* refcon, int value) { (void)refcon, gCounter = value; }
static void SharedChanged(void* refcon) { (void)refcon, ++gCounter; }

VORN_API int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    strcpy(outName, "DataUser");
    strcpy(outSignature, "datauser");
    strcpy(outDescription, "Publishes and shares data refs");
    return 1;
}

VORN_API void VPluginStop(void) {}

VORN_API int VPluginEnable(void)
{
    gCounterRef = VORNRegisterDataAccessor("test/data_user/counter", VORN_DATA_INT, 1, ReadCounter,
                                           WriteCounter, NULL, NULL, NULL, NULL, NULL, NULL, NULL,
                                           NULL, NULL, NULL, NULL, NULL);
    VORNShareData("test/data_user/shared", VORN_DATA_INT, SharedChanged, NULL);
    return 1;
}

VORN_API void VPluginDisable(void)
{
    VORNUnregisterDataAccessor(gCounterRef);
    VORNUnshareData("test/data_user/shared", VORN_DATA_INT, SharedChanged, NULL);
}

VORN_API void VPluginReceiveMessage(VORNPluginID from, int message, void* param)
{
    (void)from, (void)message, (void)param;
}
