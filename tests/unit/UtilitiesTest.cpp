// Utilities: buttons, key names, paths, path splitting, the paged directory
// listing, versions, logging and data files.

#include "LibraryFixture.h"
#include "TempDir.h"
#include "VORN/VORNUtilities.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class UtilitiesTest : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        VORNRegisterHostPlugin();
        plugin = AddPlugin("Utility", "test.utility");
        VORNSetDispatchedPlugin(plugin);
        VORNSetErrorCallback(RecordError);
    }
    int plugin = -1;
};

// ---- buttons ------------------------------------------------------------------

TEST_F(UtilitiesTest, PressSendsEdgeThenHoldAndRemembersTheButton)
{
    VORNCommandButtonPress(5);
    EXPECT_THAT(host->CallsNamed("CommandButton"),
                ElementsAre("CommandButton({5}, 0, 0)", "CommandButton({5}, 0, 1)"));
    EXPECT_THAT(VORNHeldButtons(), ElementsAre(5));
}

TEST_F(UtilitiesTest, ReleaseSendsBothReleaseCallsAndForgetsOnePress)
{
    VORNCommandButtonPress(5);
    VORNCommandButtonPress(5);
    host->ClearRecord();
    VORNCommandButtonRelease(5);
    EXPECT_THAT(host->CallsNamed("CommandButton"),
                ElementsAre("CommandButton({5}, 1, 0)", "CommandButton({5}, 1, 1)"));
    EXPECT_THAT(VORNHeldButtons(), ElementsAre(5)) << "a button pressed twice needs two releases";
}

TEST_F(UtilitiesTest, ReleasingAButtonNotHeldStillTellsTheHost)
{
    VORNCommandButtonRelease(9);
    EXPECT_EQ(host->CountCalls("CommandButton"), 2u);
    EXPECT_THAT(VORNHeldButtons(), IsEmpty());
}

TEST_F(UtilitiesTest, RepeatedButtonsReportAllHeldButtonsInOneCall)
{
    VORNDoRepeatedButtons();
    EXPECT_EQ(host->CountCalls("CommandButton"), 0u) << "nothing held, nothing sent";
    VORNCommandButtonPress(3);
    VORNCommandButtonPress(7);
    VORNCommandButtonPress(3);
    VORNCommandButtonRelease(3);
    host->ClearRecord();
    VORNDoRepeatedButtons();
    EXPECT_THAT(host->CallsNamed("CommandButton"), ElementsAre("CommandButton({7,3}, 0, 1)"));
    EXPECT_THAT(VORNHeldButtons(), ElementsAre(7, 3)) << "the terminating zero is removed again";
}

// ---- key names ------------------------------------------------------------------

TEST_F(UtilitiesTest, KeyNamesComeFromTheTable)
{
    EXPECT_STREQ(VORNGetVirtualKeyDescription(8), "Backspace");
    EXPECT_STREQ(VORNGetVirtualKeyDescription(33), "Page Up");
    EXPECT_STREQ(VORNGetVirtualKeyDescription(48), "0");
    EXPECT_STREQ(VORNGetVirtualKeyDescription(90), "Z");
    EXPECT_STREQ(VORNGetVirtualKeyDescription(105), "Numpad-9");
    EXPECT_STREQ(VORNGetVirtualKeyDescription(109), "Numpad--");
    EXPECT_STREQ(VORNGetVirtualKeyDescription(135), "F24");
    EXPECT_STREQ(VORNGetVirtualKeyDescription(static_cast<char>(182)), "\\");
    EXPECT_STREQ(VORNGetVirtualKeyDescription(static_cast<char>(189)), "Numpad-=");
}

TEST_F(UtilitiesTest, KeysWithoutAnEntryAreUnknown)
{
    EXPECT_STREQ(VORNGetVirtualKeyDescription(108), "Unknown");
    EXPECT_STREQ(VORNGetVirtualKeyDescription(0), "Unknown");
    EXPECT_STREQ(VORNGetVirtualKeyDescription(static_cast<char>(255)), "Unknown");
}

// ---- paths --------------------------------------------------------------------

TEST_F(UtilitiesTest, SystemAndPrefsPathsComeFromTheHost)
{
    host->systemPath = "/opt/sim/";
    char out[512];
    VORNGetSystemPath(out);
    EXPECT_STREQ(out, "/opt/sim/");
    VORNGetPrefsPath(out);
    EXPECT_STREQ(out, host->prefsPath.c_str());
    EXPECT_EQ(host->CountCalls("GetSystemPath"), 1u);
    EXPECT_EQ(host->CountCalls("GetPrefsPath"), 1u);
}

