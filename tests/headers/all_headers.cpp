// Every public header, included together (by the C99 check's source), must
// compile as C++; the API forwarders must have exactly the signatures of the
// host slots they use.
#include "all_headers.c"

#include <type_traits>

#define SAME_AS_SLOT(slot)                                                                  \
    static_assert(std::is_same<decltype(&VORN##slot), decltype(VORNHostHooks::slot)>::value, \
                  "VORN" #slot " must match its host slot")

SAME_AS_SLOT(SetGraphicsState); SAME_AS_SLOT(BindTexture2d); SAME_AS_SLOT(GenerateTextureNumbers);
SAME_AS_SLOT(GetTexture); SAME_AS_SLOT(WorldToLocal); SAME_AS_SLOT(LocalToWorld);
SAME_AS_SLOT(DrawTranslucentDarkBox); SAME_AS_SLOT(DrawString); SAME_AS_SLOT(DrawNumber);
SAME_AS_SLOT(GetFontDimensions); SAME_AS_SLOT(MeasureString); SAME_AS_SLOT(GetFirstNavAid);
SAME_AS_SLOT(GetNextNavAid); SAME_AS_SLOT(FindFirstNavAidOfType);
SAME_AS_SLOT(FindLastNavAidOfType); SAME_AS_SLOT(FindNavAid); SAME_AS_SLOT(GetNavAidInfo);
SAME_AS_SLOT(CountFMSEntries); SAME_AS_SLOT(GetDisplayedFMSEntry);
SAME_AS_SLOT(GetDestinationFMSEntry); SAME_AS_SLOT(SetDisplayedFMSEntry);
SAME_AS_SLOT(SetDestinationFMSEntry); SAME_AS_SLOT(GetFMSEntryInfo); SAME_AS_SLOT(SetFMSEntryInfo);
SAME_AS_SLOT(SetFMSEntryLatLon); SAME_AS_SLOT(ClearFMSEntry); SAME_AS_SLOT(GetGPSDestinationType);
SAME_AS_SLOT(GetGPSDestination); SAME_AS_SLOT(SimulateKeyPress); SAME_AS_SLOT(SpeakString);
SAME_AS_SLOT(CommandKeyStroke); SAME_AS_SLOT(ReloadScenery); SAME_AS_SLOT(GetLanguage);
SAME_AS_SLOT(DebugString); SAME_AS_SLOT(FindSymbol); SAME_AS_SLOT(GetElapsedTime);
SAME_AS_SLOT(LookupObjects); SAME_AS_SLOT(DrawAircraft); SAME_AS_SLOT(PlaceUserAtAirport);
