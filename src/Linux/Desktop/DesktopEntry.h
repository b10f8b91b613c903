#pragma once

#include "Platform/Places.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace keysong {

/// What the program reads of one desktop file. Texts that are not there are empty.
struct DesktopEntry {
    std::string name;
    std::string icon;
    /// The program of the command line, behind "env" and the variables that it sets.
    std::string program;
    std::string startupClass;
    /// Not to be offered to people.
    bool noDisplay = false;
    /// To be treated as if the file were not there, nor any of its name in a later folder.
    bool hidden = false;
    /// Whether it is started at login where it lies in an autostart folder; one desktop switches it off so.
    bool autostarts = true;
};

/// Reads the text of a desktop file. Lines that make no sense are passed over; of a key that is repeated the
/// first counts. `languages` are the user's locales as desktop files name them, best first. None when the
/// text has no "Desktop Entry" group, or describes something other than an application. Any thread.
[[nodiscard]] std::optional<DesktopEntry> parseDesktopEntry(std::string_view text,
                                                            const std::vector<std::string>& languages);

/// The user's locales as desktop files name them, best first: for "de_AT.UTF-8" they are "de_AT" and "de".
/// Any thread.
[[nodiscard]] std::vector<std::string> desktopLanguages(const Places& places);

} // namespace keysong
