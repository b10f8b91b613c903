#include "Linux/Listener/PermissionFile.h"

#include "Shared/Log.h"
#include "Shared/NumberText.h"
#include "Shared/WholeFile.h"

#include <pwd.h>

#include <algorithm>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

namespace keysong::listener {

namespace {

constexpr std::string_view firstLine = "keysong-listener permissions 1";

/// One that holds a blank or a line's end cannot be written down.
bool isPlain(const std::string& name) {
    return !name.empty() &&
           std::ranges::none_of(name, [](char each) { return (each >= 0 && each <= ' ') || each == 0x7F; });
}

} // namespace

PermissionFile::PermissionFile(const DurableFiles& files, std::filesystem::path file, NameOf nameOf)
    : files_(files), file_(std::move(file)), nameOf_(std::move(nameOf)) {
    files_.removeLeftovers(file_);
    try {
        if (auto users = parsed(readWholeFile(file_, longestFile))) {
            users_ = *std::move(users);
            return;
        }
        log.error("%{public}s is damaged: nobody may listen until access is granted again", file_.string());
    } catch (const FileReadError& error) {
        if (error.kind() != FileReadError::Kind::missing) {
            log.error("%{public}s: nobody may listen until access is granted again",
                      std::string_view(error.what()));
        }
    }
}

std::optional<std::string> PermissionFile::nameInDatabase(std::uint32_t user) {
    std::vector<char> room(16 * 1024);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(user, &entry, room.data(), room.size(), &found) != 0 || found == nullptr) {
        return std::nullopt;
    }
    return std::string(entry.pw_name);
}

std::optional<PermissionFile::Users> PermissionFile::parsed(const std::string& text) {
    if (!text.ends_with('\n')) {
        return std::nullopt;
    }
    std::istringstream lines(text);
    std::string line;
    if (!std::getline(lines, line) || line != firstLine) {
        return std::nullopt;
    }
    Users users;
    while (std::getline(lines, line)) {
        const std::size_t blank = line.find(' ');
        const auto user = parseInteger<std::uint32_t>(std::string_view(line).substr(0, blank));
        if (blank == std::string::npos || !user || *user == 0 || !isPlain(line.substr(blank + 1)) ||
            !users.emplace(*user, line.substr(blank + 1)).second || users.size() > mostUsers) {
            return std::nullopt;
        }
    }
    return users;
}

bool PermissionFile::isGranted(std::uint32_t user) const {
    const auto found = users_.find(user);
    return found != users_.end() && nameOf_(user) == found->second;
}

bool PermissionFile::grant(std::uint32_t user) {
    const auto name = nameOf_(user);
    if (user == 0 || !name || !isPlain(*name)) {
        return false;
    }
    Users users = users_;
    users[user] = *name;
    return users.size() <= mostUsers && (users == users_ || keep(std::move(users)));
}

bool PermissionFile::revoke(std::uint32_t user) {
    // Even where it cannot be written down, it holds for as long as the service runs.
    return users_.erase(user) == 0 || keep(users_);
}

bool PermissionFile::keep(Users users) {
    std::ostringstream text;
    text << firstLine << '\n';
    for (const auto& [user, name] : users) {
        text << user << ' ' << name << '\n';
    }
    try {
        files_.replace(file_, text.str());
    } catch (const DurableFileError& error) {
        log.error("%{public}s", std::string_view(error.what()));
        return false;
    }
    users_ = std::move(users);
    return true;
}

} // namespace keysong::listener
