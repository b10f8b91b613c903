#pragma once

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

namespace keysong::test {

/// How a body ends that cannot do its work on this machine.
constexpr int notAllowed = 77;

/// Runs `body` in a child process for which an empty file system in memory lies at `folder`, mounted with
/// `options` ("size=64k"). Fails the test when an expectation of the body failed, and skips it where this
/// machine does not allow it.
template <typename Body>
void inPrivateTmpfs(const std::filesystem::path& folder, const char* options, Body body) {
    const pid_t child = fork();
    if (child == 0) {
        const bool isolated = unshare(geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWUSER | CLONE_NEWNS) == 0 &&
                              mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                              mount("tmpfs", folder.c_str(), "tmpfs", 0, options) == 0;
        if (!isolated) {
            _exit(notAllowed);
        }
        body();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
    if (code == notAllowed) {
        GTEST_SKIP() << "this machine does not allow a mount namespace";
    }
    EXPECT_EQ(code, 0);
}

} // namespace keysong::test
