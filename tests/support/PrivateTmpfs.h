#pragma once

#include "support/OwnMounts.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <exception>
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
        const bool isolated = isolate() && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                              mount("tmpfs", folder.c_str(), "tmpfs", 0, options) == 0;
        if (!isolated) {
            _exit(notAllowed);
        }
        try {
            body();
        } catch (const std::exception& error) {
            ADD_FAILURE() << error.what(); // the rest of the tests is the parent's
        }
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
