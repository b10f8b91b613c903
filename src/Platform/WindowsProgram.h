#pragma once

#include "Platform/MessageChannel.h"

#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace keysong {

/// The program that shows the windows cannot be started; `what()` says why, for a person.
class WindowsProgramError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A running program with windows, a child of this process, and the channel to it. It ends by itself when the
/// channel is closed. Main thread.
class WindowsProcess : public MessageChannel {
  public:
    struct End {
        /// The exit status, where it ended by itself.
        int status = 0;
        /// The signal that ended it; 0 for none.
        int signal = 0;
    };

    /// How it ended; nothing while it runs. The descriptor is readable once it has ended.
    [[nodiscard]] virtual std::optional<End> end() = 0;
    /// Closes the channel.
    virtual void close() noexcept = 0;
    /// Ends it at once, whatever it does.
    virtual void kill() noexcept = 0;

  protected:
    WindowsProcess() = default;
};

/// Starts the program that shows the windows. Main thread.
class WindowsProgram {
  public:
    /// Variables that differ from those of this process; an empty value takes one away.
    using Environment = std::map<std::string, std::string>;

    virtual ~WindowsProgram() = default;

    /// Starts it. What becomes of it is seen by the process that is returned; without that one it runs on
    /// until it notices. Throws `WindowsProgramError`.
    [[nodiscard]] virtual std::unique_ptr<WindowsProcess> start(const Environment& changes) = 0;

  protected:
    WindowsProgram() = default;
    WindowsProgram(const WindowsProgram&) = default;
    WindowsProgram& operator=(const WindowsProgram&) = default;
};

} // namespace keysong
