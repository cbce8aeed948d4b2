// Discovery over plug-in folders that a simulator finds in the wild: crowded
// folders, names at the file-system limit or not in UTF-8, link loops,
// folders the library may not read, files that are not (whole) modules, and a
// plug-in that leaves its start buffers unterminated. Loading must carry on
// past every one of them with exactly the plug-ins that can load.

#include "PluginRoot.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

using namespace vorntest;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

namespace fs = std::filesystem;

namespace {

const char kNotLoadable[] =
    ".  (This file is missing, not a DLL or could not be loaded due to another missing DLL.)\n\n";

class MalformedFoldersTest : public LoaderTest {
protected:
    std::vector<std::string> WritesFrom(size_t first) const
    {
        const std::vector<std::string> writes = LibraryWrites();
        return std::vector<std::string>(writes.begin() + std::min(first, writes.size()),
                                        writes.end());
    }

    // The library's writes after "Fetching plugins for <folder>\n\n".
    std::vector<std::string> WritesAfterFetching() const { return WritesFrom(3); }

    // A copy of the scripted module cut to size bytes, at relative.
    std::string AddTruncated(const std::string& relative, uintmax_t size)
    {
        const std::string path = InstallPlugin("scripted", relative);
        fs::resize_file(path, size);
        return path;
    }

