#include "Linux/Hotkeys/PortalSession.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

namespace keysong {

namespace {

constexpr const char* portalName = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* shortcutsInterface = "org.freedesktop.portal.GlobalShortcuts";
constexpr const char* sessionInterface = "org.freedesktop.portal.Session";

/// The answers of a portal request.
constexpr std::uint32_t responseSuccess = 0;
constexpr std::uint32_t responseCancelled = 1;

bool isError(sd_bus_message* message) {
    return sd_bus_message_is_method_error(message, nullptr) > 0;
}

/// Moves into the value of a key of the a{sv} that comes next; false when it has no such key.
bool enterValue(sd_bus_message* message, std::string_view wanted) {
    if (sd_bus_message_enter_container(message, 'a', "{sv}") <= 0) {
        return false;
    }
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        const char* key = nullptr;
        if (sd_bus_message_read(message, "s", &key) <= 0) {
            return false;
        }
        if (key == wanted) {
            return true;
        }
        if (sd_bus_message_skip(message, "v") < 0 || sd_bus_message_exit_container(message) < 0) {
            return false;
        }
    }
    return false;
}

/// The session's path, which portals give as a string although it is documented as a path.
std::string readSessionHandle(sd_bus_message* message) {
    const char* type = nullptr;
    const char* handle = nullptr;
    if (!enterValue(message, "session_handle") || sd_bus_message_peek_type(message, nullptr, &type) <= 0 ||
        type == nullptr || (std::string_view(type) != "s" && std::string_view(type) != "o") ||
        sd_bus_message_read(message, "v", type, &handle) <= 0) {
        return {};
    }
    return handle;
}

/// The ids of the bound shortcuts; empty when the portal does not list them.
std::optional<std::vector<std::string>> readBoundIds(sd_bus_message* message) {
    constexpr const char* list = "a(sa{sv})";
    if (!enterValue(message, "shortcuts") || sd_bus_message_enter_container(message, 'v', list) <= 0 ||
        sd_bus_message_enter_container(message, 'a', list + 1) < 0) {
        return {};
    }
    std::vector<std::string> ids;
    while (sd_bus_message_enter_container(message, 'r', "sa{sv}") > 0) {
        const char* id = nullptr;
        if (sd_bus_message_read(message, "s", &id) <= 0 || sd_bus_message_skip(message, "a{sv}") < 0 ||
            sd_bus_message_exit_container(message) < 0) {
            break;
        }
        ids.emplace_back(id);
    }
    return ids;
}

} // namespace

template <PortalSession::Handler handler>
int PortalSession::handle(sd_bus_message* message, void* self, sd_bus_error*) {
    (static_cast<PortalSession*>(self)->*handler)(message);
    return 0;
}

template <PortalSession::Handler handler>
bool PortalSession::match(const std::string& rule) {
    // Without a handler for the bus's answer a refused match would end the connection.
    const auto ignoreAnswer = [](sd_bus_message*, void*, sd_bus_error*) { return 0; };
    return sd_bus_add_match_async(bus_.get(), nullptr, rule.c_str(), &handle<handler>, ignoreAnswer, this) >=
           0;
}

template <PortalSession::Handler handler>
void PortalSession::call(MessageRef message) {
    sd_bus_slot* slot = nullptr;
    call_.reset();
    if (message != nullptr &&
        sd_bus_call_async(bus_.get(), &slot, message.get(), &handle<handler>, this, 0) >= 0) {
        call_.reset(slot);
    }
}

PortalSession::MessageRef PortalSession::method(const char* path, const char* interface, const char* name) {
    sd_bus_message* message = nullptr;
    sd_bus_message_new_method_call(bus_.get(), &message, portalName, path, interface, name);
    return MessageRef(message);
}

