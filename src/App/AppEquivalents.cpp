#include "App/AppEquivalents.h"

#include <algorithm>

namespace keysong {

namespace {

/// The vendor's package and its repackagings: Flatpak's id, then Snap's ("package_application"). Last the
/// class of its windows, for a program that came without a desktop file.
constexpr std::string_view zoom[] = {"Zoom", "us.zoom.Zoom", "zoom-client_zoom-client", "zoom"};

/// There is no longer a client from the vendor. These are its last one, the free ones built around the web
/// page, and the page installed as an application by a browser, which names it by the page's own id.
constexpr std::string_view teams[] = {
    "teams",
    "com.microsoft.Teams",
    "teams-for-linux",
    "com.github.IsmaelMartinez.teams_for_linux",
    "teams-for-linux_teams-for-linux",
    "msedge-cifhbcnohmdccbgoicgdjpfamggdegmo-Default",
    "chrome-cifhbcnohmdccbgoicgdjpfamggdegmo-Default",
};

struct Equivalents {
    std::string_view listed;
    std::span<const std::string_view> others;
};

// "com.apple.FaceTime" has no row: no application on this system corresponds to it.
constexpr Equivalents table[] = {
    {"us.zoom.xos", zoom},
    {"com.microsoft.teams2", teams},
};

} // namespace

std::span<const std::string_view> equivalentsOf(std::string_view listed) noexcept {
    const auto* const row = std::ranges::find(table, listed, &Equivalents::listed);
    return row == std::end(table) ? std::span<const std::string_view>() : row->others;
}

bool meansApplication(std::string_view listed, std::string_view identifier) noexcept {
    const auto others = equivalentsOf(listed);
    return listed == identifier || std::ranges::find(others, identifier) != others.end();
}

} // namespace keysong
