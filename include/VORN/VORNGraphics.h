/*
 * VORNGraphics.h - drawing state, textures, coordinate conversion and text,
 * all served by the host. Each call goes straight to the host; the library
 * adds nothing and checks nothing. Call only from drawing callbacks (or, for
 * the conversions and measurements, from any callback) on the main thread.
 */
#ifndef VORN_GRAPHICS_H
#define VORN_GRAPHICS_H

#include "VORNDefs.h"

VORN_BEGIN_DECLS

/* Fonts known to the host's text drawing. */
typedef int VORNFontID;
#define VORN_FONT_BASIC 0
#define VORN_FONT_PROPORTIONAL 18

/* Sets the host's drawing state: fog, number of texture units, lighting,
   alpha testing, alpha blending, depth testing, depth writing (0 = off). */
VORN_API void VORNSetGraphicsState(int enableFog, int textureUnits, int enableLighting,
                                   int enableAlphaTesting, int enableAlphaBlending,
                                   int enableDepthTesting, int enableDepthWriting);

/* Binds texture number textureNum on texture unit textureUnit. */
VORN_API void VORNBindTexture2d(int textureNum, int textureUnit);

/* Writes count fresh texture numbers into outTextureIDs (count ints). */
VORN_API void VORNGenerateTextureNumbers(int* outTextureIDs, int count);

/* Texture number of one of the host's own textures (host-defined ids). */
VORN_API int VORNGetTexture(int textureID);

/* Converts latitude, longitude (degrees) and elevation (metres) to the
   host's local coordinates (metres). */
VORN_API void VORNWorldToLocal(double latitude, double longitude, double altitude,
                               double* outX, double* outY, double* outZ);

/* Converts local coordinates back to latitude, longitude and elevation. */
VORN_API void VORNLocalToWorld(double x, double y, double z,
                               double* outLatitude, double* outLongitude, double* outAltitude);

/* Draws a translucent dark box (screen pixels, y grows upwards). */
VORN_API void VORNDrawTranslucentDarkBox(int left, int top, int right, int bottom);

/* Draws text at (x, y) in colour colorRGB (three floats 0..1). If
   wordWrapWidth is non-null the text wraps at that many pixels. */
VORN_API void VORNDrawString(float* colorRGB, int x, int y, char* text,
                             int* wordWrapWidth, VORNFontID font);

/* Draws value with `digits` digits, `decimals` after the point, and a sign
   when showSign is non-zero. */
VORN_API void VORNDrawNumber(float* colorRGB, int x, int y, double value, int digits,
                             int decimals, int showSign, VORNFontID font);

/* Reports a font's character width and height and whether it has only
   digits; null pointers are skipped by the host. */
VORN_API void VORNGetFontDimensions(VORNFontID font, int* outCharWidth, int* outCharHeight,
                                    int* outDigitsOnly);

/* Width in pixels of the first numChars characters of text. */
VORN_API float VORNMeasureString(VORNFontID font, const char* text, int numChars);

VORN_END_DECLS

#endif /* VORN_GRAPHICS_H */
