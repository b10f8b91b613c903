#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace keysong {

/// The sample formats that are written without the library's help, best first.
enum class AlsaFormat : std::uint8_t { float32, signed32, signed16 };

/// Where the two channels go among those of a card.
struct AlsaChannels {
    std::uint32_t count = 2;
    std::uint32_t left = 0;
    std::uint32_t right = 1;
};

/// One period of sound in the form that a device takes it: interleaved, in its format, on its channels.
///
/// A card of one channel gets the mean of both; on a card of many the other channels stay silent. One thread
/// at a time.
class AlsaFrames {
  public:
    /// Allocates; all silence. Channel numbers beyond the count fall back to the first channels.
    AlsaFrames(AlsaFormat format, AlsaChannels channels, std::size_t frames);

    /// Fills the period from two channels of floats, full scale at 1, what is beyond it clamped. Real-time
    /// safe.
    void fill(const float* left, const float* right) noexcept;

    /// From this frame on, below the period's length.
    [[nodiscard]] const void* at(std::size_t frame) const noexcept {
        return bytes_.data() + frame * channels_.count * sampleBytes_;
    }

  private:
    template <typename Sample>
    void fillAs(const float* left, const float* right) noexcept;

    AlsaFormat format_;
    AlsaChannels channels_;
    std::size_t frames_;
    std::size_t sampleBytes_;
    std::vector<std::byte> bytes_;
};

} // namespace keysong
