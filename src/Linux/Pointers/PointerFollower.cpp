#include "Linux/Pointers/PointerFollower.h"

#include <algorithm>

namespace keysong {

namespace {

/// Whether XDG_CURRENT_DESKTOP, names with colons between them, has one of these.
bool isDesktop(const Places& places, std::initializer_list<std::string_view> names) {
    const std::string all = ":" + places.environment("XDG_CURRENT_DESKTOP").value_or("") + ":";
    return std::ranges::any_of(names, [&](std::string_view name) {
        return all.find(":" + std::string(name) + ":") != std::string::npos;
    });
}

} // namespace

PointerFollower::PointerFollower(const Places& places, Threads& threads) {
    const auto valueOf = [&](const char* name) { return places.environment(name).value_or(""); };
    const PublishRules publish = [choices = choices_](PointerRules rules) { choices->set(std::move(rules)); };
    if (!valueOf("WAYLAND_DISPLAY").empty()) {
        if (const std::string socket = valueOf("SWAYSOCK"); !socket.empty()) {
            source_ = followSwayPointers(socket, threads, publish);
        } else if (isDesktop(places, {"KDE"})) {
            source_ = followKdePointers(places.userConfig(), threads, publish);
        } else if (isDesktop(places, {"GNOME", "GNOME-Classic", "Unity", "Budgie", "Phosh", "pop"})) {
            source_ = followGnomePointers(threads, publish);
        }
    } else if (const std::string display = valueOf("DISPLAY"); !display.empty()) {
        source_ = followX11Pointers(display, threads, publish);
    }
}

} // namespace keysong
