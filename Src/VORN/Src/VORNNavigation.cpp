// VORNNavigation.cpp - navaid, flight-management and GPS queries, all served
// by the host. Each function is one indirect jump into its slot of the host
// hook table, arguments and result unchanged.

#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORN/VORNNavigation.h"

VORN_EXPORT VORNNavRef VORNGetFirstNavAid(void)
{
    return gHooks->GetFirstNavAid();
}

VORN_EXPORT VORNNavRef VORNGetNextNavAid(VORNNavRef ref)
{
    return gHooks->GetNextNavAid(ref);
}

VORN_EXPORT VORNNavRef VORNFindFirstNavAidOfType(VORNNavType type)
{
    return gHooks->FindFirstNavAidOfType(type);
}

VORN_EXPORT VORNNavRef VORNFindLastNavAidOfType(VORNNavType type)
{
    return gHooks->FindLastNavAidOfType(type);
}

VORN_EXPORT VORNNavRef VORNFindNavAid(const char* nameFragment, const char* idFragment,
                                      float* latitude, float* longitude, int* frequency,
                                      VORNNavType type)
{
    return gHooks->FindNavAid(nameFragment, idFragment, latitude, longitude, frequency, type);
}

VORN_EXPORT void VORNGetNavAidInfo(VORNNavRef ref, VORNNavType* outType, float* outLatitude,
                                   float* outLongitude, float* outHeight, int* outFrequency,
                                   float* outHeading, char* outID, char* outName,
                                   char* outRegion)
{
    gHooks->GetNavAidInfo(ref, outType, outLatitude, outLongitude, outHeight, outFrequency,
                          outHeading, outID, outName, outRegion);
}

VORN_EXPORT int VORNCountFMSEntries(void)
{
    return gHooks->CountFMSEntries();
}

VORN_EXPORT int VORNGetDisplayedFMSEntry(void)
{
    return gHooks->GetDisplayedFMSEntry();
}

VORN_EXPORT int VORNGetDestinationFMSEntry(void)
{
    return gHooks->GetDestinationFMSEntry();
}

VORN_EXPORT void VORNSetDisplayedFMSEntry(int index)
{
    gHooks->SetDisplayedFMSEntry(index);
}

VORN_EXPORT void VORNSetDestinationFMSEntry(int index)
{
    gHooks->SetDestinationFMSEntry(index);
}

VORN_EXPORT void VORNGetFMSEntryInfo(int index, VORNNavType* outType, char* outID,
                                     VORNNavRef* outRef, int* outAltitude, float* outLatitude,
                                     float* outLongitude)
{
    gHooks->GetFMSEntryInfo(index, outType, outID, outRef, outAltitude, outLatitude,
                            outLongitude);
}

VORN_EXPORT void VORNSetFMSEntryInfo(int index, VORNNavRef ref, int altitude)
{
    gHooks->SetFMSEntryInfo(index, ref, altitude);
}

VORN_EXPORT void VORNSetFMSEntryLatLon(int index, float latitude, float longitude, int altitude)
{
    gHooks->SetFMSEntryLatLon(index, latitude, longitude, altitude);
}

VORN_EXPORT void VORNClearFMSEntry(int index)
{
    gHooks->ClearFMSEntry(index);
}

VORN_EXPORT VORNNavType VORNGetGPSDestinationType(void)
{
    return gHooks->GetGPSDestinationType();
}

VORN_EXPORT VORNNavRef VORNGetGPSDestination(void)
{
    return gHooks->GetGPSDestination();
}
