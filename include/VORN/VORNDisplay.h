/*
 * VORNDisplay.h - drawing in the host's drawing phases, sniffing keys,
 * plug-in windows and hot keys.
 *
 * Registrations and windows are owned by the plug-in that makes them and are
 * removed when it is unloaded. They may be made and removed from inside any
 * callback, including the callback being removed.
 */
#ifndef VORN_DISPLAY_H
#define VORN_DISPLAY_H

#include "VORNDefs.h"

VORN_BEGIN_DECLS

/* Drawing phases, in the order the host draws them in a frame (the window
   phase is where plug-in windows are drawn; 101 comes before 100). */
#define VORN_DRAW_PHASE_0 0
#define VORN_DRAW_PHASE_5 5
#define VORN_DRAW_PHASE_10 10
#define VORN_DRAW_PHASE_15 15
#define VORN_DRAW_PHASE_20 20
#define VORN_DRAW_PHASE_25 25
#define VORN_DRAW_PHASE_30 30
#define VORN_DRAW_PHASE_35 35
#define VORN_DRAW_PHASE_40 40
#define VORN_DRAW_PHASE_45 45
#define VORN_DRAW_PHASE_WINDOWS 50
#define VORN_DRAW_PHASE_55 55
#define VORN_DRAW_PHASE_100 100
#define VORN_DRAW_PHASE_101 101
#define VORN_DRAW_PHASE_102 102

/* Called in `phase`, before the host draws it (isBefore 1) or after (0).
   Return 0 from a "before" call to keep the host from drawing the phase.
   A callback that throws counts as having returned 1. */
typedef int (*VORNDrawCallback_f)(int phase, int isBefore, void* refcon);

/* Called for every key press; return 0 to consume the key. flags are the
   host's modifier and up/down bits. One that throws counts as returning 1. */
typedef int (*VORNKeySniffer_f)(char key, int flags, char virtualKey, void* refcon);

/* Registers callback for phase, before (wantsBefore 1) or after (0) the host
   draws it. Returns 1, or 0 if the same callback, phase, wantsBefore and
   refcon are already registered (by any plug-in). Newest is called first. */
VORN_API int VORNRegisterDrawCallback(VORNDrawCallback_f callback, int phase, int wantsBefore,
                                      void* refcon);

/* Removes the registration with these four values, whoever made it.
   Returns 1, or 0 when there is none. */
VORN_API int VORNUnregisterDrawCallback(VORNDrawCallback_f callback, int phase, int wantsBefore,
                                        void* refcon);

/* Registers a key sniffer called before (beforeWindows non-zero) or after
   the plug-in windows see each key. Returns 1, or 0 for a duplicate of the
   same three values. */
VORN_API int VORNRegisterKeySniffer(VORNKeySniffer_f callback, int beforeWindows, void* refcon);

/* Removes the key sniffer with these three values, whoever registered it.
   Returns 1, or 0 when there is none. */
VORN_API int VORNUnregisterKeySniffer(VORNKeySniffer_f callback, int beforeWindows, void* refcon);

/* ---- Windows ---------------------------------------------------------------
   Rectangles in screen coordinates with y growing upwards (top > bottom).
   The newest window, or the one last brought to the front, is front-most.
   Unknown window ids are ignored by every function: nothing happens, getters
   give 0 or null and out-pointers stay unwritten. */

typedef void* VORNWindowID;

/* Mouse status passed to a window's mouse callback. */
#define VORN_MOUSE_DOWN 1
#define VORN_MOUSE_DRAG 2
#define VORN_MOUSE_UP 3

/* Draws the window, in the window drawing phase, back-most window first.
   Window callbacks that throw count as having returned 0 (a mouse-down, a
   cursor or wheel event then goes on to the windows behind; a key sent to
   the focus window counts as taken all the same). */
typedef void (*VORNDrawWindow_f)(VORNWindowID window, void* refcon);

/* A key for the window that has keyboard focus. With losingFocus 1 (key,
   flags and virtualKey 0) the window is told that it lost the focus; window
   is then the window taking the focus (null: the host), not the receiver. */
typedef void (*VORNHandleKey_f)(VORNWindowID window, char key, int flags, char virtualKey,
                                void* refcon, int losingFocus);

/* A mouse event inside the window (status VORN_MOUSE_DOWN), or, after the
   window took a mouse-down by returning non-zero, the drag and up events
   wherever the pointer is. Return 0 from a down to let it fall through. */
typedef int (*VORNHandleMouseClick_f)(VORNWindowID window, int x, int y, int status,
                                      void* refcon);

/* The pointer is over the window; return a non-zero cursor status to set it,
   0 to let the windows behind it decide. */
typedef int (*VORNHandleCursor_f)(VORNWindowID window, int x, int y, void* refcon);

/* A scroll-wheel event over the window; return non-zero to consume it. */
typedef int (*VORNHandleMouseWheel_f)(VORNWindowID window, int x, int y, int wheel, int clicks,
                                      void* refcon);

/* Parameters of VORNCreateWindowEx. Set structSize to
   sizeof(VORNCreateWindow_t); any callback may be null. */
typedef struct {
    int structSize;
    int left;
    int top;
    int right;
    int bottom;
    int visible;
    VORNDrawWindow_f drawWindowFunc;
    VORNHandleMouseClick_f handleMouseClickFunc;
    VORNHandleKey_f handleKeyFunc;
    VORNHandleCursor_f handleCursorFunc;
    VORNHandleMouseWheel_f handleMouseWheelFunc;
    void* refcon;
} VORNCreateWindow_t;

