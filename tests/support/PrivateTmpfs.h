#pragma once

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <exception>
#include <filesystem>
#include <fstream>
#include <string>

namespace keysong::test {

/// How a body ends that cannot do its work on this machine.
constexpr int notAllowed = 77;

/// Gives this process mounts of its own, and to an ordinary user the right to make them.
inline bool isolate() {
    const auto user = std::to_string(geteuid());
    const auto group = std::to_string(getegid());
    if (user == "0") {
        return unshare(CLONE_NEWNS) == 0;
    }
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        return false;
    }
    // Without a map the files of the new file system would belong to nobody.
    const auto write = [](const char* name, const std::string& text) {
        std::ofstream file(name);
        file << text << std::flush;
        return file.good();
    };
    return write("/proc/self/setgroups", "deny") && write("/proc/self/uid_map", "0 " + user + " 1") &&
           write("/proc/self/gid_map", "0 " + group + " 1");
}

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
