#pragma once

#include <systemd/sd-bus.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

namespace keysong {

struct CloseBus {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
using BusRef = std::unique_ptr<sd_bus, CloseBus>;

struct UnrefMessage {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using BusMessage = std::unique_ptr<sd_bus_message, UnrefMessage>;

/// A connection to a message bus for a few questions in a row. All that is done with it, connecting included,
/// ends by one deadline, even on a bus that lets clients in and never answers.
///
/// One thread; it waits for the bus, so neither the main nor the render nor the event-tap thread.
class BriefBus {
  public:
    enum class Kind { session, system };

    /// Connects. Waits up to `limit`, which goes on for the questions. Where `cancelled` becomes true, all
    /// waiting ends within a twentieth of a second; it outlives the object.
    BriefBus(Kind kind, std::chrono::milliseconds limit, const std::atomic<bool>* cancelled = nullptr);

    /// Whether the bus let this client in.
    [[nodiscard]] bool isReady() const;

    /// A call to be filled and given to `ask`. It starts the service if need be. Null without memory.
    [[nodiscard]] BusMessage makeCall(const char* destination, const char* path, const char* interface,
                                      const char* member) const;

    /// Sends a call and waits for the answer; null when there is none or it is an error: `failure` then tells
    /// which.
    [[nodiscard]] BusMessage ask(BusMessage call);

    /// Why the last question has no answer, in words for the log.
    [[nodiscard]] const std::string& failure() const noexcept { return failure_; }

  private:
    /// Lets the connection work until `done`; false when the time is over or the connection is lost.
    template <typename Condition>
    bool serveUntil(const Condition& done);

    const std::chrono::steady_clock::time_point deadline_;
    const std::atomic<bool>* const cancelled_;
    BusRef bus_;
    std::string failure_;
};

} // namespace keysong
