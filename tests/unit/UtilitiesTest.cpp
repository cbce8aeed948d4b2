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

TEST_F(UtilitiesTest, ButtonsAreHeldPerPressAndRepeatedInOneCall)
{
    VORNDoRepeatedButtons();
    EXPECT_EQ(host->CountCalls("CommandButton"), 0u) << "nothing held, nothing sent";
    VORNCommandButtonPress(5);
    EXPECT_THAT(host->CallsNamed("CommandButton"),
                ElementsAre("CommandButton({5}, 0, 0)", "CommandButton({5}, 0, 1)"));
    VORNCommandButtonPress(5);
    host->ClearRecord();
    VORNCommandButtonRelease(5);
    EXPECT_THAT(host->CallsNamed("CommandButton"),
                ElementsAre("CommandButton({5}, 1, 0)", "CommandButton({5}, 1, 1)"));
    EXPECT_THAT(VORNHeldButtons(), ElementsAre(5)) << "a button pressed twice needs two releases";
    VORNCommandButtonPress(7);
    VORNCommandButtonPress(5);
    VORNCommandButtonRelease(5);
    host->ClearRecord();
    VORNDoRepeatedButtons();
    EXPECT_THAT(host->CallsNamed("CommandButton"), ElementsAre("CommandButton({7,5}, 0, 1)"));
    EXPECT_THAT(VORNHeldButtons(), ElementsAre(7, 5)) << "the terminating zero is removed again";
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
    EXPECT_STREQ(VORNGetVirtualKeyDescription(108), "Unknown");
    EXPECT_STREQ(VORNGetVirtualKeyDescription(static_cast<char>(255)), "Unknown");
}

// ---- paths --------------------------------------------------------------------

TEST_F(UtilitiesTest, PathsAndVersionsComeFromTheHostAndTheLibrary)
{
    host->systemPath = "/opt/sim/";
    char out[512];
    VORNGetSystemPath(out);
    EXPECT_STREQ(out, "/opt/sim/");
    VORNGetPrefsPath(out);
    EXPECT_STREQ(out, host->prefsPath.c_str());
    EXPECT_EQ(host->CountCalls("GetSystemPath"), 1u);
    EXPECT_EQ(host->CountCalls("GetPrefsPath"), 1u);
    int sim = 0, lib = 0, hostId = 0;
    VORNGetVersions(&sim, &lib, &hostId);
    EXPECT_EQ(sim, 1100);
    EXPECT_EQ(lib, 210);
    EXPECT_EQ(hostId, 1);
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

TEST_F(DirectoryContentsTest, APageEndsAtTheFirstNameOrIndexSlotThatDoesNotFit)
{
    ASSERT_EQ(osOrder.size(), 3u);
    const int all = PackedSize();
    const int firstTwo = static_cast<int>(osOrder[0].size() + osOrder[1].size()) + 2;
    const int kAny = -1;
    struct Row {
        const char* behaviour;
        int offset, size, slots, result, returned, last;  // last: the buffer's last byte
    };
    const Row rows[] = {
        {"everything fits with room for the closing empty string", 0, all + 1, 4, 1, 3, '\0'},
        {"a buffer filled exactly reports zero", 0, all, 0, 0, 3, kAny},
        {"index slots running out stop the page", 0, 256, 2, 0, 2, kAny},
        {"the next page goes on from the offset", 2, 256, 2, 1, 1, kAny},
        {"an index array filled exactly reports zero", 0, 256, 3, 0, 3, kAny},
        {"a name that does not fit stops the page, with no closing string", 0, firstTwo + 1, 0,
         0, 2, 'x'},
        {"an offset at the end returns one and nothing", 3, 16, 1, 1, 0, kAny},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.behaviour);
        std::vector<char> buf(row.size, 'x');
        char sentinel = 0;
        std::vector<char*> indices(row.slots + 1, &sentinel);
        int total = -1, returned = -1;
        EXPECT_EQ(VORNGetDirectoryContents(dir.Path().c_str(), row.offset, buf.data(), row.size,
                                           row.slots ? indices.data() : nullptr, row.slots,
                                           &total, &returned),
                  row.result);
        EXPECT_EQ(total, 3);
        EXPECT_EQ(returned, row.returned);
        for (int i = 0; i < row.slots && i < returned; ++i)
            EXPECT_EQ(indices[i], osOrder[row.offset + i]);
        if (row.slots > returned) {
            EXPECT_EQ(indices[returned], nullptr) << "the slot after the last name";
        }
        EXPECT_EQ(indices[row.slots], &sentinel) << "no slot is written past the ones given";
        if (row.returned == 0) {
            EXPECT_EQ(buf[0], '\0');
        }
        if (row.last != kAny) {
            EXPECT_EQ(buf.back(), row.last);
        }
    }
    int total = -1, returned = -1;
    EXPECT_EQ(VORNGetDirectoryContents(dir.Path().c_str(), 0, nullptr, 100, nullptr, 0, &total,
                                       &returned),
              0)
        << "a null buffer only counts";
    EXPECT_EQ(total, 3);
    EXPECT_EQ(returned, 0);
    char buf[8];
    const std::string missingPath = dir.Join("missing");
    for (const char* missing : {missingPath.c_str(), static_cast<const char*>(nullptr)}) {
        total = -1;
        EXPECT_EQ(VORNGetDirectoryContents(missing, 0, buf, sizeof buf, nullptr, 0, &total,
                                           &returned),
                  1);
        EXPECT_EQ(total, 0);
    }
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
    const std::string huge(10000, 'y');
    VORN_dprintf("%s", huge.c_str());
    ASSERT_EQ(host->debugWrites.size(), 2u);
    EXPECT_EQ(host->debugWrites[0], "value 42\n");
    EXPECT_EQ(host->debugWrites[1].size(), 8191u) << "an overlong text is cut";
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

}  // namespace
