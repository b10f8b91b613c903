#pragma once

#include "Platform/InstalledApplications.h"

#include <optional>
#include <string>

namespace keysong {

/// What a window tells about the application that it belongs to. Texts come from that application and may be
/// anything; unknown ones are empty.
struct WindowIdentity {
    /// By convention the desktop file's id: Wayland's app_id, GTK's application id.
    std::string applicationId;
    /// The two texts of an X window's WM_CLASS.
    std::string windowClass;
    std::string windowInstance;
    /// The path of the program that runs.
    std::string executable;

    friend bool operator==(const WindowIdentity&, const WindowIdentity&) = default;
};

/// The longest text of a window that is looked at, in bytes; longer ones count as unknown.
inline constexpr std::size_t longestWindowText = 1024;

/// The identifier of the installed application that a window belongs to. Tried in turn: what the window says
/// against the start-up classes and the ids, then the program against the ones that are started. A window
/// whose application is nowhere installed, such as one unpacked into a folder, is taken at its word: its
/// application id, or else its class; one that has neither has none. Reads links on the disk; any thread but
/// the render and the event-tap thread.
[[nodiscard]] std::optional<std::string> applicationOf(const WindowIdentity& window,
                                                       const InstalledApplications::List& applications);

} // namespace keysong
