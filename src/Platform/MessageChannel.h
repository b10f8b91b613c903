#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace keysong {

/// One end of a connection between two processes over which whole messages travel in both directions, in
/// their order. Used on one thread, whose event loop watches the descriptor. Nothing here waits.
class MessageChannel {
  public:
    using Message = std::vector<std::byte>;

    /// A longer message is neither sent nor received.
    static constexpr std::size_t longestMessage = 2048;

    virtual ~MessageChannel() = default;

    /// Readable while there is something to receive, and once when the other end has gone.
    [[nodiscard]] virtual int descriptor() const noexcept = 0;
    /// False when the message is too long, the other end has gone or it takes nothing at the moment.
    virtual bool send(std::span<const std::byte> message) = 0;
    /// The next message; nothing when none has come. One that is too long comes as an empty one.
    [[nodiscard]] virtual std::optional<Message> receive() = 0;
    /// Whether `receive` found that the other end has gone.
    [[nodiscard]] virtual bool isClosed() const noexcept = 0;

  protected:
    MessageChannel() = default;
    MessageChannel(const MessageChannel&) = default;
    MessageChannel& operator=(const MessageChannel&) = default;
};

} // namespace keysong
