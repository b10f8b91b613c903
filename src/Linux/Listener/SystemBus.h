#pragma once

#include "Linux/System/BusConnection.h"
#include "Linux/System/OneShotTimer.h"

#include <functional>
#include <memory>
#include <string>

namespace keysong::listener {

/// The machine's message bus, connected to again a second after it was lost. Used on the loop's thread.
class SystemBus {
  public:
    /// Connects when the loop serves.
    explicit SystemBus(EpollRunLoop& loop, std::string address = BusConnection::systemAddress);

    /// Null while there is none. Slots of a lost one go in `onChange`.
    [[nodiscard]] BusConnection* get() const noexcept { return connection_.get(); }

    /// Called when the connection comes and goes. Its messages may not come about yet.
    std::function<void()> onChange;

  private:
    void connect();
    void lost();

    EpollRunLoop& loop_;
    const std::string address_;
    std::unique_ptr<BusConnection> connection_;
    /// Kept until the next attempt.
    std::unique_ptr<BusConnection> lost_;
    OneShotTimer retry_;
};

} // namespace keysong::listener
