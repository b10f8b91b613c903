#pragma once

#include "Linux/Listener/ListenerFacts.h"

namespace keysong::listener {

/// Who is at the other end of a Unix socket, from the kernel.
class SocketPeers final : public PeerFacts {
  public:
    [[nodiscard]] std::optional<Peer> peerOf(int socket) override;
};

} // namespace keysong::listener
