/* A plug-in that builds menus and handles commands the way real ones do.
   Its name is its module's file name without ".vpl", so copies at several
   paths act as several plug-ins. When enabled it appends an item to
   "Plugins", creates its own menu (hung off "Plugins") with items "one" and
   "two", registers a before-handler for "vorn/shared" and holds
   "vorn/<name>". It logs "<name:what id=N>" for everything that happens. */
#define _GNU_SOURCE
#include "VORN/VORNMenus.h"
#include "VORN/VORNPlugin.h"
#include "VORN/VORNUtilities.h"

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

static char gName[256] = "menu_user";
static VORNMenuID gMenu = NULL;

static void Say(const char* what)
{
    char line[600];
    snprintf(line, sizeof line, "<%s:%s id=%d>", gName, what, VORNGetMyID());
    VORNDebugString(line);
}

static void OnPick(void* menuRef, void* itemRef)
{
    char what[300];
    snprintf(what, sizeof what, "pick %s/%s", (const char*)menuRef, (const char*)itemRef);
    Say(what);
}

static int OnCommand(VORNCommandRef command, int phase, void* refcon)
{
    char what[64];
    (void)command;
    (void)refcon;
    snprintf(what, sizeof what, "command phase %d", phase);
    Say(what);
    return 1;
}

VORN_API int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    Dl_info info;
    if (dladdr((void*)&Say, &info) != 0 && info.dli_fname != NULL) {
        const char* base = strrchr(info.dli_fname, '/');
        snprintf(gName, sizeof gName, "%s", base != NULL ? base + 1 : info.dli_fname);
        gName[strcspn(gName, ".")] = '\0';
    }
    strcpy(outName, gName);
    snprintf(outSignature, 256, "menu_user.%.200s", gName);
    strcpy(outDescription, "Builds menus and handles commands");
    return 1;
}

VORN_API int VPluginEnable(void)
{
    char what[128];
    char hold[300];
    VORNCommandRef shared;
    const int loose = VORNAppendMenuItem(VORNFindPluginsMenu(), gName, NULL, 0);
    gMenu = VORNCreateMenu(gName, NULL, 0, OnPick, gName);
    const int one = VORNAppendMenuItem(gMenu, "one", "one", 0);
    const int two = VORNAppendMenuItem(gMenu, "two", "two", 0);
    snprintf(what, sizeof what, "items %d %d %d", loose, one, two);
    Say(what);
    shared = VORNCreateCommand("vorn/shared", "Shared by every copy");
    VORNRegisterCommandHandler(shared, OnCommand, 1, NULL);
    snprintf(hold, sizeof hold, "vorn/%.200s", gName);
    VORNCommandBegin(VORNCreateCommand(hold, "Held while loaded"));
    return 1;
}

VORN_API void VPluginStop(void)
{
    Say("stop");
}

VORN_API void VPluginDisable(void)
{
}

VORN_API void VPluginReceiveMessage(VORNPluginID from, int message, void* param)
{
    (void)from;
    (void)message;
    (void)param;
}
