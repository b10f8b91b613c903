#include "Audio/SampleBuffer.h"

#include <algorithm>
#include <cmath>

namespace keysong {

SampleBuffer::SampleBuffer(std::span<const float> frames)
    : storage_(frames.size() + 2 * padding), length_(frames.size()) {
    std::transform(frames.begin(), frames.end(), storage_.begin() + padding,
                   [](float frame) { return std::isfinite(frame) ? frame : 0.0F; });
}

} // namespace keysong
