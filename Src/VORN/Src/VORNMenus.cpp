// VORNMenus.cpp - plug-in menus in the host's menu bar: the library's record
// of every menu and item, per-plug-in item numbering, routing of the host's
// picks and check/enable questions, and removal of what a plug-in leaves.

#include "VORNMenusInternal.h"

#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORNLoaderInternal.h"

#include <algorithm>
#include <memory>
#include <set>
#include <tuple>
#include <vector>

namespace {

const char kPluginsMenuName[] = "Plugins";
const char kSeparatorName[] = "-";

using ItemKey = std::tuple<int32_t, uint64_t, uint64_t>;  // host item or owner, menu, item
using MenuKey = std::pair<int32_t, uint64_t>;              // owner, menu

struct MenusState {
    // Every menu, in creation order. A menu id is the address of its record.
    std::vector<std::unique_ptr<VORNMenuInfo_t>> menus;
    // The shared "Plugins" menu; null until VORNInitMenus.
    VORNMenuInfo_t* pluginMenu = nullptr;
    // Menus and items are numbered as they are made; since menus only ever
    // join the end of menus and items the end of their menu, and removals
    // keep the order of the rest, (menu serial, item serial) orders items
    // exactly as a walk over every menu's items does.
    uint64_t nextMenuSerial = 1;
    uint64_t nextItemSerial = 1;
    // Every item by its host id, then in walk order: a pick finds the first
    // item the host means with one look-up however many items there are.
    std::set<ItemKey> itemsByHostId;
    // Every menu and every item by its owner, in creation order, so that a
    // plug-in's clean-up and its count visit only what it made.
    std::set<MenuKey> menusByOwner;
    std::set<ItemKey> itemsByOwner;
};
MenusState gMenus;

ItemKey KeyOf(const VORNMenuInfo_t& menu, const VORNItemInfo_t& item)
{
    return ItemKey(item.hostItem, menu.serial, item.serial);
}

ItemKey OwnerKeyOf(const VORNMenuInfo_t& menu, const VORNItemInfo_t& item)
{
    return ItemKey(item.owner, menu.serial, item.serial);
}

void ForgetItemsOf(const VORNMenuInfo_t& menu)
{
    for (const VORNItemInfo_t& item : menu.items) {
        gMenus.itemsByHostId.erase(KeyOf(menu, item));
        gMenus.itemsByOwner.erase(OwnerKeyOf(menu, item));
    }
}

// The menu numbered serial; it must exist.
std::vector<std::unique_ptr<VORNMenuInfo_t>>::iterator MenuBySerial(uint64_t serial)
{
    return std::lower_bound(gMenus.menus.begin(), gMenus.menus.end(), serial,
                            [](const auto& m, uint64_t s) { return m->serial < s; });
}

// The position in menu of the item numbered serial; it must exist.
int PositionOf(const VORNMenuInfo_t& menu, uint64_t serial)
{
    const auto item = std::lower_bound(
        menu.items.begin(), menu.items.end(), serial,
        [](const VORNItemInfo_t& it, uint64_t s) { return it.serial < s; });
    return static_cast<int>(item - menu.items.begin());
}

// The first item in walk order that the host knows as hostItem, with its
// menu; null when there is none.
VORNItemInfo_t* FindHostItem(int hostItem, VORNMenuInfo_t** outMenu)
{
    auto key = gMenus.itemsByHostId.lower_bound(ItemKey(hostItem, 0, 0));
    if (key == gMenus.itemsByHostId.end() || std::get<0>(*key) != hostItem)
        return nullptr;
    VORNMenuInfo_t* menu = MenuBySerial(std::get<1>(*key))->get();
    *outMenu = menu;
    return &menu->items[PositionOf(*menu, std::get<2>(*key))];
}

// How many of the keys in index (keys that start with an owner) are owner's.
template <typename Key>
int32_t CountOwned(const std::set<Key>& index, int32_t owner)
{
    Key first{};
    std::get<0>(first) = owner;
    int32_t count = 0;
    for (auto key = index.lower_bound(first); key != index.end() && std::get<0>(*key) == owner;
         ++key)
        ++count;
    return count;
}

// The record behind a menu id, or null for an id the library never handed out
// (or one already destroyed), so that a bad id is ignored instead of followed.
VORNMenuInfo_t* FindMenu(VORNMenuID id)
{
    if (id == nullptr)
        return nullptr;
    for (const auto& menu : gMenus.menus) {
        if (menu.get() == id)
            return menu.get();
    }
    return nullptr;
}

// Absolute position of plugin's item number index in menu, or -1.
int AbsolutePosition(const VORNMenuInfo_t& menu, int index, int plugin)
{
    if (index < 0)
        return -1;
    int seen = 0;
    for (size_t position = 0; position < menu.items.size(); ++position) {
        if (menu.items[position].owner == plugin && seen++ == index)
            return static_cast<int>(position);
    }
    return -1;
}

// The host is never handed a null name.
const char* NameOrEmpty(const char* name)
{
    return name != nullptr ? name : "";
}

int AppendItem(VORNMenuInfo_t& menu, const char* name, void* itemRef, int fourth)
{
    // Make room first (the index entries too): once the host has the item,
    // recording it cannot fail.
    menu.items.reserve(menu.items.size() + 1);
    std::set<ItemKey> staging{ItemKey(0, 0, 0), ItemKey(1, 0, 0)};
    auto indexEntry = staging.extract(staging.begin());
    auto ownerEntry = staging.extract(staging.begin());
    VORNItemInfo_t item;
    item.hostItem = gHooks->AppendMenuItem(menu.hostMenu, NameOrEmpty(name), itemRef, fourth);
    item.itemRef = itemRef;
    item.owner = VORNGetDispatchedPlugin();
    item.serial = gMenus.nextItemSerial++;
    const auto earlier = std::count_if(menu.items.begin(), menu.items.end(),
                                       [&item](const VORNItemInfo_t& it) {
                                           return it.owner == item.owner;
                                       });
    menu.items.push_back(item);
    indexEntry.value() = KeyOf(menu, item);
    gMenus.itemsByHostId.insert(std::move(indexEntry));
    ownerEntry.value() = OwnerKeyOf(menu, item);
    gMenus.itemsByOwner.insert(std::move(ownerEntry));
    return static_cast<int>(earlier);
}

VORNMenuInfo_t* CreateMenuRecord(const char* name, VORNMenuInfo_t* parent, int parentItem,
                                 VORNMenuHandler_f handler, void* menuRef)
{
    long hostParent = 0;
    int position = parentItem;  // only the "Plugins" menu itself has no parent
    if (parent != nullptr) {
        hostParent = parent->hostMenu;
        position = AbsolutePosition(*parent, parentItem, VORNGetDispatchedPlugin());
    }
    auto menu = std::make_unique<VORNMenuInfo_t>();
    gMenus.menus.reserve(gMenus.menus.size() + 1);
    std::set<MenuKey> staging{MenuKey()};
    auto ownerEntry = staging.extract(staging.begin());
    menu->hostMenu = gHooks->CreateMenu(hostParent, position, NameOrEmpty(name));
    menu->menuRef = menuRef;
    menu->handler = handler;
    menu->owner = VORNGetDispatchedPlugin();
    menu->serial = gMenus.nextMenuSerial++;
    ownerEntry.value() = MenuKey(menu->owner, menu->serial);
    gMenus.menusByOwner.insert(std::move(ownerEntry));
    gMenus.menus.push_back(std::move(menu));
    return gMenus.menus.back().get();
}

void RemoveItemAt(VORNMenuInfo_t& menu, int position)
{
    gHooks->RemoveMenuItem(menu.hostMenu, position);
    gMenus.itemsByHostId.erase(KeyOf(menu, menu.items[position]));
    gMenus.itemsByOwner.erase(OwnerKeyOf(menu, menu.items[position]));
    menu.items.erase(menu.items.begin() + position);
}

// Removes every item of plugin, first to last; the positions of the others
// close up.
void RemoveItemsOf(VORNMenuInfo_t& menu, int plugin)
{
    const auto& index = gMenus.itemsByOwner;
    for (auto key = index.lower_bound(ItemKey(plugin, menu.serial, 0));
         key != index.end() && std::get<0>(*key) == plugin && std::get<1>(*key) == menu.serial;
         key = index.lower_bound(ItemKey(plugin, menu.serial, 0)))
        RemoveItemAt(menu, PositionOf(menu, std::get<2>(*key)));
}

void EraseMenu(const VORNMenuInfo_t* menu)
{
    ForgetItemsOf(*menu);
    gMenus.menusByOwner.erase(MenuKey(menu->owner, menu->serial));
    gMenus.menus.erase(MenuBySerial(menu->serial));
}

// The item that the caller's index names, with its absolute position; on an
// out-of-range index the caller is told `message`. Unknown menus are ignored.
VORNItemInfo_t* ResolveItem(VORNMenuID id, int index, const char* message,
                            VORNMenuInfo_t** outMenu = nullptr, int* outPosition = nullptr)
{
    VORNMenuInfo_t* menu = FindMenu(id);
    if (menu == nullptr)
        return nullptr;
    const int position = AbsolutePosition(*menu, index, VORNGetDispatchedPlugin());
    if (position < 0) {
        VORNSendError(message);
        return nullptr;
    }
    if (outMenu != nullptr)
        *outMenu = menu;
    if (outPosition != nullptr)
        *outPosition = position;
    return &menu->items[position];
}

}  // namespace

