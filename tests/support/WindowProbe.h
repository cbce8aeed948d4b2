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
inline std::string Me() { return "/" + std::to_string(VORNGetMyID()); }
inline std::string S(int v) { return std::to_string(v); }

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
inline int DrawCb(int phase, int isBefore, void* r)
{
    return Logged(r, S(phase) + (isBefore ? "b" : "a"));
}
inline int SniffCb(char key, int flags, char vk, void* r) { return Logged(r, key + S(flags) + vk); }
inline void ProbeHotKey(void* refcon) { Logged(refcon, "hot"); }

// The refcon of a probe window.
struct WinProbe {
    explicit WinProbe(std::string n) : name(std::move(n)) {}
    std::string name;
    VORNWindowID id = nullptr;
    int mouseResult = 1;
    std::function<void(int status)> onMouse;
    std::function<void()> onCursor;
};

inline WinProbe& Log(VORNWindowID window, void* refcon, const std::string& what)
{
    auto* p = static_cast<WinProbe*>(refcon);
    gWindowCalls.push_back(p->name + " " + what + Me() + (window == p->id ? "" : " other id"));
    return *p;
}
inline void ProbeDraw(VORNWindowID w, void* r) { Log(w, r, "draw"); }
inline int ProbeMouse(VORNWindowID w, int x, int y, int status, void* r)
{
    WinProbe& p = Log(w, r, "mouse" + S(status) + " " + S(x) + "," + S(y));
    if (p.onMouse)
        p.onMouse(status);
    return p.mouseResult;
}
// Losing the focus, the window argument is the window taking it: logged by name.
inline void ProbeKey(VORNWindowID window, char key, int flags, char vk, void* refcon, int losing)
{
    auto* p = static_cast<WinProbe*>(refcon);
    auto* other = static_cast<WinProbe*>(VORNGetWindowRefCon(window));
    gWindowCalls.push_back(p->name + " key " + S(key) + " " + S(flags) + " " + S(vk) + " lose" +
                           S(losing) + " arg=" + (other != nullptr ? other->name : "null") + Me());
}
inline int ProbeCursor(VORNWindowID w, int x, int y, void* r)
{
    if (WinProbe& p = Log(w, r, "cursor " + S(x) + "," + S(y)); p.onCursor)
        p.onCursor();
    return 0;
}
inline int ProbeWheel(VORNWindowID w, int x, int y, int wheel, int clicks, void* r)
{
    Log(w, r, "wheel " + S(x) + "," + S(y) + " " + S(wheel) + " " + S(clicks));
    return 0;
}

// Creates a visible window with every probe callback for p.
inline VORNWindowID OpenProbeWindow(WinProbe& p, int left, int top, int right, int bottom)
{
    VORNCreateWindow_t params = {sizeof params, left,      top,         right,      bottom, 1,
                                 ProbeDraw,     ProbeMouse, ProbeKey,   ProbeCursor, ProbeWheel, &p};
    return p.id = VORNCreateWindowEx(&params);
}

}  // namespace vorntest

#endif
