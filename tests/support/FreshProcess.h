// FreshProcess.h - runs the current test again in a new process of the same test program. For tests
// that need the library as it is before the host ever started it, or that leave behind state the
// library keeps for the whole process (probe indices it has been given) which later tests in the
// same process would see.
#ifndef VORN_TEST_FRESH_PROCESS_H
#define VORN_TEST_FRESH_PROCESS_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace vorntest {

constexpr const char* kFreshProcessVariable = "VORN_TEST_FRESH_PROCESS";

// True inside the process that RerunInFreshProcess started.
inline bool InFreshProcess()
{
    return std::getenv(kFreshProcessVariable) != nullptr;
}

// Runs this very test in a new process and fails unless it passes there.
inline void RerunInFreshProcess()
{
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::string filter =
        std::string("--gtest_filter=") + info->test_suite_name() + "." + info->name();
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        setenv(kFreshProcessVariable, "1", 1);
        execl("/proc/self/exe", "/proc/self/exe", filter.c_str(), "--gtest_brief=1",
              static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "the fresh process died";
    EXPECT_EQ(WEXITSTATUS(status), 0) << "the test failed in the fresh process (see above)";
}

}  // namespace vorntest

#endif
