// WindowProbe.h - test windows and hot keys that log every callback they
// get (with the plug-in they run as) and run an optional action from inside
// it. Uses the public API only, so unit and API tests share it.
#ifndef VORN_TEST_WINDOW_PROBE_H
#define VORN_TEST_WINDOW_PROBE_H

#include "VORN/VORNDisplay.h"
#include "VORN/VORNPlugin.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace vorntest {

// Callback log shared by every probe, in call order.
inline std::vector<std::string> gWindowCalls;
// Names of the probe windows by id, for logging window arguments.
inline std::map<const void*, std::string> gWindowNames;

inline std::string WindowName(const void* id)
{
    if (id == nullptr)
        return "null";
    auto it = gWindowNames.find(id);
    return it == gWindowNames.end() ? "?" : it->second;
}

// The refcon of a probe window.
struct WinProbe {
    explicit WinProbe(std::string n) : name(std::move(n)) {}
    std::string name;
    VORNWindowID id = nullptr;
    int mouseResult = 1;   // what the mouse callback returns
    int cursorResult = 0;  // what the cursor callback returns
    int wheelResult = 0;   // what the wheel callback returns
    std::function<void()> onDraw;
    std::function<void(int status)> onMouse;
    std::function<void(int losingFocus)> onKey;
    std::function<void()> onCursor;
};

inline std::string Me()
{
    return "/" + std::to_string(VORNGetMyID());
}

inline void ProbeDraw(VORNWindowID window, void* refcon)
{
    auto* p = static_cast<WinProbe*>(refcon);
    gWindowCalls.push_back(p->name + " draw" + Me() + (window == p->id ? "" : " other id"));
    if (p->onDraw)
        p->onDraw();
}

inline int ProbeMouse(VORNWindowID window, int x, int y, int status, void* refcon)
{
    auto* p = static_cast<WinProbe*>(refcon);
    gWindowCalls.push_back(p->name + " mouse" + std::to_string(status) + " " + std::to_string(x) +
                           "," + std::to_string(y) + Me() + (window == p->id ? "" : " other id"));
    if (p->onMouse)
        p->onMouse(status);
    return p->mouseResult;
}

inline void ProbeKey(VORNWindowID window, char key, int flags, char virtualKey, void* refcon,
                     int losingFocus)
{
    auto* p = static_cast<WinProbe*>(refcon);
    gWindowCalls.push_back(p->name + " key " + std::to_string(key) + " " + std::to_string(flags) +
                           " " + std::to_string(virtualKey) + " lose" +
                           std::to_string(losingFocus) + " arg=" + WindowName(window) + Me());
    if (p->onKey)
        p->onKey(losingFocus);
}

inline int ProbeCursor(VORNWindowID, int x, int y, void* refcon)
{
    auto* p = static_cast<WinProbe*>(refcon);
    gWindowCalls.push_back(p->name + " cursor " + std::to_string(x) + "," + std::to_string(y) +
                           Me());
    if (p->onCursor)
        p->onCursor();
    return p->cursorResult;
}

inline int ProbeWheel(VORNWindowID, int x, int y, int wheel, int clicks, void* refcon)
{
    auto* p = static_cast<WinProbe*>(refcon);
    gWindowCalls.push_back(p->name + " wheel " + std::to_string(x) + "," + std::to_string(y) +
                           " " + std::to_string(wheel) + " " + std::to_string(clicks) + Me());
    return p->wheelResult;
}

// Creates a visible window with every probe callback for p.
inline VORNWindowID OpenProbeWindow(WinProbe& p, int left, int top, int right, int bottom)
{
    VORNCreateWindow_t params = {sizeof params, left,       top,         right,       bottom,
                                 1,             ProbeDraw,  ProbeMouse,  ProbeKey,    ProbeCursor,
                                 ProbeWheel,    &p};
    p.id = VORNCreateWindowEx(&params);
    gWindowNames[p.id] = p.name;
    return p.id;
}

// The refcon of a probe hot key.
struct HotKeyProbe {
    explicit HotKeyProbe(std::string n) : name(std::move(n)) {}
    std::string name;
    std::function<void()> action;
};

inline void ProbeHotKey(void* refcon)
{
    auto* p = static_cast<HotKeyProbe*>(refcon);
    gWindowCalls.push_back(p->name + " hot" + Me());
    if (p->action)
        p->action();
}

}  // namespace vorntest

#endif
