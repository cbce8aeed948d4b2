/* The module the loader benchmarks install 100 times. It does what the
   smallest real plug-in does, and takes its signature from its own file name
   so that every copy is accepted as a different plug-in. */
#include "VORN/VORNPlugin.h"

#include <stdio.h>
#include <string.h>

#include "bench_entry_points.h"

VORN_API int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    char path[VORN_PATH_BUFFER_SIZE] = "";
    VORNGetPluginInfo(VORNGetMyID(), NULL, path, NULL, NULL);
    const char* file = strrchr(path, '/');
    snprintf(outSignature, VORN_NAME_BUFFER_SIZE, "vorn.bench.%.200s",
             file != NULL ? file + 1 : path);
    strcpy(outName, "Bench Module");
    strcpy(outDescription, "Starts, enables and stops; nothing else");
    return 1;
}
