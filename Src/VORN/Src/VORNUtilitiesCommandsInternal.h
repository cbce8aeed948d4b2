// VORNUtilitiesCommandsInternal.h - library-internal side of the commands:
// the handlers plug-ins put around the host's own handling, and the commands
// each plug-in holds down.
#ifndef VORN_UTILITIES_COMMANDS_INTERNAL_H
#define VORN_UTILITIES_COMMANDS_INTERNAL_H

#include "VORN/VORNHostHooks.h"
#include "VORN/VORNUtilities.h"
#include "VORNResourceList.h"

#include <cstddef>
#include <cstdint>

// One registered command handler, a record of its command's before or after
// list.
struct VORNCommandCB_t : VORNResource_t {
    VORNCommandCallback_f callback = nullptr;
    int32_t owner = VORN_NO_PLUGIN_ID;  // the plug-in dispatched at registration
    void* refcon = nullptr;
};

// Runs the before (before != 0) or after handlers of one command event.
// Returns 0 when a handler consumed it, 1 otherwise.
int VORNDispatchCommandHook(VORNCommandRef command, int isStart, int isEnd, int before);
// Continues every command held by an enabled plug-in (host event 9).
void VORNCommandRepeatHook();
// Ends the commands an unloaded plug-in still holds and drops its handlers.
void VORNCommandCleanupHook(int plugin);
// Counts the handlers plugin registered and the commands it holds.
void VORNCountCommandHoldings(int plugin, VORNPluginInventory* inventory);
// Empties all command tables without telling the host.
void VORNResetCommands();

// ---- Queries for tests -----------------------------------------------------
// Entries are made by look-ups and outlive what they hold, which the API
// cannot show.

// Commands that have a before (before != 0) or after handler list, empty or not.
size_t VORNCommandHandlerListCount(int before);
// True when command has a before / after handler list, empty or not.
bool VORNHasCommandHandlerList(VORNCommandRef command, int before);
// Plug-ins that have an entry in the held-command table, empty or not.
size_t VORNHeldCommandEntryCount();
// True when plugin has an entry in the held-command table, empty or not.
bool VORNHasHeldCommandEntry(int plugin);

#endif