    std::string FilePathOf(int id)
    {
        char path[256 + 16];
        std::memset(path, 'x', sizeof path);
        VORNGetPluginInfo(id, nullptr, path, nullptr, nullptr);
        EXPECT_EQ(path[256], 'x') << "the file path buffer holds 256 bytes";
        return std::string(path, strnlen(path, 256));
    }
};

// Takes all permissions from path; skips the test when that does not make it
// unreadable (as for root, whom permissions do not stop).
#define LOCK_OR_SKIP(path)                                                               \
    do {                                                                                 \
        ASSERT_EQ(chmod((path).c_str(), 0), 0);                                          \
        if (access((path).c_str(), R_OK | X_OK) == 0) {                                  \
            chmod((path).c_str(), 0755);                                                 \
            GTEST_SKIP() << "permissions do not stop this user (root): cannot make an "   \
                            "unreadable folder";                                         \
        }                                                                                \
    } while (0)

TEST_F(MalformedFoldersTest, ThousandsOfEntriesLoadOnlyTheModulesInOrder)
{
    for (int i = 0; i < 2000; ++i)
        root.WriteFile("Resources/plugins/notes" + std::to_string(i) + ".txt", "x");
    for (int i = 0; i < 1000; ++i)
        root.MakeDir("Resources/plugins/empty" + std::to_string(i) + "/64");
    const std::string plainB = AddScripted("b.vpl", "B", "t.b");
    const std::string plainA = AddScripted("a.vpl", "A", "t.a");
    const std::string fat = AddScripted("empty500x/lin.vpl", "Fat", "t.fat");
    Start();
    EXPECT_THAT(Names(), ElementsAre("Taravel", "A", "B", "Fat"));
    EXPECT_THAT(WritesAfterFetching(),
                ElementsAre("Loaded: ", plainA, " (", "A", ").\n\n",  //
                            "Loaded: ", plainB, " (", "B", ").\n\n",  //
                            "Loaded: ", fat, " (", "Fat", ").\n\n"));
}

TEST_F(MalformedFoldersTest, NamesAtTheFileSystemLimitLoad)
{
    const std::string plainName = std::string(251, 'p') + ".vpl";
    const std::string folderName(255, 'f');
    ASSERT_EQ(plainName.size(), 255u);
    // No room for a ".cfg" beside it: the scripted plug-in keeps its defaults.
    const std::string plain = InstallPlugin("scripted", plainName);
    const std::string fat = AddScripted(folderName + "/64/lin.vpl", "Long fat", "t.long.fat");
    Start();
    EXPECT_THAT(Names(), ElementsAre("Taravel", "Scripted", "Long fat"));
    EXPECT_EQ(VORNFindPluginByPath(plain.c_str()), 1);
    EXPECT_EQ(VORNFindPluginByPath(fat.c_str()), 2);
    // Longer than the caller's 256 bytes: cut to 255 and terminated.
    ASSERT_GT(fat.size(), 255u);
    EXPECT_EQ(FilePathOf(2), fat.substr(0, 255));
}

TEST_F(MalformedFoldersTest, NamesThatAreNotUtf8AreKeptByteForByte)
{
    const std::string plain = AddScripted("\xff\xfe\x80.vpl", "Latin-1 \xe9t\xe9", "t.bytes");
    const std::string fat = AddScripted("\xc3\x28 fat/lin.vpl", "Broken", "t.broken");
    AddScripted("a.vpl", "A", "t.a");
    Start();
    // Byte order: 0xFF sorts after 'a'.
    EXPECT_THAT(Names(), ElementsAre("Taravel", "A", "Latin-1 \xe9t\xe9", "Broken"));
    EXPECT_EQ(VORNFindPluginByPath(plain.c_str()), 2);
    EXPECT_EQ(VORNFindPluginByPath(fat.c_str()), 3);
    EXPECT_EQ(FilePathOf(2), plain);
}

TEST_F(MalformedFoldersTest, SymbolicLinkLoopsAreSkipped)
{
    const std::string folder = root.MakeDir("Resources/plugins");
    fs::create_symlink("self.vpl", folder + "/self.vpl");
    fs::create_symlink("pong", folder + "/ping");
    fs::create_symlink("ping", folder + "/pong");
    fs::create_directory_symlink(".", folder + "/here");
    fs::create_directory_symlink("..", folder + "/up");
    const std::string ok = AddScripted("ok.vpl", "Ok", "t.ok");
    Start();
    EXPECT_THAT(Names(), ElementsAre("Taravel", "Ok"));
    std::vector<std::string> writes = WritesAfterFetching();
    ASSERT_GE(writes.size(), 8u);
    // The search for plug-in folders then logs each loop it cannot follow, in
    // the order the system lists them.
    const std::vector<std::string> loops(writes.begin() + 8, writes.end());
    writes.resize(8);
    EXPECT_THAT(writes, ElementsAre("Loaded: ", ok, " (", "Ok", ").\n\n",  //
                                    "Failed: ", folder + "/self.vpl", kNotLoadable));
    EXPECT_THAT(loops, UnorderedElementsAre("name self.vpl, errno 40\n", "name ping, errno 40\n",
                                            "name pong, errno 40\n"));
}

TEST_F(MalformedFoldersTest, AnUnreadableFatFolderIsPassedOverSilently)
{
    AddScripted("locked/lin.vpl", "Locked", "t.locked");
    const std::string ok = AddScripted("ok.vpl", "Ok", "t.ok");
    const std::string locked = PluginsFolder() + "/locked";
    LOCK_OR_SKIP(locked);
    Start();
    chmod(locked.c_str(), 0755);
    EXPECT_THAT(Names(), ElementsAre("Taravel", "Ok"));
    EXPECT_THAT(WritesAfterFetching(), ElementsAre("Loaded: ", ok, " (", "Ok", ").\n\n"));
}

TEST_F(MalformedFoldersTest, AnUnreadablePluginsFolderLoadsNothing)
{
    AddScripted("ok.vpl", "Ok", "t.ok");
    const std::string folder = PluginsFolder();
    LOCK_OR_SKIP(folder);
    Start();
    chmod(folder.c_str(), 0755);
    EXPECT_EQ(VORNCountPlugins(), 1);
    EXPECT_TRUE(WritesAfterFetching().empty());
}

TEST_F(MalformedFoldersTest, TruncatedModulesAndOtherFilesFailOneByOne)
{
    // Cut inside its loadable segments (1024 bytes, half), a module would
    // make the system loader fault while mapping it; the library must turn
    // it away first, in the loader's words.
    const uintmax_t full = fs::file_size(TestPluginPath("scripted"));
    const std::string cutInside = AddTruncated("cut1024.vpl", 1024);
    const std::string cutHalf = AddTruncated("cuthalf.vpl", full / 2);
    std::vector<std::string> broken = {cutInside, cutHalf};
    for (uintmax_t size : {0, 16, 64})
        broken.push_back(AddTruncated("cut" + std::to_string(size) + ".vpl", size));
    broken.push_back(root.WriteFile("Resources/plugins/text.vpl", "#!/bin/sh\necho hello\n"));
    broken.push_back(root.MakeDir("Resources/plugins/folder.vpl"));
    broken.push_back(root.CopyFile("/bin/true", "Resources/plugins/program.vpl"));
    const std::string ok = AddScripted("zz.vpl", "Ok", "t.ok");
    Start();
    EXPECT_THAT(Names(), ElementsAre("Taravel", "Ok"));

    // Each broken file: the loader's dlerror line in three writes, then the
    // failure naming the file; the failures come in name order.
    std::sort(broken.begin(), broken.end());
    const std::vector<std::string> writes = WritesAfterFetching();
    ASSERT_EQ(writes.size(), broken.size() * 6 + 5);
    for (size_t i = 0; i < broken.size(); ++i) {
        const auto at = writes.begin() + static_cast<long>(i * 6);
        EXPECT_EQ(at[0], "dlerror:") << broken[i];
        if (broken[i] == cutInside || broken[i] == cutHalf) {
            EXPECT_EQ(at[1], broken[i] + ": file too short");
        }
        EXPECT_EQ(at[2], "\n") << broken[i];
        EXPECT_THAT(std::vector<std::string>(at + 3, at + 6),
                    ElementsAre("Failed: ", broken[i], kNotLoadable));
    }
    EXPECT_THAT(std::vector<std::string>(writes.end() - 5, writes.end()),
                ElementsAre("Loaded: ", ok, " (", "Ok", ").\n\n"));
}

TEST_F(MalformedFoldersTest, ATruncatedPreferredModuleFallsBackToTheOtherOne)
{
    AddTruncated("fat/64/lin.vpl", 100);
    const std::string second = AddScripted("fat/lin.vpl", "Second", "t.second");
    Start();
    EXPECT_THAT(Names(), ElementsAre("Taravel", "Second"));
    const std::vector<std::string> writes = WritesAfterFetching();
    ASSERT_EQ(writes.size(), 8u);
    EXPECT_EQ(writes[0], "dlerror:");
    EXPECT_EQ(writes[2], "\n");
    EXPECT_THAT(std::vector<std::string>(writes.begin() + 3, writes.end()),
                ElementsAre("Loaded: ", second, " (", "Second", ").\n\n"));
}

TEST_F(MalformedFoldersTest, UnterminatedStartBuffersAreCutAtTheirLastByte)
{
    const std::string path = InstallPlugin("unterminated", "careless.vpl");
    Start();
    ASSERT_EQ(VORNCountPlugins(), 2);
    char name[256], signature[256], description[256];
    VORNGetPluginInfo(1, name, nullptr, signature, description);
    EXPECT_EQ(std::string(name), std::string(255, 'N'));
    EXPECT_EQ(std::string(signature), std::string(255, 'S'));
    EXPECT_EQ(std::string(description), std::string(255, 'D'));
    EXPECT_EQ(VORNFindPluginBySignature(std::string(255, 'S').c_str()), 1);
    EXPECT_THAT(WritesAfterFetching(),
                ElementsAre("Loaded: ", path, " (", std::string(255, 'N'), ").\n\n"));
}

}  // namespace
