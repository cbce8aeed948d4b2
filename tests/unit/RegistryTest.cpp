// The plug-in registry and dispatch: the guard, identity queries, error
// reporting and plug-in-tagged warnings.

#include "LibraryFixture.h"
#include "VORN/VORNPlugin.h"

#include <gmock/gmock.h>

#include <cstring>
#include <stdexcept>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using RegistryTest = LibraryTest;

// ---- StDispatchCallback ----------------------------------------------------------

TEST_F(RegistryTest, GuardIsValidForTheHostWhileTheRegistryIsEmpty)
{
    StDispatchCallback guard(0);
    EXPECT_TRUE(guard.valid);
}

TEST_F(RegistryTest, GuardIsInvalidForAnyOtherIdWhileTheRegistryIsEmpty)
{
    StDispatchCallback guard(1);
    EXPECT_FALSE(guard.valid);
    EXPECT_EQ(gDispatchedPlugin, 1) << "the id is set even when not valid";
}

TEST_F(RegistryTest, GuardIsValidOnlyForEnabledRecordsInRange)
{
    VORNRegisterHostPlugin();
    const int on = AddPlugin("On", "test.on", true);
    const int off = AddPlugin("Off", "test.off", false);
    EXPECT_TRUE(StDispatchCallback(0).valid);
    EXPECT_TRUE(StDispatchCallback(on).valid);
    EXPECT_FALSE(StDispatchCallback(off).valid);
    EXPECT_FALSE(StDispatchCallback(3).valid);
    EXPECT_FALSE(StDispatchCallback(-1).valid);
}

TEST_F(RegistryTest, GuardRestoresThePreviousIdWhenNested)
{
    VORNRegisterHostPlugin();
    const int a = AddPlugin("A", "test.a");
    const int b = AddPlugin("B", "test.b");
    gDispatchedPlugin = 0;
    {
        StDispatchCallback outer(a);
        EXPECT_EQ(VORNGetMyID(), a);
        {
            StDispatchCallback inner(b);
            EXPECT_EQ(VORNGetMyID(), b);
        }
        EXPECT_EQ(VORNGetMyID(), a);
    }
    EXPECT_EQ(VORNGetMyID(), 0);
}

