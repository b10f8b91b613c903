#pragma once

#include "support/ChildProcess.h"
#include "support/ScopedVariable.h"
#include "support/TempFolder.h"

#include <deque>
#include <string>

namespace keysong::test {

/// A sway without screen and devices, in a world of its own, with windows that the test opens and brings to
/// the front. Sets XDG_RUNTIME_DIR and WAYLAND_DISPLAY for this process while it lives.
class PrivateSway {
  public:
    PrivateSway();

    /// Starts it and waits until it answers; false when that takes too long.
    bool start();
    /// Kills it at once, and every window with it.
    void kill();

    /// Opens a window of this application id; sway brings it to the front.
    void openWindow(const std::string& applicationId);
    /// Runs a command of sway's; false when it fails.
    bool command(const std::string& words) const;
    /// Its windows and their states, as JSON; empty when it does not answer.
    [[nodiscard]] std::string tree() const;
    /// Where its clients connect to, whatever their runtime folder.
    [[nodiscard]] std::string display() const;

  private:
    [[nodiscard]] ChildProcess::Setting setting() const;

    /// The first free display of a fresh runtime folder.
    static constexpr const char* displayName = "wayland-1";

    TempFolder folder_;
    const ScopedVariable runtimeVariable_{"XDG_RUNTIME_DIR", folder_.path().c_str()};
    const ScopedVariable displayVariable_{"WAYLAND_DISPLAY", displayName};
    ChildProcess sway_;
    std::deque<ChildProcess> windows_;
};

} // namespace keysong::test
