#pragma once

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <fstream>
#include <string>

namespace keysong::test {

/// Gives this process mounts of its own, and to an ordinary user the right to make them. The process may have
/// one thread only.
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

} // namespace keysong::test
