// The platform layer where the loader does not reach it: bounded copies,
// symbol look-ups that report, the listing patterns other than the loader's,
// links in a folder listing, thread-local slots.

#include "LibraryFixture.h"
#include "TempDir.h"
#include "VORNDLLUtils.h"

#include <gmock/gmock.h>

#include <cstring>
#include <dlfcn.h>
#include <thread>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

TEST(StrcpyTrunc, CopiesAtMostSizeMinusOneBytesAndTerminatesAndSizeZeroMeansNoBound)
{
    struct Case { const char* source; int size; const char* expected; };
    for (const Case& c : {Case{"abcdef", 4, "abc"}, Case{"abc", 4, "abc"}, Case{"abcdef", 0, "abcdef"},
                          Case{"abc", 1, ""}}) {
        char buffer[16];
        std::memset(buffer, 'x', sizeof buffer);
        strcpytrunc(buffer, c.source, c.size);
        EXPECT_STREQ(buffer, c.expected) << c.source << " " << c.size;
        EXPECT_EQ(buffer[c.size > 0 ? c.size : 7], 'x') << "nothing written past size bytes";
    }
}

using PlatformTest = LibraryTest;

TEST_F(PlatformTest, SymbolLookUpsLogAMissingSymbolOnlyWhenAsked)
{
    Dl_info info{};
    dladdr(reinterpret_cast<void*>(&std::strlen), &info);
    void* module = VORNLoadDLL(info.dli_fname);
    ASSERT_NE(module, nullptr);
    EXPECT_NE(VORNFindSymbol(module, "strlen", 1), nullptr);
    EXPECT_EQ(VORNFindSymbol(module, "VPluginStart", 0), nullptr);
    EXPECT_EQ(VORNFindSymbol(nullptr, "strlen", 1), nullptr);
    EXPECT_THAT(host->debugWrites, IsEmpty());
    EXPECT_EQ(VORNFindSymbol(module, "VPluginStart", 1), nullptr);
    EXPECT_THAT(host->debugWrites,
                ElementsAre("dlerror:", ::testing::HasSubstr("VPluginStart"), "\n"));
    VORNUnloadDLL(module);
}

std::vector<std::string> List(const std::string& dir, const char* pattern)
{
    std::vector<std::string> names;
    VORNFetchDirectoryContents(dir.c_str(), pattern, names);
    return names;
}

TEST_F(PlatformTest, ListingPatternsAndLinks)
{
    TempDir dir;
    for (const char* file : {"a.vpl", "B.Vpl", "vpl", "two.txt", ".hidden", "logdir"})
        dir.WriteFile(file);
    const std::string sub = dir.MakeDir("Subdir");
    ASSERT_EQ(symlink(sub.c_str(), dir.Join("link").c_str()), 0);
    ASSERT_EQ(symlink(dir.Join("nowhere").c_str(), dir.Join("broken").c_str()), 0);
    EXPECT_THAT(List(dir.Path(), "*.VPL"), UnorderedElementsAre("a.vpl", "B.Vpl"));
    EXPECT_THAT(List(dir.Path(), "txt"), ElementsAre("two.txt")) << "a plain pattern is a suffix";
    const std::vector<std::string> all = {"a.vpl", "B.Vpl", "vpl", "two.txt", ".hidden",
                                          "logdir", "Subdir", "link", "broken"};
    EXPECT_THAT(List(dir.Path(), "*.*"), ::testing::UnorderedElementsAreArray(all));
    EXPECT_THAT(List(dir.Path(), "*"), ::testing::UnorderedElementsAreArray(all));
    EXPECT_THAT(host->debugWrites, IsEmpty());
    // Folders and links to them, plus what ends in "dir" (a folder so named twice).
    EXPECT_THAT(List(dir.Path(), "DIR"), UnorderedElementsAre("Subdir", "Subdir", "link", "logdir"));
    EXPECT_THAT(host->debugWrites, ElementsAre("name broken, errno 2\n"));
    // Appends without clearing; a missing folder adds nothing.
    std::vector<std::string> names = {"kept"};
    VORNFetchDirectoryContents(dir.Join("missing").c_str(), "*.*", names);
    VORNFetchDirectoryContents(dir.Path().c_str(), "txt", names);
    EXPECT_THAT(names, ElementsAre("kept", "two.txt"));
}

TEST(ThreadLocalSlots, EachThreadSeesItsOwnValue)
{
    const unsigned key = VORNAllocTLS();
    int mine = 1, theirs = 2;
    VORNSetTLS(key, &mine);
    void* seenThere = &mine;
    std::thread([&] {
        seenThere = VORNGetTLS(key);
        VORNSetTLS(key, &theirs);
    }).join();
    EXPECT_EQ(seenThere, nullptr);
    EXPECT_EQ(VORNGetTLS(key), &mine);
}

}  // namespace
