#pragma once

#include "support/ChildProcess.h"
#include "support/ScopedVariable.h"
#include "support/TempFolder.h"

#include <string>

namespace keysong::test {

/// A PipeWire server with its session manager in a world of their own, with two null sinks, "test.sink.a"
/// (the default) and "test.sink.b". Sets XDG_RUNTIME_DIR and its like for this process while it lives.
class PrivatePipeWire {
  public:
    PrivatePipeWire();
    ~PrivatePipeWire();

    /// Adds to the server's configuration, for the next start.
    void configure(const std::string& text);
    /// Starts both and waits until a default sink is there; false when that takes too long.
    bool start();
    /// Starts the server alone and waits for its socket.
    bool startServer();
    /// Starts the session manager alone, which needs a server; returns at once.
    void startManager() { manager_.start({"wireplumber"}, {}); }
    /// Kills both at once.
    void kill();
    /// Kills the server alone; a session manager that runs then ends by itself.
    void killServer();
    /// Kills the session manager alone.
    void killManager() { manager_.kill(); }
    /// Lets the server stand still: it still accepts connections and never answers. Until `resume`.
    void pause() const { server_.pause(); }
    void resume() const { server_.resume(); }
    /// Lets the session manager stand still until `resumeManager`.
    void pauseManager() const { manager_.pause(); }
    void resumeManager() const { manager_.resume(); }

    [[nodiscard]] pid_t serverId() const { return server_.id(); }

    /// Adds a sink with this node name, which is then listed last.
    static bool plug(const std::string& sink, const std::string& channels = "FL FR");
    static bool unplug(const std::string& sink);
    /// Adds a source with this node name.
    static bool plugMicrophone(const std::string& source);
    /// Starts recording from a source; returns the recorder.
    static ChildProcess recordMicrophone(const std::string& source);
    /// Moves our stream to a sink, as the user does in a mixer.
    static bool moveStream(const std::string& sink);
    /// Whether our stream is linked to a sink.
    static bool isLinkedTo(const std::string& sink);
    /// What the server says of a sink: "running", "idle" or "suspended".
    static std::string stateOf(const std::string& sink);
    /// Configures the default sink; returns at once.
    static bool setDefault(const std::string& sink);

    /// Starts recording a sink's monitor as floats into a file; returns the recorder.
    static ChildProcess record(const std::string& sink, const std::string& file,
                               const std::string& channels = "FL,FR");

  private:
    static bool answers();

    TempFolder folder_;
    const ScopedVariable runtime_{"XDG_RUNTIME_DIR", (folder_.path() / "run").c_str()};
    const ScopedVariable configuration_{"XDG_CONFIG_HOME", (folder_.path() / "config").c_str()};
    const ScopedVariable state_{"XDG_STATE_HOME", (folder_.path() / "state").c_str()};
    ChildProcess server_;
    ChildProcess manager_;
};

} // namespace keysong::test
