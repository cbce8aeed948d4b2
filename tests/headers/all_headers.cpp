// Every public header, included together, must compile as C++; the API
// forwarders must have exactly the signatures of the host slots they use.
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

#include <type_traits>

#define SAME_AS_SLOT(api, slot)                                                             \
    static_assert(std::is_same<decltype(&api), decltype(VORNHostHooks::slot)>::value,     \
                  #api " must match host slot " #slot)

SAME_AS_SLOT(VORNSetGraphicsState, SetGraphicsState);
SAME_AS_SLOT(VORNBindTexture2d, BindTexture2d);
SAME_AS_SLOT(VORNGenerateTextureNumbers, GenerateTextureNumbers);
SAME_AS_SLOT(VORNGetTexture, GetTexture);
SAME_AS_SLOT(VORNWorldToLocal, WorldToLocal);
SAME_AS_SLOT(VORNLocalToWorld, LocalToWorld);
SAME_AS_SLOT(VORNDrawTranslucentDarkBox, DrawTranslucentDarkBox);
SAME_AS_SLOT(VORNDrawString, DrawString);
SAME_AS_SLOT(VORNDrawNumber, DrawNumber);
SAME_AS_SLOT(VORNGetFontDimensions, GetFontDimensions);
SAME_AS_SLOT(VORNMeasureString, MeasureString);
SAME_AS_SLOT(VORNGetFirstNavAid, GetFirstNavAid);
SAME_AS_SLOT(VORNGetNextNavAid, GetNextNavAid);
SAME_AS_SLOT(VORNFindFirstNavAidOfType, FindFirstNavAidOfType);
SAME_AS_SLOT(VORNFindLastNavAidOfType, FindLastNavAidOfType);
SAME_AS_SLOT(VORNFindNavAid, FindNavAid);
SAME_AS_SLOT(VORNGetNavAidInfo, GetNavAidInfo);
SAME_AS_SLOT(VORNCountFMSEntries, CountFMSEntries);
SAME_AS_SLOT(VORNGetDisplayedFMSEntry, GetDisplayedFMSEntry);
SAME_AS_SLOT(VORNGetDestinationFMSEntry, GetDestinationFMSEntry);
SAME_AS_SLOT(VORNSetDisplayedFMSEntry, SetDisplayedFMSEntry);
SAME_AS_SLOT(VORNSetDestinationFMSEntry, SetDestinationFMSEntry);
SAME_AS_SLOT(VORNGetFMSEntryInfo, GetFMSEntryInfo);
SAME_AS_SLOT(VORNSetFMSEntryInfo, SetFMSEntryInfo);
SAME_AS_SLOT(VORNSetFMSEntryLatLon, SetFMSEntryLatLon);
SAME_AS_SLOT(VORNClearFMSEntry, ClearFMSEntry);
SAME_AS_SLOT(VORNGetGPSDestinationType, GetGPSDestinationType);
SAME_AS_SLOT(VORNGetGPSDestination, GetGPSDestination);
SAME_AS_SLOT(VORNSimulateKeyPress, SimulateKeyPress);
SAME_AS_SLOT(VORNSpeakString, SpeakString);
SAME_AS_SLOT(VORNCommandKeyStroke, CommandKeyStroke);
SAME_AS_SLOT(VORNReloadScenery, ReloadScenery);
SAME_AS_SLOT(VORNGetLanguage, GetLanguage);
SAME_AS_SLOT(VORNDebugString, DebugString);
SAME_AS_SLOT(VORNFindSymbol, FindSymbol);
SAME_AS_SLOT(VORNGetElapsedTime, GetElapsedTime);
SAME_AS_SLOT(VORNLookupObjects, LookupObjects);
SAME_AS_SLOT(VORNDrawAircraft, DrawAircraft);
SAME_AS_SLOT(VORNPlaceUserAtAirport, PlaceUserAtAirport);

int vorn_header_check_cxx()
{
    VORNHostHooks hooks = {};
    return static_cast<int>(sizeof hooks);
}
