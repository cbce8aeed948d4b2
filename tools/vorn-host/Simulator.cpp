#include "Simulator.h"

#include <cstdio>
#include <iomanip>

namespace vornhost {

namespace {

const float kFrameSeconds = 1.0f / 60.0f;

std::string Field(const char* text, size_t width)
{
    std::string value(text);
    if (value.size() > width)
        value = value.substr(0, width - 1) + "~";
    return value;
}

}  // namespace

int Simulator::Start(const std::string& root)
{
    mHost.systemPath = root.empty() || root.back() == '/' ? root : root + "/";
    return mLib.InitializePlugins(mHost.systemPath.c_str(), &mHost.table, &mHost);
}

void Simulator::Shutdown()
{
    mLib.ShutdownPlugins();
}

void Simulator::Key(char key, int flags, char virtualKey)
{
    if (mLib.KeyPressHook == nullptr)
        return;
    for (int stage = 0; stage < 3; ++stage) {
        if (mLib.KeyPressHook(key, flags, virtualKey, stage) == 0)
            return;  // consumed
    }
}

void Simulator::Click(int x, int y)
{
    mHost.mouseX = x;
    mHost.mouseY = y;
    if (mLib.MouseClickHook == nullptr)
        return;
    mLib.MouseClickHook(x, y, 1);
    mLib.MouseClickHook(x, y, 0);
}

bool Simulator::Apply(const ScriptStep& step, std::string& problem)
{
    const std::vector<int>& n = step.numbers;
    if (step.verb == "key") {
        const std::string& k = step.words[0];
        const int code = k.size() == 1 ? static_cast<unsigned char>(k[0]) : std::stoi(k, nullptr, 0);
        const int flags = step.words.size() > 1 ? std::stoi(step.words[1], nullptr, 0) : 0;
        const int virtualKey = step.words.size() > 2 ? std::stoi(step.words[2], nullptr, 0)
                                                     : (code >= 'a' && code <= 'z' ? code - 32 : code);
        Key(static_cast<char>(code), flags, static_cast<char>(virtualKey));
    } else if (step.verb == "click") {
        Click(n[0], n[1]);
    } else if (step.verb == "drag") {
        mHost.mouseX = n[0];
        mHost.mouseY = n[1];
        if (mLib.MouseClickHook) {
            mLib.MouseClickHook(n[0], n[1], 1);
            mHost.mouseX = n[2];
            mHost.mouseY = n[3];
            if (mLib.DoDrawingHook)
                mLib.DoDrawingHook(20, 0);  // the window step feeds the drag
            mLib.MouseClickHook(n[2], n[3], 0);
        }
    } else if (step.verb == "move") {
        mHost.mouseX = n[0];
        mHost.mouseY = n[1];
        if (mLib.CursorHook)
            mLib.CursorHook(n[0], n[1]);
    } else if (step.verb == "wheel") {
        if (mLib.ScrollWheelHook)
            mLib.ScrollWheelHook(n[0], n[1], 0, n[2]);
    } else if (step.verb == "menu") {
        const int item = mHost.FindMenuItem(step.words[0]);
        if (item < 0) {
            problem = step.where + ": no menu item \"" + step.words[0] + "\"";
            return false;
        }
        if (mLib.MenuHook)
            mLib.MenuHook(item);
    } else if (step.verb == "command") {
        void* command = mHost.Command(step.words[1], false);
        if (command == nullptr) {
            problem = step.where + ": no command \"" + step.words[1] + "\"";
            return false;
        }
        if (step.words[0] != "end")
            mHost.table.CommandBegin(command);
        if (step.words[0] != "begin")
            mHost.table.CommandEnd(command);
    } else if (step.verb == "aircraft") {
        if (step.words[0] == "load") {
            mHost.aircraftPath = step.words[1];
            mLib.EventHook(3, nullptr, mHost.time);
        } else {
            mLib.EventHook(8, nullptr, mHost.time);
        }
    } else if (step.verb == "scenery") {
        mLib.EventHook(12, const_cast<char*>(step.words[0].c_str()), mHost.time);
    } else if (step.verb == "event") {
        mLib.EventHook(n[0], nullptr, mHost.time);
    }
    return true;
}

void Simulator::RunFrame(int frame, const std::vector<ScriptStep>& steps)
{
    for (const ScriptStep& step : steps) {
        std::string problem;
        if (step.frame == frame && !Apply(step, problem))
            problems.push_back(problem);
    }
    mHost.time += kFrameSeconds;
    mLib.EventHook(0, nullptr, mHost.time);
    mLib.EventHook(10, nullptr, mHost.time);
    mLib.EventHook(9, nullptr, mHost.time);
    if (mLib.DoDrawingHook) {
        for (int step = 1; step <= 26; ++step)
            mLib.DoDrawingHook(step, 0);
    }
    if (mLib.CameraHook) {
        float camera[7] = {0, 0, 0, 0, 0, 0, 1};
        mLib.CameraHook(&camera[0], &camera[1], &camera[2], &camera[3], &camera[4], &camera[5],
                        &camera[6]);
    }
}

void Simulator::ExerciseInput()
{
    for (char key : {'a', 'Z', '\r', ' '})
        Key(key, 0, key == 'a' ? 'A' : key);
    Key('a', 1, 'A');  // with shift
    for (int x = 50; x < mHost.screenWidth; x += 200)
        for (int y = 50; y < mHost.screenHeight; y += 200)
            Click(x, y);
    if (mLib.ScrollWheelHook)
        mLib.ScrollWheelHook(100, 100, 0, 1);
    if (mLib.CursorHook)
        mLib.CursorHook(200, 200);
}

void Simulator::PrintSummary(std::ostream& out) const
{
    out << "\n" << std::left << std::setw(3) << "id" << " " << std::setw(24) << "name" << " "
        << std::setw(30) << "signature" << " " << std::setw(7) << "enabled"
        << " drefs share loops draw keys wins hkeys menus items cmds held probes objs planes cam errs\n";
    std::vector<std::string> errorLines;
    for (int id = 0; id < mLib.CountPlugins(); ++id) {
        char name[256] = "", path[256] = "", signature[256] = "", description[256] = "";
        mLib.GetPluginInfo(id, name, path, signature, description);
        VORNPluginInventory inv{};
        inv.structSize = sizeof inv;
        mLib.GetPluginInventory(id, &inv);
        out << std::setw(3) << id << " " << std::setw(24) << Field(name, 24) << " " << std::setw(30)
            << Field(signature, 30) << " " << std::setw(7) << (mLib.IsPluginEnabled(id) ? "yes" : "no")
            << std::right;
        for (auto [value, width] : {std::pair{inv.dataRefs, 6}, {inv.sharedData, 6}, {inv.flightLoops, 6},
                                    {inv.drawCallbacks, 5}, {inv.keySniffers, 5}, {inv.windows, 5},
                                    {inv.hotKeys, 6}, {inv.menus, 6}, {inv.menuItems, 6},
                                    {inv.commandHandlers, 5}, {inv.heldCommands, 5}, {inv.probes, 7},
                                    {inv.objects, 5}, {inv.planes, 7}, {inv.camera, 4}, {inv.errors, 5}})
            out << std::setw(width) << value;
        out << std::left << "\n";
        if (inv.errors > 0)
            errorLines.push_back("  " + std::to_string(id) + " " + name + ": " +
                                 std::to_string(inv.errors) + " error(s), last: \"" + inv.lastError + "\"");
    }
    if (!errorLines.empty()) {
        out << "errors reported to plug-ins:\n";
        for (const std::string& line : errorLines)
            out << line << "\n";
    }
}

}  // namespace vornhost
