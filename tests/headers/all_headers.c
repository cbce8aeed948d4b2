/* Every public header, included together, must compile as strict C99. */
#include "VORN/VORNCamera.h"
#include "VORN/VORNDataAccess.h"
#include "VORN/VORNDefs.h"
#include "VORN/VORNDisplay.h"
#include "VORN/VORNGraphics.h"
#include "VORN/VORNHostHooks.h"
#include "VORN/VORNMenus.h"
#include "VORN/VORNNavigation.h"
#include "VORN/VORNPlanes.h"
#include "VORN/VORNPlugin.h"
#include "VORN/VORNProcessing.h"
#include "VORN/VORNScenery.h"
#include "VORN/VORNUtilities.h"

/* A host fills the table by name. */
static void HostDebugString(const char* text)
{
    (void)text;
}

int vorn_header_check_c(void);
int vorn_header_check_c(void)
{
    VORNHostHooks hooks;
    hooks.version = 4;
    hooks.tableSize = VORN_HOST_HOOKS_SIZE;
    hooks.DebugString = HostDebugString;
    return (int)sizeof hooks + VORNInitializePlugins("/sim/", &hooks, 0);
}
