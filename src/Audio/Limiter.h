#pragma once

#include <cstddef>

namespace keysong {

/// Keeps the mix within full scale without delaying it.
///
/// Both channels share one gain, so that the picture stays in place. Up to the threshold the signal is left
/// alone, bit for bit; above it a soft knee bends towards full scale, which no sample exceeds. The gain
/// falls at once and comes back smoothly.
///
/// Used by one thread at a time; everything is real-time safe.
class Limiter {
  public:
    static constexpr float threshold = 0.8F;
    static constexpr float ceiling = 1.0F;
    static constexpr double releaseSeconds = 0.060;

    /// Computes what depends on the rate, in Hz, and forgets the past.
    void prepare(double sampleRate) noexcept;

    /// Limits `count` frames in place.
    void process(float* left, float* right, std::size_t count) noexcept;

    /// Lets the time of `count` silent frames pass.
    void recover(std::size_t count) noexcept;

    /// Forgets the past.
    void reset() noexcept { gain_ = 1; }

  private:
    [[nodiscard]] bool isRecovered() const noexcept { return gain_ == 1.0; }
    [[nodiscard]] double releasedGain(double gain) const noexcept;

    // In single precision the last steps towards 1 would be too small to be taken.
    double gain_ = 1;
    double releasePerFrame_ = 1;
};

} // namespace keysong
