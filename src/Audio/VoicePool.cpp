#include "Audio/VoicePool.h"

#include "Audio/FloatVector.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace keysong {

static_assert(SampleBuffer::padding > SincInterpolator::taps, "the interpolator reads around every frame");

namespace {

/// Copies and clears. What recordings with absurd samples may have added up to becomes finite: a filter
/// would never recover from anything else.
void moveOut(float* from, float* to, std::size_t count) noexcept {
    constexpr FloatVector limit = {1024, 1024, 1024, 1024};
    const auto take = [from](std::size_t index) {
        FloatVector values = loadVector(from + index);
        storeVector(from + index, FloatVector{});
        values = values < limit ? values : limit;
        return values > -limit ? values : -limit;
    };
    std::size_t index = 0;
    for (; index + floatVectorSize <= count; index += floatVectorSize) {
        storeVector(to + index, take(index));
    }
    if (index < count) {
        const FloatVector values = take(index);
        std::memcpy(to + index, &values, (count - index) * sizeof(float));
    }
}

} // namespace

static_assert(VoicePool::maximumChunk % floatVectorSize == 0);

VoicePool::VoicePool(std::span<const float, voiceCount> pans, SincInterpolator::Instructions limit)
    : interpolator_(limit) {
    for (std::size_t voice = 0; voice < voiceCount; ++voice) {
        // Equal power: wherever a sound is placed, it is equally loud.
        const double pan = std::clamp(static_cast<double>(pans[voice]), -1.0, 1.0);
        const double angle = (pan + 1) * std::numbers::pi / 4;
        leftPans_[voice] = static_cast<float>(std::cos(angle));
        rightPans_[voice] = static_cast<float>(std::sin(angle));
    }
}

void VoicePool::prepare(double bufferRate, double outputRate) {
    ratio_ = bufferRate / outputRate;
    fade_.resize(std::max<std::size_t>(1, static_cast<std::size_t>(fadeSeconds * outputRate)));
    for (std::size_t frame = 0; frame < fade_.size(); ++frame) {
        const double place = (static_cast<double>(frame) + 0.5) / static_cast<double>(fade_.size());
        fade_[frame] = static_cast<float>(0.5 * (1 + std::cos(std::numbers::pi * place)));
    }
    for (Playback& playback : current_) {
        setStep(playback);
    }
    for (Playback& playback : fading_) {
        setStep(playback);
        playback.faded = std::min(playback.faded, fade_.size() - 1);
    }
}

void VoicePool::setStep(Playback& playback) const noexcept {
    playback.step = SincInterpolator::step(static_cast<double>(playback.rate) * ratio_);
    playback.filter = interpolator_.filter(playback.step);
}

void VoicePool::begin(const ScheduledHit& hit, std::size_t frame) noexcept {
    Playback& playback = current_[hit.voice];
    advance(playback, frame, false);
    if (playback.buffer != nullptr) {
        cutOff(playback);
    }
    playback.buffer = hit.buffer;
    playback.inFlight = hit.inFlight;
    playback.position = 0;
    // The last frame rings on for as long as a tap still reaches it.
    playback.end = (hit.buffer->length() + SincInterpolator::before) * SincInterpolator::oneFrame;
    playback.rate = hit.rate;
    setStep(playback);
    playback.leftGain = hit.volume * leftPans_[hit.voice];
    playback.rightGain = hit.volume * rightPans_[hit.voice];
    playback.rendered = frame;
    playback.faded = 0;
}

void VoicePool::cutOff(Playback& playback) noexcept {
    Playback& slot = fadingSlot();
    end(slot);
    slot = playback;
    playback.buffer = nullptr;
}

/// A free place for a sound that fades out, or the place of the one that is nearest to silence.
VoicePool::Playback& VoicePool::fadingSlot() noexcept {
    const auto remaining = [this](const Playback& playback) {
        return playback.buffer == nullptr ? -1.0F
                                          : fade_[playback.faded] * std::max(std::fabs(playback.leftGain),
                                                                             std::fabs(playback.rightGain));
    };
    return *std::min_element(fading_.begin(), fading_.end(), [&](const Playback& a, const Playback& b) {
        return remaining(a) < remaining(b);
    });
}

