// VORNHostInternal.h - state the host hands to the library at start.
#ifndef VORN_HOST_H
#define VORN_HOST_H

#include "VORN/VORNHostHooks.h"

// The host hook table, stored by VORNInitializePlugins and never changed
// afterwards. Null before the host has started the library. Declared hidden
// so that every forwarder reads it with one PC-relative load instead of going
// through the GOT.
// Shared: every subsystem calls the host through it, forwarders inline.
extern __attribute__((visibility("hidden"))) VORNHostHooks* gHooks;

// The directory separator used by the library's own path building ("/").
const char* VORNDirSeparator();

// True once the host has installed its table and it declares at least
// `version` / `size`. Late slots are only called after these checks.
bool VORNHostVersionAtLeast(int version);
bool VORNHostTableSizeAtLeast(unsigned size);

// Writes the library's build date and time ("Mmm dd yyyy hh:mm:ss").
void VORNFormatBuildString(char* out, size_t size);

// Tells the host's unload observer, if any, what plug-in id still owns.
void VORNNotifyUnloadObserver(int id);

#endif
