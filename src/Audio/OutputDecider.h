#pragma once

#include <optional>
#include <span>

namespace keysong {

/// What raises the question where the output should be.
enum class OutputEvent {
    /// The program starts the output.
    start,
    /// The user chose a device, or the system's default.
    wish,
    /// As a wish, and the output is to be restarted wherever it is.
    rebuild,
    /// The user's choice, now or at an earlier start of the program: it stands while its device is away.
    choice,
    /// The system changed something: devices, the default, the server, or the stream's place.
    change,
};

/// The device that the user chose: none, one that is there, or one that is not.
enum class OutputChoice { none, present, absent };

/// How the output stands to the target, which is the chosen device where it is present, and otherwise the
/// system's default.
enum class OutputPlace {
    /// It does not run, or no hit reaches it.
    stopped,
    elsewhere,
    onTarget,
};

/// What is known when the question is asked.
struct OutputSituation {
    OutputChoice choice = OutputChoice::none;
    /// Whether the system has a default device.
    bool hasDefault = false;
    OutputPlace place = OutputPlace::stopped;
};

/// What to do.
enum class OutputAction {
    nothing,
    /// Start the output where it is.
    startHere,
    /// Keep the output where it is, and let it belong there: no restart.
    keep,
    /// Stop the output, point it at the target and start it.
    move,
    /// The same, and say that the default stands in for the chosen device.
    standIn,
    /// Say that there is nothing to play on, and wait for the next change.
    wait,
    /// Tell the user that the chosen device is not there.
    refuseDevice,
    /// Tell the user that there is no device at all.
    refuseNothingThere,
};

/// Decides where the output should be. All decisions are rows of one table. Pure; any thread.
class OutputDecider {
  public:
    /// One or more situations and what is done there. A field without a value stands for every value.
    struct Row {
        OutputEvent event = OutputEvent::start;
        std::optional<OutputChoice> choice;
        std::optional<bool> hasDefault;
        std::optional<OutputPlace> place;
        OutputAction action = OutputAction::nothing;

        [[nodiscard]] bool covers(OutputEvent asked, const OutputSituation& situation) const noexcept;
    };

    OutputDecider() = delete;

    /// Every situation is covered by exactly one row.
    [[nodiscard]] static std::span<const Row> table() noexcept;

    [[nodiscard]] static OutputAction decide(OutputEvent event, const OutputSituation& situation) noexcept;
};

} // namespace keysong
