#pragma once

#include <sys/types.h>

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
    PrivateXServer(const PrivateXServer&) = delete;
    PrivateXServer& operator=(const PrivateXServer&) = delete;

    /// Whether Xvfb is there to be started.
    [[nodiscard]] static bool isInstalled();

    /// Starts it and waits until it answers; false when that takes too long. After `kill` it starts on the
    /// same display again.
    bool start();
    /// Kills it at once, as a crash would; it leaves its lock and socket behind.
    void kill();

    [[nodiscard]] bool isRunning() const { return process_ > 0; }
    /// Such as ":7".
    [[nodiscard]] const std::string& display() const { return display_; }

  private:
    const std::string screen_;
    pid_t process_ = -1;
    std::string display_;
};

} // namespace keysong::test
