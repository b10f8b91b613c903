#pragma once

#include "Linux/Listener/ListenerMessages.h"
#include "Linux/System/EpollRunLoop.h"
#include "Linux/System/OneShotTimer.h"
#include "Linux/System/PacketSocket.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace keysong::listener {

/// Where the listener service takes connections.
inline constexpr const char* servicePath = "/run/keysong/listener.socket";

/// A connection to the service; not open when there is none. Waits for nothing. Any thread.
[[nodiscard]] FileDescriptor connectTo(const std::string& path);

/// A connection to the listener service that comes back by itself after it was lost: at once, and ever more
/// seldom while that fails. Used on the loop's thread, or before the loop serves.
class ListenerLink {
  public:
    struct Handlers {
        /// A message has come.
        std::function<void(const Report&)> received;
        /// The connection is lost, or an attempt has failed.
        std::function<void()> lost;
    };
    enum class Wish { state, events };

    static constexpr std::chrono::milliseconds firstPause{20};
    static constexpr std::chrono::milliseconds longestPause{5000};

    /// Connects when the loop serves. The loop outlives the link.
    ListenerLink(EpollRunLoop& loop, std::string path, Wish wish, Handlers handlers);
    ~ListenerLink();
    ListenerLink(const ListenerLink&) = delete;
    ListenerLink& operator=(const ListenerLink&) = delete;

  private:
    void connect();
    void receive();
    void lose();
    [[nodiscard]] bool greet();

    EpollRunLoop& loop_;
    const std::string path_;
    const Wish wish_;
    const Handlers handlers_;
    std::optional<PacketSocket> channel_;
    std::chrono::milliseconds pause_ = firstPause;
    bool toldOfVersion_ = false;
    OneShotTimer retry_;
};

} // namespace keysong::listener
