#pragma once

#include <array>
#include <cstddef>

namespace keysong {

/// What the tone stage does to the sound, in dB.
struct ToneGains {
    float lowShelf = 0;
    float highShelf = 0;
    float makeup = 0;

    bool operator==(const ToneGains&) const = default;
};

/// Two shelving filters, low at 200 Hz and high at 3500 Hz, each of slope 1, and a makeup gain.
///
/// A new setting is reached gradually: every coefficient moves in a straight line, frame by frame, and
/// since the stable second-order filters form a convex set, everything on the way is stable too. Flat and
/// at rest, the stage passes the signal bit for bit and keeps no state.
///
/// Used by one thread at a time; everything is real-time safe.
class ToneStage {
  public:
    static constexpr double lowShelfFrequency = 200;
    static constexpr double highShelfFrequency = 3500;
    static constexpr double rampSeconds = 0.020;

    /// Computes what depends on the rate, in Hz, arrives at the setting at once and forgets the past.
    void prepare(double sampleRate) noexcept;

    /// Sets where to go; nothing happens while the setting is the same.
    void setGains(const ToneGains& gains) noexcept;

    /// Filters `count` frames in place.
    void process(float* left, float* right, std::size_t count) noexcept;

    /// Whether, without input, nothing more would be heard.
    [[nodiscard]] bool isQuiet() const noexcept;

    /// Arrives at the setting at once and forgets the past. Only where silence surrounds it.
    void settle() noexcept;

  private:
    /// Both channels of one frame, filtered in step.
    using Stereo [[gnu::vector_size(16)]] = double;

    static constexpr std::size_t coefficientCount = 5;
    static constexpr std::size_t sectionCount = 2;
    static constexpr std::size_t parameterCount = sectionCount * coefficientCount + 1;
    /// The coefficients b0, b1, b2, a1, a2 of the low shelf, those of the high shelf, the linear makeup gain.
    using Parameters = std::array<double, parameterCount>;

    enum class Shelf { low, high };

    struct SectionState {
        Stereo first = {};
        Stereo second = {};
    };
    using States = std::array<SectionState, sectionCount>;

    static std::array<double, coefficientCount> designShelf(Shelf shelf, double frequency,
                                                            double gainDecibels, double sampleRate) noexcept;
    [[nodiscard]] Parameters design(const ToneGains& gains) const noexcept;
    static Stereo filterSection(const double* coefficients, SectionState& state, Stereo frame) noexcept;
    static Stereo filterFrame(const Parameters& parameters, States& states, Stereo frame) noexcept;

    double sampleRate_ = 48000;
    ToneGains gains_;
    Parameters parameters_ = {};
    Parameters target_ = {};
    Parameters perFrame_ = {};
    std::size_t rampFrames_ = 0;
    States states_;
};

} // namespace keysong
