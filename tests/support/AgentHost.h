// AgentHost.h - the one fixture for tests that drive the real libvorn.so with real plug-ins: a fake
// host, a scratch simulator root holding N copies of the agent plug-in (ids 1..N; the host's own
// record is 0) and As(), which runs test code as one of them, so that whatever it registers is
// owned by that plug-in exactly as if the plug-in's own code had done it.
#ifndef VORN_TEST_AGENT_HOST_H
#define VORN_TEST_AGENT_HOST_H

#include "../plugins/agent.h"
#include "HostFixture.h"
#include "VORN/VORNPlugin.h"
#include "VORN/VORNUtilities.h"

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace vorntest {

// Error-callback texts, in order; cleared by AgentHostTest::SetUp.
inline std::vector<std::string> gErrorTexts;
inline void CollectError(const char* message)
{
    gErrorTexts.emplace_back(message);
}

// Results in the order of the list (the operands of + have none).
inline std::string Cat(std::initializer_list<long long> values)
{
    std::string text;
    for (long long v : values)
        text += std::to_string(v);
    return text;
}

// What plug-in id holds, as the library counts it.
inline VORNPluginInventory Holdings(int id)
{
    VORNPluginInventory inventory{};
    inventory.structSize = sizeof inventory;
    EXPECT_EQ(VORNGetPluginInventory(id, &inventory), 1) << "plug-in " << id;
    return inventory;
}

class AgentHostTest : public HostTest {
protected:
    void SetUp() override
    {
        HostTest::SetUp();
        gErrorTexts.clear();
    }

    void TearDown() override
    {
        VORNSetUnloadObserver(nullptr);
        HostTest::TearDown();
    }

    // Installs `count` agents (a.vpl, b.vpl, ...: ids 1..count in that order) and starts the
    // library. With `errors`, each agent reports its errors to gErrorTexts.
    void StartAgents(int count, bool errors = false)
    {
        for (int i = 0; i < count; ++i)
            InstallPlugin("agent", std::string(1, char('a' + i)) + ".vpl");
        host->systemPath = SystemPath();
        Start();
        ASSERT_EQ(VORNCountPlugins(), count + 1);
        if (errors) {
            for (int id = 1; id <= count; ++id)
                As(id, [] { VORNSetErrorCallback(CollectError); });
        }
    }

    // Runs body while plug-in `id` is the dispatched one (through a message
    // to it; nothing runs if the plug-in is disabled or unknown).
    static void As(int id, std::function<void()> body)
    {
        AgentRun run = {Run, &body};
        VORNSendMessageToPlugin(id, AGENT_RUN_MESSAGE, &run);
    }

    // As(), returning what body returns (R{} if the body did not run).
    template <typename R>
    static R AsReturning(int id, std::function<R()> body)
    {
        R result{};
        As(id, [&] { result = body(); });
        return result;
    }

    // One simulator frame at time t: the event that opens a frame (0) and
    // the flight-loop event after the flight model (10).
    void Frame(float t)
    {
        host->elapsedTime = t;
        VORNEventHook(0, nullptr, t);
        VORNEventHook(10, nullptr, t);
    }

private:
    static void Run(void* context) { (*static_cast<std::function<void()>*>(context))(); }
};

}  // namespace vorntest

#endif
