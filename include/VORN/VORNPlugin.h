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
 * Looked up by these exact names. Only VPluginStart is required. Define them
 * with VORN_PLUGIN_ENTRY so that they are exported with C names from C and
 * C++ alike, even when the module hides everything else:
 *
 *     VORN_PLUGIN_ENTRY int VPluginStart(char* name, char* sig, char* desc) { ... }
 */
#ifdef __cplusplus
#define VORN_PLUGIN_ENTRY extern "C" VORN_API
#else
#define VORN_PLUGIN_ENTRY VORN_API
#endif

/* Exceptions. A C++ exception that any plug-in callback (an entry point
   below or any callback handed to the library) lets out stops where the
   library called it: "[name]: a callback threw an exception; the library
   ignored it and went on" is logged, and the call counts as having returned
   the neutral value noted at each callback type (void callbacks: ignored).
   Lists being walked, and the calling plug-in's identity, are unaffected. */

/* Fills the three 256-byte buffers with name, unique signature and
   description; returns non-zero to start, 0 to refuse (also when it throws). */
typedef int (*VPluginStart_f)(char* outName, char* outSignature, char* outDescription);
/* Called once before the module is closed. */
typedef void (*VPluginStop_f)(void);
/* Returns non-zero when the plug-in agrees to be enabled; throwing refuses. */
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

/* ---- Lifecycle ------------------------------------------------------------ */

/* Enables plug-in id (calling its VPluginEnable) and hands it any results that
   waited while it was disabled. Returns 1 if it is enabled on return, 0 if it
   refused or id is not a plug-in (the host, id 0, is never enabled here). */
VORN_API int VORNEnablePlugin(VORNPluginID id);

/* Disables plug-in id: its focus, camera and aircraft are released, then its
   VPluginDisable runs. Ignored for the host, unknown ids and disabled plug-ins. */
VORN_API void VORNDisablePlugin(VORNPluginID id);

/* Asks for a full reload of every plug-in. The reload runs later, after the
   current flight-loop pass, so a plug-in may call this from any callback. */
VORN_API void VORNReloadPlugins(void);

/* ---- Messages ------------------------------------------------------------ */

/* Sends message with param to plug-in target, or to every plug-in (the host
   included) when target is -1. Disabled plug-ins and unknown ids get
   nothing. The receiver sees the caller's id as sender. */
VORN_API void VORNSendMessageToPlugin(VORNPluginID target, int message, void* param);

/* Messages relayed from host events, sent by the host (id 0). */
#define VORN_MSG_PLANE_CRASHED 101
#define VORN_MSG_PLANE_LOADED 102
#define VORN_MSG_AIRPORT_LOADED 103
#define VORN_MSG_SCENERY_LOADED 104
#define VORN_MSG_AIRPLANE_COUNT_CHANGED 105
#define VORN_MSG_PLANE_UNLOADED 106
#define VORN_MSG_WILL_WRITE_PREFS 107
#define VORN_MSG_LIVERY_LOADED 108

/* ---- Features -------------------------------------------------------------- */

/* Features a plug-in can switch for itself. */
#define VORN_FEATURE_WANTS_REFLECTIONS "VORN_WANTS_REFLECTIONS"
#define VORN_FEATURE_USE_NATIVE_PATHS "VORN_USE_NATIVE_PATHS"

/* 1 if this library knows the feature name, else 0. */
VORN_API int VORNHasFeature(const char* feature);

/* The calling plug-in's state of the feature (0 = off). An unknown name
   returns 0 and reports "Illegal feature name passed to VORNEnableFeature". */
VORN_API int VORNIsFeatureEnabled(const char* feature);

/* Stores enable (unchanged, not reduced to 0/1) as the calling plug-in's
   state of the feature; an unknown name is reported as above. */
VORN_API void VORNEnableFeature(const char* feature, int enable);

/* Called once per known feature, whatever its state; if it throws, the
   enumeration goes on with the next feature. */
typedef void (*VORNFeatureEnumerator_f)(const char* feature, void* refcon);

/* Calls enumerator(name, refcon) for every known feature, in a fixed order. */
VORN_API void VORNEnumerateFeatures(VORNFeatureEnumerator_f enumerator, void* refcon);

VORN_END_DECLS

#endif /* VORN_PLUGIN_H */
