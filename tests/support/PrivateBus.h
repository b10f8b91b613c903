#pragma once

#include "support/TempFolder.h"

#include <sys/types.h>

#include <string>

namespace keysong::test {

/// A session bus of a test's own. Sets DBUS_SESSION_BUS_ADDRESS for this process while it lives. It dies with
/// the test.
class PrivateBus {
  public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /// Starts it and waits until it answers; false when that takes too long. After `kill` it starts at the
    /// same address again.
    bool start();
    /// Kills it at once, as a crash would.
    void kill();

  private:
    TempFolder folder_;
    std::string address_;
    pid_t process_ = -1;
};

} // namespace keysong::test
