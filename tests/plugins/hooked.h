// The test's handle on the hooked test plug-in: a C++ plug-in whose entry
// points run code the test installs, so that the test can make any of them
// throw across the module boundary. A test opens the installed module with
// dlopen before the library loads it (both get the same instance), looks up
// HookedInstall and hands it a HookedHooks that outlives the plug-in.
// The message AGENT_RUN_MESSAGE runs test code as the plug-in (agent.h).
#ifndef VORN_TEST_HOOKED_H
#define VORN_TEST_HOOKED_H

#include <functional>

struct HookedHooks {
    std::function<int()> start;   // VPluginStart's result; 1 when unset
    std::function<int()> enable;  // VPluginEnable's result; 1 when unset
    std::function<void()> disable;
    std::function<void()> stop;
    std::function<void(int from, int message, void* param)> message;
};

extern "C" typedef void (*HookedInstall_f)(HookedHooks* hooks);

#endif
