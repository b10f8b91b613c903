#pragma once

#include "Audio/RandomSource.h"
#include "Audio/SoundSet.h"
#include "Platform/MemoryLock.h"
#include "Shared/SoundEvent.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace keysong {

/// The sixteen voices are eight lanes of two, spread over the stereo field.
struct VoiceLanes {
    static constexpr std::size_t laneCount = 8;
    static constexpr std::size_t voicesPerLane = 2;
    static constexpr std::size_t voiceCount = laneCount * voicesPerLane;
    /// Where every hit goes whose place does not count, and where a pan of 0 falls.
    static constexpr std::size_t centreLane = 4;

    /// The lane for a finite pan.
    [[nodiscard]] static std::size_t laneFor(float pan) noexcept;

    /// The fixed pan of each voice.
    [[nodiscard]] static std::array<float, voiceCount> pans() noexcept;
};

/// A sound set in the engine's use, with the number of its hits that are resolved and not yet silent. The
/// count rises only under the engine's lock while the set is the current one; once a replaced set counts
/// 0 nobody reads its samples any more.
struct LoadedSet {
    /// With a `memory` the samples are kept in place, if the machine allows it.
    explicit LoadedSet(std::shared_ptr<const SoundSet> loaded, MemoryLock* memory = nullptr)
        : set(std::move(loaded)), hold(memory != nullptr ? memory->hold(set->memory()) : nullptr) {}

    const std::shared_ptr<const SoundSet> set;
    /// After the set, so that it ends before the samples are freed.
    const std::unique_ptr<MemoryHold> hold;
    std::atomic<std::uint32_t> inFlight{0};
};

/// One event resolved: what to start, where and how.
struct Hit {
    std::uint32_t voice = 0;
    const SampleBuffer* buffer = nullptr;
    /// Playback-rate factor.
    float rate = 1;
    /// Linear gain; above 1 is possible.
    float volume = 1;
    /// The same gain in decibels.
    float gainDecibels = 0;
    /// The count that this hit raised in its set.
    std::atomic<std::uint32_t>* inFlight = nullptr;
    /// The sample's file name; filled in verbose mode only.
    std::string file;
};

/// Everything that decides whether and how a hit sounds. A plain value; the engine keeps it under its lock.
struct EngineState {
    /// The output is started and accepting hits; false also during a device switch.
    bool running = false;
    bool muted = false;
    /// Master volume, 0 to 1.
    float volume = 1;
    bool mouseEnabled = true;
    bool scrollEnabled = false;
    std::shared_ptr<LoadedSet> set;
    /// Per lane, which of its voices the next hit takes.
    std::array<std::uint8_t, VoiceLanes::laneCount> nextInLane{};
    /// The device the user chose, kept while it is absent; none follows the system default.
    std::optional<std::string> selectedUid;
    /// The device the output was last started on.
    std::optional<std::string> activeUid;
    /// Each recovery request takes the next value; only the latest one's task does anything.
    std::uint64_t recoverGeneration = 0;
    bool spatial = true;
    /// Hits come from the centre, and from the samples of all keys of a group, so that neither says which
    /// key it was.
    bool placeless = false;
    float rateBias = 1;
    float tone = 0;
    float body = 0;
    /// Hits resolved and not yet handed to the mixer.
    std::int32_t scheduling = 0;
    /// Whether events are to be expected at all: somebody listens to the keyboards.
    bool listening = true;
    /// The output rests; the next hit wakes it.
    bool resting = false;
    /// When a sound was last asked for, or something happened that a sound may follow soon. Monotonic time.
    std::chrono::nanoseconds lastUse{0};

    /// Turns an event into a hit, or into nothing, which leaves the state untouched. A hit takes a voice,
    /// raises `scheduling` and the set's count. Allocates only for the file name, in verbose mode.
    [[nodiscard]] std::optional<Hit> resolve(const SoundEvent& event, const Draws& draws, bool verbose);

    /// Whether events would be heard.
    [[nodiscard]] bool expectsHits() const noexcept {
        return running && listening && !muted && set != nullptr;
    }

    /// Whether nobody has used the output for so long that it may rest.
    [[nodiscard]] bool mayRest(std::chrono::nanoseconds now) const noexcept;

  private:
    [[nodiscard]] bool accepts(const SoundEvent& event) const noexcept;
    [[nodiscard]] std::uint32_t takeVoice(const SoundEvent& event) noexcept;
};

} // namespace keysong