// ---- Set-up -------------------------------------------------------------------

void VORNResetMenus()
{
    gMenus = MenusState();
}

void VORNInitMenus()
{
    StDispatchCallback asHost(VORN_HOST_PLUGIN_ID);
    // Records left from an earlier start name menus of an earlier host
    // session; keeping them would let stale handles answer the new host.
    VORNResetMenus();
    VORNNoThrow([&] {
        gMenus.pluginMenu = CreateMenuRecord(kPluginsMenuName, nullptr, 0, nullptr, nullptr);
    });
}

// ---- Plug-in API ----------------------------------------------------------------

VORN_EXPORT VORNMenuID VORNFindPluginsMenu(void)
{
    VORN_CHECK_THREAD(nullptr);
    return gMenus.pluginMenu;
}

VORN_EXPORT VORNMenuID VORNCreateMenu(const char* name, VORNMenuID parent, int parentItem,
                                      VORNMenuHandler_f handler, void* menuRef)
{
    VORN_CHECK_THREAD(nullptr);
    return VORNNoThrow(static_cast<VORNMenuID>(nullptr), [&]() -> VORNMenuID {
        VORNMenuInfo_t* parentMenu = nullptr;
        if (parent != nullptr) {
            parentMenu = FindMenu(parent);
            if (parentMenu == nullptr)
                return nullptr;
        } else if (gMenus.pluginMenu != nullptr) {
            // A top-level plug-in menu hangs off its own item in "Plugins".
            parentItem = AppendItem(*gMenus.pluginMenu, name, nullptr, 0);
            parentMenu = gMenus.pluginMenu;
        }
        return CreateMenuRecord(name, parentMenu, parentItem, handler, menuRef);
    });
}

