#pragma once

#include "support/TempFolder.h"

#include <sys/types.h>

#include <string>
#include <vector>

namespace keysong::test {

/// A PipeWire server with its session manager in a world of their own, with two null sinks, "test.sink.a"
/// (the default) and "test.sink.b". Sets XDG_RUNTIME_DIR for this process while it lives.
class PrivatePipeWire {
  public:
    PrivatePipeWire();
    ~PrivatePipeWire();
    PrivatePipeWire(const PrivatePipeWire&) = delete;
    PrivatePipeWire& operator=(const PrivatePipeWire&) = delete;

    /// Starts both and waits until a default sink is there; false when that takes too long.
    bool start();
    /// Kills both at once.
    void kill();

    /// Starts recording a sink's monitor as raw stereo floats into a file; returns the recorder's process.
    pid_t record(const std::string& sink, const std::string& file) const;
    static void stop(pid_t process);

  private:
    pid_t run(const std::vector<std::string>& words) const;
    bool answers() const;

    TempFolder folder_;
    pid_t server_ = -1;
    pid_t manager_ = -1;
};

} // namespace keysong::test
