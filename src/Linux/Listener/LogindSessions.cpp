#include "Linux/Listener/LogindSessions.h"

#include "Shared/Log.h"

#include <systemd/sd-bus.h>
#include <systemd/sd-login.h>

#include <cstdlib>
#include <string_view>

namespace keysong::listener {

namespace {

constexpr const char* service = "org.freedesktop.login1";

/// What the library hands out in memory of its own; empty when it refuses.
template <typename Ask>
std::string textOf(const Ask& ask) {
    char* text = nullptr;
    if (ask(&text) < 0 || text == nullptr) {
        return {};
    }
    std::string result(text);
    std::free(text); // NOLINT(cppcoreguidelines-no-malloc)
    return result;
}

} // namespace

void LogindSessions::Unref::operator()(sd_login_monitor* monitor) const noexcept {
    sd_login_monitor_unref(monitor);
}

LogindSessions::LogindSessions(EpollRunLoop& loop, SystemBus& bus) : loop_(loop), bus_(bus) {
    sd_login_monitor* monitor = nullptr;
    sd_login_monitor_new("session", &monitor);
    monitor_.reset(monitor);
    if (monitor_ == nullptr ||
        !loop_.watch(sd_login_monitor_get_fd(monitor_.get()), [this] { sessionsChanged(); })) {
        log.error("there is no login manager to tell of sessions: nobody can listen");
    }
    bus_.onChange = [this] { busChanged(); };
}

LogindSessions::~LogindSessions() {
    bus_.onChange = nullptr;
    if (monitor_ != nullptr) {
        loop_.unwatch(sd_login_monitor_get_fd(monitor_.get()));
    }
}

std::string LogindSessions::sessionOf(const Process& process) {
    const auto id = static_cast<pid_t>(process.id);
    std::string session = textOf([&](char** text) { return sd_pid_get_session(id, text); });
    uid_t owner = 0;
    // What the user's own service manager has started runs outside of the sessions.
    if (session.empty() && sd_pid_get_owner_uid(id, &owner) >= 0 && owner == process.user) {
        session = textOf([&](char** text) { return sd_uid_get_display(owner, text); });
    }
    return session;
}

std::optional<Session> LogindSessions::find(const std::string& session) {
    uid_t user = 0;
    Session result;
    result.seat = textOf([&](char** text) { return sd_session_get_seat(session.c_str(), text); });
    if (result.seat.empty() || sd_session_get_uid(session.c_str(), &user) < 0 ||
        textOf([&](char** text) { return sd_session_get_class(session.c_str(), text); }) != "user") {
        return std::nullopt;
    }
    result.user = user;
    result.isActive = sd_session_is_active(session.c_str()) > 0;
    Screen& screen = screens_[session];
    if (screen.owner == nullptr) {
        screen.owner = this;
        ask(session, screen);
    }
    result.isLocked = screen.isLocked.value_or(true);
    return result;
}

void LogindSessions::sessionsChanged() {
    sd_login_monitor_flush(monitor_.get());
    std::erase_if(screens_, [](const auto& entry) {
        uid_t user = 0;
        return sd_session_get_uid(entry.first.c_str(), &user) < 0;
    });
    tell();
}

void LogindSessions::busChanged() {
    match_.reset();
    for (auto& [session, screen] : screens_) {
        screen.question.reset();
        screen.isLocked.reset();
    }
    if (bus_.get() != nullptr) {
        match_ = bus_.get()->match("type='signal',sender='org.freedesktop.login1',"
                                   "interface='org.freedesktop.DBus.Properties',member='PropertiesChanged',"
                                   "path_namespace='/org/freedesktop/login1/session'",
                                   BusHandler<&LogindSessions::screensChanged>::call, this);
        screensChanged(nullptr);
    }
    tell();
}

void LogindSessions::screensChanged(sd_bus_message*) {
    // Anybody may have sent it: only what the login manager answers counts.
    for (auto& [session, screen] : screens_) {
        ask(session, screen);
    }
}

void LogindSessions::ask(const std::string& session, Screen& screen) {
    BusConnection* const bus = bus_.get();
    if (bus == nullptr) {
        return;
    }
    const std::string path = textOf([&](char** text) {
        return sd_bus_path_encode("/org/freedesktop/login1/session", session.c_str(), text);
    });
    BusMessage call = bus->makeCall(service, path.c_str(), "org.freedesktop.DBus.Properties", "Get");
    if (call != nullptr) {
        sd_bus_message_append(call.get(), "ss", "org.freedesktop.login1.Session", "LockedHint");
    }
    screen.question = bus->send(std::move(call), BusHandler<&Screen::answered>::call, &screen);
}

void LogindSessions::Screen::answered(sd_bus_message* answer) {
    int value = 0;
    const bool isKnown = sd_bus_message_is_method_error(answer, nullptr) == 0 &&
                         sd_bus_message_enter_container(answer, 'v', "b") > 0 &&
                         sd_bus_message_read_basic(answer, 'b', &value) > 0;
    const auto before = isLocked;
    isLocked = isKnown ? std::optional(value != 0) : std::nullopt;
    if (isLocked != before) {
        owner->tell();
    }
}

void LogindSessions::tell() const {
    if (onChange) {
        onChange();
    }
}

} // namespace keysong::listener
