// Hot keys: registration without refusal, listing and info, rebinding, exact
// matching in key stage 0, and callbacks that unregister hot keys mid-match.

#include "LibraryFixture.h"
#include "WindowProbe.h"

#include <gmock/gmock.h>

#include <cstring>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const int kShift = 1;
const int kControl = 4;

class HotKeyTest : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        gWindowCalls.clear();
        VORNRegisterHostPlugin();
        a = AddPlugin("A", "t.a");
        b = AddPlugin("B", "t.b");
    }

    VORNHotKeyID Register(int owner, HotKeyProbe& p, char virtualKey, int flags,
                          const char* description = "desc")
    {
        StDispatchCallback as(owner);
        return VORNRegisterHotKey(virtualKey, flags, description, ProbeHotKey, &p);
    }

    int Press(char virtualKey, int flags) { return VORNDisplayKeyPressHook('k', flags, virtualKey, 0); }

    int a = 0, b = 0;
    HotKeyProbe h1{"h1"}, h2{"h2"}, h3{"h3"};
};

TEST_F(HotKeyTest, RegistrationNeverRefusesAndListsNewestFirst)
{
    VORNHotKeyID first = Register(a, h1, 'F', 0);
    VORNHotKeyID again = Register(a, h1, 'F', 0);
    VORNHotKeyID other = Register(b, h2, 'F', 0);
    EXPECT_NE(first, again);
    EXPECT_EQ(VORNCountHotKeys(), 3);
    EXPECT_EQ(VORNGetNthHotKey(0), other);
    EXPECT_EQ(VORNGetNthHotKey(1), again);
    EXPECT_EQ(VORNGetNthHotKey(2), first);
    EXPECT_EQ(VORNGetNthHotKey(VORNCountHotKeys()), nullptr);
    EXPECT_EQ(VORNGetNthHotKey(-1), nullptr);
    EXPECT_FALSE(VORNHotKeyWalksRunning());
}

TEST_F(HotKeyTest, InfoWritesOnlyTheNonNullOutsAndNothingForUnknownIds)
{
    VORNHotKeyID id = Register(b, h1, 'Q', kShift | kControl, "Quit now");
    char key = 0;
    int flags = 0;
    char text[512] = "untouched";
    VORNPluginID owner = -7;
    VORNGetHotKeyInfo(id, &key, &flags, text, &owner);
    EXPECT_EQ(key, 'Q');
    EXPECT_EQ(flags, kShift | kControl);
    EXPECT_STREQ(text, "Quit now");
    EXPECT_EQ(owner, b);
    VORNGetHotKeyInfo(id, nullptr, nullptr, nullptr, nullptr);

    int outside = 0;
    char key2 = 'x';
    int flags2 = 99;
    char text2[16] = "keep";
    VORNPluginID owner2 = 42;
    VORNGetHotKeyInfo(&outside, &key2, &flags2, text2, &owner2);
    VORNGetHotKeyInfo(nullptr, &key2, &flags2, text2, &owner2);
    EXPECT_EQ(key2, 'x');
    EXPECT_EQ(flags2, 99);
    EXPECT_STREQ(text2, "keep");
    EXPECT_EQ(owner2, 42);
}

TEST_F(HotKeyTest, TheDescriptionIsACopyTruncatedTo511Bytes)
{
    std::string longText(600, 'd');
    std::string given = "short";
    VORNHotKeyID id = Register(a, h1, 'L', 0, longText.c_str());
    VORNHotKeyID copied = Register(a, h2, 'S', 0, given.c_str());
    VORNHotKeyID none = Register(a, h3, 'N', 0, nullptr);
    given = "changed";
    char text[600];
    std::memset(text, 'z', sizeof text);
    VORNGetHotKeyInfo(id, nullptr, nullptr, text, nullptr);
    EXPECT_EQ(std::string(text), std::string(511, 'd'));
    EXPECT_EQ(text[512], 'z') << "the buffer is taken to be 512 bytes";
    VORNGetHotKeyInfo(copied, nullptr, nullptr, text, nullptr);
    EXPECT_STREQ(text, "short");
    VORNGetHotKeyInfo(none, nullptr, nullptr, text, nullptr);
    EXPECT_STREQ(text, "");
}