VORN_EXPORT void VORNClearAllMenuItems(VORNMenuID id)
{
    VORN_CHECK_THREAD_VOID();
    VORNMenuInfo_t* menu = FindMenu(id);
    const int caller = VORNGetDispatchedPlugin();
    if (menu != nullptr && (menu->owner == caller || menu == gMenus.pluginMenu))
        RemoveItemsOf(*menu, caller);
}

VORN_EXPORT void VORNDestroyMenu(VORNMenuID id)
{
    VORN_CHECK_THREAD_VOID();
    VORNMenuInfo_t* menu = FindMenu(id);
    // The shared "Plugins" menu outlives every plug-in, the host included.
    if (menu == nullptr || menu == gMenus.pluginMenu || menu->owner != VORNGetDispatchedPlugin())
        return;
    VORNClearAllMenuItems(menu);
    // Hosts with a shorter table have no DestroyMenu slot.
    if (VORNHostTableSizeAtLeast(VORN_HOST_HOOKS_SIZE))
        gHooks->DestroyMenu(menu->hostMenu);
    EraseMenu(menu);
}

VORN_EXPORT int VORNAppendMenuItem(VORNMenuID id, const char* name, void* itemRef,
                                   int forceEnglish)
{
    VORN_CHECK_THREAD(0);
    VORNMenuInfo_t* menu = FindMenu(id);
    if (menu == nullptr)
        return -1;
    return VORNNoThrow(-1, [&] { return AppendItem(*menu, name, itemRef, forceEnglish); });
}

VORN_EXPORT int VORNAppendMenuSeparator(VORNMenuID id)
{
    VORN_CHECK_THREAD(0);
    return VORNAppendMenuItem(id, kSeparatorName, nullptr, 0);
}

VORN_EXPORT void VORNSetMenuItemName(VORNMenuID id, int index, const char* name)
{
    VORN_CHECK_THREAD_VOID();
    VORNMenuInfo_t* menu = nullptr;
    int position = -1;
    if (ResolveItem(id, index, "VORNSetMenuItemName was passed an out of range item index.",
                    &menu, &position) != nullptr)
        gHooks->SetMenuItemName(menu->hostMenu, position, NameOrEmpty(name));
}

VORN_EXPORT void VORNCheckMenuItem(VORNMenuID id, int index, int check)
{
    VORN_CHECK_THREAD_VOID();
    // The host reads check marks when it needs them (VORNCheckMenuHook).
    if (VORNItemInfo_t* item =
            ResolveItem(id, index, "VORNCheckMenuItem was passed an out of range item index."))
        item->check = check;
}

