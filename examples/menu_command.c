/* menu_command: a menu under "Plugins" whose item runs a command, and a
   handler that intercepts that command before the simulator handles it.
   With vorn-host: `vorn-host --script sample.txt` picks the item by name
   ("menu Plugins/Menu and command/Say hello"). */
#include <VORN/VORNMenus.h>
#include <VORN/VORNPlugin.h>
#include <VORN/VORNUtilities.h>

#include <string.h>

static VORNMenuID gMenu = NULL;
static VORNCommandRef gSayHello = NULL;

/* Before-handler: phase 0 = begin, 1 = held, 2 = end. Returning 0 would keep
   the simulator (and later handlers) from seeing the command. */
static int SayHelloHandler(VORNCommandRef command, int phase, void* refcon)
{
    (void)command;
    (void)refcon;
    if (phase == 0)
        VORNSpeakString("Hello from the menu_command example");
    return 1;
}

/* One handler for the menu; itemRef tells which item was picked. */
static void MenuHandler(void* menuRef, void* itemRef)
{
    (void)menuRef;
    if (strcmp((const char*)itemRef, "hello") == 0)
        VORNCommandOnce(gSayHello);
}

VORN_PLUGIN_ENTRY int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    strcpy(outName, "Menu and command");
    strcpy(outSignature, "vorn.examples.menu_command");
    strcpy(outDescription, "A menu item that runs a command with a handler.");
    return 1;
}

VORN_PLUGIN_ENTRY int VPluginEnable(void)
{
    /* No parent: the menu hangs off a new item of the shared "Plugins" menu. */
    gMenu = VORNCreateMenu("Menu and command", NULL, 0, MenuHandler, NULL);
    VORNAppendMenuItem(gMenu, "Say hello", (void*)"hello", 0);
    /* Commands outside "sim/" belong to plug-ins. */
    gSayHello = VORNCreateCommand("vorn/examples/say_hello", "Say hello");
    VORNRegisterCommandHandler(gSayHello, SayHelloHandler, 1, NULL);
    return 1;
}

VORN_PLUGIN_ENTRY void VPluginDisable(void)
{
    /* Remove our own registrations; the library would on unload, but a tidy
       plug-in leaves nothing behind when it is switched off. */
    VORNUnregisterCommandHandler(gSayHello, SayHelloHandler, 1, NULL);
    VORNDestroyMenu(gMenu);
    VORNClearAllMenuItems(VORNFindPluginsMenu());
    gMenu = NULL;
}

VORN_PLUGIN_ENTRY void VPluginStop(void) {}
