/* A careless plug-in: VPluginStart fills each of its three 256-byte buffers
   to the last byte and writes no terminating zero. */
#include "VORN/VORNDefs.h"

#include <string.h>

VORN_API int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    memset(outName, 'N', 256);
    memset(outSignature, 'S', 256);
    memset(outDescription, 'D', 256);
    return 1;
}
