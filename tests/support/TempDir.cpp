#include "TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace vorntest {

TempDir::TempDir()
{
    std::string pattern = (fs::temp_directory_path() / "vorn-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("mkdtemp failed");
    mPath = pattern;
}

TempDir::~TempDir()
{
    std::error_code ignored;
    fs::remove_all(mPath, ignored);
}

std::string TempDir::MakeDir(const std::string& relative) const
{
    const std::string full = Join(relative);
    fs::create_directories(full);
    return full;
}

std::string TempDir::WriteFile(const std::string& relative, const std::string& content) const
{
    const std::string full = Join(relative);
    fs::create_directories(fs::path(full).parent_path());
    std::ofstream(full, std::ios::binary) << content;
    return full;
}

std::string TempDir::CopyFile(const std::string& from, const std::string& relative) const
{
    const std::string full = Join(relative);
    fs::create_directories(fs::path(full).parent_path());
    fs::copy_file(from, full, fs::copy_options::overwrite_existing);
    return full;
}

}  // namespace vorntest
