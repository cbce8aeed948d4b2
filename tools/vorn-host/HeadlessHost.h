// HeadlessHost.h - a simulator without a screen: the host hook table that
// vorn-host hands to the library. It keeps simulated time, the pointer, the
// menus and commands the plug-ins create, and prints the library's log.
#ifndef VORN_HEADLESS_HOST_H
#define VORN_HEADLESS_HOST_H

#include "HostLibrary.h"

#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace vornhost {

class HeadlessHost {
public:
    HeadlessHost(HostLibrary& library, std::ostream& log);
    ~HeadlessHost();

    VORNHostHooks table{};
    HostLibrary& library;
    std::ostream& log;
    bool echoLog = true;

    std::string systemPath;  // the root, ending with '/'
    std::string aircraftPath;
    float time = 0.0f;
    int mouseX = 0, mouseY = 0;
    int screenWidth = 1024, screenHeight = 768;

    // Plug-in code that ran while its plug-in was disabled: watchedId is the
    // plug-in to watch (0 = none), each entry names the host service it used.
    int watchedId = 0;
    std::vector<std::string> callsWhileDisabled;
    void NoteCall(const char* service);

    // ---- menus, as the host draws them ----
    struct Menu {
        long id;
        std::string name;
        long parent;     // 0 for a top-level menu
        int parentItem;  // position of the item in parent that opens it
        std::vector<std::pair<int, std::string>> items;  // host item id, name
    };
    std::vector<Menu> menus;
    // Resolves "Plugins/Sample/Say hello" to a host item id; -1 if unknown.
    int FindMenuItem(const std::string& path) const;

    // ---- commands ----
    void* Command(const std::string& name, bool create);
    std::string CommandName(void* command) const;

private:
    struct CommandRecord {
        std::string name;
    };
    std::map<std::string, std::unique_ptr<CommandRecord>> mCommands;
    long mNextMenu = 1;
    int mNextItem = 1;
    int mNextProbe = 0;

    friend struct Slots;
};

}  // namespace vornhost

#endif
