#include "Linux/Sound/AlsaFrames.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace keysong {

namespace {

template <typename Sample>
Sample converted(float value) noexcept {
    if constexpr (std::is_floating_point_v<Sample>) {
        return std::clamp(value, -1.0F, 1.0F);
    } else {
        // A double holds every whole number of 32 bits, a float does not.
        using Limits = std::numeric_limits<Sample>;
        constexpr double scale = -static_cast<double>(Limits::min());
        constexpr double most = static_cast<double>(Limits::max());
        return static_cast<Sample>(std::lrint(std::clamp(value * scale, -scale, most)));
    }
}

} // namespace

AlsaFrames::AlsaFrames(AlsaFormat format, AlsaChannels channels, std::size_t frames)
    : format_(format), channels_(channels), frames_(frames),
      sampleBytes_(format == AlsaFormat::signed16 ? sizeof(std::int16_t) : sizeof(std::int32_t)),
      bytes_(frames * channels.count * sampleBytes_) {
    if (std::max(channels_.left, channels_.right) >= channels_.count) {
        channels_.left = 0;
        channels_.right = channels_.count > 1 ? 1 : 0;
    }
}

template <typename Sample>
void AlsaFrames::fillAs(const float* left, const float* right) noexcept {
    const auto store = [this](std::size_t frame, std::uint32_t channel, float value) {
        const Sample sample = converted<Sample>(value);
        std::memcpy(bytes_.data() + (frame * channels_.count + channel) * sizeof(Sample), &sample,
                    sizeof(Sample));
    };
    if (channels_.left == channels_.right) {
        for (std::size_t i = 0; i < frames_; ++i) {
            store(i, channels_.left, (left[i] + right[i]) * 0.5F);
        }
        return;
    }
    for (std::size_t i = 0; i < frames_; ++i) {
        store(i, channels_.left, left[i]);
        store(i, channels_.right, right[i]);
    }
}

void AlsaFrames::fill(const float* left, const float* right) noexcept {
    switch (format_) {
    case AlsaFormat::float32:
        fillAs<float>(left, right);
        break;
    case AlsaFormat::signed32:
        fillAs<std::int32_t>(left, right);
        break;
    case AlsaFormat::signed16:
        fillAs<std::int16_t>(left, right);
        break;
    }
}

} // namespace keysong