VORN_STATIC_ASSERT(sizeof(VORNCreateWindow_t) == 72, create_window_is_72_bytes);
VORN_STATIC_ASSERT(offsetof(VORNCreateWindow_t, visible) == 20, create_window_visible_at_20);
VORN_STATIC_ASSERT(offsetof(VORNCreateWindow_t, drawWindowFunc) == 24, create_window_draw_at_24);
VORN_STATIC_ASSERT(offsetof(VORNCreateWindow_t, handleMouseClickFunc) == 32,
                   create_window_mouse_at_32);
VORN_STATIC_ASSERT(offsetof(VORNCreateWindow_t, handleKeyFunc) == 40, create_window_key_at_40);
VORN_STATIC_ASSERT(offsetof(VORNCreateWindow_t, handleCursorFunc) == 48,
                   create_window_cursor_at_48);
VORN_STATIC_ASSERT(offsetof(VORNCreateWindow_t, handleMouseWheelFunc) == 56,
                   create_window_wheel_at_56);
VORN_STATIC_ASSERT(offsetof(VORNCreateWindow_t, refcon) == 64, create_window_refcon_at_64);

/* Creates a front-most window owned by the calling plug-in, without cursor
   and wheel callbacks. No focus change. Returns its id. */
VORN_API VORNWindowID VORNCreateWindow(int left, int top, int right, int bottom, int visible,
                                       VORNDrawWindow_f drawWindowFunc,
                                       VORNHandleKey_f handleKeyFunc,
                                       VORNHandleMouseClick_f handleMouseClickFunc, void* refcon);

/* Creates a front-most window from params. Returns its id, or null when
   params is null or its structSize is not sizeof(VORNCreateWindow_t). */
VORN_API VORNWindowID VORNCreateWindowEx(const VORNCreateWindow_t* params);

/* Destroys a window (any plug-in's). A focused window is first told that it
   loses the focus; a window taking mouse drags stops getting them. */
VORN_API void VORNDestroyWindow(VORNWindowID window);

/* Gives the keyboard focus to window, or back to the host for null or an
   unknown id. The window losing it is told through its key callback. A
   window of a disabled plug-in cannot take it. */
VORN_API void VORNTakeKeyboardFocus(VORNWindowID window);

/* Writes the window's edges where the out-pointer is not null. */
VORN_API void VORNGetWindowGeometry(VORNWindowID window, int* outLeft, int* outTop, int* outRight,
                                    int* outBottom);

/* Moves the window; the values are stored as given, unchecked. */
VORN_API void VORNSetWindowGeometry(VORNWindowID window, int left, int top, int right,
                                    int bottom);

/* The window's visible value as set, 0 for an unknown id. */
VORN_API int VORNGetWindowIsVisible(VORNWindowID window);

/* Shows (non-zero, stored as given) or hides the window. Hiding the focused
   window gives the focus back to the host; showing never gives focus. */
VORN_API void VORNSetWindowIsVisible(VORNWindowID window, int visible);

/* The window's refcon, null for an unknown id. */
VORN_API void* VORNGetWindowRefCon(VORNWindowID window);

/* Replaces the refcon passed to the window's callbacks. */
VORN_API void VORNSetWindowRefCon(VORNWindowID window, void* refcon);

/* Makes the window front-most. Focus does not change. */
VORN_API void VORNBringWindowToFront(VORNWindowID window);

/* 1 when window is the front-most visible window, else 0. */
VORN_API int VORNIsWindowInFront(VORNWindowID window);

/* The host's screen size in pixels (host fills the non-null pointers). */
VORN_API void VORNGetScreenSize(int* outWidth, int* outHeight);

/* The pointer position in screen coordinates, from the host. */
VORN_API void VORNGetMouseLocation(int* outX, int* outY);

/* ---- Hot keys ----------------------------------------------------------------
   A virtual key with exact modifier flags bound to a callback, matched before
   the windows see the key; the newest registration wins. */

typedef void* VORNHotKeyID;

/* Called when the hot key's combination is pressed; the key counts as taken
   even if the callback throws. */
typedef void (*VORNHotKey_f)(void* refcon);

/* Registers a hot key owned by the calling plug-in; description is copied
   (null counts as ""). Never refuses, duplicates included. Returns its id. */
VORN_API VORNHotKeyID VORNRegisterHotKey(char virtualKey, int flags, const char* description,
                                         VORNHotKey_f callback, void* refcon);

/* Removes a hot key, whoever registered it; unknown ids are ignored. */
VORN_API void VORNUnregisterHotKey(VORNHotKeyID hotKey);

/* The number of hot keys of all plug-ins. */
VORN_API int VORNCountHotKeys(void);

/* The index-th hot key, newest first from 0; null at or past the count and
   for negative indexes. */
VORN_API VORNHotKeyID VORNGetNthHotKey(int index);

/* Writes the hot key's combination, description (into a buffer of
   VORN_PATH_BUFFER_SIZE bytes, truncated to fit) and owner where the
   out-pointer is not null. Unknown ids write nothing. */
VORN_API void VORNGetHotKeyInfo(VORNHotKeyID hotKey, char* outVirtualKey, int* outFlags,
                                char* outDescription, VORNPluginID* outPlugin);

/* Rebinds the hot key to another combination, effective at the next key. */
VORN_API void VORNSetHotKeyCombination(VORNHotKeyID hotKey, char virtualKey, int flags);

VORN_END_DECLS

#endif
