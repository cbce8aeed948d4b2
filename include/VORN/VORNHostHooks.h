/*
 * VORNHostHooks.h - the host's side of VORN: the host hook table that the
 * simulator hands to VORNInitializePlugins, and the entry points that the
 * simulator calls.
 *
 * The table is a block of 72 consecutive 8-byte slots. Slot 0 holds the
 * table's header (version, size in bytes); slots 1 to 71 are the host's
 * functions. The host owns the table and must keep it alive and unchanged
 * while the library is loaded. Every slot must be filled, except that the
 * library calls ShowAlert only when version >= 3, ShowLoadingMessage only
 * when version >= 4, and ReinitUsersPlane and DestroyMenu only when
 * tableSize >= 576.
 */
#ifndef VORN_HOST_HOOKS_H
#define VORN_HOST_HOOKS_H

#include "VORNDefs.h"
#include "VORNGraphics.h"
#include "VORNNavigation.h"

VORN_BEGIN_DECLS

/* Size in bytes of a complete table. */
#define VORN_HOST_HOOKS_SIZE 576
/* Table versions that unlock the late slots. */
#define VORN_HOST_HOOKS_VERSION_ALERT 3
#define VORN_HOST_HOOKS_VERSION_LOADING_MESSAGE 4

/* Called by the host when an asynchronous object load finishes. */
typedef void (*VORNHostObjectLoaded_f)(void* object, void* refcon);
/* Called by the host for each object path found by LookupObjects. */
typedef void (*VORNHostObjectFound_f)(const char* path, void* refcon);

