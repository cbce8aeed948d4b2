// PluginTrioFixture.h - the host and three enabled plug-ins that report
// errors, and a way to call the API as any of them.
#ifndef VORN_TEST_PLUGIN_TRIO_FIXTURE_H
#define VORN_TEST_PLUGIN_TRIO_FIXTURE_H

#include "LibraryFixture.h"

namespace vorntest {

class PluginTrioTest : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        VORNRegisterHostPlugin();
        a = AddPlugin("A", "test.a");
        b = AddPlugin("B", "test.b");
        c = AddPlugin("C", "test.c");
        for (int id : {a, b, c})
            Record(id).errorCallback = RecordError;
    }

    // Runs body as plug-in id would: with id dispatched.
    template <typename F>
    static auto As(int id, F body)
    {
        StDispatchCallback guard(id);
        return body();
    }

    int a = -1;
    int b = -1;
    int c = -1;
};

}  // namespace vorntest

#endif
