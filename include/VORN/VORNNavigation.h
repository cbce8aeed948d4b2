/*
 * VORNNavigation.h - the host's navaid database, flight-management plan and
 * GPS destination. Each call goes straight to the host with its arguments
 * unchanged; the library neither reads nor checks them.
 */
#ifndef VORN_NAVIGATION_H
#define VORN_NAVIGATION_H

#include "VORNDefs.h"

VORN_BEGIN_DECLS

/* Kinds of navaid; bits, so that searches can ask for several at once. */
typedef int VORNNavType;
#define VORN_NAV_UNKNOWN 0
#define VORN_NAV_AIRPORT 1
#define VORN_NAV_NDB 2
#define VORN_NAV_VOR 4
#define VORN_NAV_ILS 8
#define VORN_NAV_LOCALIZER 16
#define VORN_NAV_GLIDESLOPE 32
#define VORN_NAV_OUTER_MARKER 64
#define VORN_NAV_MIDDLE_MARKER 128
#define VORN_NAV_INNER_MARKER 256
#define VORN_NAV_FIX 512
#define VORN_NAV_DME 1024
#define VORN_NAV_LATLON 2048

/* An entry of the navaid database; VORN_NAV_NOT_FOUND when there is none. */
typedef int VORNNavRef;
#define VORN_NAV_NOT_FOUND (-1)

/* First navaid of the database. */
VORN_API VORNNavRef VORNGetFirstNavAid(void);
/* Navaid after ref in database order. */
VORN_API VORNNavRef VORNGetNextNavAid(VORNNavRef ref);
/* First / last navaid of the given kind. */
VORN_API VORNNavRef VORNFindFirstNavAidOfType(VORNNavType type);
VORN_API VORNNavRef VORNFindLastNavAidOfType(VORNNavType type);

/* Searches by name and id fragments, near (lat, lon) and on frequency, among
   the kinds in type; every criterion pointer may be null. */
VORN_API VORNNavRef VORNFindNavAid(const char* nameFragment, const char* idFragment,
                                   float* latitude, float* longitude, int* frequency,
                                   VORNNavType type);

/* Reads a navaid's fields; each out-pointer may be null. outID holds 32
   bytes, outName 256, outRegion 1. */
VORN_API void VORNGetNavAidInfo(VORNNavRef ref, VORNNavType* outType, float* outLatitude,
                                float* outLongitude, float* outHeight, int* outFrequency,
                                float* outHeading, char* outID, char* outName, char* outRegion);

/* Number of entries of the flight plan. */
VORN_API int VORNCountFMSEntries(void);
/* Entry shown on the flight-management display / the active destination. */
VORN_API int VORNGetDisplayedFMSEntry(void);
VORN_API int VORNGetDestinationFMSEntry(void);
VORN_API void VORNSetDisplayedFMSEntry(int index);
VORN_API void VORNSetDestinationFMSEntry(int index);

/* Reads flight-plan entry index; each out-pointer may be null. */
VORN_API void VORNGetFMSEntryInfo(int index, VORNNavType* outType, char* outID,
                                  VORNNavRef* outRef, int* outAltitude,
                                  float* outLatitude, float* outLongitude);
/* Sets entry index to navaid ref at altitude (feet). */
VORN_API void VORNSetFMSEntryInfo(int index, VORNNavRef ref, int altitude);
/* Sets entry index to a latitude/longitude point at altitude (feet). */
VORN_API void VORNSetFMSEntryLatLon(int index, float latitude, float longitude, int altitude);
/* Clears entry index. */
VORN_API void VORNClearFMSEntry(int index);

/* Kind and navaid of the GPS destination. */
VORN_API VORNNavType VORNGetGPSDestinationType(void);
VORN_API VORNNavRef VORNGetGPSDestination(void);

VORN_END_DECLS

#endif /* VORN_NAVIGATION_H */
