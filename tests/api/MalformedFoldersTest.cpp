// What the loader makes of each file and folder layout below the plug-ins folder: one row per
// layout, with every write of the log and the plug-ins that end up registered.

#include "PluginRoot.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>

using namespace vorntest;
using ::testing::ElementsAreArray;
using Text = ::testing::Matcher<const std::string&>;

namespace fs = std::filesystem;

namespace {

const char kNotLoadable[] =
    ".  (This file is missing, not a DLL or could not be loaded due to another missing DLL.)\n\n";

using Writes = std::vector<Text>;

class BadModuleTest;

struct Layout {
    const char* name;
    // Lays out the files; returns the writes expected after the header.
    std::function<Writes(BadModuleTest&)> lay;
    std::vector<std::string> names;        // registered afterwards, the host first
    std::vector<std::string> pluginLines = {};  // checked when not empty
    std::function<void(BadModuleTest&)> check = nullptr;
};

Writes operator+(Writes a, const Writes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Writes Loaded(const std::string& path, const std::string& name) { return {"Loaded: ", path, " (", name, ").\n\n"}; }

// The system loader's error in three writes, its text naming the file.
Writes DlError(const std::string& path, const std::string& text = "")
{
    return {"dlerror:", text.empty() ? ::testing::HasSubstr(path) : Text(path + text), "\n"};
}

Writes Failed(const std::string& path) { return DlError(path) + Writes{"Failed: ", path, kNotLoadable}; }

class BadModuleTest : public LoaderTest, public ::testing::WithParamInterface<Layout> {
public:
    static std::vector<Layout> Layouts();

protected:
    std::string Cut(const std::string& relative, uintmax_t size)
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

std::vector<Layout> BadModuleTest::Layouts()
{
    return {
        {"LoadOrderIsAdminThenPlainFilesThenFatFoldersInByteOrder", [](BadModuleTest& t) {
             const std::string b = t.AddScripted("b.vpl", "b", "t.b");
             const std::string a = t.AddScripted("A.VPL", "A", "t.A");
             const std::string latin = t.AddScripted("\xff\xfe.vpl", "\xe9t\xe9", "t.latin");
             const std::string z = t.AddScripted("zfat/64/lin.vpl", "fat z", "t.z");
             const std::string af = t.AddScripted("afat/lin.vpl", "fat a", "t.af");
             const std::string admin = t.AddScripted("PluginAdmin/64/lin.vpl", "admin", "t.ad");
             return Loaded(admin, "admin") + Loaded(a, "A") + Loaded(b, "b") +
                    Loaded(latin, "\xe9t\xe9") + Loaded(af, "fat a") + Loaded(z, "fat z");
         }, {"Taravel", "admin", "A", "b", "\xe9t\xe9", "fat a", "fat z"}},
        {"AdministrationAndFrameworkFoldersAreSkipped", [](BadModuleTest& t) {
             t.AddScripted("xPluginAdminx.vpl", "plain admin", "t.pa");
             t.AddScripted("MyPluginAdminTool/lin.vpl", "folder admin", "t.fa");
             t.AddScripted("VORN.framework/lin.vpl", "framework", "t.fw");
             t.AddScripted("VWidgets.framework/lin.vpl", "widgets", "t.ww");
             // A name that is all suffix is a module's name all the same.
             const std::string dot = t.AddScripted(".vpl", "dot", "t.dot");
             return Loaded(dot, "dot") + Loaded(t.AddScripted("ok.vpl", "ok", "t.ok"), "ok");
         }, {"Taravel", "dot", "ok"}},
        {"FilesThatAreNotModulesFailOneByOneInNameOrder", [](BadModuleTest& t) {
             std::vector<std::string> broken = {
                 t.root.WriteFile("Resources/plugins/text.vpl", "#!/bin/sh\necho hello\n"),
                 t.root.MakeDir("Resources/plugins/folder.vpl"),
                 t.root.CopyFile("/bin/true", "Resources/plugins/program.vpl")};
             for (uintmax_t size : {0, 16, 64})
                 broken.push_back(t.Cut("cut" + std::to_string(size) + ".vpl", size));
             std::sort(broken.begin(), broken.end());
             Writes writes;
             for (const std::string& path : broken)
                 writes = writes + Failed(path);
             return writes + Loaded(t.AddScripted("zz.vpl", "Ok", "t.ok"), "Ok");
         }, {"Taravel", "Ok"}},
        // Mapped, they would fault the process: turned away first, in the system loader's words.
        {"ModulesCutInsideTheirSegmentsAreTooShort", [](BadModuleTest& t) {
             const std::string half =
                 t.Cut("cuthalf.vpl", fs::file_size(TestPluginPath("scripted")) / 2);
             const std::string inside = t.Cut("cut1024.vpl", 1024);
             return DlError(inside, ": file too short") + Writes{"Failed: ", inside, kNotLoadable} +
                    DlError(half, ": file too short") + Writes{"Failed: ", half, kNotLoadable};
         }, {"Taravel"}},
        {"AModuleWithoutStart", [](BadModuleTest& t) {
             const std::string path = t.InstallPlugin("no_start", "ns.vpl");
             return Writes{"Failed: ", path,
                           ".  (This file is a loadable DLL but is missing the VPluginStart "
                           "callback.)\n\n"};
         }, {"Taravel"}},
        // What it registered while starting would point into its closed module.
        {"APluginThatRefusesToStartLeavesNothing", [](BadModuleTest& t) {
             const std::string no = t.AddScripted("no.vpl", "No", "t.no", "start=0\nloop_in_start=1\n");
             return Writes{"Failed: ", no,
                           ". (The plugin refused to start by returning 0 from VPluginStart.)\n\n"} +
                    Loaded(t.AddScripted("yes.vpl", "Yes", "t.yes"), "Yes");
         }, {"Taravel", "Yes"},
         {"<No:start id=1>", "<Yes:start id=1>", "<Yes:enable id=1>"}},
        {"TheFirstPluginWithASignatureKeepsItAndAnEmptyOneIsAlwaysTurnedAway", [](BadModuleTest& t) {
             const std::string first = t.AddScripted("a.vpl", "First", "t.same");
             const std::string second = t.AddScripted("b.vpl", "Second", "t.same");
             const std::string empty = t.AddScripted("empty.vpl", "Empty", "");
             const char kept[] = ". (A version of this plugin is already loaded.)\n";
             return Loaded(first, "First") + Writes{"Warning: ", second, " Signature: ", "t.same", kept,
                                                    "Warning: ", empty, " Signature: ", "", kept};
         }, {"Taravel", "First"},
         {"<First:start id=1>", "<Second:start id=2>", "<Second:stop id=2>", "<Empty:start id=2>",
          "<Empty:stop id=2>", "<First:enable id=1>"}},
        {"AFatFolderLoadsOnlyItsPreferredModuleAndOneWithoutModuleIsSilent", [](BadModuleTest& t) {
             t.root.MakeDir("Resources/plugins/empty/64");
             t.AddScripted("fat/lin.vpl", "Plain", "t.plain");
             return Loaded(t.AddScripted("fat/64/lin.vpl", "Sixty-four", "t.64"), "Sixty-four");
         }, {"Taravel", "Sixty-four"}},
        {"ABrokenPreferredModuleFallsBackSilently", [](BadModuleTest& t) {
             const std::string broken = t.Cut("fat/64/lin.vpl", 100);
             return DlError(broken) + Loaded(t.AddScripted("fat/lin.vpl", "Plain", "t.p"), "Plain");
         }, {"Taravel", "Plain"}},
        // A link to itself fails as a file and is logged by the search for folders; links to
        // the folder itself and its parent hold no module.
        {"SymbolicLinkLoopsAreSkipped", [](BadModuleTest& t) {
             const std::string folder = t.root.MakeDir("Resources/plugins");
             fs::create_symlink("self.vpl", folder + "/self.vpl");
             fs::create_directory_symlink(".", folder + "/here");
             fs::create_directory_symlink("..", folder + "/up");
             return Loaded(t.AddScripted("ok.vpl", "Ok", "t.ok"), "Ok") +
                    Writes{"Failed: ", folder + "/self.vpl", kNotLoadable,
                           "name self.vpl, errno 40\n"};
         }, {"Taravel", "Ok"}},
        {"NamesAtTheFileSystemLimit", [](BadModuleTest& t) {
             // No room for a ".cfg" beside it: the plug-in keeps its defaults.
             const std::string plain = t.InstallPlugin("scripted", std::string(251, 'p') + ".vpl");
             const std::string fat = t.AddScripted(std::string(255, 'f') + "/64/lin.vpl", "Long", "t.l");
             return Loaded(plain, "Scripted") + Loaded(fat, "Long");
         }, {"Taravel", "Scripted", "Long"}, {},
         [](BadModuleTest& t) {
             const std::string fat = t.root.Join("Resources/plugins/" + std::string(255, 'f') +
                                                 "/64/lin.vpl");
             EXPECT_EQ(VORNFindPluginByPath(fat.c_str()), 2);
             EXPECT_EQ(t.FilePathOf(2), fat.substr(0, 255));
         }},
        {"UnterminatedStartBuffersAreCutAtTheirLastByte", [](BadModuleTest& t) {
             return Loaded(t.InstallPlugin("unterminated", "careless.vpl"), std::string(255, 'N'));
         }, {"Taravel", std::string(255, 'N')}, {},
         [](BadModuleTest&) {
             char signature[256], description[256];
             VORNGetPluginInfo(1, nullptr, nullptr, signature, description);
             EXPECT_EQ(std::string(signature), std::string(255, 'S'));
             EXPECT_EQ(std::string(description), std::string(255, 'D'));
             EXPECT_EQ(VORNFindPluginBySignature(signature), 1);
         }},
    };
}

TEST_P(BadModuleTest, Loads)
{
    const Layout& layout = GetParam();
    const Writes expected =
        Writes{"Fetching plugins for ", PluginsFolder(), "\n\n"} + layout.lay(*this);
    Start();
    Frame(1.0f);
    EXPECT_THAT(LibraryWrites(), ElementsAreArray(expected));
    EXPECT_THAT(Names(), ElementsAreArray(layout.names));
    if (!layout.pluginLines.empty()) {
        EXPECT_THAT(PluginLines(), ElementsAreArray(layout.pluginLines));
    }
    for (int id = 0; id < VORNCountPlugins(); ++id) {
        EXPECT_EQ(Holdings(id).flightLoops, 0) << "plug-in " << id;
        EXPECT_EQ(VORNIsPluginEnabled(id), 1) << "plug-in " << id;
    }
    if (layout.check)
        layout.check(*this);
}

INSTANTIATE_TEST_SUITE_P(Layouts, BadModuleTest, ::testing::ValuesIn(BadModuleTest::Layouts()),
                         [](const ::testing::TestParamInfo<Layout>& info) {
                             return std::string(info.param.name);
                         });

}  // namespace