TEST_F(RegistryTest, GuardRestoresThePreviousIdWhenAnExceptionPasses)
{
    VORNRegisterHostPlugin();
    const int a = AddPlugin("A", "test.a");
    gDispatchedPlugin = -1;
    try {
        StDispatchCallback guard(a);
        throw std::runtime_error("plug-in failure");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(gDispatchedPlugin, -1);
}

TEST_F(RegistryTest, SetAndGetDispatchedPluginAreUnchecked)
{
    VORNSetDispatchedPlugin(42);
    EXPECT_EQ(VORNGetDispatchedPlugin(), 42);
    EXPECT_EQ(VORNGetMyID(), 42);
}

// ---- identity -------------------------------------------------------------------

TEST_F(RegistryTest, HostRecordIsIdZeroWithItsFixedIdentity)
{
    EXPECT_EQ(VORNRegisterHostPlugin(), 0);
    EXPECT_EQ(VORNCountPlugins(), 1);
    EXPECT_EQ(VORNFindPluginBySignature("corvane.taravel.taravel"), 0);
    EXPECT_EQ(VORNIsPluginEnabled(0), 1);
    char name[256], path[256], signature[256], description[256];
    VORNGetPluginInfo(0, name, path, signature, description);
    EXPECT_STREQ(name, "Taravel");
    EXPECT_STREQ(path, "");
    EXPECT_STREQ(signature, "corvane.taravel.taravel");
    EXPECT_STREQ(description, "Taravel flight simulator");
    EXPECT_EQ(Record(0).receive, host->table.HostReceiveMessage);
}

TEST_F(RegistryTest, MyIdIsZeroOutsideAnyCallback)
{
    EXPECT_EQ(VORNGetMyID(), 0);
}

TEST_F(RegistryTest, NthPluginIsTheIndexItselfUnchecked)
{
    EXPECT_EQ(VORNGetNthPlugin(7), 7);
    EXPECT_EQ(VORNGetNthPlugin(-3), -3);
}

TEST_F(RegistryTest, IsPluginEnabledIsZeroOutOfRange)
{
    VORNRegisterHostPlugin();
    AddPlugin("Off", "test.off", false);
    EXPECT_EQ(VORNIsPluginEnabled(1), 0);
    EXPECT_EQ(VORNIsPluginEnabled(2), 0);
    EXPECT_EQ(VORNIsPluginEnabled(-1), 0);
}

TEST_F(RegistryTest, SignatureSearchIsExactAndFindsTheLowestId)
{
    VORNRegisterHostPlugin();
    AddPlugin("A", "test.same");
    AddPlugin("B", "test.same");
    EXPECT_EQ(VORNFindPluginBySignature("test.same"), 1);
    EXPECT_EQ(VORNFindPluginBySignature("TEST.SAME"), -1);
    EXPECT_EQ(VORNFindPluginBySignature("test.sam"), -1);
    EXPECT_EQ(VORNFindPluginBySignature(nullptr), -1);
}

TEST_F(RegistryTest, PathSearchIsExact)
{
    VORNRegisterHostPlugin();
    AddPlugin("A", "test.a", true, "/sim/Resources/plugins/a.vpl");
    EXPECT_EQ(VORNFindPluginByPath("/sim/Resources/plugins/a.vpl"), 1);
    EXPECT_EQ(VORNFindPluginByPath("/sim/Resources/plugins/A.vpl"), -1);
    EXPECT_EQ(VORNFindPluginByPath(nullptr), -1);
    EXPECT_EQ(VORNFindPluginByPath(""), 0) << "the host's path is empty";
}

TEST_F(RegistryTest, PluginInfoTruncatesTo256BytesAndSkipsNullBuffers)
{
    VORNRegisterHostPlugin();
    const int id = AddPlugin(std::string(300, 'n'), "test.long");
    char name[300];
    std::memset(name, 'x', sizeof name);
    VORNGetPluginInfo(id, name, nullptr, nullptr, nullptr);
    EXPECT_EQ(std::strlen(name), 255u);
    EXPECT_EQ(name[256], 'x');
}

TEST_F(RegistryTest, PluginInfoOfAnUnknownIdWritesNothing)
{
    VORNRegisterHostPlugin();
    char name[256] = "untouched";
    VORNGetPluginInfo(5, name, nullptr, nullptr, nullptr);
    EXPECT_STREQ(name, "untouched");
}

TEST_F(RegistryTest, DebugNameFollowsItsFixedOrder)
{
    VORNRegisterHostPlugin();
    AddPlugin("Alpha", "test.alpha");
    const std::pair<int, const char*> cases[] = {
        {-1, "[NO_PLUGIN_ID]"},       {0, "[VORN_PLUGIN_TARAVEL]"}, {-2, "[Bad plugin ID low]"},
        {2, "[Bad plugin ID high]"}, {1, "Alpha"},
    };
    for (const auto& [id, expected] : cases) {
        gDispatchedPlugin = id;
        EXPECT_STREQ(VORNDebugGetCurrentPluginName(), expected) << "id " << id;
        EXPECT_STREQ(DebugCurrentPluginName(), expected) << "id " << id;
    }
}

// ---- errors -------------------------------------------------------------------

TEST_F(RegistryTest, ErrorCallbackIsStoredForTheDispatchedPlugin)
{
    VORNRegisterHostPlugin();
    const int a = AddPlugin("A", "test.a");
    {
        StDispatchCallback guard(a);
        VORNSetErrorCallback(RecordError);
        EXPECT_EQ(VORNHasError(), 1);
        VORNSendError("bad thing");
    }
    EXPECT_EQ(Record(a).errorCallback, RecordError);
    EXPECT_EQ(Record(0).errorCallback, nullptr);
    EXPECT_THAT(gErrors, ElementsAre("bad thing"));
}

TEST_F(RegistryTest, ErrorCallbackIsIgnoredWithoutAValidCaller)
{
    gDispatchedPlugin = 0;
    VORNSetErrorCallback(RecordError);  // empty registry: no record for the host yet
    VORNRegisterHostPlugin();
    EXPECT_EQ(Record(0).errorCallback, nullptr);
    gDispatchedPlugin = -1;
    VORNSetErrorCallback(RecordError);
    gDispatchedPlugin = 9;
    VORNSetErrorCallback(RecordError);
    EXPECT_EQ(Record(0).errorCallback, nullptr);
}

TEST_F(RegistryTest, ErrorsOfAPluginWithoutCallbackAreDropped)
{
    VORNRegisterHostPlugin();
    const int a = AddPlugin("A", "test.a");
    const int b = AddPlugin("B", "test.b");
    {
        StDispatchCallback guard(a);
        VORNSetErrorCallback(RecordError);
    }
    StDispatchCallback guard(b);
    EXPECT_EQ(VORNHasError(), 0);
    VORNSendError("dropped");
    EXPECT_THAT(gErrors, IsEmpty());
}

TEST_F(RegistryTest, HasErrorIsZeroOutOfRange)
{
    gDispatchedPlugin = -1;
    EXPECT_EQ(VORNHasError(), 0);
    VORNSendError("nobody");  // must not crash
    EXPECT_THAT(gErrors, IsEmpty());
}

void ThrowingErrorCallback(const char*)
{
    throw std::runtime_error("error callback threw");
}

TEST_F(RegistryTest, AnErrorCallbackThatThrowsDoesNotEscape)
{
    VORNRegisterHostPlugin();
    const int a = AddPlugin("A", "test.a");
    StDispatchCallback guard(a);
    VORNSetErrorCallback(ThrowingErrorCallback);
    EXPECT_NO_THROW(VORNSendError("boom"));
}

TEST_F(RegistryTest, WarningNamesThePluginInFiveWrites)
{
    VORNRegisterHostPlugin();
    const int a = AddPlugin("Alpha", "test.alpha");
    StDispatchCallback guard(a);
    VORNLogPluginWarning("careful");
    EXPECT_THAT(host->debugWrites, ElementsAre("[", "Alpha", "]: ", "careful", "\n"));
}

TEST_F(RegistryTest, WarningOnTheHostsBehalfUsesItsRecordName)
{
    VORNRegisterHostPlugin();
    VORNLogPluginWarning("host side");
    EXPECT_THAT(host->debugWrites, ElementsAre("[", "Taravel", "]: ", "host side", "\n"));
}

TEST_F(RegistryTest, WarningWithoutAValidCallerIsUnknown)
{
    gDispatchedPlugin = 3;
    VORNLogPluginWarning("who");
    EXPECT_THAT(host->debugWrites, ElementsAre("[unknown]: ", "who", "\n"));
}

// ---- path form -------------------------------------------------------------------

TEST_F(RegistryTest, PathConversionIsNeededUnlessTheCallerUsesNativePaths)
{
    VORNRegisterHostPlugin();
    const int a = AddPlugin("A", "test.a");
    gDispatchedPlugin = a;
    EXPECT_TRUE(VORNNeedPathConvert());
    Record(a).features[kFeatureNativePaths] = 2;
    EXPECT_FALSE(VORNNeedPathConvert());
    gDispatchedPlugin = -1;
    EXPECT_TRUE(VORNNeedPathConvert());
    gDispatchedPlugin = 5;
    EXPECT_TRUE(VORNNeedPathConvert());
}

TEST_F(RegistryTest, RecordsKeepTheirAddressesWhenTheRegistryGrows)
{
    VORNRegisterHostPlugin();
    const int a = AddPlugin("A", "test.a");
    PluginRecord* before = &Record(a);
    VORNDeliveryHead* pendingHead = &before->pending;
    for (int i = 0; i < 100; ++i)
        AddPlugin("P" + std::to_string(i), "test.p" + std::to_string(i));
    EXPECT_EQ(&Record(a), before);
    EXPECT_EQ(&Record(a).pending, pendingHead);
}

}  // namespace
