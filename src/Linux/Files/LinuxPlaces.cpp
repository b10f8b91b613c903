#include "Linux/Files/LinuxPlaces.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <system_error>

namespace keysong {

namespace {

std::filesystem::path homeFromUserDatabase() {
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
        return {};
    }
    const std::filesystem::path folder(found->pw_dir);
    return folder.is_absolute() ? folder : std::filesystem::path();
}

} // namespace

std::optional<std::string> LinuxPlaces::environment(const std::string& name) const {
    const char* value = std::getenv(name.c_str());
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

std::filesystem::path LinuxPlaces::home() const {
    const std::filesystem::path folder(environment("HOME").value_or(""));
    return folder.is_absolute() ? folder : homeFromUserDatabase();
}

std::filesystem::path LinuxPlaces::userData() const {
    return userBaseFolder(*this, "XDG_DATA_HOME", ".local/share");
}

std::filesystem::path LinuxPlaces::userConfig() const {
    return userBaseFolder(*this, "XDG_CONFIG_HOME", ".config");
}

std::filesystem::path LinuxPlaces::resources() const {
    std::error_code error;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        return {};
    }
    return (executable.parent_path() / "../share/keysong").lexically_normal();
}

std::filesystem::path userBaseFolder(const Places& places, const std::string& variable,
                                     const std::filesystem::path& fallback) {
    const std::filesystem::path named(places.environment(variable).value_or(""));
    if (named.is_absolute()) {
        return named;
    }
    const std::filesystem::path home = places.home();
    return home.empty() ? home : home / fallback;
}

} // namespace keysong