bool PortalSession::connect() {
    sd_bus* bus = nullptr;
    sd_event* event = nullptr;
    if (sd_event_new(&event) < 0) {
        return false;
    }
    event_.reset(event);
    if (sd_bus_open_user_with_description(&bus, "keysong-hotkeys") < 0) {
        return false;
    }
    bus_.reset(bus);
    const std::string fromPortal = "type='signal',sender='" + std::string(portalName) + "',";
    const std::string ofShortcuts = fromPortal + "interface='" + shortcutsInterface + "',member=";
    if (sd_bus_attach_event(bus, event, SD_EVENT_PRIORITY_NORMAL) < 0 ||
        !match<&PortalSession::onOwnerChanged>("type='signal',sender='org.freedesktop.DBus',"
                                               "interface='org.freedesktop.DBus',member='NameOwnerChanged',"
                                               "arg0='" +
                                               std::string(portalName) + "'") ||
        !match<&PortalSession::onActivated>(ofShortcuts + "'Activated'") ||
        !match<&PortalSession::onDeactivated>(ofShortcuts + "'Deactivated'") ||
        !match<&PortalSession::onResponse>(fromPortal + "interface='org.freedesktop.portal.Request',"
                                                        "member='Response'") ||
        !match<&PortalSession::onClosed>(fromPortal + "interface='" + sessionInterface +
                                         "',member='Closed'")) {
        disconnect();
        return false;
    }
    probe();
    return true;
}

void PortalSession::disconnect() {
    call_.reset();
    bus_.reset();
    event_.reset();
    setAvailable(false);
}

bool PortalSession::process() {
    while (sd_event_run(event_.get(), 0) > 0) {
    }
    return sd_bus_is_open(bus_.get()) > 0;
}

void PortalSession::probe() {
    // Says whose shortcuts they are. Older portals have no such call and find out by themselves.
    auto message = method(portalPath, "org.freedesktop.host.portal.Registry", "Register");
    sd_bus_message_append(message.get(), "sa{sv}", applicationId_.c_str(), 0);
    call<&PortalSession::onRegistered>(std::move(message));
}

void PortalSession::onRegistered(sd_bus_message*) {
    auto message = method(portalPath, "org.freedesktop.DBus.Properties", "Get");
    sd_bus_message_append(message.get(), "ss", shortcutsInterface, "version");
    call<&PortalSession::onVersion>(std::move(message));
}

void PortalSession::onVersion(sd_bus_message* message) {
    setAvailable(!isError(message));
}

void PortalSession::onOwnerChanged(sd_bus_message* message) {
    const char* owner = nullptr;
    if (sd_bus_message_skip(message, "ss") < 0 || sd_bus_message_read(message, "s", &owner) <= 0) {
        return;
    }
    setAvailable(false);
    call_.reset();
    if (*owner != '\0') {
        probe();
    }
}

void PortalSession::forget() {
    session_.clear();
    shortcuts_.clear();
    again_ = false;
    endStep();
}

void PortalSession::setAvailable(bool available) {
    if (!available) {
        forget();
    }
    if (std::exchange(available_, available) != available) {
        events_.available(available);
    }
}

void PortalSession::bind(std::vector<Shortcut> shortcuts) {
    if (!available_) {
        return;
    }
    shortcuts_ = std::move(shortcuts);
    if (step_ == Step::idle) {
        begin();
    } else {
        again_ = true;
    }
}

void PortalSession::begin() {
    again_ = false;
    closeSession(); // shortcuts can be bound only once in a session
    if (!shortcuts_.empty()) {
        createSession();
    }
}

std::string PortalSession::nextToken() {
    return "keysong" + std::to_string(++tokens_);
}

void PortalSession::createSession() {
    step_ = Step::creating;
    token_ = nextToken();
    auto message = method(portalPath, shortcutsInterface, "CreateSession");
    sd_bus_message_append(message.get(), "a{sv}", 2, "handle_token", "s", token_.c_str(),
                          "session_handle_token", "s", token_.c_str());
    call<&PortalSession::onStepStarted>(std::move(message));
}

