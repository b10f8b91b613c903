#pragma once

#include "support/TempFolder.h"

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace keysong::test {

/// A PipeWire server with its session manager in a world of their own, with two null sinks, "test.sink.a"
/// (the default) and "test.sink.b". Sets XDG_RUNTIME_DIR and its like for this process while it lives.
class PrivatePipeWire {
  public:
    PrivatePipeWire();
    ~PrivatePipeWire();
    PrivatePipeWire(const PrivatePipeWire&) = delete;
    PrivatePipeWire& operator=(const PrivatePipeWire&) = delete;

    /// Starts both and waits until a default sink is there; false when that takes too long.
    bool start();
    /// When the last start saw the default sink.
    [[nodiscard]] std::chrono::steady_clock::time_point defaultSeen() const { return defaultSeen_; }
    /// Kills both at once.
    void kill();

    /// Adds a sink with this node name, which is then listed last.
    static bool plug(const std::string& sink);
    static bool unplug(const std::string& sink);
    /// Adds a source with this node name.
    static bool plugMicrophone(const std::string& source);
    /// Starts recording from a source; returns the recorder's process.
    static pid_t recordMicrophone(const std::string& source);
    /// Configures the default sink; returns at once.
    static bool setDefault(const std::string& sink);

    /// Starts recording a sink's monitor as raw stereo floats into a file; returns the recorder's process.
    static pid_t record(const std::string& sink, const std::string& file);
    static void stop(pid_t process);

  private:
    static pid_t run(const std::vector<std::string>& words);
    static bool answers();

    TempFolder folder_;
    /// What the environment held before.
    std::map<std::string, std::optional<std::string>> before_;
    std::chrono::steady_clock::time_point defaultSeen_;
    pid_t server_ = -1;
    pid_t manager_ = -1;
};

} // namespace keysong::test