TEST_F(UtilitiesTest, SeparatorIsASlashInBothPathForms)
{
    EXPECT_STREQ(VORNGetDirectorySeparator(), "/");
    Record(plugin).features[kFeatureNativePaths] = 1;
    EXPECT_STREQ(VORNGetDirectorySeparator(), "/");
}

std::pair<std::string, std::string> Split(const char* path)
{
    char buf[64];
    std::strcpy(buf, path);
    const char* file = VORNExtractFileAndPath(buf);
    return {buf, file};
}

TEST_F(UtilitiesTest, ExtractFileAndPathSplitsAtTheLastSeparator)
{
    EXPECT_EQ(Split("a/b/c"), std::make_pair(std::string("a/b"), std::string("c")));
    EXPECT_EQ(Split("a/b/"), std::make_pair(std::string("a"), std::string("b")));
    EXPECT_EQ(Split("/c"), std::make_pair(std::string(""), std::string("c")));
    EXPECT_EQ(Split("name"), std::make_pair(std::string("name"), std::string("name")));
}

TEST_F(UtilitiesTest, ExtractFileAndPathReturnsAPointerIntoTheBuffer)
{
    char buf[] = "dir/file";
    EXPECT_EQ(VORNExtractFileAndPath(buf), buf + 4);
    char bare[] = "file";
    EXPECT_EQ(VORNExtractFileAndPath(bare), bare);
}

TEST_F(UtilitiesTest, ExtractFileAndPathSurvivesDegenerateInput)
{
    EXPECT_EQ(VORNExtractFileAndPath(nullptr), nullptr);
    char empty[] = "";
    EXPECT_EQ(VORNExtractFileAndPath(empty), empty);
    char slash[] = "/";
    EXPECT_STREQ(VORNExtractFileAndPath(slash), "");
}

// ---- paged directory listing -------------------------------------------------------

class DirectoryContentsTest : public UtilitiesTest {
protected:
    void SetUp() override
    {
        UtilitiesTest::SetUp();
        dir.WriteFile("aa");
        dir.WriteFile("bbb");
        dir.MakeDir("c");
        // The listing is in the operating system's order; learn it once.
        std::vector<std::string> names;
        char buf[256];
        int total = 0, returned = 0;
        VORNGetDirectoryContents(dir.Path().c_str(), 0, buf, sizeof buf, nullptr, 0, &total,
                                 &returned);
        for (const char* p = buf; *p != '\0'; p += std::strlen(p) + 1)
            osOrder.emplace_back(p);
    }
    int PackedSize() const
    {
        int size = 0;
        for (const std::string& name : osOrder)
            size += static_cast<int>(name.size()) + 1;
        return size;
    }
    TempDir dir;
    std::vector<std::string> osOrder;
};

