/* window_focus: a window that takes the keyboard when it is clicked, shows
   the keys typed into it, and can be dragged by its mouse callback. With
   vorn-host: `drag 60 290 260 490` moves it, `key a` then types into it. */
#include <VORN/VORNDisplay.h>
#include <VORN/VORNGraphics.h>
#include <VORN/VORNPlugin.h>
#include <VORN/VORNUtilities.h>

#include <stdio.h>
#include <string.h>

static VORNWindowID gWindow = NULL;
static char gTyped[64] = "";
static int gGrabX = 0, gGrabY = 0; /* pointer position of the last mouse event */

static void DrawWindow(VORNWindowID window, void* refcon)
{
    float white[3] = {1.0f, 1.0f, 1.0f};
    char line[96];
    int left, top, right, bottom;
    (void)refcon;
    VORNGetWindowGeometry(window, &left, &top, &right, &bottom);
    VORNDrawTranslucentDarkBox(left, top, right, bottom);
    snprintf(line, sizeof line, "Typed: %s", gTyped);
    VORNDrawString(white, left + 8, top - 16, line, NULL, VORN_FONT_BASIC);
}

/* Keys arrive only while the window has the keyboard focus. losingFocus 1
   says it has gone elsewhere (window is then the new owner, or null). */
static void HandleKey(VORNWindowID window, char key, int flags, char virtualKey, void* refcon,
                      int losingFocus)
{
    size_t length = strlen(gTyped);
    (void)window, (void)flags, (void)virtualKey, (void)refcon;
    if (losingFocus) {
        VORNDebugString("window_focus: lost the keyboard\n");
        return;
    }
    if (key >= ' ' && length + 1 < sizeof gTyped) {
        gTyped[length] = key;
        gTyped[length + 1] = '\0';
    }
}

/* Returning 1 from the mouse-down keeps the drag and up events coming to this
   window wherever the pointer goes; each drag moves the window along. */
static int HandleMouse(VORNWindowID window, int x, int y, int status, void* refcon)
{
    int left, top, right, bottom;
    (void)refcon;
    if (status == VORN_MOUSE_DOWN) {
        VORNTakeKeyboardFocus(window);
    } else if (status == VORN_MOUSE_DRAG) {
        VORNGetWindowGeometry(window, &left, &top, &right, &bottom);
        left += x - gGrabX, right += x - gGrabX;
        top += y - gGrabY, bottom += y - gGrabY;
        VORNSetWindowGeometry(window, left, top, right, bottom);
    } else {
        VORNGetWindowGeometry(window, &left, &top, &right, &bottom);
        char line[96];
        snprintf(line, sizeof line, "window_focus: dropped at %d,%d\n", left, bottom);
        VORNDebugString(line);
    }
    gGrabX = x;
    gGrabY = y;
    return 1;
}

VORN_PLUGIN_ENTRY int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    strcpy(outName, "Window focus");
    strcpy(outSignature, "vorn.examples.window_focus");
    strcpy(outDescription, "A draggable window that takes the keyboard when clicked.");
    return 1;
}

VORN_PLUGIN_ENTRY int VPluginEnable(void)
{
    VORNCreateWindow_t params;
    memset(&params, 0, sizeof params);
    params.structSize = sizeof params;
    params.left = 50;
    params.top = 300;
    params.right = 350;
    params.bottom = 200;
    params.visible = 1;
    params.drawWindowFunc = DrawWindow;
    params.handleMouseClickFunc = HandleMouse;
    params.handleKeyFunc = HandleKey;
    gWindow = VORNCreateWindowEx(&params);
    return 1;
}

VORN_PLUGIN_ENTRY void VPluginDisable(void)
{
    /* The focus and the drag have been taken back before this is called. */
    VORNDestroyWindow(gWindow);
    gWindow = NULL;
}

VORN_PLUGIN_ENTRY void VPluginStop(void) {}

VORN_PLUGIN_ENTRY void VPluginReceiveMessage(VORNPluginID from, int message, void* param)
{
    (void)from, (void)message, (void)param;
}
