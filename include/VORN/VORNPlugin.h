/*
 * VORNPlugin.h - the plug-in registry, identity and error reporting, and the
 * entry points that every plug-in module exports.
 *
 * Plug-in ids are plain indexes into the registry: 0 is the host, 1 and up
 * are plug-ins in load order. Ids stay stable until a full reload.
 */
#ifndef VORN_PLUGIN_H
#define VORN_PLUGIN_H

#include "VORNDefs.h"

VORN_BEGIN_DECLS

/* ---- Entry points exported by a plug-in module (*.vpl) --------------------
 * Looked up by these exact names. Only VPluginStart is required. */

/* Fills the three 256-byte buffers with name, unique signature and
   description; returns non-zero to start, 0 to refuse. */
typedef int (*VPluginStart_f)(char* outName, char* outSignature, char* outDescription);
/* Called once before the module is closed. */
typedef void (*VPluginStop_f)(void);
/* Returns non-zero when the plug-in agrees to be enabled. */
typedef int (*VPluginEnable_f)(void);
/* Called after the plug-in has been marked disabled. */
typedef void (*VPluginDisable_f)(void);
/* Receives a message from another plug-in (0 = the host). */
typedef void (*VPluginReceiveMessage_f)(VORNPluginID fromPlugin, int message, void* param);

/* Called with a fixed English text when the plug-in misuses the API. */
typedef void (*VORNErrorCallback_f)(const char* message);

/* ---- Identity ------------------------------------------------------------ */

/* Id of the plug-in on whose behalf the library is working: the caller's own
   id inside any of its callbacks; 0 when the host calls. */
VORN_API VORNPluginID VORNGetMyID(void);

/* Number of registry records, the host's included. */
VORN_API int VORNCountPlugins(void);

/* Id of the index-th plug-in; ids and indexes are the same, so this returns
   index unchecked. */
VORN_API VORNPluginID VORNGetNthPlugin(int index);

/* 1 if the plug-in is enabled, 0 if not or if id is out of range. The host
   (id 0) is always enabled. */
VORN_API int VORNIsPluginEnabled(VORNPluginID id);

/* Lowest id whose signature equals signature byte for byte, else -1. A null
   signature finds nothing. */
VORN_API VORNPluginID VORNFindPluginBySignature(const char* signature);

/* Lowest id whose module path equals path byte for byte, else -1. The path is
   taken in the caller's path form (see VORNEnableFeature). Null finds nothing. */
VORN_API VORNPluginID VORNFindPluginByPath(const char* path);

/* Copies name, module path, signature and description of plug-in id into the
   caller's 256-byte buffers (truncated to fit); null buffers are skipped. The
   id is NOT checked: pass a valid one (see VORNCountPlugins). */
VORN_API void VORNGetPluginInfo(VORNPluginID id, char* outName, char* outFilePath,
                                char* outSignature, char* outDescription);

/* ---- Errors -------------------------------------------------------------- */

/* Installs the calling plug-in's error callback (null removes it). Ignored
   when no valid plug-in is calling. Several API functions check their
   arguments only for plug-ins that installed one. */
VORN_API void VORNSetErrorCallback(VORNErrorCallback_f callback);

/* Name of the plug-in being served, for diagnostics: "[NO_PLUGIN_ID]",
   "[VORN_PLUGIN_TARAVEL]" (the host), "[Bad plugin ID low]", "[Bad plugin ID
   high]" or the plug-in's own name. Owned by the library; valid until the
   registry changes. */
VORN_API const char* VORNDebugGetCurrentPluginName(void);

VORN_END_DECLS

#endif /* VORN_PLUGIN_H */
