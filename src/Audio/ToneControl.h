#pragma once

#include <string>
#include <vector>

namespace keysong {

/// Gains of the tone stage, in decibels.
struct ShelfGains {
    float low = 0;
    float high = 0;
    /// Keeps the loudness roughly level.
    float makeup = 0;

    friend bool operator==(const ShelfGains&, const ShelfGains&) = default;
};

/// The mapping from the two colour controls to what the engine applies. Any thread; all but `selfCheck`
/// is real-time safe.
class ToneControl {
  public:
    ToneControl() = delete;

    /// A control value limited to -1...1. What is no number is neutral: it must not reach the filters.
    [[nodiscard]] static float clamped(float value) noexcept;

    /// The shelves for a tone from -1 (deep, "thock") to 1 (sharp, "clack"); limited to that range.
    [[nodiscard]] static ShelfGains shelves(float tone) noexcept;

    /// The playback-rate factor for a body from -1 (three semitones down) to 1 (three up); limited to that
    /// range.
    [[nodiscard]] static float rate(float body) noexcept;

    /// Checks the mapping at its ends and in the middle; one text per failure.
    [[nodiscard]] static std::vector<std::string> selfCheck();
};

} // namespace keysong
