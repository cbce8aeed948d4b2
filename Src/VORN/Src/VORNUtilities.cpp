// VORNUtilities.cpp - keys, buttons, speech, paths, directory listings,
// versions, logging and data files. Commands are in VORNUtilitiesCommands.cpp.

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
#include <vector>

namespace {

struct UtilitiesState {
    // Joystick buttons held through VORNCommandButtonPress, in press order,
    // duplicates allowed.
    std::vector<int> buttons;
};
UtilitiesState gUtilities;

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
    VORN_CHECK_THREAD_VOID();
    SendButtonEdge(button, 0);
    VORNNoThrow([&] { gUtilities.buttons.push_back(button); });
}

VORN_EXPORT void VORNCommandButtonRelease(int button)
{
    VORN_CHECK_THREAD_VOID();
    SendButtonEdge(button, 1);
    auto held = std::find(gUtilities.buttons.begin(), gUtilities.buttons.end(), button);
    if (held != gUtilities.buttons.end())
        gUtilities.buttons.erase(held);
}

void VORNDoRepeatedButtons()
{
    if (gUtilities.buttons.empty())
        return;
    gUtilities.buttons.push_back(0);  // the host takes a zero-terminated list
    gHooks->CommandButton(gUtilities.buttons.data(), 0, 1);
    gUtilities.buttons.pop_back();
}

const std::vector<int>& VORNHeldButtons()
{
    return gUtilities.buttons;
}

VORN_EXPORT const char* VORNGetVirtualKeyDescription(char virtualKey)
{
    VORN_CHECK_THREAD("");
    for (const KeyName& entry : kKeyNameTable) {
        if (static_cast<unsigned char>(entry.code) == static_cast<unsigned char>(virtualKey))
            return entry.name;
    }
    return "Unknown";
}

// ---- Paths ---------------------------------------------------------------------

VORN_EXPORT void VORNGetSystemPath(char* out)
{
    VORN_CHECK_THREAD_VOID();
    VORNNoThrow([&] { GetHostPath(gHooks->GetSystemPath, out); });
}

VORN_EXPORT void VORNGetPrefsPath(char* out)
{
    VORN_CHECK_THREAD_VOID();
    VORNNoThrow([&] { GetHostPath(gHooks->GetPrefsPath, out); });
}

VORN_EXPORT const char* VORNGetDirectorySeparator(void)
{
    VORN_CHECK_THREAD("");
    return VORNNeedPathConvert() ? VORNDirSeparator() : kNativeSeparator;
}

VORN_EXPORT char* VORNExtractFileAndPath(char* fullPath)
{
    VORN_CHECK_THREAD(nullptr);
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
    VORN_CHECK_THREAD(0);
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
    VORN_CHECK_THREAD(0);
    return gHooks != nullptr ? 1 : 0;
}

VORN_EXPORT void VORNGetVersions(int* outSimVersion, int* outLibVersion, int* outHostId)
{
    VORN_CHECK_THREAD_VOID();
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
    VORN_CHECK_THREAD(0);
    if (fileType != VORN_DATA_FILE_SITUATION && fileType != VORN_DATA_FILE_MOVIE) {
        VORNSendError("Illegal file type passed to VORNLoadDataFile.");
        return 0;
    }
    return gHooks->LoadDataFile(fileType, path);
}

VORN_EXPORT int VORNSaveDataFile(int fileType, const char* path)
{
    VORN_CHECK_THREAD(0);
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

void VORNResetUtilities()
{
    gUtilities = UtilitiesState();
}
