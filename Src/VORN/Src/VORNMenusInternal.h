// VORNMenusInternal.h - the library's record of every plug-in menu and item.
#ifndef VORN_MENUS_INTERNAL_H
#define VORN_MENUS_INTERNAL_H

#include "VORN/VORNHostHooks.h"
#include "VORN/VORNMenus.h"

#include <cstddef>
#include <cstdint>
#include <vector>

struct VORNItemInfo_t {
    int32_t hostItem = 0;  // the host's id from AppendMenuItem, matched on picks
    void* itemRef = nullptr;
    int32_t check = VORN_MENU_NO_CHECK;
    int32_t enabled = 1;
    int32_t owner = VORN_NO_PLUGIN_ID;  // the plug-in that appended the item
    uint64_t serial = 0;  // increases with every item appended anywhere
};

struct VORNMenuInfo_t {
    long hostMenu = 0;
    void* menuRef = nullptr;
    std::vector<VORNItemInfo_t> items;  // in the host's order
    VORNMenuHandler_f handler = nullptr;
    int32_t owner = VORN_NO_PLUGIN_ID;  // 0 for the "Plugins" menu
    uint64_t serial = 0;  // increases with every menu created
};

// Creates the "Plugins" menu on the host's behalf, starting from an empty
// menu registry.
void VORNInitMenus();
// Frees every record without telling the host (for a fresh start).
void VORNResetMenus();

// The host's questions, in absolute item positions. Pick and enable return
// 1 when the item is not the library's; check returns 1 when no menu answers.
int VORNHandleMenuItemPick(int hostItem);
int VORNHandleMenuItemCheck(long hostMenu, int position, int* outCheck);
int VORNHandleMenuItemEnable(long hostMenu, int position);

// Counts the menus plugin created and the items it appended (in any menu).
void VORNCountMenuHoldings(int plugin, VORNPluginInventory* inventory);

// Removes the menus of an unloaded plug-in and its items in "Plugins".
void VORNMenuCleanupHook(int plugin);

// For tests: how many menus there are, and the menu at position in creation
// order ("Plugins" first), or null past the end. A menu id is its record.
size_t VORNMenuCount();
VORNMenuInfo_t* VORNMenuAt(size_t position);

#endif
