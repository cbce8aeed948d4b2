// HostLibrary.h - libvorn.so opened at run time, as a simulator opens it,
// with its host entry points resolved by name.
#ifndef VORN_HOST_LIBRARY_H
#define VORN_HOST_LIBRARY_H

#include "VORN/VORNHostHooks.h"

#include <string>

namespace vornhost {

struct HostLibrary {
    void* handle = nullptr;
    // Always present.
    int (*InitializePlugins)(const char*, VORNHostHooks*, void*) = nullptr;
    void (*ShutdownPlugins)() = nullptr;
    int (*EventHook)(int, void*, float) = nullptr;
    int (*CountPlugins)() = nullptr;
    void (*GetPluginInfo)(int, char*, char*, char*, char*) = nullptr;
    int (*IsPluginEnabled)(int) = nullptr;
    int (*GetPluginInventory)(int, VORNPluginInventory*) = nullptr;
    void (*SetUnloadObserver)(VORNUnloadObserver_f) = nullptr;
    int (*GetMyID)() = nullptr;
    int (*EnablePlugin)(int) = nullptr;
    void (*DisablePlugin)(int) = nullptr;
    // Present once the subsystem that owns them is part of the library.
    int (*DoDrawingHook)(int, int) = nullptr;
    int (*MouseClickHook)(int, int, int) = nullptr;
    int (*KeyPressHook)(char, int, char, int) = nullptr;
    int (*CursorHook)(int, int) = nullptr;
    int (*ScrollWheelHook)(int, int, int, int) = nullptr;
    int (*MenuHook)(int) = nullptr;
    int (*CommandHook)(void*, int, int, int) = nullptr;
    int (*CameraHook)(float*, float*, float*, float*, float*, float*, float*) = nullptr;
    // Time accounting, in libraries that have it.
    void (*SetTimeAccounting)(int) = nullptr;
    void (*SetFrameBudget)(float) = nullptr;
    int (*GetPluginCallTimes)(int, int, VORNCallTimes*) = nullptr;
    void (*SetCallObserver)(VORNCallObserver_f, void*) = nullptr;

    // Opens path (or the default library when path is empty). On failure
    // returns false with a sentence for the user in error.
    bool Open(const std::string& path, std::string& error);
    ~HostLibrary();

    // The library the tool was built with, or the installed one beside it.
    static std::string DefaultPath();
};

}  // namespace vornhost

#endif
