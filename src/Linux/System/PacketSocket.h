#pragma once

#include "Linux/System/FileDescriptor.h"
#include "Platform/MessageChannel.h"

#include <memory>

namespace keysong {

/// A message channel over a socket that keeps messages apart (`SOCK_SEQPACKET`).
class PacketSocket final : public MessageChannel {
  public:
    /// Takes over one end of a pair.
    explicit PacketSocket(FileDescriptor socket) noexcept : socket_(std::move(socket)) {}

    /// The end that the parent process left to this one under the number, if it did. Programs that this
    /// process starts do not get it.
    [[nodiscard]] static std::unique_ptr<PacketSocket> inherited(int descriptor);

    [[nodiscard]] int descriptor() const noexcept override { return socket_.get(); }
    bool send(std::span<const std::byte> message) override;
    [[nodiscard]] std::optional<Message> receive() override;
    [[nodiscard]] bool isClosed() const noexcept override { return isClosed_; }
    void close() noexcept;

  private:
    FileDescriptor socket_;
    bool isClosed_ = false;
};

} // namespace keysong
