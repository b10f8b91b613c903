#pragma once

#include "App/RemoteControl.h"
#include "App/SessionBus.h"
#include "Linux/Files/SettingsLock.h"

#include <chrono>
#include <functional>
#include <optional>

namespace keysong {

/// Finds out whether this process is the program or another one is, which then shows its settings instead.
///
/// The one that holds the lock on the settings is the program. Where nobody can hold it, the one that has the
/// name on the bus is. A process that is just ending is waited for. Main thread, before its event loop runs.
class FirstInstance {
  public:
    enum class Launch {
        /// This process is the program.
        first,
        /// Another process is, and was asked to show its settings; or this one was asked to end meanwhile.
        second,
        /// Another process is, and does not answer.
        hung,
    };

    /// How long another process may take to answer or to end, from the making of this object on.
    static constexpr std::chrono::milliseconds patience{2500};
    /// How often a process that neither answers nor ends is asked again.
    static constexpr std::chrono::milliseconds interval{25};

    /// `isAskedToEnd` tells that this process need not find out any more. All outlive the object.
    FirstInstance(SettingsLock& lock, SessionBus& bus, RemoteControl& remote,
                  std::function<bool()> isAskedToEnd);

    /// Takes up to `patience`.
    [[nodiscard]] Launch decide();

    /// Tells the log, the terminal and, where there is one, the desktop that the program does not answer.
    void reportHung() const;

  private:
    /// One look; none when it is not decided yet.
    [[nodiscard]] std::optional<Launch> look(std::chrono::milliseconds left);

    SettingsLock& lock_;
    SessionBus& bus_;
    RemoteControl& remote_;
    const std::function<bool()> isAskedToEnd_;
    const std::chrono::steady_clock::time_point deadline_ = std::chrono::steady_clock::now() + patience;
};

} // namespace keysong
