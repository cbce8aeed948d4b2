// Script.h - the input script: timed host events that reproduce an
// interaction without the simulator.
//
//   # comment
//   <frame> key <key> [flags] [virtual-key]   a key press (key: one character
//                                            or a number)
//   <frame> click <x> <y>                    mouse down and up
//   <frame> drag <x1> <y1> <x2> <y2>         down at 1, moved to 2, up at 2
//   <frame> move <x> <y>                     the pointer moves
//   <frame> wheel <x> <y> <clicks>
//   <frame> menu <Menu/Sub/Item>             pick an item by its names
//   <frame> command begin|end|once <name>
//   <frame> aircraft load <path.acf>
//   <frame> aircraft unload
//   <frame> scenery <package folder/>
//   <frame> event <code>                     any other host event
#ifndef VORN_HOST_SCRIPT_H
#define VORN_HOST_SCRIPT_H

#include <string>
#include <vector>

namespace vornhost {

struct ScriptStep {
    int frame = 0;
    std::string verb;               // key, click, drag, ...
    std::vector<std::string> words;  // the rest of the line
    std::vector<int> numbers;        // the numeric arguments, where the verb has them
    std::string where;               // "file:line" for messages
};

// Reads a script. On a bad line returns false with "file:line: expected ..."
// in error.
bool ReadScript(const std::string& path, std::vector<ScriptStep>& steps, std::string& error);

}  // namespace vornhost

#endif