VORN_EXPORT void VORNCheckMenuItemState(VORNMenuID id, int index, int* outCheck)
{
    VORN_CHECK_THREAD_VOID();
    const VORNItemInfo_t* item = ResolveItem(
        id, index, "VORNCheckMenuItemState was passed an out of range item index.");
    if (item != nullptr && outCheck != nullptr)
        *outCheck = item->check;
}

VORN_EXPORT void VORNEnableMenuItem(VORNMenuID id, int index, int enabled)
{
    VORN_CHECK_THREAD_VOID();
    // This call has never had a message of its own; plug-ins match on this one.
    if (VORNItemInfo_t* item = ResolveItem(
            id, index, "VORNCheckMenuItemState was passed an out of range item index."))
        item->enabled = enabled;
}

VORN_EXPORT void VORNRemoveMenuItem(VORNMenuID id, int index)
{
    VORN_CHECK_THREAD_VOID();
    VORNMenuInfo_t* menu = nullptr;
    int position = -1;
    if (ResolveItem(id, index, "VORNRemoveMenuItem was passed an out of range item index.",
                    &menu, &position) != nullptr)
        RemoveItemAt(*menu, position);
}

// ---- The host's side --------------------------------------------------------------

int VORNHandleMenuItemPick(int hostItem)
{
    VORNMenuInfo_t* menu = nullptr;
    const VORNItemInfo_t* item = FindHostItem(hostItem, &menu);
    if (item == nullptr)
        return 1;
    if (menu->handler == nullptr || item->enabled == 0)
        return 0;
    // Copies: the handler may create or destroy menus, this one included.
    const VORNMenuHandler_f handler = menu->handler;
    void* const menuRef = menu->menuRef;
    void* const itemRef = item->itemRef;
    VORNCallPlugin(VORNCallKind::kMenu, menu->owner, [&] { handler(menuRef, itemRef); });
    return 0;
}

int VORNHandleMenuItemCheck(long hostMenu, int position, int* outCheck)
{
    for (const auto& menu : gMenus.menus) {
        if (menu->hostMenu != hostMenu || position < 0 ||
            static_cast<size_t>(position) >= menu->items.size())
            continue;
        const int check = menu->items[position].check;
        if (check >= VORN_MENU_NO_CHECK && check <= VORN_MENU_CHECKED) {
            if (outCheck != nullptr)
                *outCheck = check - 1;  // the host's -1 none, 0 unchecked, 1 checked
            return 0;
        }
    }
    return 1;
}

int VORNHandleMenuItemEnable(long hostMenu, int position)
{
    const auto menu = std::find_if(gMenus.menus.begin(), gMenus.menus.end(),
                                   [hostMenu](const auto& m) { return m->hostMenu == hostMenu; });
    if (menu == gMenus.menus.end() || position < 0 ||
        static_cast<size_t>(position) >= (*menu)->items.size())
        return 1;
    const int owner = (*menu)->owner;
    const int enabled = (*menu)->items[position].enabled;
    // Judged by the menu's owner: items that plug-ins put into "Plugins"
    // follow the host's entry, which is always enabled.
    if (owner >= 0 && !VORNIsPluginEnabled(owner))
        return 0;
    return enabled;
}

void VORNCountMenuHoldings(int plugin, VORNPluginInventory* inventory)
{
    inventory->menus += CountOwned(gMenus.menusByOwner, plugin);
    inventory->menuItems += CountOwned(gMenus.itemsByOwner, plugin);
}

size_t VORNMenuCount()
{
    return gMenus.menus.size();
}

VORNMenuInfo_t* VORNMenuAt(size_t position)
{
    return position < gMenus.menus.size() ? gMenus.menus[position].get() : nullptr;
}

// ---- Clean-up ------------------------------------------------------------------

void VORNMenuCleanupHook(int plugin)
{
    // Its menus, oldest first, except "Plugins", which outlives everyone.
    const auto& menus = gMenus.menusByOwner;
    uint64_t after = 0;
    for (auto key = menus.lower_bound(MenuKey(plugin, after));
         key != menus.end() && key->first == plugin;
         key = menus.lower_bound(MenuKey(plugin, after))) {
        after = key->second + 1;
        VORNMenuInfo_t* menu = MenuBySerial(key->second)->get();
        if (menu == gMenus.pluginMenu)
            continue;
        // The whole menu goes; the host drops its items with it. A host
        // whose table stops short of the DestroyMenu slot cannot be told.
        if (VORNHostTableSizeAtLeast(VORN_HOST_HOOKS_SIZE))
            gHooks->DestroyMenu(menu->hostMenu);
        EraseMenu(menu);
    }
    if (gMenus.pluginMenu != nullptr)
        RemoveItemsOf(*gMenus.pluginMenu, plugin);
}
