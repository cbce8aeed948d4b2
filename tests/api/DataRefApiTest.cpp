// Data refs through the real library: the build string the library writes at
// start, and real plug-in modules publishing, withdrawing and sharing data.

#include "PluginRoot.h"
#include "VORN/VORNDataAccess.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <string>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

namespace {

// What the host received through its build-string data ref, every write.
std::vector<std::string> gBuildWrites;
void WriteBuildString(void*, void* bytes, int offset, int count)
{
    gBuildWrites.push_back(std::to_string(offset) + ":" +
                           std::string(static_cast<const char*>(bytes), count));
}

// The prefix of the data-ref names the data_user plug-ins use.
std::string gCase;
int ReadCase(void*, void* out, int offset, int max)
{
    const int size = static_cast<int>(gCase.size()) + 1;
    if (out == nullptr)
        return size;
    const int count = std::min(max, size - offset);
    std::memcpy(out, gCase.c_str() + offset, count);
    return count;
}

// The host publishes its data refs before it starts the library, outside
// any plug-in callback (so they are its own), and withdraws them at the end:
// records outlive the test, its callbacks must not be reachable afterwards.
class DataRefApiTest : public LoaderTest {
protected:
    void SetUp() override
    {
        LoaderTest::SetUp();
        gBuildWrites.clear();
        gCase = std::string("test/api/") +
                ::testing::UnitTest::GetInstance()->current_test_info()->name();
        buildRef = Publish("sim/version/vorn_build_string", nullptr, WriteBuildString);
        caseRef = Publish("test/api/case", ReadCase, nullptr);
    }

    void TearDown() override
    {
        LoaderTest::TearDown();
        VORNUnregisterDataAccessor(buildRef);
        VORNUnregisterDataAccessor(caseRef);
    }

    static VORNDataRef Publish(const char* name, VORNGetDatab_f read, VORNSetDatab_f write)
    {
        return VORNRegisterDataAccessor(name, VORN_DATA_BYTES, write != nullptr, nullptr,
                                        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        nullptr, nullptr, nullptr, read, write, nullptr, nullptr);
    }

    static VORNDataRef Find(const std::string& what)
    {
        return VORNFindDataRef((gCase + "/" + what).c_str());
    }

    static std::string Line(const std::string& plugin, const std::string& what, int id)
    {
        return "<" + plugin + ":" + what + " id=" + std::to_string(id) + ">";
    }

    VORNDataRef buildRef = nullptr;
    VORNDataRef caseRef = nullptr;
};

TEST_F(DataRefApiTest, BuildStringArrivesOnceWithItsTerminatingZero)
{
    Start();
    ASSERT_EQ(gBuildWrites.size(), 1u);
    const std::string& write = gBuildWrites[0];
    ASSERT_EQ(write.substr(0, 2), "0:");
    ASSERT_EQ(write.back(), '\0');
    const std::string text = write.substr(2, write.size() - 3);
    EXPECT_EQ(text.size(), 20u);
    EXPECT_THAT(text, MatchesRegex("[A-Z][a-z][a-z] [ 0-9][0-9] [0-9]{4} "
                                   "[0-9][0-9]:[0-9][0-9]:[0-9][0-9]"));
}

TEST_F(DataRefApiTest, ReadOnlyBuildStringIsNotWritten)
{
    VORNUnregisterDataAccessor(buildRef);
    buildRef = VORNRegisterDataAccessor("sim/version/vorn_build_string", VORN_DATA_BYTES, 0,
                                        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        nullptr, nullptr, nullptr, nullptr, nullptr,
                                        WriteBuildString, nullptr, nullptr);
    Start();
    EXPECT_THAT(gBuildWrites, IsEmpty());
}

TEST_F(DataRefApiTest, KeptHandleIsServedByTheNextPluginThatPublishesTheName)
{
    InstallPlugin("data_user", "a.vpl");
    InstallPlugin("data_user", "b.vpl");
    Start();
    ASSERT_EQ(Names(), (std::vector<std::string>{"Taravel", "a", "b"}));
    VORNPluginInventory a{}, b{};
    a.structSize = b.structSize = sizeof(VORNPluginInventory);
    ASSERT_EQ(VORNGetPluginInventory(1, &a), 1);
    ASSERT_EQ(VORNGetPluginInventory(2, &b), 1);
    EXPECT_EQ(a.dataRefs, 1);
    EXPECT_EQ(b.dataRefs, 0) << "its registration failed";
    EXPECT_EQ(a.sharedData, 1);
    EXPECT_EQ(b.sharedData, 1);
    EXPECT_THAT(PluginLines(),
                ElementsAre(Line("b", "Dataref is already registered by someone else.", 2)));
    VORNDataRef counter = Find("counter");
    ASSERT_NE(counter, nullptr);
    EXPECT_EQ(VORNGetDatai(counter), 10);

    VORNDisablePlugin(1);  // a withdraws its counter
    EXPECT_EQ(Find("counter"), nullptr);
    EXPECT_EQ(VORNIsDataRefGood(counter), 0);
    EXPECT_EQ(VORNGetDatai(counter), 0);

    host->ClearRecord();
    VORNDisablePlugin(2);  // b's handle is a's record, which is no longer anyone's
    EXPECT_THAT(PluginLines(),
                ElementsAre(Line("b", "Dataref is not owned by you - you cannot unregsiter.", 2)));
    VORNEnablePlugin(2);
    EXPECT_EQ(Find("counter"), counter);
    EXPECT_EQ(VORNGetDatai(counter), 20);
    VORNSetDatai(counter, 21);
    EXPECT_EQ(VORNGetDatai(counter), 21);
    EXPECT_EQ(VORNGetMyID(), 0);
}

TEST_F(DataRefApiTest, SharedWritesNotifySubscribersInOrderAndTheValueOutlivesThem)
{
    InstallPlugin("data_user", "a.vpl");
    InstallPlugin("data_user", "b.vpl");
    Start();
    VORNDataRef shared = Find("shared");
    ASSERT_NE(shared, nullptr);
    host->ClearRecord();
    VORNSetDatai(shared, 5);
    EXPECT_THAT(PluginLines(), ElementsAre(Line("a", "changed 5", 1), Line("b", "changed 5", 2)));

    host->ClearRecord();
    int value = 6;
    VORNSendMessageToPlugin(2, 0x7000, &value);  // b writes; b hears its own write
    EXPECT_THAT(PluginLines(), ElementsAre(Line("a", "changed 6", 1), Line("b", "changed 6", 2)));

    VORNShutdownPlugins();
    started = false;
    host->ClearRecord();
    EXPECT_EQ(Find("shared"), shared);
    EXPECT_EQ(VORNGetDatai(shared), 6);
    VORNSetDatai(shared, 7);
    EXPECT_EQ(VORNGetDatai(shared), 7);
    EXPECT_THAT(PluginLines(), IsEmpty()) << "the unloaded plug-ins are no subscribers any more";
}

}  // namespace
