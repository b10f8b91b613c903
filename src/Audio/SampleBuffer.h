#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace keysong {

/// A whole decoded sample: mono 32-bit float frames at the render rate, immutable and shared.
///
/// Zero frames stand before and after the sample, so that an interpolator may read around every frame
/// without asking where the sample ends. All frames are finite. Reading is real-time safe.
class SampleBuffer {
  public:
    /// How many zero frames stand on either side.
    static constexpr std::size_t padding = 64;

    /// Copies `frames`; a frame that is not finite becomes 0.
    explicit SampleBuffer(std::span<const float> frames);

    [[nodiscard]] std::size_t length() const noexcept { return length_; }

    /// The first frame of the sample; `padding` frames before it and after the last may be read.
    [[nodiscard]] const float* data() const noexcept { return storage_.data() + padding; }

    [[nodiscard]] std::span<const float> frames() const noexcept { return {data(), length_}; }

  private:
    std::vector<float> storage_;
    std::size_t length_;
};

using SampleRef = std::shared_ptr<const SampleBuffer>;
/// The candidates for one event, in the order in which the manifest names them.
using SampleList = std::vector<SampleRef>;
/// Lists are shared by identity wherever keys resolve to the same source. Never null.
using SampleListRef = std::shared_ptr<const SampleList>;

} // namespace keysong
