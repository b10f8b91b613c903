#pragma once

#include "support/ChildProcess.h"
#include "support/ScopedVariable.h"
#include "support/TempFolder.h"

#include <systemd/sd-bus.h>

#include <memory>
#include <string>

namespace keysong::test {

/// A session bus of a test's own, with a runtime folder. Sets DBUS_SESSION_BUS_ADDRESS and XDG_RUNTIME_DIR
/// for this process while it lives.
class PrivateBus {
  public:
    struct Unref {
        void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
    };
    /// A program on a bus, whose part the test plays.
    using Client = std::unique_ptr<sd_bus, Unref>;

    /// Starts it and waits until it answers; false when that takes too long.
    bool start();
    /// Kills it at once, as a crash would.
    void kill();

    /// Connects to this bus, or to the one at an address; null when there is none.
    [[nodiscard]] static Client connect(const std::string& address = {});

    [[nodiscard]] const std::filesystem::path& runtimeFolder() const { return folder_.path(); }

  private:
    TempFolder folder_;
    const std::string address_ = "unix:path=" + (folder_.path() / "bus").string();
    const ScopedVariable runtimeVariable_{"XDG_RUNTIME_DIR", folder_.path().c_str()};
    const ScopedVariable addressVariable_{"DBUS_SESSION_BUS_ADDRESS", address_.c_str()};
    ChildProcess daemon_;
};

} // namespace keysong::test