TEST_F(HotKeyTest, MatchingNeedsTheExactFlagsAndTakesTheNewest)
{
    Register(a, h1, 'G', kShift);
    Register(b, h2, 'G', kShift);
    Register(a, h3, 'G', 0);
    EXPECT_EQ(Press('G', kShift | kControl), 1) << "one extra bit is another combination";
    EXPECT_EQ(Press('H', kShift), 1);
    EXPECT_EQ(Press('G', kShift), 0);
    EXPECT_EQ(Press('G', 0), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("h2 hot/2", "h3 hot/1"));
}

TEST_F(HotKeyTest, AfterTheNewerIsUnregisteredTheOlderRuns)
{
    Register(a, h1, 'G', 0);
    VORNHotKeyID newer = Register(b, h2, 'G', 0);
    {
        StDispatchCallback as(a);
        VORNUnregisterHotKey(newer);  // any plug-in may
    }
    int outside = 0;
    VORNUnregisterHotKey(&outside);
    VORNUnregisterHotKey(newer);
    EXPECT_EQ(Press('G', 0), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("h1 hot/1"));
    EXPECT_EQ(VORNCountHotKeys(), 1);
}

TEST_F(HotKeyTest, ADisabledOwnersMatchIsPassedOver)
{
    Register(a, h1, 'G', 0);
    Register(b, h2, 'G', 0);
    Record(b).enabled = false;
    EXPECT_EQ(Press('G', 0), 0);
    Record(a).enabled = false;
    EXPECT_EQ(Press('G', 0), 1);
    EXPECT_THAT(gWindowCalls, ElementsAre("h1 hot/1"));
}

TEST_F(HotKeyTest, RebindingMovesTheBindingAtOnce)
{
    VORNHotKeyID id = Register(a, h1, 'G', 0);
    VORNSetHotKeyCombination(id, 'J', kControl);
    int outside = 0;
    VORNSetHotKeyCombination(&outside, 'G', 0);
    EXPECT_EQ(Press('G', 0), 1);
    EXPECT_EQ(Press('J', kControl), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("h1 hot/1"));
}

TEST_F(HotKeyTest, SniffersBeforeTheWindowsSeeTheKeyFirst)
{
    Register(a, h1, 'G', 0);
    int consumed = 0;
    static int sniffResult;
    sniffResult = 0;
    auto sniffer = [](char, int, char, void* refcon) {
        ++*static_cast<int*>(refcon);
        return sniffResult;
    };
    {
        StDispatchCallback as(b);
        VORNRegisterKeySniffer(sniffer, 1, &consumed);
    }
    EXPECT_EQ(Press('G', 0), 0);
    EXPECT_THAT(gWindowCalls, IsEmpty());
    sniffResult = 1;
    EXPECT_EQ(Press('G', 0), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("h1 hot/1"));
    EXPECT_EQ(consumed, 2);
}

TEST_F(HotKeyTest, ACallbackMayUnregisterItselfAndOthersMidMatch)
{
    VORNHotKeyID older = Register(a, h1, 'G', 0);
    VORNHotKeyID self = Register(b, h2, 'G', 0);
    h2.action = [&] {
        VORNUnregisterHotKey(self);
        VORNUnregisterHotKey(older);
        EXPECT_EQ(VORNCountHotKeys(), 0);
    };
    EXPECT_EQ(Press('G', 0), 0);
    EXPECT_EQ(Press('G', 0), 1);
    EXPECT_THAT(gWindowCalls, ElementsAre("h2 hot/2"));
    EXPECT_FALSE(VORNHotKeyWalksRunning());
}

TEST_F(HotKeyTest, ACallbackThatRegistersDuringTheMatchDoesNotFireTheNewOne)
{
    Register(a, h1, 'G', 0);
    h1.action = [&] { Register(a, h2, 'G', 0); };
    EXPECT_EQ(Press('G', 0), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("h1 hot/1"));
    EXPECT_EQ(Press('G', 0), 0);
    EXPECT_THAT(gWindowCalls, ElementsAre("h1 hot/1", "h2 hot/1"));
}

TEST_F(HotKeyTest, CleanUpRemovesOnlyThatPluginsHotKeys)
{
    Register(a, h1, 'G', 0);
    VORNHotKeyID kept = Register(b, h2, 'H', 0);
    Register(a, h3, 'I', 0);
    VORNPluginInventory inventory{};
    VORNCountDisplayHoldings(a, &inventory);
    EXPECT_EQ(inventory.hotKeys, 2);
    VORNDisplayCleanupHook(a);
    EXPECT_EQ(VORNCountHotKeys(), 1);
    EXPECT_EQ(VORNGetNthHotKey(0), kept);
}

}  // namespace
