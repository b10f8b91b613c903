#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace keysong {

/// The desktop's global shortcuts (org.freedesktop.portal.GlobalShortcuts) over a connection to the session
/// bus of its own: whether the desktop has them, and one session with the shortcuts of this program.
///
/// One thread, which calls `process` whenever the descriptor is readable. Events are reported from inside
/// `process` and `bind`.
class PortalSession {
  public:
    struct Shortcut {
        /// The same at every start, since the desktop remembers by it.
        std::string id;
        std::string description;
        std::string preferredTrigger;
    };
    enum class Refusal { byUser, byDesktop };
    struct Events {
        /// The desktop has global shortcuts, or no longer has them; what was bound is then forgotten.
        std::function<void(bool available)> available;
        std::function<void(const std::string& id)> activated;
        std::function<void(const std::string& id)> deactivated;
        std::function<void(const std::string& id, Refusal why)> refused;
        /// The desktop ended the session, but still runs: nothing is bound any more.
        std::function<void()> closed;
    };

    /// The application id is the name of the program's desktop file, without its ending.
    PortalSession(std::string applicationId, Events events)
        : applicationId_(std::move(applicationId)), events_(std::move(events)) {}
    PortalSession(const PortalSession&) = delete;
    PortalSession& operator=(const PortalSession&) = delete;

    /// Connects to the session bus and asks for the portal, which starts it where the bus knows how. False
    /// when there is no bus.
    bool connect();
    void disconnect();
    [[nodiscard]] bool isConnected() const { return bus_ != nullptr; }
    [[nodiscard]] int descriptor() const { return sd_event_get_fd(event_.get()); }
    /// Sends and handles what is waiting. False once the bus is gone.
    bool process();

    /// Binds these shortcuts and no others; the desktop may ask the user. Those that it does not grant are
    /// refused. Does nothing while the portal is not available.
    void bind(std::vector<Shortcut> shortcuts);

  private:
    template <auto Free>
    struct Deleter {
        template <typename Object>
        void operator()(Object* object) const {
            Free(object);
        }
    };
    using BusRef = std::unique_ptr<sd_bus, Deleter<sd_bus_close_unref>>;
    using EventRef = std::unique_ptr<sd_event, Deleter<sd_event_unref>>;
    using SlotRef = std::unique_ptr<sd_bus_slot, Deleter<sd_bus_slot_unref>>;
    using MessageRef = std::unique_ptr<sd_bus_message, Deleter<sd_bus_message_unref>>;
    using Handler = void (PortalSession::*)(sd_bus_message*);
    enum class Step { idle, creating, binding };

    template <Handler handler>
    static int handle(sd_bus_message* message, void* self, sd_bus_error*);
    template <Handler handler>
    bool match(const std::string& rule);
    template <Handler handler>
    void call(MessageRef message);
    [[nodiscard]] MessageRef method(const char* path, const char* interface, const char* name);

    void onOwnerChanged(sd_bus_message* message);
    void onRegistered(sd_bus_message* message);
    void onVersion(sd_bus_message* message);
    void onStepStarted(sd_bus_message* message);
    void onResponse(sd_bus_message* message);
    void onActivated(sd_bus_message* message);
    void onDeactivated(sd_bus_message* message);
    void onClosed(sd_bus_message* message);

    void probe();
    void forget();
    void setAvailable(bool available);
    void begin();
    void createSession();
    void bindShortcuts();
    void closeSession();
    /// The portal does not work: it counts as missing until it starts again.
    void giveUp();
    void bound(std::uint32_t response, sd_bus_message* message);
    /// Ends the binding: reports the refused ones and goes on with what was asked for meanwhile.
    void settle(const std::vector<std::string>& refused, Refusal why);
    void endStep();
    std::string nextToken();
    /// The id of a shortcut signal of our session; null for another session's.
    const char* shortcutOf(sd_bus_message* message) const;

    const std::string applicationId_;
    const Events events_;
    bool available_ = false;
    Step step_ = Step::idle;
    /// `bind` was called during a step.
    bool again_ = false;
    std::vector<Shortcut> shortcuts_;
    /// The ids that the running request is about.
    std::vector<std::string> asked_;
    /// The last element of the running request's path, by which its response is known.
    std::string token_;
    std::string session_;
    unsigned tokens_ = 0;
    EventRef event_;
    BusRef bus_;
    /// The one call under way; a new one replaces it.
    SlotRef call_;
};

} // namespace keysong