typedef struct VORNHostHooks {
    /* slot 0 (0x000): header */
    int32_t version;
    uint32_t tableSize;

    /* slots 1-3: display */
    void (*GetScreenSize)(int* outWidth, int* outHeight);             /* 0x008 */
    void (*GetMouseLocation)(int* outX, int* outY, int flag);         /* 0x010 */
    void (*TakeKeyboardFocus)(int pluginHasFocus);                    /* 0x018 */

    /* slots 4-14: graphics (same signatures as VORNGraphics.h) */
    void (*SetGraphicsState)(int, int, int, int, int, int, int);      /* 0x020 */
    void (*BindTexture2d)(int textureNum, int textureUnit);           /* 0x028 */
    void (*GenerateTextureNumbers)(int* outTextureIDs, int count);    /* 0x030 */
    int (*GetTexture)(int textureID);                                 /* 0x038 */
    void (*WorldToLocal)(double, double, double, double*, double*, double*); /* 0x040 */
    void (*LocalToWorld)(double, double, double, double*, double*, double*); /* 0x048 */
    void (*DrawTranslucentDarkBox)(int left, int top, int right, int bottom); /* 0x050 */
    void (*DrawString)(float* colorRGB, int x, int y, char* text, int* wordWrapWidth,
                       VORNFontID font);                              /* 0x058 */
    void (*DrawNumber)(float* colorRGB, int x, int y, double value, int digits,
                       int decimals, int showSign, VORNFontID font);  /* 0x060 */
    void (*GetFontDimensions)(VORNFontID font, int* outCharWidth, int* outCharHeight,
                              int* outDigitsOnly);                    /* 0x068 */
    float (*MeasureString)(VORNFontID font, const char* text, int numChars); /* 0x070 */

    /* slots 15-16: time and camera */
    float (*GetElapsedTime)(void);                                    /* 0x078 */
    void (*ReadCameraPosition)(float*, float*, float*, float*, float*, float*,
                               float*);                               /* 0x080 */

    /* slots 17-21: aircraft */
    void (*DrawAircraft)(int planeIndex, float x, float y, float z, float pitch, float roll,
                         float heading, int fullDraw, void* drawState); /* 0x088 */
    void (*SetAircraftModel)(int planeIndex, const char* fullPath,
                             const char* fileName);                   /* 0x090 */
    void (*GetNthAircraftModel)(int index, char* outPath, char* outFileName); /* 0x098 */
    int (*CountAircraft)(int* outTotal, int* outActive, int* outOwner); /* 0x0a0 */
    void (*PlaceUserAtAirport)(const char* airportCode);              /* 0x0a8 */

    /* slots 22-25: keys, speech, buttons */
    void (*SimulateKeyPress)(int keyType, int key);                   /* 0x0b0 */
    void (*SpeakString)(const char* text);                            /* 0x0b8 */
    void (*CommandKeyStroke)(int commandKey);                         /* 0x0c0 */
    void (*CommandButton)(const int* buttons, int release, int repeat); /* 0x0c8 */

    /* slots 26-31: paths, versions, language, log, symbols */
    void (*GetSystemPath)(char* out512);                              /* 0x0d0 */
    void (*GetPrefsPath)(char* out512);                               /* 0x0d8 */
    void (*GetVersions)(int* outSimVersion, int* outHostId);          /* 0x0e0 */
    int (*GetLanguage)(void);                                         /* 0x0e8 */
    void (*DebugString)(const char* text);                            /* 0x0f0 */
    void* (*FindSymbol)(const char* name);                            /* 0x0f8 */

    /* slots 32-33 */
    void (*ReinitUsersPlane)(int first, int second);                  /* 0x100, tableSize >= 576 */
    void (*HostReceiveMessage)(VORNPluginID fromPlugin, int message, void* param); /* 0x108 */

    /* slots 34-38: menus; a host menu is a 64-bit opaque handle */
    long (*CreateMenu)(long parentHostMenu, int position, const char* name); /* 0x110 */
    int (*AppendMenuItem)(long hostMenu, const char* name, void* itemRef,
                          int forceEnglish);                          /* 0x118 */
    void (*SetMenuItemName)(long hostMenu, int position, const char* name); /* 0x120 */
    void (*DestroyMenu)(long hostMenu);                               /* 0x128, tableSize >= 576 */
    void (*RemoveMenuItem)(long hostMenu, int position);              /* 0x130 */

    /* slots 39-55: navigation (same signatures as VORNNavigation.h) */
    VORNNavRef (*GetFirstNavAid)(void);                               /* 0x138 */
    VORNNavRef (*GetNextNavAid)(VORNNavRef ref);                      /* 0x140 */
    VORNNavRef (*FindFirstNavAidOfType)(VORNNavType type);            /* 0x148 */
    VORNNavRef (*FindLastNavAidOfType)(VORNNavType type);             /* 0x150 */
    VORNNavRef (*FindNavAid)(const char*, const char*, float*, float*, int*,
                             VORNNavType);                            /* 0x158 */
    void (*GetNavAidInfo)(VORNNavRef, VORNNavType*, float*, float*, float*, int*, float*,
                          char*, char*, char*);                       /* 0x160 */
    int (*CountFMSEntries)(void);                                     /* 0x168 */
    int (*GetDisplayedFMSEntry)(void);                                /* 0x170 */
    int (*GetDestinationFMSEntry)(void);                              /* 0x178 */
    void (*SetDisplayedFMSEntry)(int index);                          /* 0x180 */
    void (*SetDestinationFMSEntry)(int index);                        /* 0x188 */
    void (*GetFMSEntryInfo)(int, VORNNavType*, char*, VORNNavRef*, int*, float*,
                            float*);                                  /* 0x190 */
    void (*SetFMSEntryInfo)(int index, VORNNavRef ref, int altitude); /* 0x198 */
    void (*SetFMSEntryLatLon)(int index, float latitude, float longitude,
                              int altitude);                          /* 0x1a0 */
    void (*ClearFMSEntry)(int index);                                 /* 0x1a8 */
    VORNNavType (*GetGPSDestinationType)(void);                       /* 0x1b0 */
    VORNNavRef (*GetGPSDestination)(void);                            /* 0x1b8 */

    /* slots 56-57: user interface (version-gated) */
    void (*ShowAlert)(const char* line1, const char* line2, const char* line3,
                      const char* line4);                             /* 0x1c0, version >= 3 */
    void (*ShowLoadingMessage)(const char* text);                     /* 0x1c8, version >= 4 */

    /* slots 58-61: commands; a command handle is the host's opaque pointer */
    void* (*FindCommand)(const char* name, const char* description, int create); /* 0x1d0 */
    void (*CommandBegin)(void* command);                              /* 0x1d8 */
    void (*CommandContinue)(void* command);                           /* 0x1e0 */
    void (*CommandEnd)(void* command);                                /* 0x1e8 */

    /* slots 62-63: terrain probes */
    int (*CreateProbe)(void);                                         /* 0x1f0 */
    int (*ProbeTerrainXYZ)(int hostIndex, const float* xyz, float* firstTriple,
                           float* secondTriple, float* thirdTriple,
                           int* resultFlag);                          /* 0x1f8 */

    /* slots 64-69: scenery objects */
    void* (*LoadObject)(const char* path);                            /* 0x200 */
    void (*DrawObjects)(void* object, int lighting, int earthRelative, float x, float y,
                        float z, float secondAngle, float firstAngle,
                        float thirdAngle);                            /* 0x208 */
    void (*UnloadObject)(void* object);                               /* 0x210 */
    int (*LookupObjects)(const char* path, float latitude, float longitude,
                         VORNHostObjectFound_f enumerator, void* refcon); /* 0x218 */
    void (*LoadObjectAsync)(const char* path, VORNHostObjectLoaded_f callback,
                            void* refcon);                            /* 0x220 */
    void (*ReloadScenery)(void);                                      /* 0x228 */

    /* slots 70-71: data files */
    int (*LoadDataFile)(int fileType, const char* path);              /* 0x230 */
    int (*SaveDataFile)(int fileType, const char* path);              /* 0x238 */
} VORNHostHooks;

