// VORNUtilities.cpp - commands and their handlers; keys, buttons, speech,
// paths, directory listings, versions, logging and data files.

#include "VORNUtilitiesInternal.h"

#include "VORNDLLUtils.h"
#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORNLoaderInternal.h"
#include "VORN/VORNUtilities.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

std::vector<int> gButtons;

namespace {

const int kLibraryVersion = 210;

struct KeyName {
    int32_t code;
    const char* name;
};

// Virtual key codes and their names, searched from the front.
const KeyName kKeyNameTable[] = {
    {8, "Backspace"}, {9, "Tab"}, {12, "Clear"}, {13, "Return"}, {27, "Escape"}, {32, "Space"},
    {33, "Page Up"}, {34, "Page Down"}, {35, "End"}, {36, "Home"}, {37, "Left"}, {38, "Up"},
    {39, "Right"}, {40, "Down"}, {41, "Select"}, {42, "Print"}, {43, "Execute"},
    {44, "Snapshot"}, {45, "Insert"}, {46, "Delete"}, {47, "Help"},
    {48, "0"}, {49, "1"}, {50, "2"}, {51, "3"}, {52, "4"}, {53, "5"}, {54, "6"}, {55, "7"},
    {56, "8"}, {57, "9"},
    {65, "A"}, {66, "B"}, {67, "C"}, {68, "D"}, {69, "E"}, {70, "F"}, {71, "G"}, {72, "H"},
    {73, "I"}, {74, "J"}, {75, "K"}, {76, "L"}, {77, "M"}, {78, "N"}, {79, "O"}, {80, "P"},
    {81, "Q"}, {82, "R"}, {83, "S"}, {84, "T"}, {85, "U"}, {86, "V"}, {87, "W"}, {88, "X"},
    {89, "Y"}, {90, "Z"},
    {96, "Numpad-0"}, {97, "Numpad-1"}, {98, "Numpad-2"}, {99, "Numpad-3"}, {100, "Numpad-4"},
    {101, "Numpad-5"}, {102, "Numpad-6"}, {103, "Numpad-7"}, {104, "Numpad-8"},
    {105, "Numpad-9"}, {106, "Numpad-*"}, {107, "Numpad-+"}, {109, "Numpad--"},
    {110, "Numpad-."}, {111, "Numpad-/"},
    {112, "F1"}, {113, "F2"}, {114, "F3"}, {115, "F4"}, {116, "F5"}, {117, "F6"}, {118, "F7"},
    {119, "F8"}, {120, "F9"}, {121, "F10"}, {122, "F11"}, {123, "F12"}, {124, "F13"},
    {125, "F14"}, {126, "F15"}, {127, "F16"}, {128, "F17"}, {129, "F18"}, {130, "F19"},
    {131, "F20"}, {132, "F21"}, {133, "F22"}, {134, "F23"}, {135, "F24"},
    {176, "="}, {177, "-"}, {178, "]"}, {179, "["}, {180, "'"}, {181, ";"}, {182, "\\"},
    {183, ","}, {184, "/"}, {185, "."}, {186, "`"}, {187, "Enter"}, {188, "Numpad-Enter"},
    {189, "Numpad-="},
};
static_assert(sizeof(kKeyNameTable) / sizeof(kKeyNameTable[0]) == 110, "key table size");

const char kNativeSeparator[] = "/";

// Presses (release 0) or releases (release 1) one button: the edge, then the
// follow-up.
void SendButtonEdge(int button, int release)
{
    const int list[2] = {button, 0};
    gHooks->CommandButton(list, release, 0);
    gHooks->CommandButton(list, release, 1);
}

// Fills out (512 bytes) from a host path slot, in the caller's path form.
// A null out is ignored: the host's slot would write through it.
void GetHostPath(void (*slot)(char*), char* out)
{
    if (out == nullptr)
        return;
    slot(out);
    if (VORNNeedPathConvert()) {
        std::string path(out);
        VORNUTF8ToOld(path);
        strcpytrunc(out, path, VORN_PATH_BUFFER_SIZE);
    }
}

// Packs names[offset..] into the caller's buffers; see VORNGetDirectoryContents.
int PackDirectoryNames(const std::vector<std::string>& names, int offset, char* namesBuf,
                       int bufSize, char** indices, int indexCount, int* returnedFiles)
{
    // Negative sizes are caller errors; they are taken as "no room" so that
    // nothing is ever written outside the caller's buffers.
    long space = (namesBuf != nullptr && bufSize > 0) ? bufSize : 0;
    const int slots = std::max(indexCount, 0);
    int count = 0;
    char* dst = namesBuf;
    bool delivered = true;
    if (offset >= 0) {
        for (size_t i = static_cast<size_t>(offset); i < names.size(); ++i) {
            const long needed = static_cast<long>(names[i].size()) + 1;
            if (needed > space || (indices != nullptr && count >= slots)) {
                delivered = false;
                break;
            }
            if (indices != nullptr)
                indices[count] = dst;
            std::memcpy(dst, names[i].c_str(), static_cast<size_t>(needed));
            dst += needed;
            space -= needed;
            ++count;
        }
    }
    int result = 0;
    if (delivered && space != 0 && (indices == nullptr || count != slots)) {
        result = 1;
        if (dst != nullptr)
            *dst = '\0';
        if (indices != nullptr)
            indices[count] = nullptr;
    }
    if (returnedFiles != nullptr)
        *returnedFiles = count;
    return result;
}

}  // namespace

