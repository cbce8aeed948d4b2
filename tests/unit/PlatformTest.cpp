// The platform layer: bounded copy, modules and symbols, directory listing
// with its pattern rules, thread-local slots.

#include "LibraryFixture.h"
#include "TempDir.h"
#include "VORNDLLUtils.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <dlfcn.h>
#include <thread>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

// ---- strcpytrunc ------------------------------------------------------------

TEST(StrcpyTrunc, CutsALongerSourceToSizeMinusOneAndTerminates)
{
    char buf[8];
    std::memset(buf, 'x', sizeof buf);
    strcpytrunc(buf, "abcdef", 4);
    EXPECT_STREQ(buf, "abc");
    EXPECT_EQ(buf[4], 'x') << "nothing may be written past size bytes";
}

TEST(StrcpyTrunc, CopiesASourceThatFitsWithItsTerminator)
{
    char buf[4];
    strcpytrunc(buf, "abc", 4);
    EXPECT_STREQ(buf, "abc");
}

TEST(StrcpyTrunc, SizeZeroCopiesEverything)
{
    char buf[16];
    strcpytrunc(buf, "abcdef", 0);
    EXPECT_STREQ(buf, "abcdef");
}

TEST(StrcpyTrunc, SizeOneGivesAnEmptyString)
{
    char buf[2] = {'x', 'x'};
    strcpytrunc(buf, "abc", 1);
    EXPECT_EQ(buf[0], '\0');
    EXPECT_EQ(buf[1], 'x');
}

// ---- modules -------------------------------------------------------------------

class ModuleTest : public LibraryTest {
protected:
    // Any real shared object will do; the C library is always there.
    std::string RealModule()
    {
        Dl_info info{};
        dladdr(reinterpret_cast<void*>(&std::strlen), &info);
        return info.dli_fname;
    }
    TempDir dir;
};

TEST_F(ModuleTest, MissingFileGivesNullWithoutAnyLogLine)
{
    EXPECT_EQ(VORNLoadDLL(dir.Join("missing.vpl").c_str()), nullptr);
    EXPECT_THAT(host->debugWrites, IsEmpty());
}

TEST_F(ModuleTest, FileThatIsNotAModuleLogsTheLoaderErrorInThreeWrites)
{
    const std::string path = dir.WriteFile("junk.vpl", "not a shared object");
    EXPECT_EQ(VORNLoadDLL(path.c_str()), nullptr);
    ASSERT_EQ(host->debugWrites.size(), 3u);
    EXPECT_EQ(host->debugWrites[0], "dlerror:");
    EXPECT_THAT(host->debugWrites[1], ::testing::HasSubstr("junk.vpl"));
    EXPECT_EQ(host->debugWrites[2], "\n");
}

TEST_F(ModuleTest, FindsSymbolsOfALoadedModule)
{
    void* module = VORNLoadDLL(RealModule().c_str());
    ASSERT_NE(module, nullptr);
    EXPECT_NE(VORNFindSymbol(module, "strlen", 1), nullptr);
    EXPECT_THAT(host->debugWrites, IsEmpty());
    VORNUnloadDLL(module);
}

TEST_F(ModuleTest, MissingSymbolIsLoggedOnlyWhenAsked)
{
    void* module = VORNLoadDLL(RealModule().c_str());
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(VORNFindSymbol(module, "VPluginStart", 0), nullptr);
    EXPECT_THAT(host->debugWrites, IsEmpty());
    EXPECT_EQ(VORNFindSymbol(module, "VPluginStart", 1), nullptr);
    ASSERT_EQ(host->debugWrites.size(), 3u);
    EXPECT_EQ(host->debugWrites[0], "dlerror:");
    EXPECT_THAT(host->debugWrites[1], ::testing::HasSubstr("VPluginStart"));
    EXPECT_EQ(host->debugWrites[2], "\n");
    VORNUnloadDLL(module);
}

TEST_F(ModuleTest, NullModuleHandleGivesNullSilently)
{
    EXPECT_EQ(VORNFindSymbol(nullptr, "strlen", 1), nullptr);
    EXPECT_THAT(host->debugWrites, IsEmpty());
}

// ---- directory listing ------------------------------------------------------------

