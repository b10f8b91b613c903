#include "Platform/linux/AutostartItem.h"

#include "Shared/WholeFile.h"

#include <algorithm>
#include <sstream>
#include <string_view>

namespace keysong {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t largestEntryBytes = 64 * 1024;

/// The value of a key in the entry's main group; empty when it is not there.
std::string valueOf(const std::string& entry, std::string_view key) {
    std::istringstream lines(entry);
    bool inMainGroup = false;
    for (std::string line; std::getline(lines, line);) {
        line.erase(line.find_last_not_of(" \t\r") + 1);
        const auto equals = line.find('=');
        if (line.starts_with('[')) {
            inMainGroup = line == "[Desktop Entry]";
        } else if (inMainGroup && equals != std::string::npos) {
            std::string name = line.substr(0, equals);
            name.erase(name.find_last_not_of(" \t") + 1);
            if (name == key) {
                const auto begin = line.find_first_not_of(" \t", equals + 1);
                return begin == std::string::npos ? std::string() : line.substr(begin);
            }
        }
    }
    return {};
}

fs::path entryIn(const fs::path& config) {
    return config.empty() ? config : config / "autostart" / "com.orlen.keysong.desktop";
}

} // namespace

AutostartItem::AutostartItem(const Places& places, const DurableFiles& files, fs::path executable)
    : places_(places), files_(files), executable_(std::move(executable)),
      entry_(entryIn(places.userConfig())) {
}

bool AutostartItem::isInstalled() const {
    const fs::path folder = executable_.parent_path();
    if (folder.filename() != "bin") {
        return false;
    }
    const fs::path prefix = folder.parent_path();
    const fs::path home = places_.home();
    return prefix == "/usr" || prefix == "/usr/local" || prefix == "/opt" || prefix.parent_path() == "/opt" ||
           (!home.empty() && prefix == home / ".local");
}

LoginItem::Status AutostartItem::status() const {
    std::error_code error;
    if (entry_.empty() || !fs::exists(entry_, error)) {
        return Status::notRegistered;
    }
    try {
        const std::string entry = readWholeFile(entry_, largestEntryBytes);
        const bool off =
            valueOf(entry, "Hidden") == "true" || valueOf(entry, "X-GNOME-Autostart-enabled") == "false";
        return off ? Status::disabled : Status::enabled;
    } catch (const FileReadError&) { // nobody else can start it from there either
        return Status::disabled;
    }
}

std::string AutostartItem::execLine(const fs::path& executable) {
    constexpr std::string_view reserved = " \t\n\"'\\><~|&;$*?#()`";
    std::string command;
    for (const char character : executable.string()) {
        if (std::string_view("\"`$\\").find(character) != std::string_view::npos) {
            // Once for the quotes, and its backslash once more for the entry's own strings.
            command += "\\\\";
        }
        command += character == '\\' ? std::string("\\\\") : std::string(1, character);
        if (character == '%') {
            command += '%';
        }
    }
    const bool quoted = executable.string().find_first_of(reserved) != std::string::npos;
    return quoted ? '"' + command + '"' : command;
}

void AutostartItem::registerItem() {
    if (entry_.empty()) {
        throw LoginItemError("there is no home folder");
    }
    try {
        files_.replace(entry_, "[Desktop Entry]\n"
                               "Type=Application\n"
                               "Name=Keysong\n"
                               "Comment=The sound of a mechanical keyboard\n"
                               "Icon=com.orlen.keysong\n"
                               "Exec=" +
                                   execLine(executable_) +
                                   "\n"
                                   "Terminal=false\n"
                                   "StartupNotify=false\n"
                                   "X-GNOME-Autostart-enabled=true\n");
    } catch (const DurableFileError& error) {
        throw LoginItemError(error.what());
    }
}

void AutostartItem::unregisterItem() {
    std::error_code error;
    fs::remove(entry_, error);
    if (error) {
        throw LoginItemError("cannot remove " + entry_.string() + ": " + error.message());
    }
}

} // namespace keysong