// ---- Keys, buttons, speech ---------------------------------------------------

VORN_EXPORT void VORNSimulateKeyPress(int keyType, int key)
{
    gHooks->SimulateKeyPress(keyType, key);
}

VORN_EXPORT void VORNSpeakString(const char* text)
{
    gHooks->SpeakString(text);
}

VORN_EXPORT void VORNCommandKeyStroke(int commandKey)
{
    gHooks->CommandKeyStroke(commandKey);
}

VORN_EXPORT void VORNReloadScenery(void)
{
    gHooks->ReloadScenery();
}

VORN_EXPORT void VORNCommandButtonPress(int button)
{
    SendButtonEdge(button, 0);
    VORNNoThrow([&] { gButtons.push_back(button); });
}

VORN_EXPORT void VORNCommandButtonRelease(int button)
{
    SendButtonEdge(button, 1);
    auto held = std::find(gButtons.begin(), gButtons.end(), button);
    if (held != gButtons.end())
        gButtons.erase(held);
}

void VORNDoRepeatedButtons()
{
    if (gButtons.empty())
        return;
    gButtons.push_back(0);  // the host takes a zero-terminated list
    gHooks->CommandButton(gButtons.data(), 0, 1);
    gButtons.pop_back();
}

VORN_EXPORT const char* VORNGetVirtualKeyDescription(char virtualKey)
{
    for (const KeyName& entry : kKeyNameTable) {
        if (static_cast<unsigned char>(entry.code) == static_cast<unsigned char>(virtualKey))
            return entry.name;
    }
    return "Unknown";
}

// ---- Paths ---------------------------------------------------------------------

VORN_EXPORT void VORNGetSystemPath(char* out)
{
    VORNNoThrow([&] { GetHostPath(gHooks->GetSystemPath, out); });
}

VORN_EXPORT void VORNGetPrefsPath(char* out)
{
    VORNNoThrow([&] { GetHostPath(gHooks->GetPrefsPath, out); });
}

VORN_EXPORT const char* VORNGetDirectorySeparator(void)
{
    return VORNNeedPathConvert() ? VORNDirSeparator() : kNativeSeparator;
}

VORN_EXPORT char* VORNExtractFileAndPath(char* fullPath)
{
    if (fullPath == nullptr || fullPath[0] == '\0')
        return fullPath;
    const char sep = VORNGetDirectorySeparator()[0];
    long i = static_cast<long>(std::strlen(fullPath)) - 1;
    if (fullPath[i] == sep)
        fullPath[i--] = '\0';  // one trailing separator is dropped
    if (i < 0)
        return fullPath;  // the path was just the separator
    while (i > 0 && fullPath[i] != sep)
        --i;
    if (fullPath[i] == sep)
        fullPath[i++] = '\0';
    return fullPath + i;
}

VORN_EXPORT int VORNGetDirectoryContents(const char* dirPath, int offset, char* namesBuf,
                                         int bufSize, char** indices, int indexCount,
                                         int* totalFiles, int* returnedFiles)
{
    return VORNNoThrow(0, [&] {
        std::string path(dirPath != nullptr ? dirPath : "");
        const bool convert = VORNNeedPathConvert();
        if (convert)
            VORNOldToUTF8(path);
        std::vector<std::string> names;
        VORNFetchDirectoryContents(path.c_str(), "*.*", names);
        if (convert) {
            for (std::string& name : names)
                VORNUTF8ToOld(name);
        }
        if (totalFiles != nullptr)
            *totalFiles = static_cast<int>(names.size());
        return PackDirectoryNames(names, offset, namesBuf, bufSize, indices, indexCount,
                                  returnedFiles);
    });
}

