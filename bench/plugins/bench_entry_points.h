/* The entry points of a bench module past VPluginStart: it is enabled,
   disabled, stopped and told messages without doing anything. Included once
   by each module, which defines its own VPluginStart. */
#ifndef VORN_BENCH_ENTRY_POINTS_H
#define VORN_BENCH_ENTRY_POINTS_H

#include "VORN/VORNPlugin.h"

VORN_API void VPluginStop(void) {}
VORN_API int VPluginEnable(void) { return 1; }
VORN_API void VPluginDisable(void) {}
VORN_API void VPluginReceiveMessage(VORNPluginID from, int message, void* param)
{
    (void)from;
    (void)message;
    (void)param;
}

#endif
