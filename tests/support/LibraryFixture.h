// LibraryFixture.h - base fixture for tests that link the library's objects
// directly: installs a fresh fake host and resets the library's global state.
#ifndef VORN_TEST_LIBRARY_FIXTURE_H
#define VORN_TEST_LIBRARY_FIXTURE_H

#include "FakeHost.h"
#include "LibraryReset.h"
#include "VORNCameraInternal.h"
#include "VORNDisplayInternal.h"
#include "VORNHostInternal.h"
#include "VORNLoaderInternal.h"
#include "VORNMenusInternal.h"
#include "VORNPlanesInternal.h"
#include "VORNProcessingInternal.h"
#include "VORNSceneryInternal.h"
#include "VORNUtilitiesInternal.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace vorntest {

// Errors sent to the RecordError callback, in order. Cleared by LibraryTest.
inline std::vector<std::string> gErrors;
inline void RecordError(const char* message) { gErrors.emplace_back(message); }

class LibraryTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        host = std::make_unique<FakeHost>();
        gHooks = &host->table;
        ResetLibrary();
        gErrors.clear();
    }

    void TearDown() override
    {
        ResetLibrary();
        gHooks = nullptr;
        host.reset();
    }

    static void ResetLibrary() { ResetLibraryState(); }

    // Registers a plug-in record directly (no module) and returns its id.
    int AddPlugin(const std::string& name, const std::string& signature, bool enabled = true,
                  const std::string& path = "")
    {
        auto record = std::make_unique<PluginRecord>();
        record->name = name;
        record->signature = signature;
        record->description = name + " description";
        record->filePath = path;
        record->enabled = enabled;
        return VORNAddPluginRecord(std::move(record));
    }

    PluginRecord& Record(int id) { return *gAllPlugins.at(id); }

    std::unique_ptr<FakeHost> host;
};

}  // namespace vorntest

#endif