// ---- Versions, language, logging, symbols ------------------------------------------

VORN_EXPORT int VORNInitialized(void)
{
    return gHooks != nullptr ? 1 : 0;
}

VORN_EXPORT void VORNGetVersions(int* outSimVersion, int* outLibVersion, int* outHostId)
{
    int simVersion = 0;
    int hostId = 0;
    gHooks->GetVersions(&simVersion, &hostId);
    if (outHostId != nullptr)
        *outHostId = hostId;
    if (outSimVersion != nullptr)
        *outSimVersion = simVersion;
    if (outLibVersion != nullptr)
        *outLibVersion = kLibraryVersion;
}

VORN_EXPORT int VORNGetLanguage(void)
{
    return gHooks->GetLanguage();
}

VORN_EXPORT void VORNDebugString(const char* text)
{
    // The library logs from paths the host may reach before it has handed
    // over its table; those lines have nowhere to go.
    if (gHooks != nullptr)
        gHooks->DebugString(text);
}

VORN_EXPORT void* VORNFindSymbol(const char* name)
{
    return gHooks->FindSymbol(name);
}

int VORN_dprintf(const char* format, ...)
{
    static char buffer[8192];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    if (gHooks != nullptr)
        gHooks->DebugString(buffer);
    return 0;
}

// ---- Data files -------------------------------------------------------------------

VORN_EXPORT int VORNLoadDataFile(int fileType, const char* path)
{
    if (fileType != VORN_DATA_FILE_SITUATION && fileType != VORN_DATA_FILE_MOVIE) {
        VORNSendError("Illegal file type passed to VORNLoadDataFile.");
        return 0;
    }
    return gHooks->LoadDataFile(fileType, path);
}

VORN_EXPORT int VORNSaveDataFile(int fileType, const char* path)
{
    if (path == nullptr) {
        VORNSendError("Null file path passed to VORNSaveDataFile.");
        return 0;
    }
    if (fileType != VORN_DATA_FILE_SITUATION && fileType != VORN_DATA_FILE_MOVIE) {
        VORNSendError("Illegal file type passed to VORNSaveDataFile.");
        return 0;
    }
    return gHooks->SaveDataFile(fileType, path);
}

// ---- Commands --------------------------------------------------------------------
// The host owns the commands themselves; the library adds who holds which
// command down, and the plug-in handlers that run around the host's own.

VORNCommandHookMap gPreHooks;
VORNCommandHookMap gPostHooks;
std::map<int, std::set<VORNCommandRef>> gCommandMap;

namespace {

// Command names of the simulator itself.
const char kReservedCommandPrefix[] = "sim/";

VORNCommandHookMap& HookMapFor(int before)
{
    return before != 0 ? gPreHooks : gPostHooks;
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
    if (!handler.registered)
        return true;  // removed by an earlier handler of this dispatch
    // A handler that throws counts as having let the event through.
    const int result = VORNCallPlugin(VORNCallKind::kCommand, handler.plugin, 1, [&] {
        return handler.callback(command, phase, handler.refcon);
    });
    return result != 0;
}

void RemoveHandlersOf(VORNCommandHandlerList& list, int plugin)
{
    list.erase(std::remove_if(list.begin(), list.end(),
                              [plugin](const std::shared_ptr<VORNCommandCB_t>& handler) {
                                  if (handler->plugin != plugin)
                                      return false;
                                  handler->registered = false;
                                  return true;
                              }),
               list.end());
}

bool IsHeld(int plugin, VORNCommandRef command)
{
    const auto entry = gCommandMap.find(plugin);
    return entry != gCommandMap.end() && entry->second.count(command) != 0;
}

}  // namespace

VORN_EXPORT VORNCommandRef VORNFindCommand(const char* name)
{
    if (name == nullptr)
        return nullptr;
    return gHooks->FindCommand(name, nullptr, 0);
}

VORN_EXPORT VORNCommandRef VORNCreateCommand(const char* name, const char* description)
{
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
    if (command == nullptr)
        return;
    VORNNoThrow([&] {
        gCommandMap[gDispatchedPlugin].insert(command);
        gHooks->CommandBegin(command);
    });
}