TEST_F(DirectoryContentsTest, EverythingFitsWithRoomForTheClosingEmptyString)
{
    ASSERT_EQ(osOrder.size(), 3u);
    std::vector<char> buf(PackedSize() + 1, 'x');
    char* indices[4];
    int total = -1, returned = -1;
    EXPECT_EQ(VORNGetDirectoryContents(dir.Path().c_str(), 0, buf.data(),
                                       static_cast<int>(buf.size()), indices, 4, &total,
                                       &returned),
              1);
    EXPECT_EQ(total, 3);
    EXPECT_EQ(returned, 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(indices[i], osOrder[i]);
    EXPECT_EQ(indices[3], nullptr);
    EXPECT_EQ(buf.back(), '\0') << "the packed names are followed by an empty string";
}

TEST_F(DirectoryContentsTest, ABufferFilledExactlyReportsZero)
{
    std::vector<char> buf(PackedSize(), 'x');
    int returned = -1;
    EXPECT_EQ(VORNGetDirectoryContents(dir.Path().c_str(), 0, buf.data(),
                                       static_cast<int>(buf.size()), nullptr, 0, nullptr,
                                       &returned),
              0);
    EXPECT_EQ(returned, 3);
}

TEST_F(DirectoryContentsTest, IndexSlotsRunningOutStopsAndPagingContinues)
{
    char buf[256];
    char* indices[3] = {nullptr, nullptr, nullptr};
    int returned = -1;
    EXPECT_EQ(VORNGetDirectoryContents(dir.Path().c_str(), 0, buf, sizeof buf, indices, 2,
                                       nullptr, &returned),
              0);
    EXPECT_EQ(returned, 2);
    EXPECT_EQ(indices[0], osOrder[0]);
    EXPECT_EQ(indices[1], osOrder[1]);
    EXPECT_EQ(indices[2], nullptr) << "no slot is written past the ones filled";

    EXPECT_EQ(VORNGetDirectoryContents(dir.Path().c_str(), 2, buf, sizeof buf, indices, 2,
                                       nullptr, &returned),
              1);
    EXPECT_EQ(returned, 1);
    EXPECT_EQ(indices[0], osOrder[2]);
    EXPECT_EQ(indices[1], nullptr);
}

TEST_F(DirectoryContentsTest, IndexArrayFilledExactlyReportsZero)
{
    char buf[256];
    char* indices[4];
    int returned = -1;
    EXPECT_EQ(VORNGetDirectoryContents(dir.Path().c_str(), 0, buf, sizeof buf, indices, 3,
                                       nullptr, &returned),
              0);
    EXPECT_EQ(returned, 3);
}

TEST_F(DirectoryContentsTest, ANameThatDoesNotFitStopsThePage)
{
    const int firstTwo = static_cast<int>(osOrder[0].size() + osOrder[1].size()) + 2;
    std::vector<char> buf(firstTwo + 1, 'x');
    int returned = -1;
    EXPECT_EQ(VORNGetDirectoryContents(dir.Path().c_str(), 0, buf.data(),
                                       static_cast<int>(buf.size()), nullptr, 0, nullptr,
                                       &returned),
              static_cast<int>(osOrder[2].size()) + 1 <= 1 ? 1 : 0);
    EXPECT_EQ(returned, 2);
    EXPECT_EQ(buf.back(), 'x') << "no closing string after a stop";
}

TEST_F(DirectoryContentsTest, OffsetAtTheEndReturnsOneAndNothing)
{
    char buf[16];
    char* indices[2];
    int total = -1, returned = -1;
    EXPECT_EQ(VORNGetDirectoryContents(dir.Path().c_str(), 3, buf, sizeof buf, indices, 1,
                                       &total, &returned),
              1);
    EXPECT_EQ(total, 3);
    EXPECT_EQ(returned, 0);
    EXPECT_EQ(buf[0], '\0');
    EXPECT_EQ(indices[0], nullptr);
}

TEST_F(DirectoryContentsTest, NegativeOffsetCountsAsPastTheEnd)
{
    char buf[16];
    int returned = -1;
    EXPECT_EQ(VORNGetDirectoryContents(dir.Path().c_str(), -1, buf, sizeof buf, nullptr, 0,
                                       nullptr, &returned),
              1);
    EXPECT_EQ(returned, 0);
}

TEST_F(DirectoryContentsTest, NullBufferOnlyCounts)
{
    int total = -1, returned = -1;
    EXPECT_EQ(VORNGetDirectoryContents(dir.Path().c_str(), 0, nullptr, 100, nullptr, 0, &total,
                                       &returned),
              0);
    EXPECT_EQ(total, 3);
    EXPECT_EQ(returned, 0);
}

TEST_F(DirectoryContentsTest, NegativeSizesNeverWriteOutsideTheBuffers)
{
    char buf[4] = {'x', 'x', 'x', 'x'};
    char* indices[1] = {reinterpret_cast<char*>(buf)};
    int returned = -1;
    const std::string empty = dir.MakeDir("empty");
    EXPECT_EQ(VORNGetDirectoryContents(empty.c_str(), 0, buf, -5, nullptr, 0, nullptr, &returned),
              0);
    EXPECT_EQ(buf[0], 'x');
    EXPECT_EQ(VORNGetDirectoryContents(empty.c_str(), 0, buf, 4, indices, -1, nullptr, &returned),
              0);
    EXPECT_EQ(indices[0], buf);
    EXPECT_EQ(buf[0], 'x');
}

TEST_F(DirectoryContentsTest, MissingFolderListsZeroEntries)
{
    char buf[8];
    int total = -1, returned = -1;
    EXPECT_EQ(VORNGetDirectoryContents(dir.Join("missing").c_str(), 0, buf, sizeof buf, nullptr,
                                       0, &total, &returned),
              1);
    EXPECT_EQ(total, 0);
    EXPECT_EQ(returned, 0);
    EXPECT_EQ(VORNGetDirectoryContents(nullptr, 0, buf, sizeof buf, nullptr, 0, &total,
                                       &returned),
              1);
    EXPECT_EQ(total, 0);
}

TEST_F(DirectoryContentsTest, PagingOneNameAtATimeReturnsEveryNameOnce)
{
    std::vector<std::string> seen;
    int offset = 0;
    for (int guard = 0; guard < 10; ++guard) {
        char buf[64];
        char* indices[2];
        int returned = 0;
        const int done = VORNGetDirectoryContents(dir.Path().c_str(), offset, buf, sizeof buf,
                                                  indices, 1, nullptr, &returned);
        for (int i = 0; i < returned; ++i)
            seen.emplace_back(indices[i]);
        offset += returned;
        if (done)
            break;
    }
    EXPECT_EQ(seen, osOrder);
}

// ---- versions, logging, symbols -----------------------------------------------------

TEST_F(UtilitiesTest, VersionsComeFromTheHostAndTheLibrary)
{
    int sim = 0, lib = 0, hostId = 0;
    VORNGetVersions(&sim, &lib, &hostId);
    EXPECT_EQ(sim, 1100);
    EXPECT_EQ(lib, 210);
    EXPECT_EQ(hostId, 1);
}

TEST_F(UtilitiesTest, VersionsWithOnlyTheLibraryVersionStillAskTheHost)
{
    int lib = 0;
    VORNGetVersions(nullptr, &lib, nullptr);
    EXPECT_EQ(lib, 210);
    EXPECT_EQ(host->CountCalls("GetVersions"), 1u);
}

TEST_F(UtilitiesTest, InitializedFollowsTheHookTable)
{
    EXPECT_EQ(VORNInitialized(), 1);
    gHooks = nullptr;
    EXPECT_EQ(VORNInitialized(), 0);
    VORNDebugString("nowhere to go");  // must not crash before start
    VORN_dprintf("nor %s", "this");
}

TEST_F(UtilitiesTest, DprintfFormatsIntoOneLogWrite)
{
    EXPECT_EQ(VORN_dprintf("%s %d\n", "value", 42), 0);
    EXPECT_THAT(host->debugWrites, ElementsAre("value 42\n"));
}

TEST_F(UtilitiesTest, DprintfTruncatesAnOverlongText)
{
    const std::string huge(10000, 'y');
    VORN_dprintf("%s", huge.c_str());
    ASSERT_EQ(host->debugWrites.size(), 1u);
    EXPECT_EQ(host->debugWrites[0].size(), 8191u);
}

TEST_F(UtilitiesTest, ForwardersPassArgumentsAndResultsUnchanged)
{
    int marker = 0;
    host->foundSymbol = &marker;
    host->language = 7;
    VORNSimulateKeyPress(2, 65);
    VORNSpeakString("hello");
    VORNCommandKeyStroke(12);
    VORNReloadScenery();
    VORNDebugString("text");
    EXPECT_EQ(VORNGetLanguage(), 7);
    EXPECT_EQ(VORNFindSymbol("HostThing"), &marker);
    EXPECT_THAT(host->CallNames(), ElementsAre("SimulateKeyPress", "SpeakString",
                                               "CommandKeyStroke", "ReloadScenery",
                                               "GetLanguage", "FindSymbol"));
    EXPECT_EQ(host->calls[0].args, "2, 65");
    EXPECT_EQ(host->calls[1].args, "\"hello\"");
    EXPECT_EQ(host->calls[2].args, "12");
    EXPECT_EQ(host->calls[5].args, "\"HostThing\"");
    EXPECT_THAT(host->debugWrites, ElementsAre("text"));
}

// ---- data files ------------------------------------------------------------------

TEST_F(UtilitiesTest, DataFilesOfKindOneAndTwoReachTheHost)
{
    host->dataFileResult = 5;
    EXPECT_EQ(VORNLoadDataFile(1, "a.sit"), 5);
    EXPECT_EQ(VORNSaveDataFile(2, "b.mov"), 5);
    EXPECT_THAT(host->CallsNamed("LoadDataFile"), ElementsAre("LoadDataFile(1, \"a.sit\")"));
    EXPECT_THAT(host->CallsNamed("SaveDataFile"), ElementsAre("SaveDataFile(2, \"b.mov\")"));
    EXPECT_THAT(gErrors, IsEmpty());
}

TEST_F(UtilitiesTest, IllegalDataFileKindsAreReported)
{
    EXPECT_EQ(VORNLoadDataFile(3, "a"), 0);
    EXPECT_EQ(VORNSaveDataFile(0, "b"), 0);
    EXPECT_THAT(gErrors, ElementsAre("Illegal file type passed to VORNLoadDataFile.",
                                     "Illegal file type passed to VORNSaveDataFile."));
    EXPECT_EQ(host->CountCalls("LoadDataFile") + host->CountCalls("SaveDataFile"), 0u);
}

TEST_F(UtilitiesTest, SaveChecksThePathBeforeTheKind)
{
    EXPECT_EQ(VORNSaveDataFile(3, nullptr), 0);
    EXPECT_THAT(gErrors, ElementsAre("Null file path passed to VORNSaveDataFile."));
}

TEST_F(UtilitiesTest, LoadDoesNotCheckThePath)
{
    EXPECT_EQ(VORNLoadDataFile(1, nullptr), 1);
    EXPECT_THAT(host->CallsNamed("LoadDataFile"), ElementsAre("LoadDataFile(1, null)"));
}

}  // namespace
