#include "Checker.h"

#include "Simulator.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace vornhost {

namespace {

// The child reports through a pipe, one line at a time: "phase <name>" before
// each phase and "finding <text>" for each finding.
FILE* gReport = nullptr;

void Report(const std::string& kind, const std::string& text)
{
    std::fprintf(gReport, "%s %s\n", kind.c_str(), text.c_str());
    std::fflush(gReport);
}

void Finding(const std::string& text)
{
    Report("finding", text);
}

// Why the module did not load, from the library's own log lines.
void ExplainLoadFailure(const std::string& log, const std::string& module)
{
    if (log.find("refused to start") != std::string::npos)
        Finding("refused to start: VPluginStart returned 0");
    else if (log.find("missing the VPluginStart") != std::string::npos)
        Finding("not a plug-in: the module does not export VPluginStart (use VORN_PLUGIN_ENTRY)");
    else if (log.find(" Signature: . (A version") != std::string::npos)
        Finding("empty signature: VPluginStart must write a unique signature, e.g. \"company.product.plugin\"");
    else if (log.find("already loaded") != std::string::npos)
        Finding("duplicate signature: another plug-in (or the host) already uses it");
    else if (log.find("dlerror:") != std::string::npos)
        Finding("cannot be opened as a module: " +
                log.substr(log.find("dlerror:") + 8, log.find('\n', log.find("dlerror:")) - log.find("dlerror:") - 8));
    else
        Finding("no module found: expected a .vpl file, or a folder with 64/lin.vpl or lin.vpl (" + module + ")");
}

void PickAllMenuItems(HeadlessHost& host, HostLibrary& lib)
{
    if (lib.MenuHook == nullptr)
        return;
    std::vector<int> items;
    for (const HeadlessHost::Menu& menu : host.menus)
        for (const auto& item : menu.items)
            items.push_back(item.first);
    for (int item : items)
        lib.MenuHook(item);
}

VORNPluginInventory gLeftover{};
bool gSawUnload = false;

void OnUnload(VORNPluginID id, const VORNPluginInventory* leftover)
{
    if (id == 1 && leftover != nullptr) {
        gLeftover = *leftover;
        gSawUnload = true;
    }
}

void ReportLeftovers(const VORNPluginInventory& inv)
{
    const std::pair<int, const char*> kinds[] = {
        {inv.dataRefs, "data refs"}, {inv.sharedData, "shared-data subscriptions"},
        {inv.flightLoops, "flight loops"}, {inv.drawCallbacks, "draw callbacks"},
        {inv.keySniffers, "key sniffers"}, {inv.windows, "windows"}, {inv.hotKeys, "hot keys"},
        {inv.menus, "menus"}, {inv.menuItems, "menu items"}, {inv.commandHandlers, "command handlers"},
        {inv.heldCommands, "held commands"}, {inv.probes, "terrain probes"},
        {inv.objects, "scenery objects"}, {inv.planes, "multiplayer aircraft (still acquired)"},
        {inv.camera, "camera control"},
    };
    for (const auto& [count, what] : kinds) {
        if (count > 0)
            Finding("left " + std::to_string(count) + " " + what +
                    " registered at unload: remove its own in VPluginStop or VPluginDisable");
    }
}

// Calls of plug-in id that took longer than the budget, one finding per kind.
void ReportSlowCalls(HostLibrary& lib, int id, float budgetMs)
{
    if (lib.GetPluginCallTimes == nullptr)
        return;
    VORNCallTimes times{};
    times.structSize = sizeof times;
    for (int index = 0; lib.GetPluginCallTimes(id, index, &times) == 1; ++index) {
        if (times.overBudget == 0)
            continue;
        char text[512];
        std::snprintf(text, sizeof text,
                      "its %s took up to %.3f ms, longer than the budget of %g ms (%lld of %lld "
                      "calls): spread slow work over several frames or move it off the main "
                      "thread",
                      times.label, static_cast<double>(times.maxNs) / 1e6,
                      static_cast<double>(budgetMs), static_cast<long long>(times.overBudget),
                      static_cast<long long>(times.calls));
        Finding(text);
    }
}

// The whole check, run in the child process.
int RunCheck(const std::string& plugin, const std::string& library, float budgetMs,
             const fs::path& scratch)
{
    HostLibrary lib;
    std::string error;
    Report("phase", "loading the library");
    if (!lib.Open(library, error)) {
        Report("error", error);
        return 2;
    }
    const fs::path plugins = scratch / "Resources" / "plugins";
    fs::create_directories(plugins);
    const fs::path source(plugin);
    std::error_code copyError;
    if (fs::is_directory(source))
        fs::copy(source, plugins / source.filename(), fs::copy_options::recursive, copyError);
    else
        fs::copy_file(source, plugins / source.filename(), copyError);
    if (copyError) {
        Report("error", "cannot copy " + plugin + ": " + copyError.message());
        return 2;
    }
    std::ostringstream log;
    HeadlessHost host(lib, log);
    Simulator sim(lib, host);
    lib.SetUnloadObserver(OnUnload);
    if (lib.SetTimeAccounting != nullptr && lib.SetFrameBudget != nullptr) {
        lib.SetFrameBudget(budgetMs);
        lib.SetTimeAccounting(1);
    }

    Report("phase", "start and enable");
    sim.Start(scratch.string());
    const int id = 1;
    if (lib.CountPlugins() < 2) {
        ExplainLoadFailure(log.str(), plugin);
        sim.Shutdown();
        return 0;
    }
    if (!lib.IsPluginEnabled(id))
        Finding("refused to be enabled: VPluginEnable returned 0");

    Report("phase", "frames with input");
    for (int frame = 0; frame < 60; ++frame) {
        sim.RunFrame(frame, {});
        if (frame == 10) {
            sim.ExerciseInput();
            PickAllMenuItems(host, lib);
        }
    }

    Report("phase", "disable");
    host.watchedId = id;
    lib.DisablePlugin(id);
    host.callsWhileDisabled.clear();  // VPluginDisable itself may use the API
    Report("phase", "frames while disabled");
    for (int frame = 0; frame < 30; ++frame) {
        sim.RunFrame(frame, {});
        if (frame == 5) {
            sim.ExerciseInput();
            PickAllMenuItems(host, lib);
        }
    }
    if (!host.callsWhileDisabled.empty())
        Finding("its code ran while it was disabled (" + std::to_string(host.callsWhileDisabled.size()) +
                " host calls, the first " + host.callsWhileDisabled.front() +
                "): a callback was called from outside the library");
    host.watchedId = 0;

    Report("phase", "re-enable");
    if (lib.EnablePlugin(id) == 0)
        Finding("refused to be enabled again after being disabled");
    for (int frame = 0; frame < 10; ++frame)
        sim.RunFrame(frame, {});

    VORNPluginInventory before{};
    before.structSize = sizeof before;
    lib.GetPluginInventory(id, &before);
    if (before.errors > 0)
        Finding("caused " + std::to_string(before.errors) + " API error(s); the last: \"" +
                before.lastError + "\"");
    ReportSlowCalls(lib, id, budgetMs);

    Report("phase", "disable and unload");
    sim.Shutdown();
    if (gSawUnload)
        ReportLeftovers(gLeftover);
    Report("phase", "done");
    return 0;
}

}  // namespace

