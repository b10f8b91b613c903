#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace keysong {

/// A whole decoded sample: mono frames at the render rate, immutable and shared.
///
/// A sample that has no more than 16 bits is kept in 16 bits, which loses nothing and halves its memory; any
/// other as 32-bit float. Zero frames stand before and after the sample, so that an interpolator may read
/// around every frame without asking where the sample ends. All frames are finite.
class SampleBuffer {
  public:
    /// How many zero frames stand on either side.
    static constexpr std::size_t padding = 64;

    /// Copies `frames`; a frame that is not finite becomes 0. Allocates.
    explicit SampleBuffer(std::span<const float> frames);

    [[nodiscard]] std::size_t length() const noexcept { return length_; }

    /// The first frame of a sample that is kept as float; `padding` frames before it and after the last may
    /// be read. Null for a sample in 16 bits: `read` serves both. Real-time safe.
    [[nodiscard]] const float* data() const noexcept {
        return wide_.empty() ? nullptr : wide_.data() + padding;
    }

    /// Writes the frames from `first` on, at least `-padding`, to `out`, which must end no later than
    /// `padding` frames after the sample. Real-time safe.
    void read(std::ptrdiff_t first, std::span<float> out) const noexcept;

    /// Where the frames and their padding lie, for keeping them in memory.
    [[nodiscard]] std::span<const std::byte> memory() const noexcept {
        return narrow_.empty() ? std::as_bytes(std::span(wide_)) : std::as_bytes(std::span(narrow_));
    }

    /// A copy of the frames. Allocates.
    [[nodiscard]] std::vector<float> frames() const;

  private:
    /// One of the two holds the sample and its padding, the other is empty.
    std::vector<float> wide_;
    std::vector<std::int16_t> narrow_;
    std::size_t length_;
};

using SampleRef = std::shared_ptr<const SampleBuffer>;
/// The candidates for one event, in the order in which the manifest names them.
using SampleList = std::vector<SampleRef>;
/// Lists are shared by identity wherever keys resolve to the same source. Never null.
using SampleListRef = std::shared_ptr<const SampleList>;

} // namespace keysong
