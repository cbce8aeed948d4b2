// What a start and shutdown leave behind. Some records outlive a shutdown by
// design (data-ref records, the handler list of every command seen); once
// they exist, every further start-use-shutdown cycle must give back all it
// took, so a host that restarts the library many times does not grow.

#include "PluginRoot.h"

#include <gmock/gmock.h>

#if defined(__SANITIZE_ADDRESS__)
// From the sanitizer runtime (its header does not ship with every compiler).
extern "C" size_t __sanitizer_get_current_allocated_bytes();
#endif

using namespace vorntest;

namespace {

// Bytes the program holds, counted by the sanitizer's allocator; 0 without
// it. Plain malloc statistics would also count the system loader's own
// bookkeeping for modules opened and closed, which is not the library's.
size_t AllocatedBytes()
{
#if defined(__SANITIZE_ADDRESS__)
    return __sanitizer_get_current_allocated_bytes();
#else
    return 0;
#endif
}

class ShutdownMemoryTest : public LoaderTest {
protected:
    void Cycle()
    {
        // The same host throughout, as in a simulator that restarts the
        // library: its command handles stay the same, and the library keeps
        // one (possibly empty) handler list per command handle it has seen.
        host->ClearRecord();
        Start();
        for (int frame = 0; frame < 3; ++frame) {
            VORNEventHook(0, nullptr, 0.0f);
            VORNEventHook(9, nullptr, 0.0f);  // held commands continue
        }
        VORNShutdownPlugins();
        started = false;
    }
};

TEST_F(ShutdownMemoryTest, RepeatedCyclesDoNotGrow)
{
#if !defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "counts allocations only in the AddressSanitizer build";
#endif
    // Menus, items, commands held and handled, data published and shared.
    InstallPlugin("menu_user", "menus.vpl");
    InstallPlugin("data_user", "data.vpl");
    AddScripted("one.vpl", "One", "t.one");
    AddScripted("fat/lin.vpl", "Fat", "t.fat");
    for (int i = 0; i < 3; ++i)
        Cycle();
    const size_t before = AllocatedBytes();
    for (int i = 0; i < 10; ++i)
        Cycle();
    EXPECT_EQ(AllocatedBytes(), before);
}

}  // namespace
