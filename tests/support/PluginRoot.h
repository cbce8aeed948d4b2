// PluginRoot.h - the agent fixture plus helpers to lay out a simulator root
// with copies of the scripted test plug-in.
#ifndef VORN_TEST_PLUGIN_ROOT_H
#define VORN_TEST_PLUGIN_ROOT_H

#include "AgentHost.h"

#include <string>
#include <vector>

namespace vorntest {

class LoaderTest : public AgentHostTest {
protected:
    // A copy of the scripted plug-in at relative (below the plug-ins folder) with the given name,
    // signature and extra "key=value" lines. Returns the module's full path.
    std::string AddScripted(const std::string& relative, const std::string& name,
                            const std::string& signature, const std::string& extra = "")
    {
        return AddScriptedAt(root.Join("Resources/plugins/" + relative), name, signature, extra);
    }

    std::string AddScriptedAt(const std::string& fullPath, const std::string& name,
                              const std::string& signature, const std::string& extra = "")
    {
        const std::string relative = fullPath.substr(root.Path().size() + 1);
        root.CopyFile(TestPluginPath("scripted"), relative);
        root.WriteFile(relative + ".cfg",
                       "name=" + name + "\nsignature=" + signature + "\n" + extra);
        return fullPath;
    }

    // The plug-ins' own "<name:what id=N>" lines, in order, and the library's
    // own log writes (everything else).
    std::vector<std::string> PluginLines() const { return SplitWrites(true); }
    std::vector<std::string> LibraryWrites() const { return SplitWrites(false); }

    std::string NameOf(int id)
    {
        char name[256] = "";
        VORNGetPluginInfo(id, name, nullptr, nullptr, nullptr);
        return name;
    }

    std::vector<std::string> Names()
    {
        std::vector<std::string> names;
        for (int id = 0; id < VORNCountPlugins(); ++id)
            names.push_back(NameOf(id));
        return names;
    }

private:
    std::vector<std::string> SplitWrites(bool pluginLines) const
    {
        std::vector<std::string> writes;
        for (const std::string& write : host->debugWrites) {
            if ((!write.empty() && write[0] == '<') == pluginLines)
                writes.push_back(write);
        }
        return writes;
    }
};

}  // namespace vorntest

#endif
