/*
 * VORNMenus.h - plug-in menus and menu items in the simulator's menu bar.
 *
 * All plug-ins share one top-level menu, "Plugins" (VORNFindPluginsMenu).
 * Item indices are per plug-in: in any menu, index n names the calling
 * plug-in's own (n+1)-th item, whatever other plug-ins appended around it.
 * A menu id is an opaque handle owned by the library; an unknown or null
 * menu id is ignored (queries give -1 or nothing).
 */
#ifndef VORN_MENUS_H
#define VORN_MENUS_H

#include "VORNDefs.h"

VORN_BEGIN_DECLS

/* Opaque handle of a menu. */
typedef void* VORNMenuID;

/* Called when the user picks one of the menu's items: the menuRef given to
   VORNCreateMenu and the itemRef given when the item was appended. An
   exception it throws is logged and ignored; the pick counts as handled. */
typedef void (*VORNMenuHandler_f)(void* menuRef, void* itemRef);

/* Check states of an item. */
#define VORN_MENU_NO_CHECK 0
#define VORN_MENU_UNCHECKED 1
#define VORN_MENU_CHECKED 2

/* The shared "Plugins" menu (null before the host has started the library). */
VORN_API VORNMenuID VORNFindPluginsMenu(void);

/* Creates a menu owned by the caller. With a null parent an item named name is
   appended to the "Plugins" menu and the new menu hangs off it; otherwise it
   hangs off the caller's item parentItem of parent. handler (may be null)
   receives picks. Returns the new menu, or null for an unknown parent. */
VORN_API VORNMenuID VORNCreateMenu(const char* name, VORNMenuID parent, int parentItem,
                                   VORNMenuHandler_f handler, void* menuRef);

/* Destroys a menu the caller created, with the caller's items in it. Menus
   of other plug-ins, unknown menus and the "Plugins" menu are left alone. */
VORN_API void VORNDestroyMenu(VORNMenuID menu);

/* Removes all of the caller's items from menu, if the caller created menu or
   it is the "Plugins" menu; other plug-ins' items stay. */
VORN_API void VORNClearAllMenuItems(VORNMenuID menu);

/* Appends an item (forceEnglish is passed to the host as is). Returns the
   caller's index of the new item, or -1 for an unknown menu. A null name is
   taken as "". */
VORN_API int VORNAppendMenuItem(VORNMenuID menu, const char* name, void* itemRef,
                                int forceEnglish);

/* Appends a separator; result as VORNAppendMenuItem. */
VORN_API int VORNAppendMenuSeparator(VORNMenuID menu);

/* Renames the caller's item index. An index out of range is reported to the
   caller's error callback; the name is not copied by the library. */
VORN_API void VORNSetMenuItemName(VORNMenuID menu, int index, const char* name);

/* Sets the check state (VORN_MENU_...) of the caller's item index. */
VORN_API void VORNCheckMenuItem(VORNMenuID menu, int index, int check);

/* Writes the check state of the caller's item index to outCheck (skipped
   when null). */
VORN_API void VORNCheckMenuItemState(VORNMenuID menu, int index, int* outCheck);

/* Enables (non-zero) or disables (0) the caller's item index; a disabled
   item's picks are not delivered. */
VORN_API void VORNEnableMenuItem(VORNMenuID menu, int index, int enabled);

/* Removes the caller's item index; the caller's later items move down by one. */
VORN_API void VORNRemoveMenuItem(VORNMenuID menu, int index);

VORN_END_DECLS

#endif /* VORN_MENUS_H */
