#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "MarletWorkspace/ProcessRunner.h"
#include "TestSupport/EnvironmentVariable.h"
#include "TestSupport/TemporaryFolder.h"

namespace marlet {
namespace {

using testing::MatchesRegex;

// What running a command fails with while the process can open `free` more files than it has open.
std::string failureWith(rlim_t free) {
    rlimit usual{};
    ::getrlimit(RLIMIT_NOFILE, &usual);
    int lowest = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(lowest);
    rlimit few{static_cast<rlim_t>(lowest) + free, usual.rlim_max};
    std::string failure = "(none)";
    ::setrlimit(RLIMIT_NOFILE, &few);
    try {
        ProcessRunner().run({.executable = "/bin/true"});
    } catch (const std::system_error& error) {
        failure = error.what();
    }
    ::setrlimit(RLIMIT_NOFILE, &usual);
    return failure;
}

TEST(ProcessDescriptorTest, whateverFailsForWantOfADescriptorLeavesNothingBehind) {
    TemporaryFolder folder;
    EnvironmentVariable temporary("TMPDIR", folder.path().string());
    std::vector<std::string> failures;
    for (rlim_t free = 0; free < 4; ++free) {
        failures.push_back(failureWith(free));
        EXPECT_TRUE(std::filesystem::is_empty(folder.path())) << failures.back();
        EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left: " << failures.back();
    }

    EXPECT_THAT(failures.at(0), MatchesRegex("Couldn't create .*/out: Too many open files"));
    EXPECT_THAT(failures.at(1), MatchesRegex("Couldn't create .*/err: Too many open files"));
}

}  // namespace
}  // namespace marlet
