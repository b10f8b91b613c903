#include "Linux/Frontmost/WindowIdentity.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string_view>
#include <system_error>

namespace keysong {

namespace {

using Predicate = std::function<bool(const InstalledApplication&)>;

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool sameButForCase(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, lower, lower);
}

/// "org.kde.dolphin" ends in "dolphin", by which its windows may go.
std::string_view lastPart(std::string_view id) {
    return id.substr(id.rfind('.') + 1); // past the end wraps to the start where there is no dot
}

/// The first application that is offered to people, else the first of all.
const InstalledApplication* first(const InstalledApplications::List& applications, const Predicate& fits) {
    const InstalledApplication* unlisted = nullptr;
    for (const InstalledApplication& application : applications) {
        if (!fits(application)) {
            continue;
        }
        if (application.isListed) {
            return &application;
        }
        unlisted = unlisted == nullptr ? &application : unlisted;
    }
    return unlisted;
}

/// The one application that fits; null where several do: a guess would silence the wrong one.
const InstalledApplication* only(const InstalledApplications::List& applications, const Predicate& fits) {
    const auto found = std::ranges::find_if(applications, fits);
    if (found == applications.end() ||
        std::find_if(found + 1, applications.end(), fits) != applications.end()) {
        return nullptr;
    }
    return &*found;
}

const InstalledApplication* byText(std::string_view text, const InstalledApplications::List& applications) {
    // Ids are often spelt in small letters with dashes where a window's class has capitals and spaces.
    std::string dashed(text);
    std::ranges::replace(dashed, ' ', '-');
    const Predicate steps[] = {
        [&](const auto& application) { return application.id == text; },
        [&](const auto& application) { return application.startupClass == text; },
        [&](const auto& application) { return sameButForCase(application.startupClass, text); },
        [&](const auto& application) { return sameButForCase(application.id, dashed); },
    };
    for (const Predicate& step : steps) {
        if (const auto* found = first(applications, step)) {
            return found;
        }
    }
    return only(applications,
                [&](const auto& application) { return sameButForCase(lastPart(application.id), dashed); });
}

/// Programs that run other people's: that one of them is in front says nothing.
bool runsOthers(std::string_view program) {
    constexpr std::string_view exact[] = {"sh",  "bash", "dash",     "env",     "java", "node",
                                          "gjs", "mono", "electron", "flatpak", "snap", "bwrap"};
    constexpr std::string_view beginnings[] = {"python", "perl", "ruby", "wine", "qemu-"};
    return std::ranges::find(exact, program) != std::end(exact) ||
           std::ranges::any_of(beginnings,
                               [&](std::string_view begin) { return program.starts_with(begin); });
}

const InstalledApplication* byProgram(const std::string& executable,
                                      const InstalledApplications::List& applications) {
    const std::filesystem::path path(executable);
    const std::string name = path.filename().string();
    if (name.empty() || runsOthers(name)) {
        return nullptr;
    }
    const auto* byPath = only(applications, [&](const auto& application) {
        std::error_code error;
        const std::filesystem::path program(application.program);
        return program.is_absolute() && std::filesystem::canonical(program, error) == path;
    });
    return byPath != nullptr ? byPath : only(applications, [&](const auto& application) {
        return std::filesystem::path(application.program).filename() == name;
    });
}

} // namespace

std::optional<std::string> applicationOf(const WindowIdentity& window,
                                         const InstalledApplications::List& applications) {
    for (const std::string* text : {&window.applicationId, &window.windowClass, &window.windowInstance}) {
        const auto* found = text->empty() ? nullptr : byText(*text, applications);
        if (found != nullptr) {
            return found->id;
        }
    }
    if (const auto* found = byProgram(window.executable, applications)) {
        return found->id;
    }
    for (const std::string* text : {&window.applicationId, &window.windowClass}) {
        if (!text->empty()) {
            return *text;
        }
    }
    return std::nullopt;
}

} // namespace keysong
