// Plug-ins that throw out of their entry points: the exception stops where
// the plug-in was called, one warning names the plug-in, and everything else
// goes on as if the call had returned normally.

#include "PluginRoot.h"

#include <gmock/gmock.h>

using namespace vorntest;
using ::testing::ElementsAre;

namespace {

const char kThrewWarning[] = "a callback threw an exception; the library ignored it and went on";

TEST_F(LoaderTest, AnExceptionFromAMessageHandlerIsLoggedAndTheBroadcastGoesOn)
{
    root.CopyFile(TestPluginPath("throwing"), "Resources/plugins/a_throwing.vpl");
    AddScripted("b.vpl", "B", "t.b");
    Start();
    host->ClearRecord();
    EXPECT_EQ(VORNEventHook(2, nullptr, 0), 1);
    EXPECT_THAT(host->debugWrites, ElementsAre("[", "Thrower", "]: ", kThrewWarning, "\n",
                                               "<B:msg 101 from 0 param null id=2>"));
    EXPECT_EQ(VORNGetMyID(), 0);
}

TEST_F(LoaderTest, ExceptionsFromDisableAndStopDoNotStopShutdown)
{
    root.CopyFile(TestPluginPath("throwing"), "Resources/plugins/a_throwing.vpl");
    AddScripted("b.vpl", "B", "t.b");
    Start();
    host->ClearRecord();
    VORNShutdownPlugins();
    started = false;
    EXPECT_THAT(host->debugWrites,
                ElementsAre("[", "Thrower", "]: ", kThrewWarning, "\n", "<B:disable id=2>", "[",
                            "Thrower", "]: ", kThrewWarning, "\n", "<B:stop id=2>"));
    EXPECT_EQ(VORNCountPlugins(), 0);
}

}  // namespace
