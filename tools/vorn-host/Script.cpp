#include "Script.h"

#include <fstream>
#include <sstream>

namespace vornhost {

namespace {

bool ParseInt(const std::string& text, int& value)
{
    try {
        size_t used = 0;
        value = std::stoi(text, &used, 0);
        return used == text.size();
    } catch (...) {
        return false;
    }
}

// What each verb expects after it: the number of integer arguments, or -1
// for free text, and the usage shown when a line does not fit.
struct VerbRule {
    const char* verb;
    int minNumbers;
    int maxNumbers;
    const char* usage;
};

const VerbRule kRules[] = {
    {"click", 2, 2, "click <x> <y>"},
    {"drag", 4, 4, "drag <x1> <y1> <x2> <y2>"},
    {"move", 2, 2, "move <x> <y>"},
    {"wheel", 3, 3, "wheel <x> <y> <clicks>"},
    {"event", 1, 1, "event <code>"},
};

bool CheckStep(ScriptStep& step, std::string& expected)
{
    for (const VerbRule& rule : kRules) {
        if (step.verb != rule.verb)
            continue;
        for (const std::string& word : step.words) {
            int value = 0;
            if (!ParseInt(word, value)) {
                expected = rule.usage;
                return false;
            }
            step.numbers.push_back(value);
        }
        const int count = static_cast<int>(step.numbers.size());
        if (count < rule.minNumbers || count > rule.maxNumbers) {
            expected = rule.usage;
            return false;
        }
        return true;
    }
    const size_t n = step.words.size();
    if (step.verb == "key") {
        expected = "key <key> [flags] [virtual-key]";
        if (n < 1 || n > 3)
            return false;
        for (size_t i = 1; i < n; ++i) {
            int value = 0;
            if (!ParseInt(step.words[i], value))
                return false;
        }
        return true;
    }
    if (step.verb == "menu" || step.verb == "scenery") {
        expected = step.verb == "menu" ? "menu <Menu/Sub/Item>" : "scenery <package folder/>";
        return n >= 1;
    }
    if (step.verb == "command") {
        expected = "command begin|end|once <name>";
        return n == 2 && (step.words[0] == "begin" || step.words[0] == "end" ||
                          step.words[0] == "once");
    }
    if (step.verb == "aircraft") {
        expected = "aircraft load <path.acf> | aircraft unload";
        return (n == 2 && step.words[0] == "load") || (n == 1 && step.words[0] == "unload");
    }
    expected = "a verb: key, click, drag, move, wheel, menu, command, aircraft, scenery or event";
    return false;
}

}  // namespace

bool ReadScript(const std::string& path, std::vector<ScriptStep>& steps, std::string& error)
{
    std::ifstream in(path);
    if (!in) {
        error = path + ": cannot open the script";
        return false;
    }
    int lineNumber = 0;
    for (std::string line; std::getline(in, line);) {
        ++lineNumber;
        const std::string where = path + ":" + std::to_string(lineNumber);
        const size_t hash = line.find('#');
        if (hash != std::string::npos)
            line.erase(hash);
        std::istringstream words(line);
        std::string frameText;
        if (!(words >> frameText))
            continue;
        ScriptStep step;
        step.where = where;
        if (!ParseInt(frameText, step.frame) || step.frame < 0) {
            error = where + ": expected a frame number (0 or more) at the start of the line, found \"" +
                    frameText + "\"";
            return false;
        }
        if (!(words >> step.verb)) {
            error = where + ": expected a verb after the frame number";
            return false;
        }
        for (std::string word; words >> word;)
            step.words.push_back(word);
        // Menu paths and folders may hold blanks: keep the rest of the line.
        if (step.verb == "menu" || step.verb == "scenery" ||
            (step.verb == "command" && step.words.size() > 2)) {
            const size_t start = line.find(step.verb) + step.verb.size();
            std::string rest = line.substr(start);
            rest.erase(0, rest.find_first_not_of(" \t"));
            rest.erase(rest.find_last_not_of(" \t\r") + 1);
            if (step.verb == "command" && !step.words.empty()) {
                const std::string action = step.words[0];
                rest.erase(0, action.size());
                rest.erase(0, rest.find_first_not_of(" \t"));
                step.words = {action, rest};
            } else if (!rest.empty()) {
                step.words = {rest};
            }
        }
        std::string expected;
        if (!CheckStep(step, expected)) {
            error = where + ": expected " + expected;
            return false;
        }
        steps.push_back(step);
    }
    return true;
}

}  // namespace vornhost