int CheckPlugin(const std::string& plugin, const std::string& library, float budgetMs,
                std::ostream& out)
{
    if (!fs::exists(plugin)) {
        out << "error: " << plugin << " does not exist\n";
        return 2;
    }
    // A fresh, private scratch root, removed by this (parent) process: the
    // child may crash before it could clean up after itself.
    std::string pattern = (fs::temp_directory_path() / "vorn-check-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        out << "error: cannot create a scratch folder\n";
        return 2;
    }
    const fs::path scratch(pattern);
    struct RemoveScratch {
        const fs::path& path;
        ~RemoveScratch()
        {
            std::error_code ignored;
            fs::remove_all(path, ignored);
        }
    } removeScratch{scratch};
    int fds[2];
    if (pipe(fds) != 0) {
        out << "error: cannot create a pipe\n";
        return 2;
    }
    out.flush();
    const pid_t child = fork();
    if (child == 0) {
        close(fds[0]);
        gReport = fdopen(fds[1], "w");
        std::_Exit(RunCheck(plugin, library, budgetMs, scratch));
    }
    close(fds[1]);
    FILE* in = fdopen(fds[0], "r");
    std::string phase = "starting", childError;
    int findings = 0;
    char line[4096];
    while (std::fgets(line, sizeof line, in) != nullptr) {
        std::string text(line);
        text.erase(text.find_last_not_of("\n") + 1);
        const size_t space = text.find(' ');
        const std::string kind = text.substr(0, space);
        const std::string rest = space == std::string::npos ? "" : text.substr(space + 1);
        if (kind == "phase") {
            phase = rest;
        } else if (kind == "finding") {
            out << "finding: " << rest << "\n";
            ++findings;
        } else if (kind == "error") {
            childError = rest;
        }
    }
    std::fclose(in);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) {
        out << "finding: crashed with signal " << WTERMSIG(status) << " (" << strsignal(WTERMSIG(status))
            << ") during " << phase << "\n";
        return 1;
    }
    if (!childError.empty()) {
        out << "error: " << childError << "\n";
        return 2;
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) != 0) {
        out << "finding: the plug-in ended the process (exit status " << WEXITSTATUS(status)
            << ") during " << phase << "\n";
        return 1;
    }
    if (findings == 0)
        out << "no findings: " << plugin << " started, ran, disabled, re-enabled and unloaded cleanly\n";
    return findings > 0 ? 1 : 0;
}

}  // namespace vornhost
