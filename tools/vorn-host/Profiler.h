// Profiler.h - which plug-in costs the frame: vorn-host's side of the
// library's time accounting. It switches the accounting on, watches every
// call into plug-in code through the call observer, and turns what it saw
// into a table (--profile), a Chrome trace-event file (--trace) and an SVG
// chart of the time per frame (--chart).
#ifndef VORN_HOST_PROFILER_H
#define VORN_HOST_PROFILER_H

#include "HostLibrary.h"

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace vornhost {

// Nanoseconds on the clock the library times calls with (CLOCK_MONOTONIC).
int64_t MonotonicNs();

class Profiler {
public:
    // Switches the library's accounting on, with budgetMs as its budget, and
    // observes every call when keepCalls is set (the trace and the chart
    // need them). False when the library has no time accounting.
    bool Start(HostLibrary& library, float budgetMs, bool keepCalls);

    // Frames as the host runs them: every call observed in between counts
    // for frame number `frame`.
    void BeginFrame(int frame);
    void EndFrame();

    // The table of every plug-in and kind, by total self time. Read while
    // the plug-ins are still loaded.
    void PrintTable(std::ostream& out) const;
    // The calls and the frames in the Chrome trace-event format.
    bool WriteTrace(const std::string& path, std::string& error) const;
    // Self time per frame stacked by plug-in, with the budget and the
    // slowest frames marked.
    bool WriteChart(const std::string& path, std::string& error) const;

private:
    struct Call {
        int plugin;
        std::string label;
        int64_t startNs;
        int64_t durationNs;
    };
    struct Frame {
        int number;
        int64_t startNs;
        int64_t durationNs = 0;
        std::map<int, int64_t> selfNsByPlugin;
    };

    static void Observe(const VORNCallTiming* call, void* refcon);
    std::string NameOf(int plugin) const;

    HostLibrary* mLib = nullptr;
    float mBudgetMs = 0.0f;
    bool mKeepCalls = false;
    std::vector<Call> mCalls;
    std::vector<Frame> mFrames;
    bool mInFrame = false;
};

}  // namespace vornhost

#endif
