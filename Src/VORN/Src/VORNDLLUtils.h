// VORNDLLUtils.h - the platform layer: modules, directory listing, bounded
// copies, thread-local slots and the path-form hooks.
#ifndef VORN_DLL_UTILS_H
#define VORN_DLL_UTILS_H

#include <string>
#include <vector>

// Copies src into dst, whose capacity is size bytes, terminator included:
// a longer source is cut to size - 1 bytes and terminated. A size of 0 is
// taken as "unbounded" (the whole source is copied).
void strcpytrunc(char* dst, const std::string& src, int size);

// Opens a plug-in module with immediate binding. Returns null (logging the
// loader's error, unless the file cannot even be opened) on failure.
void* VORNLoadDLL(const char* path);
// Closes a module opened by VORNLoadDLL.
void VORNUnloadDLL(void* handle);
// Looks a symbol up in a module; null when missing (logged when
// reportErrors is non-zero) or when handle is null.
void* VORNFindSymbol(void* handle, const char* name, int reportErrors);

// Appends to names the entries of dirPath that match pattern: "*.*" matches
// all, "*suffix" or "suffix" match a case-insensitive suffix, and "DIR" also
// appends every sub-folder (see the .cpp for the exact rules). "." and ".."
// are never listed; names are in the operating system's order.
void VORNFetchDirectoryContents(const char* dirPath, const char* pattern,
                                std::vector<std::string>& names);

// Thread-local slots.
unsigned int VORNAllocTLS();
void* VORNGetTLS(unsigned int key);
void VORNSetTLS(unsigned int key, void* value);

// Path-form conversion between the legacy form plug-ins may use and the
// library's internal UTF-8 form. On Linux both forms are the same bytes, so
// these leave the path unchanged; they mark the places where a conversion
// belongs.
void VORNOldToUTF8(std::string& path);
void VORNUTF8ToOld(std::string& path);

#endif