void VoicePool::readFrames(Playback& playback, std::size_t count) noexcept {
    const std::uint64_t step = playback.step;
    if (const float* frames = playback.buffer->data()) {
        interpolator_.read(frames, playback.filter, playback.position, step, scratch_.data(), count);
        return;
    }
    const std::uint64_t first = playback.position >> 32;
    const std::uint64_t last = (playback.position + (count - 1) * step) >> 32;
    playback.buffer->read(static_cast<std::ptrdiff_t>(first) -
                              static_cast<std::ptrdiff_t>(SincInterpolator::before),
                          std::span(window_).first(last - first + SincInterpolator::taps));
    std::uint64_t position =
        static_cast<std::uint32_t>(playback.position) + SincInterpolator::before * SincInterpolator::oneFrame;
    interpolator_.read(window_.data(), playback.filter, position, step, scratch_.data(), count);
    playback.position += count * step;
}

void VoicePool::advance(Playback& playback, std::size_t frame, bool fading) noexcept {
    if (playback.buffer == nullptr) {
        return;
    }
    const std::uint64_t left = (playback.end - playback.position + playback.step - 1) / playback.step;
    std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>(frame - playback.rendered, left));
    if (fading) {
        count = std::min(count, fade_.size() - playback.faded);
    }
    if (count > 0) {
        readFrames(playback, count);
        if (fading) {
            std::transform(scratch_.begin(), scratch_.begin() + static_cast<std::ptrdiff_t>(count),
                           fade_.begin() + static_cast<std::ptrdiff_t>(playback.faded), scratch_.begin(),
                           [](float sample, float gain) { return sample * gain; });
            playback.faded += count;
        }
        mix(scratch_.data(), playback.rendered, count, playback);
    }
    playback.rendered = frame;
    if (playback.position >= playback.end || (fading && playback.faded >= fade_.size())) {
        end(playback);
    }
}

void VoicePool::mix(const float* frames, std::size_t at, std::size_t count,
                    const Playback& playback) noexcept {
    float* left = left_.data() + at;
    float* right = right_.data() + at;
    std::size_t index = 0;
    for (; index + floatVectorSize <= count; index += floatVectorSize) {
        const FloatVector values = loadVector(frames + index);
        storeVector(left + index, loadVector(left + index) + values * playback.leftGain);
        storeVector(right + index, loadVector(right + index) + values * playback.rightGain);
    }
    for (; index < count; ++index) {
        left[index] += frames[index] * playback.leftGain;
        right[index] += frames[index] * playback.rightGain;
    }
    sounding_ = true;
}

bool VoicePool::finishChunk(float* left, float* right, std::size_t frames) noexcept {
    for (Playback& playback : current_) {
        advance(playback, frames, false);
        playback.rendered = 0;
    }
    for (Playback& playback : fading_) {
        advance(playback, frames, true);
        playback.rendered = 0;
    }
    if (!sounding_) {
        std::fill_n(left, frames, 0.0F);
        std::fill_n(right, frames, 0.0F);
        return false;
    }
    moveOut(left_.data(), left, frames);
    moveOut(right_.data(), right, frames);
    sounding_ = false;
    return true;
}

void VoicePool::discardAll() noexcept {
    std::for_each(current_.begin(), current_.end(), end);
    std::for_each(fading_.begin(), fading_.end(), end);
}

void VoicePool::end(Playback& playback) noexcept {
    if (playback.buffer != nullptr) {
        playback.buffer = nullptr;
        release(playback.inFlight);
    }
}

void VoicePool::release(std::atomic<std::uint32_t>* inFlight) noexcept {
    if (inFlight != nullptr) {
        inFlight->fetch_sub(1, std::memory_order_release);
    }
}

} // namespace keysong
