#pragma once

#include "Linux/Listener/ListenerMessages.h"

#include <cstdint>

namespace keysong::listener {

/// Sends events over a connection without ever waiting for its reader: the kernel's buffer is the queue, and
/// what does not fit is counted instead. The reader is told how many it has lost before the next event that
/// reaches it. One thread.
class EventSender {
  public:
    /// The caller owns the socket, which outlives this.
    explicit EventSender(int socket) noexcept : socket_(socket) {}

    void send(const RawEvent& event) noexcept;
    /// Tells what was lost, if something was and there is room again.
    void tellLost() noexcept;

  private:
    [[nodiscard]] bool write(const Packet& packet) const noexcept;

    const int socket_;
    std::uint32_t lost_ = 0;
};

/// Gives the socket room for some dozens of events, and no more.
void boundQueue(int socket) noexcept;

} // namespace keysong::listener
