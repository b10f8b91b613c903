#pragma once

#include "support/ChildProcess.h"
#include "support/TempFolder.h"

#include <string>
#include <utility>

namespace keysong::test {

/// An Xvfb of a test's own, on a display number that was free. It dies with the test. Held keys repeat at
/// once and fast, so that a test need not wait for it.
class PrivateXServer {
  public:
    /// `screen` is its size and depth.
    explicit PrivateXServer(std::string screen = "64x64x24") : screen_(std::move(screen)) {}
    ~PrivateXServer();

    /// Starts it and waits until it answers; false when that takes too long. After `kill` it starts on the
    /// same display again.
    bool start();
    /// Kills it at once, as a crash would; it leaves its socket behind. Its number stays taken.
    void kill();

    [[nodiscard]] bool isRunning() const { return server_.isRunning(); }
    /// Such as ":7".
    [[nodiscard]] const std::string& display() const { return display_; }

  private:
    [[nodiscard]] std::string lockFile() const;

    const std::string screen_;
    TempFolder folder_;
    ChildProcess server_;
    std::string display_;
};

} // namespace keysong::test
