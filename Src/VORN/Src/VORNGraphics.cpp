// VORNGraphics.cpp - drawing, texture, coordinate and font services, all
// served by the host. Each function is one indirect jump into its slot of
// the host hook table: no state, no checks, no bookkeeping.

#include "VORNHostInternal.h"
#include "VORNInternal.h"
#include "VORN/VORNGraphics.h"

VORN_EXPORT void VORNSetGraphicsState(int enableFog, int textureUnits, int enableLighting,
                                      int enableAlphaTesting, int enableAlphaBlending,
                                      int enableDepthTesting, int enableDepthWriting)
{
    gHooks->SetGraphicsState(enableFog, textureUnits, enableLighting, enableAlphaTesting,
                             enableAlphaBlending, enableDepthTesting, enableDepthWriting);
}

VORN_EXPORT void VORNBindTexture2d(int textureNum, int textureUnit)
{
    gHooks->BindTexture2d(textureNum, textureUnit);
}

VORN_EXPORT void VORNGenerateTextureNumbers(int* outTextureIDs, int count)
{
    gHooks->GenerateTextureNumbers(outTextureIDs, count);
}

VORN_EXPORT int VORNGetTexture(int textureID)
{
    return gHooks->GetTexture(textureID);
}

VORN_EXPORT void VORNWorldToLocal(double latitude, double longitude, double altitude,
                                  double* outX, double* outY, double* outZ)
{
    gHooks->WorldToLocal(latitude, longitude, altitude, outX, outY, outZ);
}

VORN_EXPORT void VORNLocalToWorld(double x, double y, double z, double* outLatitude,
                                  double* outLongitude, double* outAltitude)
{
    gHooks->LocalToWorld(x, y, z, outLatitude, outLongitude, outAltitude);
}

VORN_EXPORT void VORNDrawTranslucentDarkBox(int left, int top, int right, int bottom)
{
    gHooks->DrawTranslucentDarkBox(left, top, right, bottom);
}

VORN_EXPORT void VORNDrawString(float* colorRGB, int x, int y, char* text, int* wordWrapWidth,
                                VORNFontID font)
{
    gHooks->DrawString(colorRGB, x, y, text, wordWrapWidth, font);
}

VORN_EXPORT void VORNDrawNumber(float* colorRGB, int x, int y, double value, int digits,
                                int decimals, int showSign, VORNFontID font)
{
    gHooks->DrawNumber(colorRGB, x, y, value, digits, decimals, showSign, font);
}

VORN_EXPORT void VORNGetFontDimensions(VORNFontID font, int* outCharWidth, int* outCharHeight,
                                       int* outDigitsOnly)
{
    gHooks->GetFontDimensions(font, outCharWidth, outCharHeight, outDigitsOnly);
}

VORN_EXPORT float VORNMeasureString(VORNFontID font, const char* text, int numChars)
{
    return gHooks->MeasureString(font, text, numChars);
}
