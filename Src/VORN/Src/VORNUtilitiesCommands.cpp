// VORNUtilitiesCommands.cpp - commands and their handlers. The host owns the
// commands themselves; the library adds who holds which command down, and the
// plug-in handlers that run around the host's own handling.

#include "VORNUtilitiesCommandsInternal.h"

#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORNLoaderInternal.h"
#include "VORN/VORNUtilities.h"

#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

namespace {

using HandlerList = VORNResourceList<VORNCommandCB_t>;
using HandlerMap = std::map<VORNCommandRef, HandlerList>;

struct CommandsState {
    // Per command: the handlers that run before / after the host handles it,
    // in the order they run. Entries are never removed, only emptied.
    HandlerMap preHooks;
    HandlerMap postHooks;
    // Per plug-in: the handler lists (of either map) holding its handlers.
    VORNListsByOwner<HandlerList*> handlerLists;
    // Per plug-in (ascending id): the commands it has begun and not ended.
    std::map<int, std::set<VORNCommandRef>> commandMap;
    // The per-frame repeat's flat copy of commandMap, kept from one frame to
    // the next so that the frame does not allocate.
    std::vector<std::pair<int, VORNCommandRef>> heldScratch;
};
CommandsState gCommands;

// Command names of the simulator itself.
const char kReservedCommandPrefix[] = "sim/";

HandlerMap& HookMapFor(int before)
{
    return before != 0 ? gCommands.preHooks : gCommands.postHooks;
}

int PhaseOf(int isStart, int isEnd)
{
    if (isEnd != 0)
        return VORN_COMMAND_END;
    return isStart != 0 ? VORN_COMMAND_BEGIN : VORN_COMMAND_CONTINUE;
}

// Calls one handler of a dispatch; false when it consumed the event.
bool RunCommandHandler(const VORNCommandCB_t& handler, VORNCommandRef command, int phase)
{
    // A handler that throws counts as having let the event through.
    const int result = VORNCallPlugin(VORNCallKind::kCommand, handler.owner, 1, [&] {
        return handler.callback(command, phase, handler.refcon);
    });
    return result != 0;
}

bool IsHeld(int plugin, VORNCommandRef command)
{
    const auto entry = gCommands.commandMap.find(plugin);
    return entry != gCommands.commandMap.end() && entry->second.count(command) != 0;
}

}  // namespace

VORN_EXPORT VORNCommandRef VORNFindCommand(const char* name)
{
    VORN_CHECK_THREAD(nullptr);
    if (name == nullptr)
        return nullptr;
    return gHooks->FindCommand(name, nullptr, 0);
}

VORN_EXPORT VORNCommandRef VORNCreateCommand(const char* name, const char* description)
{
    VORN_CHECK_THREAD(nullptr);
    if (name == nullptr)
        return nullptr;
    if (std::strncmp(name, kReservedCommandPrefix, sizeof kReservedCommandPrefix - 1) == 0) {
        // Only a warning: the command is still found or created below.
        VORNSendError("Plugin is illegally registering a command with the prefix sim/");
        VORNLogPluginWarning("It is illegal to register a command starting with sim/");
    }
    return gHooks->FindCommand(name, description, 1);
}

VORN_EXPORT void VORNCommandBegin(VORNCommandRef command)
{
    VORN_CHECK_THREAD_VOID();
    if (command == nullptr)
        return;
    VORNNoThrow([&] {
        gCommands.commandMap[VORNGetDispatchedPlugin()].insert(command);
        gHooks->CommandBegin(command);
    });
}

VORN_EXPORT void VORNCommandEnd(VORNCommandRef command)
{
    VORN_CHECK_THREAD_VOID();
    if (command == nullptr)
        return;
    gHooks->CommandEnd(command);
    VORNNoThrow([&] { gCommands.commandMap[VORNGetDispatchedPlugin()].erase(command); });
}

VORN_EXPORT void VORNCommandOnce(VORNCommandRef command)
{
    VORN_CHECK_THREAD_VOID();
    if (command == nullptr)
        return;
    gHooks->CommandBegin(command);
    gHooks->CommandEnd(command);
}

VORN_EXPORT void VORNRegisterCommandHandler(VORNCommandRef command,
                                            VORNCommandCallback_f callback, int before,
                                            void* refcon)
{
    VORN_CHECK_THREAD_VOID();
    if (command == nullptr || callback == nullptr)
        return;
    VORNNoThrow([&] {
        auto handler = std::make_unique<VORNCommandCB_t>();
        handler->callback = callback;
        handler->owner = VORNGetDispatchedPlugin();
        handler->refcon = refcon;
        HandlerList& handlers = HookMapFor(before)[command];
        gCommands.handlerLists.Add(handler->owner, &handlers);
        // Before-handlers run newest first, after-handlers oldest first.
        if (before != 0)
            handlers.PushFront(handler.get());
        else
            handlers.PushBack(handler.get());
        handler.release();
    });
}

