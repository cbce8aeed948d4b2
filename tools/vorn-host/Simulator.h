// Simulator.h - drives the library frame by frame as the simulator would,
// applies script steps, and prints the per-plug-in summary.
#ifndef VORN_HOST_SIMULATOR_H
#define VORN_HOST_SIMULATOR_H

#include "HeadlessHost.h"
#include "Script.h"

#include <ostream>
#include <string>
#include <vector>

namespace vornhost {

class Simulator {
public:
    Simulator(HostLibrary& library, HeadlessHost& host) : mLib(library), mHost(host) {}

    // Starts the library on root (a folder; '/' is appended if missing).
    int Start(const std::string& root);
    // One frame: flight loops of both phases, held commands, the 26 drawing
    // steps (the windows are drawn in step 20). Script steps of the frame run
    // first.
    void RunFrame(int frame, const std::vector<ScriptStep>& steps);
    void Shutdown();

    // A synthetic burst of input (keys, clicks, a drag, wheel) for checkers.
    void ExerciseInput();

    // id, name, signature, enabled and what each plug-in has registered.
    void PrintSummary(std::ostream& out) const;

    // Applies one step; false with a message if it cannot (unknown menu...).
    bool Apply(const ScriptStep& step, std::string& problem);

    std::vector<std::string> problems;  // steps that could not be applied

private:
    void Key(char key, int flags, char virtualKey);
    void Click(int x, int y);
    HostLibrary& mLib;
    HeadlessHost& mHost;
};

}  // namespace vornhost

#endif
