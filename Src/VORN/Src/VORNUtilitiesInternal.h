// VORNUtilities.h - library-internal side of the utilities.
#ifndef VORN_UTILITIES_INTERNAL_H
#define VORN_UTILITIES_INTERNAL_H

#include "VORN/VORNHostHooks.h"
#include "VORN/VORNUtilities.h"

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <vector>

// Joystick buttons currently held through VORNCommandButtonPress, in press
// order, duplicates allowed.
extern std::vector<int> gButtons;

// Tells the host once, for all held buttons together, that they are still
// held. Run at every simulation step, before the flight loops.
void VORNDoRepeatedButtons();

// printf into the log through the host. Not re-entrant. Always returns 0.
int VORN_dprintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

// ---- Commands ----------------------------------------------------------------

// One registered command handler.
struct VORNCommandCB_t {
    VORNCommandCallback_f callback = nullptr;
    int32_t plugin = VORN_NO_PLUGIN_ID;  // the plug-in dispatched at registration
    void* refcon = nullptr;
    // Cleared when the handler is removed: a dispatch already walking its own
    // copy of the list sees it and skips the handler.
    bool registered = true;
};

// Handlers are shared with the copies that running dispatches walk, so that
// a handler may add or remove handlers of the command being dispatched.
using VORNCommandHandlerList = std::vector<std::shared_ptr<VORNCommandCB_t>>;
using VORNCommandHookMap = std::map<VORNCommandRef, VORNCommandHandlerList>;

// Per command: handlers run before / after the host handles it. Entries are
// never removed, only emptied.
extern VORNCommandHookMap gPreHooks;
extern VORNCommandHookMap gPostHooks;
// Per plug-in (ascending id): the commands it has begun and not ended.
extern std::map<int, std::set<VORNCommandRef>> gCommandMap;

// Runs the before (before != 0) or after handlers of one command event.
// Returns 0 when a handler consumed it, 1 otherwise.
int VORNDispatchCommandHook(VORNCommandRef command, int isStart, int isEnd, int before);
// Continues every command held by an enabled plug-in (host event 9).
void VORNCommandRepeatHook();
// Ends the commands an unloaded plug-in still holds and drops its handlers.
void VORNCommandCleanupHook(int plugin);
// Counts the handlers plugin registered and the commands it holds.
void VORNCountCommandHoldings(int plugin, VORNPluginInventory* inventory);
// No button held.
void VORNResetUtilities();
// Empties all command tables without telling the host.
void VORNResetCommands();

#endif
