#pragma once

#include "Linux/System/BriefBus.h"
#include "Linux/System/OneShotTimer.h"

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>

namespace keysong {

struct UnrefSlot {
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
/// Ends a match, or forgets a call whose answer is no longer wanted.
using BusSlot = std::unique_ptr<sd_bus_slot, UnrefSlot>;

/// The handler of a message that is a member function of the object given as its data. One that returns
/// whether it knows the message serves an object on the bus; to the sender of others the library answers.
template <auto member>
struct BusHandler;
template <typename Owner, typename Result, Result (Owner::*member)(sd_bus_message*)>
struct BusHandler<member> {
    static int call(sd_bus_message* message, void* owner, sd_bus_error*) noexcept {
        if constexpr (std::is_void_v<Result>) {
            (static_cast<Owner*>(owner)->*member)(message);
            return 0;
        } else {
            return (static_cast<Owner*>(owner)->*member)(message) ? 1 : 0;
        }
    }
};

/// A connection to a message bus, served by a run loop: nothing here waits for the bus, not even to connect.
///
/// sd-bus is used because the program has it anyhow for the journal: Qt's D-Bus would need an event loop of
/// Qt's on this thread, libatspi and libdbus one of GLib's.
///
/// Used on the loop's thread. Handlers of messages must not destroy the connection.
class BusConnection {
  public:
    /// Where the machine's own bus listens.
    static constexpr const char* systemAddress = "unix:path=/run/dbus/system_bus_socket";

    /// Starts to connect to the session's bus, or to the one at `address` where that is not empty. `lost` is
    /// called once, at the top of the loop, when the connection has ended or does not come about. Null when
    /// there is no bus to begin with.
    [[nodiscard]] static std::unique_ptr<BusConnection> open(EpollRunLoop& loop, const std::string& address,
                                                             std::function<void()> lost);
    ~BusConnection();
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    [[nodiscard]] sd_bus* get() const noexcept { return bus_.get(); }

    /// A call to be filled and given to `send`. It starts no service that does not run. Null without memory.
    [[nodiscard]] BusMessage makeCall(const char* destination, const char* path, const char* interface,
                                      const char* member) const;

    /// Sends a call; `handler` gets the answer, or an error made here after `limit`. It is not called once
    /// the returned slot is gone. A null message does nothing.
    [[nodiscard]] BusSlot send(BusMessage call, sd_bus_message_handler_t handler, void* data,
                               std::chrono::microseconds limit = std::chrono::seconds(1));

    /// Sends a call whose answer nobody wants.
    void sendOnly(BusMessage call);

    /// Calls `handler` for every message that fits the rule, until the returned slot is gone.
    [[nodiscard]] BusSlot match(const std::string& rule, sd_bus_message_handler_t handler, void* data);

    /// Asks `name` of the bus itself about another name: "GetNameOwner", "GetConnectionUnixProcessID".
    [[nodiscard]] BusSlot askBus(const char* member, const char* name, sd_bus_message_handler_t handler,
                                 void* data);

  private:
    struct UnrefEvent {
        void operator()(sd_event* event) const { sd_event_unref(event); }
    };
    using EventRef = std::unique_ptr<sd_event, UnrefEvent>;

    BusConnection(EpollRunLoop& loop, EventRef event, BusRef bus, std::function<void()> lost);
    void serve();
    /// Sees to it that what was sent from outside a handler is written.
    void wake();

    EpollRunLoop& loop_;
    const std::function<void()> lost_;
    /// The library's own loop, whose descriptor stands for all that the connection waits for.
    EventRef event_;
    BusRef bus_;
    OneShotTimer waking_;
    bool watched_ = false;
    bool serving_ = false;
};

} // namespace keysong
