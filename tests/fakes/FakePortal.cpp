#include "fakes/FakePortal.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <utility>

namespace keysong::test {

namespace {

constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* shortcutsInterface = "org.freedesktop.portal.GlobalShortcuts";

void check(int result) {
    if (result < 0) {
        throw std::runtime_error("the portal's bus failed");
    }
}

/// The text options of the a{sv} that comes next.
std::map<std::string, std::string> readOptions(sd_bus_message* message) {
    std::map<std::string, std::string> options;
    check(sd_bus_message_enter_container(message, 'a', "{sv}"));
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        const char* key = nullptr;
        const char* value = nullptr;
        check(sd_bus_message_read(message, "sv", &key, "s", &value));
        options[key] = value;
        check(sd_bus_message_exit_container(message));
    }
    check(sd_bus_message_exit_container(message));
    return options;
}

} // namespace

FakePortal::FakePortal(bool withShortcuts) {
    static const sd_bus_vtable registryTable[] = {
        SD_BUS_VTABLE_START(0), SD_BUS_METHOD("Register", "sa{sv}", "", &FakePortal::onRegister, 0),
        SD_BUS_VTABLE_END};
    static const sd_bus_vtable shortcutsTable[] = {
        SD_BUS_VTABLE_START(0), SD_BUS_PROPERTY("version", "u", &FakePortal::onVersion, 0, 0),
        SD_BUS_METHOD("CreateSession", "a{sv}", "o", &FakePortal::onCreateSession, 0),
        SD_BUS_METHOD("BindShortcuts", "oa(sa{sv})sa{sv}", "o", &FakePortal::onBindShortcuts, 0),
        SD_BUS_VTABLE_END};
    static const sd_bus_vtable sessionTable[] = {
        SD_BUS_VTABLE_START(0), SD_BUS_METHOD("Close", "", "", &FakePortal::onClose, 0), SD_BUS_VTABLE_END};
    sd_bus* bus = nullptr;
    check(sd_bus_open_user(&bus));
    bus_.reset(bus);
    check(sd_bus_add_object_vtable(bus, nullptr, portalPath, "org.freedesktop.host.portal.Registry",
                                   registryTable, this));
    if (withShortcuts) {
        check(sd_bus_add_object_vtable(bus, nullptr, portalPath, shortcutsInterface, shortcutsTable, this));
        check(sd_bus_add_fallback_vtable(
            bus, nullptr, "/org/freedesktop/portal/desktop/session", "org.freedesktop.portal.Session",
            sessionTable,
            [](sd_bus*, const char*, const char*, void* self, void** found, sd_bus_error*) {
                *found = self;
                return 1;
            },
            this));
    }
    check(sd_bus_request_name(bus, "org.freedesktop.portal.Desktop", 0));
}

void FakePortal::process() {
    while (sd_bus_process(bus_.get(), nullptr) > 0) {
    }
    sd_bus_flush(bus_.get());
}

std::string FakePortal::pathFor(const char* kind, const std::string& token) const {
    std::string sender = client_.substr(1);
    std::replace(sender.begin(), sender.end(), '.', '_');
    return std::string(portalPath) + "/" + kind + "/" + sender + "/" + token;
}

int FakePortal::onVersion(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*,
                          sd_bus_error*) {
    return sd_bus_message_append(reply, "u", 1);
}

int FakePortal::onRegister(sd_bus_message* message, void* self, sd_bus_error*) {
    const char* id = nullptr;
    check(sd_bus_message_read(message, "s", &id));
    static_cast<FakePortal*>(self)->applicationId = id;
    return sd_bus_reply_method_return(message, "");
}

