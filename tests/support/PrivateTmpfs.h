#pragma once

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

namespace keysong::test {

/// Runs `body` in a child process for which an empty file system in memory lies at `folder`, mounted with
/// `options` ("size=64k"). False when an expectation of the body failed; none where this machine does not
/// allow it.
template <typename Body>
std::optional<bool> inPrivateTmpfs(const std::filesystem::path& folder, const char* options, Body body) {
    constexpr int notAllowed = 77;
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
    return code == notAllowed ? std::nullopt : std::optional(code == 0);
}

} // namespace keysong::test
