#include "Audio/SampleBuffer.h"

#include "Audio/FloatVector.h"

#include <algorithm>
#include <cmath>

namespace keysong {

namespace {

constexpr float fullScale = 32768;

/// Whether 16 bits hold the frame exactly; false for one that is not finite.
bool isNarrow(float frame) noexcept {
    const float scaled = frame * fullScale;
    return scaled >= -fullScale && scaled < fullScale && scaled == std::trunc(scaled);
}

/// Four frames of 16 bits side by side.
using NarrowVector [[gnu::vector_size(8)]] = std::int16_t;

} // namespace

SampleBuffer::SampleBuffer(std::span<const float> frames) : length_(frames.size()) {
    const std::size_t size = frames.size() + 2 * padding;
    if (std::all_of(frames.begin(), frames.end(), isNarrow)) {
        narrow_.resize(size);
        std::transform(frames.begin(), frames.end(), narrow_.begin() + padding,
                       [](float frame) { return static_cast<std::int16_t>(frame * fullScale); });
    } else {
        wide_.resize(size);
        std::transform(frames.begin(), frames.end(), wide_.begin() + padding,
                       [](float frame) { return std::isfinite(frame) ? frame : 0.0F; });
    }
}

void SampleBuffer::read(std::ptrdiff_t first, std::span<float> out) const noexcept {
    const std::ptrdiff_t place = static_cast<std::ptrdiff_t>(padding) + first;
    if (narrow_.empty()) {
        std::copy_n(wide_.data() + place, out.size(), out.data());
        return;
    }
    const std::int16_t* from = narrow_.data() + place;
    std::size_t index = 0;
    for (; index + floatVectorSize <= out.size(); index += floatVectorSize) {
        NarrowVector values;
        std::memcpy(&values, from + index, sizeof values);
        storeVector(out.data() + index, __builtin_convertvector(values, FloatVector) * (1 / fullScale));
    }
    for (; index < out.size(); ++index) {
        out[index] = static_cast<float>(from[index]) / fullScale;
    }
}

std::vector<float> SampleBuffer::frames() const {
    std::vector<float> copy(length_);
    read(0, copy);
    return copy;
}

} // namespace keysong
