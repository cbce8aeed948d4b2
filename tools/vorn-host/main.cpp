// vorn-host: a reference host for VORN. It runs a simulator root headlessly
// (loads the plug-ins, drives frames, applies an input script, prints what
// every plug-in registered) or checks one plug-in for common mistakes.

#include "Checker.h"
#include "Profiler.h"
#include "Simulator.h"

#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>

namespace {

const char kUsage[] =
    "usage: vorn-host [--root DIR] [--frames N] [--script FILE] [--library PATH] [--quiet]\n"
    "                 [--profile] [--trace FILE] [--chart FILE.svg] [--budget MS]\n"
    "       vorn-host check PLUGIN [--library PATH] [--budget MS]\n"
    "\n"
    "Runs the simulator root DIR (default: the bundled sample root) for N frames\n"
    "(default 120) and prints what every plug-in registered. `check` puts one\n"
    "plug-in (a .vpl file or a fat plug-in folder) through start, frames with input,\n"
    "disable, re-enable and unload, and prints one line per finding; the exit\n"
    "status is 1 when there are findings.\n"
    "\n"
    "Which plug-in costs the frame: --profile prints the time spent in each\n"
    "plug-in by kind of call, sorted by total self time; --trace writes every call\n"
    "and frame in the Chrome trace-event format (open it in Perfetto or\n"
    "chrome://tracing); --chart draws the time per frame stacked by plug-in as SVG.\n"
    "A single call longer than the budget (default 5 ms) is logged and, in `check`,\n"
    "is a finding.\n";

struct Options {
    std::string root = VORN_SAMPLE_ROOT;
    std::string script;
    std::string library;
    std::string checkTarget;
    std::string trace;
    std::string chart;
    int frames = 120;
    float budgetMs = 5.0f;
    bool quiet = false;
    bool check = false;
    bool profile = false;
};

bool ParseArguments(int argc, char** argv, Options& options, std::string& error)
{
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        auto value = [&](const char* what) -> const char* {
            if (i + 1 >= argc) {
                error = arg + " needs " + what;
                return nullptr;
            }
            return argv[++i];
        };
        if (arg == "check" && i == 1) {
            options.check = true;
            const char* target = value("a plug-in path");
            if (!target)
                return false;
            options.checkTarget = target;
        } else if (arg == "--root" || arg == "--script" || arg == "--library" || arg == "--frames") {
            const char* v = value(arg == "--frames" ? "a number" : "a path");
            if (!v)
                return false;
            if (arg == "--root") options.root = v;
            if (arg == "--script") options.script = v;
            if (arg == "--library") options.library = v;
            if (arg == "--frames") {
                try {
                    options.frames = std::stoi(v);
                } catch (...) {
                    options.frames = -1;
                }
                if (options.frames < 0) {
                    error = "--frames needs a number (0 or more), found \"" + std::string(v) + "\"";
                    return false;
                }
            }
        } else if (arg == "--trace" || arg == "--chart") {
            const char* v = value("a file path");
            if (!v)
                return false;
            (arg == "--trace" ? options.trace : options.chart) = v;
        } else if (arg == "--budget") {
            const char* v = value("a number of milliseconds");
            if (!v)
                return false;
            char* end = nullptr;
            options.budgetMs = std::strtof(v, &end);
            if (end == v || *end != '\0' || !(options.budgetMs > 0.0f)) {
                error = "--budget needs a number of milliseconds above 0, found \"" +
                        std::string(v) + "\"";
                return false;
            }
        } else if (arg == "--profile") {
            options.profile = true;
        } else if (arg == "--quiet") {
            options.quiet = true;
        } else if (arg == "--help" || arg == "-h") {
            std::cout << kUsage;
            std::exit(0);
        } else {
            error = "unknown argument \"" + arg + "\"";
            return false;
        }
    }
    return true;
}

int Run(const Options& options)
{
    namespace fs = std::filesystem;
    if (!fs::is_directory(options.root)) {
        std::cerr << "vorn-host: error: simulator root " << options.root << " is not a folder\n";
        return 2;
    }
    std::vector<vornhost::ScriptStep> steps;
    std::string error;
    if (!options.script.empty() && !vornhost::ReadScript(options.script, steps, error)) {
        std::cerr << "vorn-host: error: " << error << "\n";
        return 2;
    }
    vornhost::HostLibrary lib;
    if (!lib.Open(options.library, error)) {
        std::cerr << "vorn-host: error: " << error << "\n";
        return 2;
    }
    vornhost::HeadlessHost host(lib, std::cout);
    host.echoLog = !options.quiet;
    vornhost::Simulator sim(lib, host);
    // Accounting starts before the library does, so that starts and enables
    // are timed too.
    vornhost::Profiler profiler;
    const bool profiling = options.profile || !options.trace.empty() || !options.chart.empty();
    if (profiling &&
        !profiler.Start(lib, options.budgetMs, !options.trace.empty() || !options.chart.empty())) {
        std::cerr << "vorn-host: error: this VORN library has no time accounting\n";
        return 2;
    }
    const int version = sim.Start(fs::absolute(options.root).string());
    std::cout << "vorn-host: library interface " << version << ", " << lib.CountPlugins()
              << " plug-ins registered, running " << options.frames << " frames\n";
    for (int frame = 0; frame < options.frames; ++frame) {
        profiler.BeginFrame(frame);
        sim.RunFrame(frame, steps);
        profiler.EndFrame();
    }
    sim.PrintSummary(std::cout);
    // The figures go with the plug-ins: read them before the shutdown.
    int status = sim.problems.empty() ? 0 : 1;
    if (options.profile)
        profiler.PrintTable(std::cout);
    for (const auto& [path, write] :
         {std::pair{options.trace, &vornhost::Profiler::WriteTrace},
          std::pair{options.chart, &vornhost::Profiler::WriteChart}}) {
        if (!path.empty() && !(profiler.*write)(path, error)) {
            std::cerr << "vorn-host: error: " << error << "\n";
            status = 2;
        }
    }
    for (const std::string& problem : sim.problems)
        std::cerr << "vorn-host: warning: " << problem << "\n";
    sim.Shutdown();
    return status;
}

}  // namespace

int main(int argc, char** argv)
{
    Options options;
    std::string error;
    if (!ParseArguments(argc, argv, options, error)) {
        std::cerr << "vorn-host: error: " << error << "\n\n" << kUsage;
        return 2;
    }
    if (options.check)
        return vornhost::CheckPlugin(options.checkTarget, options.library, options.budgetMs,
                                     std::cout);
    return Run(options);
}
