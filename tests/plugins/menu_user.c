/* Enabled: its menu of two items, an item in "Plugins", a handler, a held command. */
#include "VORN/VORNMenus.h"
#include "VORN/VORNPlugin.h"
#include "VORN/VORNUtilities.h"

#include <string.h>

static int OnCommand(VORNCommandRef command, int phase, void* refcon)
{
    return (void)command, (void)phase, (void)refcon, 1;
}

VORN_API int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    strcpy(outName, "menu_user");
    strcpy(outSignature, "menu_user");
    strcpy(outDescription, "Builds menus and handles commands");
    return 1;
}

VORN_API int VPluginEnable(void)
{
    VORNMenuID menu = VORNCreateMenu("menu_user", NULL, 0, NULL, NULL);
    VORNAppendMenuItem(menu, "one", NULL, 0);
    VORNAppendMenuItem(menu, "two", NULL, 0);
    VORNAppendMenuItem(VORNFindPluginsMenu(), "loose", NULL, 0);
    VORNRegisterCommandHandler(VORNCreateCommand("vorn/shared", "Shared"), OnCommand, 1, NULL);
    VORNCommandBegin(VORNCreateCommand("vorn/menu_user", "Held while loaded"));
    return 1;
}

VORN_API void VPluginStop(void) {}

VORN_API void VPluginDisable(void) {}

VORN_API void VPluginReceiveMessage(VORNPluginID from, int message, void* param)
{
    (void)from, (void)message, (void)param;
}