#define VORN_HOOK_AT(field, offset) \
    VORN_STATIC_ASSERT(offsetof(VORNHostHooks, field) == (offset), hook_offset_##field)

VORN_STATIC_ASSERT(sizeof(VORNHostHooks) == VORN_HOST_HOOKS_SIZE, host_hooks_size);
VORN_HOOK_AT(version, 0x000);
VORN_HOOK_AT(tableSize, 0x004);
VORN_HOOK_AT(GetScreenSize, 0x008);
VORN_HOOK_AT(GetMouseLocation, 0x010);
VORN_HOOK_AT(TakeKeyboardFocus, 0x018);
VORN_HOOK_AT(SetGraphicsState, 0x020);
VORN_HOOK_AT(BindTexture2d, 0x028);
VORN_HOOK_AT(GenerateTextureNumbers, 0x030);
VORN_HOOK_AT(GetTexture, 0x038);
VORN_HOOK_AT(WorldToLocal, 0x040);
VORN_HOOK_AT(LocalToWorld, 0x048);
VORN_HOOK_AT(DrawTranslucentDarkBox, 0x050);
VORN_HOOK_AT(DrawString, 0x058);
VORN_HOOK_AT(DrawNumber, 0x060);
VORN_HOOK_AT(GetFontDimensions, 0x068);
VORN_HOOK_AT(MeasureString, 0x070);
VORN_HOOK_AT(GetElapsedTime, 0x078);
VORN_HOOK_AT(ReadCameraPosition, 0x080);
VORN_HOOK_AT(DrawAircraft, 0x088);
VORN_HOOK_AT(SetAircraftModel, 0x090);
VORN_HOOK_AT(GetNthAircraftModel, 0x098);
VORN_HOOK_AT(CountAircraft, 0x0a0);
VORN_HOOK_AT(PlaceUserAtAirport, 0x0a8);
VORN_HOOK_AT(SimulateKeyPress, 0x0b0);
VORN_HOOK_AT(SpeakString, 0x0b8);
VORN_HOOK_AT(CommandKeyStroke, 0x0c0);
VORN_HOOK_AT(CommandButton, 0x0c8);
VORN_HOOK_AT(GetSystemPath, 0x0d0);
VORN_HOOK_AT(GetPrefsPath, 0x0d8);
VORN_HOOK_AT(GetVersions, 0x0e0);
VORN_HOOK_AT(GetLanguage, 0x0e8);
VORN_HOOK_AT(DebugString, 0x0f0);
VORN_HOOK_AT(FindSymbol, 0x0f8);
VORN_HOOK_AT(ReinitUsersPlane, 0x100);
VORN_HOOK_AT(HostReceiveMessage, 0x108);
VORN_HOOK_AT(CreateMenu, 0x110);
VORN_HOOK_AT(AppendMenuItem, 0x118);
VORN_HOOK_AT(SetMenuItemName, 0x120);
VORN_HOOK_AT(DestroyMenu, 0x128);
VORN_HOOK_AT(RemoveMenuItem, 0x130);
VORN_HOOK_AT(GetFirstNavAid, 0x138);
VORN_HOOK_AT(GetNextNavAid, 0x140);
VORN_HOOK_AT(FindFirstNavAidOfType, 0x148);
VORN_HOOK_AT(FindLastNavAidOfType, 0x150);
VORN_HOOK_AT(FindNavAid, 0x158);
VORN_HOOK_AT(GetNavAidInfo, 0x160);
VORN_HOOK_AT(CountFMSEntries, 0x168);
VORN_HOOK_AT(GetDisplayedFMSEntry, 0x170);
VORN_HOOK_AT(GetDestinationFMSEntry, 0x178);
VORN_HOOK_AT(SetDisplayedFMSEntry, 0x180);
VORN_HOOK_AT(SetDestinationFMSEntry, 0x188);
VORN_HOOK_AT(GetFMSEntryInfo, 0x190);
VORN_HOOK_AT(SetFMSEntryInfo, 0x198);
VORN_HOOK_AT(SetFMSEntryLatLon, 0x1a0);
VORN_HOOK_AT(ClearFMSEntry, 0x1a8);
VORN_HOOK_AT(GetGPSDestinationType, 0x1b0);
VORN_HOOK_AT(GetGPSDestination, 0x1b8);
VORN_HOOK_AT(ShowAlert, 0x1c0);
VORN_HOOK_AT(ShowLoadingMessage, 0x1c8);
VORN_HOOK_AT(FindCommand, 0x1d0);
VORN_HOOK_AT(CommandBegin, 0x1d8);
VORN_HOOK_AT(CommandContinue, 0x1e0);
VORN_HOOK_AT(CommandEnd, 0x1e8);
VORN_HOOK_AT(CreateProbe, 0x1f0);
VORN_HOOK_AT(ProbeTerrainXYZ, 0x1f8);
VORN_HOOK_AT(LoadObject, 0x200);
VORN_HOOK_AT(DrawObjects, 0x208);
VORN_HOOK_AT(UnloadObject, 0x210);
VORN_HOOK_AT(LookupObjects, 0x218);
VORN_HOOK_AT(LoadObjectAsync, 0x220);
VORN_HOOK_AT(ReloadScenery, 0x228);
VORN_HOOK_AT(LoadDataFile, 0x230);
VORN_HOOK_AT(SaveDataFile, 0x238);

/* ---- Entry points the host calls ------------------------------------------ */

/* Starts the library: stores hooks (kept, not copied) and self, creates the
   "Plugins" menu, publishes the build string, loads and enables every plug-in
   below systemPath + "Resources/plugins" (systemPath ends with '/').
   Returns the interface version, always 19. Call once, first. */
VORN_API int VORNInitializePlugins(const char* systemPath, VORNHostHooks* hooks, void* self);

/* Disables and unloads every plug-in. Call once, last. */
VORN_API void VORNShutdownPlugins(void);

/* The host's per-frame and per-event driver. event 0 and 10 run the flight
   loops of phase 0 and 1 (elapsed = the simulation time in seconds); the other
   codes 1 to 13 are relayed to plug-ins; codes outside 0..13 do nothing.
   Returns 1. */
VORN_API int VORNEventHook(int event, void* param, float elapsed);

/* Offers the host's seven camera values (in the order of ReadCameraPosition)
   to the plug-in controlling the camera, which may rewrite them. Returns 0
   when it did, 1 when nobody controls the camera or it gave up (the values
   are then untouched), or when any pointer is null (the controller is then
   not called). Call once per frame. */
VORN_API int VORNCameraHook(float* p1, float* p2, float* p3, float* p4, float* p5, float* p6,
                            float* p7);

/* Size in bytes of the path buffer the host passes to
   VORNUpdatePlaneNameAndPath: room for any path the system allows (PATH_MAX
   on Linux, the terminating zero included). */
#define VORN_PLANE_PATH_BUFFER_SIZE 4096

/* Asks which model to load for multiplayer plane index. path must hold
   VORN_PLANE_PATH_BUFFER_SIZE bytes: when the plug-in owning the aircraft
   chose a model, its path is copied into path whole, with its terminating
   zero. Otherwise path is left alone: for index 0, when no model was chosen,
   and when the chosen path is too long to fit (VORN_PLANE_PATH_BUFFER_SIZE
   bytes or more without its zero; it is refused, never cut), so the host
   keeps its own choice. name is never touched. */
VORN_API void VORNUpdatePlaneNameAndPath(int index, char* name, char* path);

/* Tells the library how many multiplayer planes the host handles and returns
   how many it should fly: count, or the owner's smaller limit (flag 0 only). */
VORN_API int VORNGetNumberPlanesToHandle(int count, int flag);

/* ---- Diagnostics for hosts and tools ----------------------------------------- */

/* What one plug-in has registered and how often it misused the API. Set
   structSize to sizeof(VORNPluginInventory) before the call. */
typedef struct VORNPluginInventory {
    int32_t structSize;
    int32_t dataRefs;        /* data refs it publishes */
    int32_t sharedData;      /* shared-data subscriptions */
    int32_t flightLoops;
    int32_t drawCallbacks;
    int32_t keySniffers;
    int32_t windows;
    int32_t hotKeys;
    int32_t menus;           /* menus it created */
    int32_t menuItems;       /* items it appended, in any menu */
    int32_t commandHandlers;
    int32_t heldCommands;    /* commands it began and has not ended */
    int32_t probes;
    int32_t objects;         /* scenery objects it holds */
    int32_t planes;          /* 1 while it owns the multiplayer aircraft */
    int32_t camera;          /* 1 while it controls the camera */
    int32_t errors;          /* misuse reports addressed to it so far */
    char lastError[256];     /* the latest of them, "" if none */
} VORNPluginInventory;

/* Fills out for plug-in id. Returns 1, or 0 (out untouched) for an unknown
   id, a null out or a structSize other than sizeof(VORNPluginInventory). */
VORN_API int VORNGetPluginInventory(VORNPluginID id, VORNPluginInventory* out);

/* Called for each plug-in being unloaded, after its VPluginStop and before
   the library removes what it still owns: leftover is what the plug-in did not
   remove itself. Null turns the observer off. For hosts and checkers. */
typedef void (*VORNUnloadObserver_f)(VORNPluginID id, const VORNPluginInventory* leftover);
VORN_API void VORNSetUnloadObserver(VORNUnloadObserver_f observer);

/* ---- Time accounting: which plug-in costs the frame ------------------------------

   Off by default, and then free. When on, the library times every call it
   makes into plug-in code (monotonic clock) and keeps, per plug-in and kind
   of call, the number of calls, the total and the largest self time and a
   log-scale histogram. Self time leaves out nested calls into plug-in code:
   a data accessor of plug-in B read from plug-in A's flight loop is charged
   to B. It also keeps each plug-in's self time per frame, a frame running
   from one host event 0 to the next. */

/* Kinds of calls into plug-in code. */
#define VORN_CALL_START 0
#define VORN_CALL_ENABLE 1
#define VORN_CALL_DISABLE 2
#define VORN_CALL_STOP 3
#define VORN_CALL_ERROR_CALLBACK 4
#define VORN_CALL_FEATURE_ENUMERATOR 5
#define VORN_CALL_MESSAGE 6
#define VORN_CALL_FLIGHT_LOOP 7 /* by phase: 0 (host event 0) or 1 (event 10) */
#define VORN_CALL_DRAW 8        /* by drawing phase, before or after */
#define VORN_CALL_KEY_SNIFFER 9
#define VORN_CALL_WINDOW_DRAW 10
#define VORN_CALL_MOUSE_CLICK 11
#define VORN_CALL_KEY 12
#define VORN_CALL_CURSOR 13
#define VORN_CALL_WHEEL 14
#define VORN_CALL_HOT_KEY 15
#define VORN_CALL_MENU 16
#define VORN_CALL_COMMAND 17
#define VORN_CALL_DATA_ACCESSOR 18
#define VORN_CALL_SHARED_DATA 19
#define VORN_CALL_CAMERA 20
#define VORN_CALL_PLANES 21
#define VORN_CALL_OBJECT_LOADED 22
#define VORN_CALL_KIND_COUNT 23

/* Switches time accounting on (non-zero) or off. Figures gathered so far
   stay; they are dropped by VORNResetTimeAccounting, when all plug-ins are
   unloaded together (shutdown, full reload: ids are handed out anew) and by
   VORNShutdownPlugins, which also switches accounting off. */
VORN_API void VORNSetTimeAccounting(int on);

/* Drops every figure; the switch, the budget and the observer stay. The next
   host event 0 starts the first frame. */
VORN_API void VORNResetTimeAccounting(void);

/* A single call longer than milliseconds (self time) is counted in the
   figures' overBudget and logged once per plug-in and kind, as
   "[<plug-in name>]: <kind> took <t> ms, over the budget of <b> ms", t with
   three decimals. 0, a negative value or NaN: no budget (the default). */
VORN_API void VORNSetFrameBudget(float milliseconds);

/* What plug-in id's calls of one kind cost. Set structSize to
   sizeof(VORNCallTimes) before the call. Times are nanoseconds of self time;
   the percentiles are read from the histogram (each is the upper edge of its
   bin, at most 19% above the true value, and never above maxNs). */
typedef struct VORNCallTimes {
    int32_t structSize;
    int32_t kind;   /* VORN_CALL_... */
    int32_t phase;  /* flight loops: 0 or 1; draw callbacks: the drawing phase; else -1 */
    int32_t before; /* draw callbacks: 1 before, 0 after; else -1 */
    char label[64]; /* the kind as text: "flight loop (phase 0)", "draw (phase 30, after)" */
    int64_t calls;
    int64_t totalNs;
    int64_t maxNs;
    int64_t p50Ns;
    int64_t p95Ns;
    int64_t p99Ns;
    int64_t overBudget; /* calls longer than the budget */
} VORNCallTimes;

/* Fills out with the index-th kind (from 0) that plug-in id has been called
   for since the figures were last dropped, in the order first called.
   Returns 1, or 0 (out untouched) past the last kind, for an unknown id, a
   null out or a structSize other than sizeof(VORNCallTimes). */
VORN_API int VORNGetPluginCallTimes(VORNPluginID id, int index, VORNCallTimes* out);

/* Plug-in id's self time per frame. Set structSize to sizeof(VORNFrameTimes)
   before the call. */
typedef struct VORNFrameTimes {
    int32_t structSize;
    int32_t reserved;
    int64_t frames;         /* frames completed since the figures were dropped */
    int64_t lastFrameNs;    /* its self time in the last complete frame */
    int64_t largestFrameNs; /* and in its costliest frame */
    int64_t largestFrame;   /* that frame's number, from 0; -1 before the first */
    int64_t totalNs;        /* all its self time, in frames or not */
} VORNFrameTimes;

/* Fills out for plug-in id. Returns 1, or 0 (out untouched) for an unknown
   id, a null out or a structSize other than sizeof(VORNFrameTimes). */
VORN_API int VORNGetPluginFrameTimes(VORNPluginID id, VORNFrameTimes* out);

/* One finished call into plug-in code, as handed to the call observer. */
typedef struct VORNCallTiming {
    int32_t structSize;
    VORNPluginID plugin;
    int32_t kind;
    int32_t phase;
    int32_t before;
    int32_t depth;       /* 0 for a call made by the library for the host; 1 and up: nested */
    const char* label;   /* as VORNCallTimes.label; valid during the observer's call */
    int64_t startNs;     /* CLOCK_MONOTONIC (std::chrono::steady_clock), nanoseconds */
    int64_t durationNs;  /* wall time, nested calls included */
    int64_t selfNs;      /* nested calls into plug-in code left out */
} VORNCallTiming;

/* Called after every timed call into plug-in code while accounting is on, in
   the order the calls end (a nested call before the one around it), for
   tracing. Null turns the observer off. The observer's own time is not
   charged to any plug-in. */
typedef void (*VORNCallObserver_f)(const VORNCallTiming* call, void* refcon);
VORN_API void VORNSetCallObserver(VORNCallObserver_f observer, void* refcon);

/* ---- Checked mode, for plug-in authors -------------------------------------------

   The VORN API belongs to the thread that called VORNInitializePlugins. In
   checked mode an API call from any other thread is refused: the function
   does nothing and returns 0, null, "" or -1 (for a plug-in id). At the next
   VORNEventHook each refused (plug-in, function) is reported once, through
   the plug-in's error callback and the log:
   "[<name>]: Plug-in "<name>" called <function> from a thread other than the
   simulator's main thread: the call was refused. ..." The functions that
   forward straight to the host (graphics, navigation, VORNDebugString and
   the like) are not checked. Off by default, and then it costs one
   predictable branch per API call. */

/* Switches checked mode on (non-zero) or off. VORN_CHECKED=1 in the
   environment switches it on at VORNInitializePlugins; VORNShutdownPlugins
   switches it off. */
VORN_API void VORNSetCheckedMode(int on);

/* The user picked the menu item with the host's id hostItem (as returned by
   AppendMenuItem). Returns 0 when the item is a plug-in's (its handler has
   run unless the item is disabled), 1 when the host should handle it. */
VORN_API int VORNMenuHook(int hostItem);

/* Check mark of the item at absolute position in hostMenu: writes -1 (none),
   0 (unchecked) or 1 (checked) to outCheck and returns 0; returns 1 when the
   library knows no such item. */
VORN_API int VORNCheckMenuHook(long hostMenu, int position, int* outCheck);

/* Whether the item at absolute position in hostMenu is enabled (1) or not
   (0); 1 also when the library knows no such item. Items of a disabled
   plug-in's menus are disabled. */
VORN_API int VORNMenuItemEnabled(long hostMenu, int position);

/* A command event: the host calls it with before 1 ahead of its own handling
   and with before 0 after it. isStart/isEnd give the phase (both 0: held).
   Returns 0 when a plug-in handler consumed the event, else 1. */
VORN_API int VORNCommandHook(void* command, int isStart, int isEnd, int before);

/* Host drawing step 1 to 26 (reflectionFlag 1 while drawing reflections):
   runs the plug-ins' drawing for it; step 20 also draws the plug-in windows.
   Returns 0 when the host must not draw the step itself, else 1. */
VORN_API int VORNDoDrawingHook(int step, int reflectionFlag);

/* Mouse button down (isDown non-zero) or up at (x, y). Returns 0 when a
   plug-in window consumed it, 1 when the host should handle it. */
VORN_API int VORNMouseClickHook(int x, int y, int isDown);

/* A key, offered in three stages: 0 before the windows (key sniffers, hot
   keys), 1 to the window with keyboard focus, 2 after the windows. Returns 0
   when consumed; the host stops at that stage. */
VORN_API int VORNKeyPressHook(char key, int flags, char virtualKey, int stage);

/* The cursor status wanted by the front-most plug-in window under (x, y)
   that sets one, 0 when none does. */
VORN_API int VORNCursorHook(int x, int y);

/* A scroll-wheel event at (x, y). Returns 0 when a plug-in window
   consumed it, else 1. */
VORN_API int VORNScrollWheelHook(int x, int y, int wheel, int clicks);

VORN_END_DECLS

#endif /* VORN_HOST_HOOKS_H */
