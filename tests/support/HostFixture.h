// HostFixture.h - base fixture for tests that drive the real libvorn.so as
// the simulator does: a fake host table and a scratch simulator root.
#ifndef VORN_TEST_HOST_FIXTURE_H
#define VORN_TEST_HOST_FIXTURE_H

#include "FakeHost.h"
#include "TempDir.h"
#include "VORN/VORNHostHooks.h"
#include "VORN/VORNPlugin.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace vorntest {

// Full path of a test plug-in module built by the test build.
inline std::string TestPluginPath(const std::string& name)
{
    return std::string(VORN_TEST_PLUGIN_DIR) + "/" + name + ".vpl";
}

class HostTest : public ::testing::Test {
protected:
    void SetUp() override { host = std::make_unique<FakeHost>(); }

    void TearDown() override
    {
        if (started)
            VORNShutdownPlugins();
        host.reset();
    }

    // The simulator root as the host passes it: with a trailing '/'.
    std::string SystemPath() const { return root.Path() + "/"; }
    std::string PluginsFolder() const { return root.Join("Resources/plugins"); }

    // Copies a test plug-in into the root's plug-ins folder as relative.
    std::string InstallPlugin(const std::string& name, const std::string& relative)
    {
        return root.CopyFile(TestPluginPath(name), "Resources/plugins/" + relative);
    }

    int Start()
    {
        started = true;
        return VORNInitializePlugins(SystemPath().c_str(), &host->table, this);
    }

    std::unique_ptr<FakeHost> host;
    TempDir root;
    bool started = false;
};

}  // namespace vorntest

#endif
