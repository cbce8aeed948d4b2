// WindowProbe.h - display callbacks that log each call, with the plug-in it
// runs as, to gWindowCalls and then run an optional action: windows (WinProbe)
// and draw callbacks, key sniffers and hot keys (Cb). Public API only.
#ifndef VORN_TEST_WINDOW_PROBE_H
#define VORN_TEST_WINDOW_PROBE_H

#include "VORN/VORNDisplay.h"
#include "VORN/VORNPlugin.h"

#include <functional>
#include <string>
#include <vector>

namespace vorntest {

inline std::vector<std::string> gWindowCalls;

inline std::string Me()
{
    return "/" + std::to_string(VORNGetMyID());
}

// The refcon of a draw callback, key sniffer or hot key.
struct Cb {
    explicit Cb(std::string n) : name(std::move(n)) {}
    std::string name;
    int result = 1;
    std::function<void()> action;
};

inline int Logged(void* refcon, const std::string& what)
{
    auto* c = static_cast<Cb*>(refcon);
    gWindowCalls.push_back(c->name + " " + what + Me());
    if (c->action)
        c->action();
    return c->result;
}

inline int DrawCb(int phase, int isBefore, void* refcon)
{
    return Logged(refcon, std::to_string(phase) + (isBefore ? "b" : "a"));
}

inline int SniffCb(char key, int flags, char virtualKey, void* refcon)
{
    return Logged(refcon, key + std::to_string(flags) + virtualKey);
}

inline void ProbeHotKey(void* refcon)
{
    Logged(refcon, "hot");
}

// The refcon of a probe window.
struct WinProbe {
    explicit WinProbe(std::string n) : name(std::move(n)) {}
    std::string name;
    VORNWindowID id = nullptr;
    int mouseResult = 1;
    int cursorResult = 0;
    int wheelResult = 0;
    std::function<void()> onDraw;
    std::function<void(int status)> onMouse;
    std::function<void(int losingFocus)> onKey;
    std::function<void()> onCursor;
};

inline WinProbe& Log(VORNWindowID window, void* refcon, const std::string& what)
{
    auto* p = static_cast<WinProbe*>(refcon);
    gWindowCalls.push_back(p->name + " " + what + Me() + (window == p->id ? "" : " other id"));
    return *p;
}

inline void ProbeDraw(VORNWindowID window, void* refcon)
{
    if (WinProbe& p = Log(window, refcon, "draw"); p.onDraw)
        p.onDraw();
}

inline int ProbeMouse(VORNWindowID window, int x, int y, int status, void* refcon)
{
    WinProbe& p = Log(window, refcon,
                      "mouse" + std::to_string(status) + " " + std::to_string(x) + "," + std::to_string(y));
    if (p.onMouse)
        p.onMouse(status);
    return p.mouseResult;
}

// Losing the focus, the window argument is the window taking it: logged by name.
inline void ProbeKey(VORNWindowID window, char key, int flags, char virtualKey, void* refcon,
                     int losingFocus)
{
    auto* p = static_cast<WinProbe*>(refcon);
    auto* other = static_cast<WinProbe*>(VORNGetWindowRefCon(window));
    gWindowCalls.push_back(p->name + " key " + std::to_string(key) + " " + std::to_string(flags) +
                           " " + std::to_string(virtualKey) + " lose" + std::to_string(losingFocus) +
                           " arg=" + (other != nullptr ? other->name : "null") + Me());
    if (p->onKey)
        p->onKey(losingFocus);
}

inline int ProbeCursor(VORNWindowID window, int x, int y, void* refcon)
{
    WinProbe& p = Log(window, refcon, "cursor " + std::to_string(x) + "," + std::to_string(y));
    if (p.onCursor)
        p.onCursor();
    return p.cursorResult;
}

inline int ProbeWheel(VORNWindowID window, int x, int y, int wheel, int clicks, void* refcon)
{
    return Log(window, refcon,
               "wheel " + std::to_string(x) + "," + std::to_string(y) + " " + std::to_string(wheel) +
                   " " + std::to_string(clicks))
        .wheelResult;
}

// Creates a visible window with every probe callback for p.
inline VORNWindowID OpenProbeWindow(WinProbe& p, int left, int top, int right, int bottom)
{
    VORNCreateWindow_t params = {sizeof params, left,       top,        right,    bottom,
                                 1,             ProbeDraw,  ProbeMouse, ProbeKey, ProbeCursor,
                                 ProbeWheel,    &p};
    return p.id = VORNCreateWindowEx(&params);
}

}  // namespace vorntest

#endif
