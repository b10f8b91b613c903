#include "Linux/Desktop/AutostartItem.h"

#include "Linux/Desktop/DesktopEntry.h"
#include "Shared/WholeFile.h"

#include <string_view>

namespace keysong {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t largestEntryBytes = 64 * 1024;

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
        const auto entry = parseDesktopEntry(readWholeFile(entry_, largestEntryBytes), {});
        return entry && !entry->hidden && entry->autostarts ? Status::enabled : Status::disabled;
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