std::vector<std::string> List(const std::string& dir, const char* pattern)
{
    std::vector<std::string> names;
    VORNFetchDirectoryContents(dir.c_str(), pattern, names);
    return names;
}

TEST(DirectoryListing, SuffixPatternIsCaseInsensitive)
{
    TempDir dir;
    dir.WriteFile("a.vpl");
    dir.WriteFile("B.Vpl");
    dir.WriteFile("vpl");
    dir.WriteFile("c.txt");
    EXPECT_THAT(List(dir.Path(), "*.VPL"), UnorderedElementsAre("a.vpl", "B.Vpl"));
}

TEST(DirectoryListing, StarDotStarListsEverythingButDotEntries)
{
    TempDir dir;
    dir.WriteFile("a.vpl");
    dir.WriteFile(".hidden");
    dir.MakeDir("sub");
    EXPECT_THAT(List(dir.Path(), "*.*"), UnorderedElementsAre("a.vpl", ".hidden", "sub"));
}

TEST(DirectoryListing, StarMatchesEverythingAndAPlainPatternIsASuffix)
{
    TempDir dir;
    dir.WriteFile("one.vpl");
    dir.WriteFile("two.txt");
    EXPECT_THAT(List(dir.Path(), "*"), UnorderedElementsAre("one.vpl", "two.txt"));
    EXPECT_THAT(List(dir.Path(), "txt"), ElementsAre("two.txt"));
}

TEST(DirectoryListing, FoldersMatchFilePatternsToo)
{
    TempDir dir;
    dir.MakeDir("Foo.vpl");
    EXPECT_THAT(List(dir.Path(), "*.vpl"), ElementsAre("Foo.vpl"));
}

TEST(DirectoryListing, DirPatternKeepsItsSuffixQuirk)
{
    TempDir dir;
    dir.MakeDir("Subdir");
    dir.MakeDir("x");
    dir.WriteFile("logdir");
    dir.WriteFile("plain.txt");
    EXPECT_THAT(List(dir.Path(), "DIR"), UnorderedElementsAre("Subdir", "Subdir", "x", "logdir"));
}

// The library logs through the host only.
class DirectoryListingLog : public LibraryTest {};

TEST_F(DirectoryListingLog, DirPatternFollowsLinksAndReportsBrokenOnesToTheHost)
{
    TempDir dir;
    const std::string target = dir.MakeDir("real");
    ASSERT_EQ(symlink(target.c_str(), dir.Join("link").c_str()), 0);
    ASSERT_EQ(symlink(dir.Join("nowhere").c_str(), dir.Join("broken").c_str()), 0);
    ::testing::internal::CaptureStdout();
    const auto names = List(dir.Path(), "DIR");
    const std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_THAT(names, UnorderedElementsAre("real", "link"));
    EXPECT_EQ(host->Log(), "name broken, errno 2\n");
    EXPECT_EQ(out, "") << "nothing goes to stdout";
}

TEST(DirectoryListing, AppendsWithoutClearingAndIgnoresAMissingFolder)
{
    TempDir dir;
    dir.WriteFile("a.vpl");
    std::vector<std::string> names = {"kept"};
    VORNFetchDirectoryContents(dir.Join("missing").c_str(), "*.*", names);
    VORNFetchDirectoryContents(dir.Path().c_str(), "*.*", names);
    EXPECT_THAT(names, ElementsAre("kept", "a.vpl"));
}

// ---- thread-local slots -----------------------------------------------------------

TEST(ThreadLocalSlots, EachThreadSeesItsOwnValue)
{
    const unsigned key = VORNAllocTLS();
    int mine = 1;
    int theirs = 2;
    VORNSetTLS(key, &mine);
    void* seenThere = &mine;
    std::thread other([&] {
        seenThere = VORNGetTLS(key);
        VORNSetTLS(key, &theirs);
    });
    other.join();
    EXPECT_EQ(seenThere, nullptr);
    EXPECT_EQ(VORNGetTLS(key), &mine);
}

TEST(PathForm, ConversionHooksLeavePathsUnchanged)
{
    std::string path = "/sim/Résumé/plugins";
    VORNOldToUTF8(path);
    EXPECT_EQ(path, "/sim/Résumé/plugins");
    VORNUTF8ToOld(path);
    EXPECT_EQ(path, "/sim/Résumé/plugins");
}

}  // namespace