VORN_EXPORT void VORNUnregisterCommandHandler(VORNCommandRef command,
                                              VORNCommandCallback_f callback, int before,
                                              void* refcon)
{
    VORN_CHECK_THREAD_VOID();
    if (command == nullptr)
        return;
    VORNNoThrow([&] {
        HandlerList& handlers = HookMapFor(before)[command];
        // Only the caller's own handler matches, the first in running order.
        const int caller = VORNGetDispatchedPlugin();
        for (VORNCommandCB_t* handler = handlers.First(); handler != nullptr;
             handler = HandlerList::Next(handler)) {
            if (!handler->dead && handler->callback == callback && handler->owner == caller &&
                handler->refcon == refcon) {
                handlers.Kill(handler);
                if (handlers.CountOwnedBy(caller) == 0)
                    gCommands.handlerLists.Drop(caller, &handlers);
                return;
            }
        }
    });
}

int VORNDispatchCommandHook(VORNCommandRef command, int isStart, int isEnd, int before)
{
    HandlerMap& hooks = HookMapFor(before);
    const auto entry = hooks.find(command);
    if (entry == hooks.end())
        return 1;
    const int phase = PhaseOf(isStart, isEnd);
    // Handlers may add or remove handlers of this very command. Removed ones
    // stay in the list, dead, until the walk ends and are skipped; added ones
    // (serials above the newest one now) wait for the next event.
    HandlerList& handlers = entry->second;
    const uint64_t newest = handlers.Serial();
    StIterate<VORNCommandCB_t> walk(handlers);
    for (VORNCommandCB_t* handler = handlers.First(); handler != nullptr;
         handler = HandlerList::Next(handler)) {
        if (handler->dead || handler->serial > newest)
            continue;
        if (!RunCommandHandler(*handler, command, phase))
            return 0;
    }
    return 1;
}

void VORNCommandRepeatHook()
{
    // Continuing a command runs its handlers, which may begin or end
    // commands: walk a flat copy of what is held and skip whatever was ended
    // meanwhile. A nested call simply starts with an empty copy.
    std::vector<std::pair<int, VORNCommandRef>> held;
    held.swap(gCommands.heldScratch);
    held.clear();
    for (const auto& [plugin, commands] : gCommands.commandMap) {
        for (VORNCommandRef command : commands)
            held.emplace_back(plugin, command);
    }
    int lastPlugin = VORN_NO_PLUGIN_ID;
    bool enabled = false;
    for (const auto& [plugin, command] : held) {
        if (plugin != lastPlugin) {
            // Still held while disabled; resumed once enabled again.
            lastPlugin = plugin;
            enabled = VORNIsPluginEnabled(plugin) != 0;
        }
        if (enabled && IsHeld(plugin, command))
            gHooks->CommandContinue(command);
    }
    held.clear();
    gCommands.heldScratch.swap(held);
}

void VORNCommandCleanupHook(int plugin)
{
    // Taken out before the host is told, since ending a command runs
    // handlers; whatever they make the plug-in hold meanwhile goes too.
    std::set<VORNCommandRef> held;
    held.swap(gCommands.commandMap[plugin]);
    for (VORNCommandRef command : held)
        gHooks->CommandEnd(command);
    gCommands.commandMap.erase(plugin);
    for (HandlerList* handlers : gCommands.handlerLists.Take(plugin))
        handlers->KillOwnedBy(plugin);
}

void VORNCountCommandHoldings(int plugin, VORNPluginInventory* inventory)
{
    for (HandlerList* handlers : gCommands.handlerLists.Of(plugin))
        inventory->commandHandlers += handlers->CountOwnedBy(plugin);
    const auto held = gCommands.commandMap.find(plugin);
    inventory->heldCommands =
        held != gCommands.commandMap.end() ? static_cast<int32_t>(held->second.size()) : 0;
}

void VORNResetCommands()
{
    gCommands = CommandsState();
}

// ---- Queries for tests ------------------------------------------------------------

size_t VORNCommandHandlerListCount(int before)
{
    return HookMapFor(before).size();
}

bool VORNHasCommandHandlerList(VORNCommandRef command, int before)
{
    return HookMapFor(before).count(command) != 0;
}

size_t VORNHeldCommandEntryCount()
{
    return gCommands.commandMap.size();
}

bool VORNHasHeldCommandEntry(int plugin)
{
    return gCommands.commandMap.count(plugin) != 0;
}
