// VORNDLLUtils.cpp - the platform layer on POSIX: plug-in modules, directory
// listing, bounded copies and thread-local slots.

#include "VORNDLLUtils.h"

#include "VORN/VORNUtilities.h"

#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <elf.h>
#include <pthread.h>
#include <sys/stat.h>

namespace {

// Logs a loader error (the system's text, if any) as three separate writes.
void LogDlError(const char* error)
{
    VORNDebugString("dlerror:");
    if (error != nullptr)
        VORNDebugString(error);
    VORNDebugString("\n");
}

bool EndsWithIgnoringCase(const char* name, const char* suffix)
{
    size_t nameLength = std::strlen(name);
    size_t suffixLength = std::strlen(suffix);
    if (nameLength < suffixLength)
        return false;
    const char* tail = name + nameLength - suffixLength;
    for (size_t i = 0; i < suffixLength; ++i) {
        if (std::toupper(static_cast<unsigned char>(tail[i])) !=
            std::toupper(static_cast<unsigned char>(suffix[i])))
            return false;
    }
    return true;
}

// The name test of the directory listing: "*.*" matches everything,
// otherwise the pattern (less a leading '*') is a case-insensitive suffix.
bool MatchesPattern(const char* name, const char* pattern)
{
    if (std::strcmp(pattern, "*.*") == 0)
        return true;
    return EndsWithIgnoringCase(name, pattern[0] == '*' ? pattern + 1 : pattern);
}

// True when file is a 64-bit ELF module with a loadable segment that lies
// (partly) beyond the end of the file, as in a truncated copy. The system
// loader maps such a segment and then faults (SIGBUS) when it touches the
// missing pages, taking the whole simulator down; every other malformed file
// it reports as an error, so only this case is caught here.
bool HasSegmentsBeyondEnd(FILE* file)
{
    Elf64_Ehdr header;
    if (std::fread(&header, sizeof header, 1, file) != 1 ||
        std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_phentsize != sizeof(Elf64_Phdr))
        return false;
    struct stat info;
    if (fstat(fileno(file), &info) != 0)
        return false;
    const uint64_t size = static_cast<uint64_t>(info.st_size);
    if (std::fseek(file, static_cast<long>(header.e_phoff), SEEK_SET) != 0)
        return false;
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        Elf64_Phdr segment;
        if (std::fread(&segment, sizeof segment, 1, file) != 1)
            return false;  // a header table past the end is reported by the loader
        if (segment.p_type == PT_LOAD &&
            (segment.p_offset > size || segment.p_filesz > size - segment.p_offset))
            return true;
    }
    return false;
}

}  // namespace

void strcpytrunc(char* dst, const std::string& src, int size)
{
    // size - 1 compared unsigned: a size of 0 means "no bound".
    size_t limit = static_cast<size_t>(static_cast<long>(size) - 1);
    if (src.size() > limit) {
        std::memcpy(dst, src.data(), limit);
        dst[limit] = '\0';
    } else {
        std::memcpy(dst, src.c_str(), src.size() + 1);
    }
}

void* VORNLoadDLL(const char* path)
{
    // A missing file is the caller's to report; only real loader errors
    // are logged here.
    FILE* probe = std::fopen(path, "rb");
    if (probe == nullptr)
        return nullptr;
    const bool truncated = HasSegmentsBeyondEnd(probe);
    std::fclose(probe);
    if (truncated) {
        // Reported in the system loader's own words for a short file.
        LogDlError((std::string(path) + ": file too short").c_str());
        return nullptr;
    }
    void* handle = dlopen(path, RTLD_NOW);
    if (handle == nullptr)
        LogDlError(dlerror());
    return handle;
}

void VORNUnloadDLL(void* handle)
{
    dlclose(handle);
}

void* VORNFindSymbol(void* handle, const char* name, int reportErrors)
{
    if (handle == nullptr)
        return nullptr;
    dlerror();  // clear any stale error so that the one logged is ours
    void* symbol = dlsym(handle, name);
    if (symbol == nullptr && reportErrors != 0)
        LogDlError(dlerror());
    return symbol;
}

void VORNFetchDirectoryContents(const char* dirPath, const char* pattern,
                                std::vector<std::string>& names)
{
    DIR* dir = opendir(dirPath);
    if (dir == nullptr)
        return;
    const bool wantDirectories = std::strcmp(pattern, "DIR") == 0;
    while (const dirent* entry = readdir(dir)) {
        const char* name = entry->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0)
            continue;
        // Under "DIR" the name test also runs, with "DIR" as a suffix: a
        // folder named "...dir" is listed twice. Kept on purpose.
        if (MatchesPattern(name, pattern))
            names.emplace_back(name);
        if (!wantDirectories)
            continue;
        std::string full = std::string(dirPath) + "/" + name;
        struct stat info;
        if (stat(full.c_str(), &info) != 0) {
            // A broken link or a vanished entry: logged, and left out.
            const int error = errno;
            const std::string line =
                "name " + std::string(name) + ", errno " + std::to_string(error) + "\n";
            VORNDebugString(line.c_str());
            continue;
        }
        if (S_ISDIR(info.st_mode))
            names.emplace_back(name);
    }
    closedir(dir);
}

unsigned int VORNAllocTLS()
{
    pthread_key_t key = 0;
    pthread_key_create(&key, nullptr);
    return static_cast<unsigned int>(key);
}

void* VORNGetTLS(unsigned int key)
{
    return pthread_getspecific(static_cast<pthread_key_t>(key));
}

void VORNSetTLS(unsigned int key, void* value)
{
    pthread_setspecific(static_cast<pthread_key_t>(key), value);
}

void VORNOldToUTF8(std::string&)
{
}

void VORNUTF8ToOld(std::string&)
{
}
