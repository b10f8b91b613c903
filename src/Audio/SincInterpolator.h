#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace keysong {

/// Reads a sample at any rate by a windowed sinc of 32 taps.
///
/// Positions and steps are 32.32 fixed-point frames, so that a sound never drifts however long it is.
/// Above rate 1 the kernel's cut-off falls with the rate, in steps of a semitone, which keeps what no
/// longer fits into the output's band from folding back; up to rate 1 it passes the whole band. At rate 1
/// and whole positions the sample comes out bit for bit.
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

    /// The taps of one phase. On a cache line's boundary: a register's worth that lies across two lines takes
    /// two loads, and loads are what the time goes into.
    struct alignas(64) Phase {
        std::array<float, taps> factors;
    };

    /// Sets of instructions that there is a version for, slowest first. Every machine has the portable ones.
    enum class Instructions { portable, avx2, avx512 };
    static constexpr Instructions fastest = Instructions::avx512;

    /// Uses the fastest instructions that this machine has, going no further than `limit`.
    explicit SincInterpolator(Instructions limit = fastest);

    /// The most frames of a sample that go by in one output frame.
    static constexpr double highestRatio = 16;

    /// The fixed-point step for reading `ratio` frames per output frame, limited to between 1/256 and
    /// `highestRatio`.
    [[nodiscard]] static std::uint64_t step(double ratio) noexcept;

    /// The filter for a step: its phases, and the first one again, moved by a frame, so that every phase has
    /// a next. Lives as long as the process.
    [[nodiscard]] const Phase* filter(std::uint64_t step) const noexcept;

    /// Writes `count` frames to `out`, read at `position`, `position + step` and so on, and moves
    /// `position` behind the last. `filter` is the one for `step`. The caller
    /// guarantees that all frames around these positions may be read.
    void read(const float* source, const Phase* filter, std::uint64_t& position, std::uint64_t step,
              float* out, std::size_t count) const noexcept;

  private:
    using Kernel = void (*)(const float* source, const Phase* filter, std::uint64_t position,
                            std::uint64_t step, float* out, std::size_t count);

    static Kernel chooseKernel(Instructions limit) noexcept;

    const Phase* filters_;
    Kernel kernel_;
};

} // namespace keysong
