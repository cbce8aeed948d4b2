/* A loadable module that is not a plug-in: it lacks VPluginStart. */
#include "VORN/VORNDefs.h"

VORN_API int NotAPlugin(void)
{
    return 1;
}
