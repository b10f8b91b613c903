#pragma once

#include "support/PrivateBus.h"
#include "support/PrivatePipeWire.h"
#include "support/PrivateXServer.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "ProcessFigures.h"

namespace keysong::bench {

/// Now on the monotonic clock, as PipeWire's.
[[nodiscard]] std::chrono::nanoseconds now();

/// The built programs and what they run on: a home, a bus, an X server with a keyboard, and a PipeWire server
/// with two sinks. Everything that it starts ends with it. One thread uses it.
class World {
  public:
    /// Starts all but the program. Throws std::runtime_error when that fails.
    explicit World(std::filesystem::path programs);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    /// Starts the program; returns when.
    std::chrono::nanoseconds launch();
    /// Starts the program and waits until it has its sounds and is calm. Throws std::runtime_error.
    void launchAndSettle();
    [[nodiscard]] bool hasLogged(const char* text) const;
    /// What the program wrote, in all its lives.
    [[nodiscard]] std::string wholeLog() const;
    /// Asks the program to end and waits for it; false when it had to be killed after the limit, or failed.
    bool quit(std::chrono::milliseconds limit = std::chrono::seconds(20));
    void kill() { program_.kill(); }
    /// Runs keysongctl; false when it failed or took more than some seconds.
    bool control(std::vector<std::string> words);
    /// What keysongctl printed.
    [[nodiscard]] std::string answer(std::vector<std::string> words);
    /// The sound sets that are there.
    [[nodiscard]] std::vector<std::string> sets();
    /// The windows' program, if one runs.
    [[nodiscard]] std::optional<pid_t> windows() const;
    [[nodiscard]] ProcessFigures figures() const { return ProcessFigures::of(program_.id()); }

    [[nodiscard]] pid_t program() const { return program_.id(); }
    [[nodiscard]] const test::TempFolder& home() const { return home_; }
    [[nodiscard]] test::PrivatePipeWire& sound() { return sound_; }
    [[nodiscard]] const std::string& display() const { return display_.display(); }

    /// Ends by id what others started for this world and left running; returns their names.
    std::vector<std::string> endLeftovers();

  private:
    const std::filesystem::path programs_;
    test::TempFolder home_;
    test::PrivateBus bus_;
    test::PrivatePipeWire sound_; // after the bus: the runtime folder is the sound server's
    test::PrivateXServer display_{"800x700x24"};
    test::ChildProcess::Setting setting_;
    test::ChildProcess program_;
    std::string earlierLog_;
};

} // namespace keysong::bench