void PortalSession::bindShortcuts() {
    step_ = Step::binding;
    token_ = nextToken();
    auto message = method(portalPath, shortcutsInterface, "BindShortcuts");
    sd_bus_message_append(message.get(), "o", session_.c_str());
    sd_bus_message_open_container(message.get(), 'a', "(sa{sv})");
    for (const Shortcut& shortcut : shortcuts_) {
        asked_.push_back(shortcut.id);
        sd_bus_message_append(message.get(), "(sa{sv})", shortcut.id.c_str(), 2, "description", "s",
                              shortcut.description.c_str(), "preferred_trigger", "s",
                              shortcut.preferredTrigger.c_str());
    }
    sd_bus_message_close_container(message.get());
    sd_bus_message_append(message.get(), "sa{sv}", "", 1, "handle_token", "s", token_.c_str());
    call<&PortalSession::onStepStarted>(std::move(message));
}

void PortalSession::closeSession() {
    if (session_.empty()) {
        return;
    }
    const auto message = method(session_.c_str(), sessionInterface, "Close");
    sd_bus_message_set_expect_reply(message.get(), 0);
    sd_bus_send(bus_.get(), message.get(), nullptr);
    session_.clear();
}

void PortalSession::onStepStarted(sd_bus_message* message) {
    // The real answer is the request's response, which may have come already. An error here is none:
    // the portal does not work, or went away over the question.
    if (step_ != Step::idle && isError(message)) {
        giveUp();
    }
}

void PortalSession::giveUp() {
    closeSession();
    setAvailable(false);
}

void PortalSession::onResponse(sd_bus_message* message) {
    const std::string_view path = sd_bus_message_get_path(message);
    std::uint32_t response = 0;
    if (step_ == Step::idle || !path.ends_with("/" + token_) ||
        sd_bus_message_read(message, "u", &response) <= 0) {
        return;
    }
    if (step_ == Step::binding) {
        bound(response, message);
        return;
    }
    session_ = response == responseSuccess ? readSessionHandle(message) : std::string();
    if (sd_bus_object_path_is_valid(session_.c_str()) <= 0) {
        session_.clear();
        giveUp(); // a portal without sessions is of no use
    } else if (again_) {
        begin();
    } else {
        bindShortcuts();
    }
}

void PortalSession::bound(std::uint32_t response, sd_bus_message* message) {
    std::vector<std::string> refused = asked_;
    if (response == responseSuccess) {
        const auto granted = readBoundIds(message);
        std::erase_if(refused, [&](const std::string& id) {
            return !granted || std::find(granted->begin(), granted->end(), id) != granted->end();
        });
    } else {
        closeSession();
    }
    settle(refused, response == responseCancelled ? Refusal::byUser : Refusal::byDesktop);
}

void PortalSession::settle(const std::vector<std::string>& refused, Refusal why) {
    endStep();
    for (const std::string& id : refused) {
        std::erase_if(shortcuts_, [&](const Shortcut& shortcut) { return shortcut.id == id; });
        events_.refused(id, why);
    }
    if (again_) {
        begin();
    }
}

void PortalSession::endStep() {
    step_ = Step::idle;
    token_.clear();
    asked_.clear();
}

const char* PortalSession::shortcutOf(sd_bus_message* message) const {
    const char* session = nullptr;
    const char* id = nullptr;
    const bool ours = sd_bus_message_read(message, "os", &session, &id) > 0 && session_ == session;
    return ours ? id : nullptr;
}

void PortalSession::onActivated(sd_bus_message* message) {
    if (const char* id = shortcutOf(message)) {
        events_.activated(id);
    }
}

void PortalSession::onDeactivated(sd_bus_message* message) {
    if (const char* id = shortcutOf(message)) {
        events_.deactivated(id);
    }
}

void PortalSession::onClosed(sd_bus_message* message) {
    if (!session_.empty() && session_ == sd_bus_message_get_path(message)) {
        session_.clear();
        if (step_ == Step::binding) {
            settle(std::vector<std::string>(asked_), Refusal::byDesktop);
        } else {
            events_.closed();
        }
    }
}

} // namespace keysong
