#pragma once

#include "Audio/SoundEngine.h"
#include "Audio/SoundLibrary.h"
#include "Audio/SoundSet.h"
#include "Platform/AudioFile.h"
#include "Platform/Clock.h"
#include "Platform/Places.h"
#include "Platform/TextOrder.h"
#include "Platform/Threads.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace keysong {

/// What the audio diagnostics work with; everything referred to outlives them.
struct AudioDevTestServices {
    /// Makes a stopped engine for one run.
    std::function<std::unique_ptr<SoundEngine>()> makeEngine;
    const Clock& clock;
    Threads& threads;
    const Places& places;
    const TextOrder& order;
    const AudioFiles& files;
    /// Blocks the calling thread this long.
    std::function<void(std::chrono::nanoseconds)> sleep;
};

/// Checks of the sound engine that run without the application and print what they find.
///
/// Main thread. Each mode prints its progress to standard output and returns the process's exit status; a
/// failed check ends the mode with one line on standard error and status 1.
class AudioDevTest {
  public:
    /// `arguments` is the whole argument vector, the program's path included; it outlives this object.
    AudioDevTest(AudioDevTestServices services, std::span<const std::string_view> arguments)
        : services_(std::move(services)), arguments_(arguments) {}

    /// Prints the installed sets: identifier, tab, name.
    [[nodiscard]] int listSets() const;

    /// Plays every kind of event through the set with this identifier, without one through the first set.
    /// The fourth and later arguments are key codes. `KEYSONG_SWAP_TEST` turns it into the swap test.
    [[nodiscard]] int playTest(const std::optional<std::string>& setId) const;

    /// Measures how long `play` keeps its caller while sets are swapped this many times.
    [[nodiscard]] int swapTest(const std::optional<std::string>& setId, std::int64_t swaps) const;

    /// Rebuilds the output on its device this many times, at least once, and checks after each that hits are
    /// heard and the tone is kept.
    [[nodiscard]] int deviceTest(std::int64_t rounds) const;

  private:
    /// A check that failed; ends the mode.
    class Failure : public std::runtime_error {
      public:
        using std::runtime_error::runtime_error;
    };

    /// An engine that plays, its set, and where the set came from.
    struct Bench {
        std::unique_ptr<SoundEngine> engine;
        std::filesystem::path directory;
        std::string setId;
    };

    /// Runs a mode and turns its failure into a line and a status.
    [[nodiscard]] static int finish(const std::function<void()>& mode);
    [[noreturn]] static void fail(const std::string& message);

    void runPlayTest(const std::optional<std::string>& setId) const;
    void runSwapTest(const std::optional<std::string>& setId, std::int64_t swaps) const;

    void runDeviceTest(std::int64_t rounds) const;
    void rebuild(SoundEngine& engine, std::int64_t round) const;

    [[nodiscard]] Bench setUp(const std::optional<std::string>& setId) const;
    /// An engine that plays the set.
    [[nodiscard]] Bench setUp(const SoundSetInfo& set) const;
    [[nodiscard]] std::vector<std::uint16_t> keyCodes() const;
    static void checkKeyPan();
    static void checkTone();
    void applyTone(SoundEngine& engine) const;
    void playKeys(SoundEngine& engine, const std::vector<std::uint16_t>& codes) const;
    void playMouse(SoundEngine& engine) const;
    void playAcrossRecovery(SoundEngine& engine, std::uint16_t code) const;
    void swapSets(const Bench& bench, std::int64_t swaps) const;
    /// Plays an event, then waits.
    void playAndWait(SoundEngine& engine, const SoundEvent& event, std::chrono::milliseconds wait) const;

    AudioDevTestServices services_;
    std::span<const std::string_view> arguments_;
};

} // namespace keysong
