// TempDir.h - a scratch folder for one test, removed with everything in it.
#ifndef VORN_TEST_TEMP_DIR_H
#define VORN_TEST_TEMP_DIR_H

#include <string>

namespace vorntest {

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    // The folder, without a trailing '/'.
    const std::string& Path() const { return mPath; }
    std::string Join(const std::string& relative) const { return mPath + "/" + relative; }

    // Each creates relative (a folder, a file, a copy of from) and its
    // parents, and returns its full path.
    std::string MakeDir(const std::string& relative) const;
    std::string WriteFile(const std::string& relative, const std::string& content = "") const;
    std::string CopyFile(const std::string& from, const std::string& relative) const;

private:
    std::string mPath;
};

}  // namespace vorntest

#endif
