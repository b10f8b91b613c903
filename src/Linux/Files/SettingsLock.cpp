#include "Linux/Files/SettingsLock.h"

#include "Shared/Log.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <fstream>
#include <string>
#include <system_error>
#include <utility>

namespace keysong {

SettingsLock::SettingsLock(std::filesystem::path folder) : folder_(std::move(folder)) {
}

SettingsLock::Outcome SettingsLock::take() {
    if (isHeld_) {
        return Outcome::held;
    }
    if (!descriptor_.isOpen()) {
        std::error_code ignored; // opening it tells
        std::filesystem::create_directories(folder_, ignored);
        descriptor_.reset(::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }
    if (descriptor_.isOpen() && ::flock(descriptor_.get(), LOCK_EX | LOCK_NB) == 0) {
        isHeld_ = true;
        return Outcome::held;
    }
    if (descriptor_.isOpen() && errno == EWOULDBLOCK) {
        return Outcome::taken;
    }
    log.notice("the settings in %{public}s cannot be locked: %s", folder_.string(),
               std::generic_category().message(errno));
    return Outcome::impossible;
}

std::optional<pid_t> SettingsLock::holder() const {
    struct stat folder {};
    if (!descriptor_.isOpen() || ::fstat(descriptor_.get(), &folder) != 0) {
        return std::nullopt;
    }
    // "1: FLOCK  ADVISORY  WRITE 1234 08:01:5678 0 EOF"; the device is in hexadecimal.
    std::ifstream locks("/proc/locks");
    std::string number;
    std::string kind;
    std::string advisory;
    std::string access;
    pid_t process = 0;
    std::string file;
    std::string rest;
    while (locks >> number >> kind >> advisory >> access >> process >> file && std::getline(locks, rest)) {
        if (kind == "FLOCK" && file.ends_with(":" + std::to_string(folder.st_ino)) && process > 0) {
            return process;
        }
    }
    return std::nullopt;
}

} // namespace keysong
