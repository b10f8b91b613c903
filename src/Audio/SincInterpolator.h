#pragma once

#include <cstddef>
#include <cstdint>

namespace keysong {

/// Reads a recording at any rate by a windowed sinc of 32 taps.
///
/// Positions and steps are 32.32 fixed-point frames, so that a sound never drifts however long it is.
/// Above rate 1 the kernel's cut-off falls with the rate, in steps of a semitone, which keeps what no
/// longer fits into the output's band from folding back; up to rate 1 it passes the whole band. At rate 1
/// and whole positions the recording comes out bit for bit.
///
/// The first construction in a process computes the tables, some milliseconds, for all. Everything else is
/// real-time safe and may be called by any number of threads.
class SincInterpolator {
  public:
    static constexpr std::size_t taps = 32;
    static constexpr std::size_t phases = 256;
    /// Around a position, frames from `whole - before` to `whole + after` are read.
    static constexpr std::size_t before = taps / 2 - 1;
    static constexpr std::size_t after = taps / 2;
    /// Fixed-point representation of one frame.
    static constexpr std::uint64_t oneFrame = std::uint64_t{1} << 32;

    /// Which instructions to use: whatever this machine does fastest, or those that every machine has.
    enum class Instructions { fastest, portable };

    explicit SincInterpolator(Instructions instructions = Instructions::fastest);

    /// The fixed-point step for reading `ratio` frames per output frame, limited to between 1/256 and 16.
    [[nodiscard]] static std::uint64_t step(double ratio) noexcept;

    /// The filter for a step. Lives as long as the interpolator.
    [[nodiscard]] const float* filter(std::uint64_t step) const noexcept;

    /// Writes `count` frames to `out`, read at `position`, `position + step` and so on, and moves
    /// `position` behind the last. `filter` is the one for `step`. The caller sees to it that all frames
    /// around these positions may be read.
    void read(const float* source, const float* filter, std::uint64_t& position, std::uint64_t step,
              float* out, std::size_t count) const noexcept;

  private:
    using Kernel = void (*)(const float* source, const float* filter, std::uint64_t position,
                            std::uint64_t step, float* out, std::size_t count);

    static Kernel chooseKernel(Instructions instructions) noexcept;

    const float* filters_;
    Kernel kernel_;
};

} // namespace keysong
