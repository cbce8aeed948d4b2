// LibraryReset.h - puts every subsystem's process-wide state back to "just
// loaded", without a host table or gtest: shared by the unit-test fixture and
// the API-sequence fuzzer, which both run many library lifetimes in one
// process. Data refs are the exception: their records live as long as the
// process, so callers use names of their own.
#ifndef VORN_TEST_LIBRARY_RESET_H
#define VORN_TEST_LIBRARY_RESET_H

#include "VORNCameraInternal.h"
#include "VORNDisplayInternal.h"
#include "VORNLoaderInternal.h"
#include "VORNMenusInternal.h"
#include "VORNPlanesInternal.h"
#include "VORNProcessingInternal.h"
#include "VORNSceneryInternal.h"
#include "VORNUtilitiesInternal.h"

namespace vorntest {

inline void ResetLibraryState()
{
    VORNClearPluginRegistry();
    VORNDisplayReset();
    VORNProcessingReset(true);
    VORNResetScenery();
    VORNResetPlanes();
    VORNResetCamera();
    gButtons.clear();
    VORNResetMenus();
    VORNResetCommands();
    gDispatchedPlugin = 0;
    gScheduleReload = false;
}

}  // namespace vorntest

#endif
