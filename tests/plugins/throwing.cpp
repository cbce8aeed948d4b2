// A C++ plug-in whose message handler, VPluginDisable and VPluginStop throw.
#include "VORN/VORNPlugin.h"

#include <cstring>
#include <stdexcept>

VORN_PLUGIN_ENTRY int VPluginStart(char* outName, char* outSignature, char* outDescription)
{
    std::strcpy(outName, "Thrower");
    std::strcpy(outSignature, "test.thrower");
    std::strcpy(outDescription, "Throws out of its callbacks");
    return 1;
}

VORN_PLUGIN_ENTRY int VPluginEnable(void)
{
    return 1;
}

VORN_PLUGIN_ENTRY void VPluginReceiveMessage(VORNPluginID, int, void*)
{
    throw std::runtime_error("message handler failed");
}

VORN_PLUGIN_ENTRY void VPluginDisable(void)
{
    throw std::logic_error("disable failed");
}

VORN_PLUGIN_ENTRY void VPluginStop(void)
{
    throw 42;
}
