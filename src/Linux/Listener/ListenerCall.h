#pragma once

#include "Linux/Listener/ListenerMessages.h"
#include "Linux/System/PacketSocket.h"

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>

namespace keysong::listener {

/// The service could not be asked; `what()` says why.
class ListenerCallError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A connection to the listener service for questions whose answers are waited for. One thread, except for
/// `cancel`; neither the main thread of a program with windows nor the event-tap thread.
class ListenerCall {
  public:
    /// Connects, without waiting. Throws ListenerCallError when there is no service.
    explicit ListenerCall(const std::string& path);

    /// Greets, and waits up to `limit` for the state. Once, first of all. Throws ListenerCallError.
    [[nodiscard]] State greet(std::chrono::milliseconds limit);

    /// Changes a permission and waits for the answer, as long as the person who is asked takes. Throws
    /// ListenerCallError.
    [[nodiscard]] Answer::Outcome change(const Change& wanted);

    /// Ends all waiting, and with it the question. Any thread.
    void cancel() const noexcept;

  private:
    /// The next message; throws when none comes within the limit, or none will.
    [[nodiscard]] Report next(std::optional<std::chrono::milliseconds> limit);

    PacketSocket channel_;
};

} // namespace keysong::listener