int FakePortal::onCreateSession(sd_bus_message* message, void* self, sd_bus_error*) {
    auto& portal = *static_cast<FakePortal*>(self);
    if (portal.refusesSessions) {
        return sd_bus_reply_method_errorf(message, SD_BUS_ERROR_FAILED, "no backend");
    }
    portal.client_ = sd_bus_message_get_sender(message);
    const std::string token = readOptions(message)["handle_token"];
    portal.session_ = portal.pathFor("session", token);
    ++portal.sessionsOpen;
    // The response may come before the reply.
    const std::string request = portal.pathFor("request", token);
    check(sd_bus_emit_signal(portal.bus_.get(), request.c_str(), "org.freedesktop.portal.Request", "Response",
                             "ua{sv}", 0, 1, "session_handle", "s", portal.session_.c_str()));
    return sd_bus_reply_method_return(message, "o", request.c_str());
}

int FakePortal::onBindShortcuts(sd_bus_message* message, void* self, sd_bus_error*) {
    auto& portal = *static_cast<FakePortal*>(self);
    const char* session = nullptr;
    check(sd_bus_message_read(message, "o", &session));
    if (session != portal.session_) {
        return sd_bus_reply_method_errorf(message, SD_BUS_ERROR_ACCESS_DENIED, "no such session");
    }
    std::vector<Shortcut>& shortcuts = portal.asked.emplace_back();
    check(sd_bus_message_enter_container(message, 'a', "(sa{sv})"));
    while (sd_bus_message_enter_container(message, 'r', "sa{sv}") > 0) {
        const char* id = nullptr;
        check(sd_bus_message_read(message, "s", &id));
        auto options = readOptions(message);
        shortcuts.push_back({id, options["description"], options["preferred_trigger"]});
        check(sd_bus_message_exit_container(message));
    }
    check(sd_bus_message_exit_container(message));
    check(sd_bus_message_skip(message, "s"));
    portal.pendingRequest_ = portal.pathFor("request", readOptions(message)["handle_token"]);
    check(sd_bus_reply_method_return(message, "o", portal.pendingRequest_.c_str()));
    if (portal.answers) {
        portal.answer();
    }
    return 1;
}

int FakePortal::onClose(sd_bus_message* message, void* self, sd_bus_error*) {
    --static_cast<FakePortal*>(self)->sessionsOpen;
    return sd_bus_reply_method_return(message, "");
}

void FakePortal::answer() {
    sd_bus_message* signal = nullptr;
    check(sd_bus_message_new_signal(bus_.get(), &signal, pendingRequest_.c_str(),
                                    "org.freedesktop.portal.Request", "Response"));
    check(sd_bus_message_append(signal, "u", response));
    check(sd_bus_message_open_container(signal, 'a', "{sv}"));
    check(sd_bus_message_open_container(signal, 'e', "sv"));
    check(sd_bus_message_append(signal, "s", "shortcuts"));
    check(sd_bus_message_open_container(signal, 'v', "a(sa{sv})"));
    check(sd_bus_message_open_container(signal, 'a', "(sa{sv})"));
    for (const Shortcut& shortcut : asked.back()) {
        if (!notGranted.contains(shortcut.id)) {
            check(sd_bus_message_append(signal, "(sa{sv})", shortcut.id.c_str(), 1, "description", "s",
                                        shortcut.description.c_str()));
        }
    }
    for (int depth = 0; depth < 4; ++depth) {
        check(sd_bus_message_close_container(signal));
    }
    check(sd_bus_send(bus_.get(), signal, nullptr));
    sd_bus_message_unref(signal);
}

void FakePortal::signalShortcut(const char* signal, const std::string& id) {
    check(sd_bus_emit_signal(bus_.get(), portalPath, shortcutsInterface, signal, "osta{sv}", session_.c_str(),
                             id.c_str(), std::uint64_t{1}, 0));
}

void FakePortal::activateElsewhere(const std::string& id) {
    const std::string session = std::exchange(session_, pathFor("session", "another"));
    activate(id);
    session_ = session;
}

void FakePortal::closeSession() {
    --sessionsOpen;
    check(sd_bus_emit_signal(bus_.get(), session_.c_str(), "org.freedesktop.portal.Session", "Closed", ""));
}

} // namespace keysong::test
