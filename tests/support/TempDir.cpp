#include "TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace vorntest {

TempDir::TempDir() : mPath((fs::temp_directory_path() / "vorn-test-XXXXXX").string())
{
    if (mkdtemp(mPath.data()) == nullptr)
        throw std::runtime_error("mkdtemp failed");
}

TempDir::~TempDir()
{
    std::error_code ignored;
    fs::remove_all(mPath, ignored);
}

std::string TempDir::MakeDir(const std::string& relative) const
{
    fs::create_directories(Join(relative));
    return Join(relative);
}

// Join(relative), once its parent folder exists.
static std::string WithParent(const std::string& full)
{
    fs::create_directories(fs::path(full).parent_path());
    return full;
}

std::string TempDir::WriteFile(const std::string& relative, const std::string& content) const
{
    std::ofstream(WithParent(Join(relative)), std::ios::binary) << content;
    return Join(relative);
}

std::string TempDir::CopyFile(const std::string& from, const std::string& relative) const
{
    fs::copy_file(from, WithParent(Join(relative)), fs::copy_options::overwrite_existing);
    return Join(relative);
}

}  // namespace vorntest