VORN_EXPORT void VORNCommandEnd(VORNCommandRef command)
{
    if (command == nullptr)
        return;
    gHooks->CommandEnd(command);
    VORNNoThrow([&] { gCommandMap[gDispatchedPlugin].erase(command); });
}

VORN_EXPORT void VORNCommandOnce(VORNCommandRef command)
{
    if (command == nullptr)
        return;
    gHooks->CommandBegin(command);
    gHooks->CommandEnd(command);
}

VORN_EXPORT void VORNRegisterCommandHandler(VORNCommandRef command,
                                            VORNCommandCallback_f callback, int before,
                                            void* refcon)
{
    if (command == nullptr || callback == nullptr)
        return;
    VORNNoThrow([&] {
        auto handler = std::make_shared<VORNCommandCB_t>();
        handler->callback = callback;
        handler->plugin = gDispatchedPlugin;
        handler->refcon = refcon;
        VORNCommandHandlerList& list = HookMapFor(before)[command];
        // Before-handlers run newest first, after-handlers oldest first.
        if (before != 0)
            list.insert(list.begin(), std::move(handler));
        else
            list.push_back(std::move(handler));
    });
}

VORN_EXPORT void VORNUnregisterCommandHandler(VORNCommandRef command,
                                              VORNCommandCallback_f callback, int before,
                                              void* refcon)
{
    if (command == nullptr)
        return;
    VORNNoThrow([&] {
        VORNCommandHandlerList& list = HookMapFor(before)[command];
        // Only the caller's own handler matches.
        const auto found = std::find_if(
            list.begin(), list.end(), [&](const std::shared_ptr<VORNCommandCB_t>& handler) {
                return handler->callback == callback && handler->plugin == gDispatchedPlugin &&
                       handler->refcon == refcon;
            });
        if (found == list.end())
            return;
        (*found)->registered = false;
        list.erase(found);
    });
}

int VORNDispatchCommandHook(VORNCommandRef command, int isStart, int isEnd, int before)
{
    const VORNCommandHookMap& hooks = HookMapFor(before);
    const auto entry = hooks.find(command);
    if (entry == hooks.end())
        return 1;
    const int phase = PhaseOf(isStart, isEnd);
    // A copy: handlers may add or remove handlers of this very command.
    // Added ones wait for the next event; removed ones are flagged and skipped.
    const VORNCommandHandlerList handlers = entry->second;
    for (const auto& handler : handlers) {
        if (!RunCommandHandler(*handler, command, phase))
            return 0;
    }
    return 1;
}

void VORNCommandRepeatHook()
{
    // Continuing a command runs its handlers, which may begin or end
    // commands: walk a flat copy of what is held and skip whatever was ended
    // meanwhile. This runs every frame, so the copy's buffer is kept from one
    // frame to the next (a nested call simply starts with an empty one).
    static std::vector<std::pair<int, VORNCommandRef>> spare;
    std::vector<std::pair<int, VORNCommandRef>> held;
    held.swap(spare);
    held.clear();
    for (const auto& [plugin, commands] : gCommandMap) {
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
    spare.swap(held);
}

void VORNCommandCleanupHook(int plugin)
{
    // Taken out before the host is told, since ending a command runs
    // handlers; whatever they make the plug-in hold meanwhile goes too.
    std::set<VORNCommandRef> held;
    held.swap(gCommandMap[plugin]);
    for (VORNCommandRef command : held)
        gHooks->CommandEnd(command);
    gCommandMap.erase(plugin);
    for (VORNCommandHookMap* hooks : {&gPreHooks, &gPostHooks}) {
        for (auto& entry : *hooks)
            RemoveHandlersOf(entry.second, plugin);
    }
}

void VORNCountCommandHoldings(int plugin, VORNPluginInventory* inventory)
{
    for (const VORNCommandHookMap* hooks : {&gPreHooks, &gPostHooks}) {
        for (const auto& entry : *hooks) {
            for (const auto& handler : entry.second)
                inventory->commandHandlers += handler->plugin == plugin ? 1 : 0;
        }
    }
    const auto held = gCommandMap.find(plugin);
    inventory->heldCommands = held != gCommandMap.end() ? static_cast<int32_t>(held->second.size()) : 0;
}

void VORNResetUtilities()
{
    gButtons.clear();
}

void VORNResetCommands()
{
    gPreHooks.clear();
    gPostHooks.clear();
    gCommandMap.clear();
}
