#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace keysong {

/// What the program was started for. Arguments are compared whole and exactly; there are no errors:
/// anything that is no mode word starts the application.
struct CommandLine {
    enum class Mode { application, inputTest, playTest, listSets, deviceTest, migrateTest, help, version };

    Mode mode = Mode::application;
    /// The set that the play test was asked for, exactly as written; an empty one is one.
    std::optional<std::string> setID;
    /// Rounds of the device test: 8 unless a number was given.
    std::int64_t rounds = 8;

    /// Reads the whole argument vector, program path included. Pure; any thread.
    [[nodiscard]] static CommandLine parse(std::span<const std::string_view> arguments);

    /// What `--help` prints: every mode, one a line, and where to look further.
    [[nodiscard]] static std::string_view help();
};

} // namespace keysong
