// The hooked test plug-in's entry points run code the test installs (so any of them can throw
// across the module boundary): the test dlopens the installed module before the library does,
// and hands HookedInstall hooks that outlive it. AGENT_RUN_MESSAGE runs code as it (agent.h).
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
