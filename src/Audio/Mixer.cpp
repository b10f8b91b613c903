#include "Audio/Mixer.h"

#include "Audio/FloatVector.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace keysong {

namespace {

static_assert(std::atomic<float>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

constexpr double volumeRampSeconds = 0.010;
constexpr float decibelLimit = 40;
constexpr float volumeLimit = 64;

/// For as long as it lives, numbers too small to matter count as 0 on this thread: a tail that dies away
/// would otherwise become many times as expensive just before it ends.
class FlushTinyNumbers {
  public:
    FlushTinyNumbers() noexcept : before_(control()) { setControl(before_ | flushBits); }
    ~FlushTinyNumbers() { setControl(before_); }
    FlushTinyNumbers(const FlushTinyNumbers&) = delete;
    FlushTinyNumbers& operator=(const FlushTinyNumbers&) = delete;

  private:
#if defined(__x86_64__)
    using Word = unsigned;
    /// Results that would be too small, and operands that are.
    static constexpr Word flushBits = 0x8000 | 0x0040;
    static Word control() noexcept {
        return __builtin_ia32_stmxcsr();
    }
    static void setControl(Word word) noexcept {
        __builtin_ia32_ldmxcsr(word);
    }
#elif defined(__aarch64__)
    using Word = std::uint64_t;
    /// FZ of FPCR: operands and results.
    static constexpr Word flushBits = 1U << 24U;
    static Word control() noexcept {
        Word word = 0;
        __asm__ volatile("mrs %0, fpcr" : "=r"(word));
        return word;
    }
    static void setControl(Word word) noexcept {
        // The clobber keeps loads and stores of samples on their side of it.
        __asm__ volatile("msr fpcr, %0" : : "r"(word) : "memory");
    }
#else
    using Word = unsigned;
    static constexpr Word flushBits = 0;
    static Word control() noexcept {
        return 0;
    }
    static void setControl(Word) noexcept {
    }
#endif

    Word before_;
};

} // namespace

Mixer::Mixer(const std::array<float, voiceCount>& pans) : Mixer(pans, SincInterpolator::fastest) {
}

Mixer::Mixer(const std::array<float, voiceCount>& pans, SincInterpolator::Instructions limit)
    : voices_(pans, limit) {
    prepare(bufferSampleRate);
}

bool Mixer::schedule(const ScheduledHit& hit) noexcept {
    const bool usable = hit.buffer != nullptr && hit.voice < voiceCount && std::isfinite(hit.rate) &&
                        hit.rate > 0 && std::fabs(hit.volume) <= volumeLimit;
    return usable && queue_.push(hit);
}

void Mixer::setMasterVolume(float linear) noexcept {
    if (std::isfinite(linear)) {
        masterVolume_.store(std::clamp(linear, 0.0F, volumeLimit), std::memory_order_relaxed);
    }
}

void Mixer::setDecibels(std::atomic<float>& setting, float decibels) noexcept {
    if (std::isfinite(decibels)) {
        setting.store(std::clamp(decibels, -decibelLimit, decibelLimit), std::memory_order_relaxed);
    }
}

void Mixer::setLowShelfGain(float decibels) noexcept {
    setDecibels(lowShelfGain_, decibels);
}
void Mixer::setHighShelfGain(float decibels) noexcept {
    setDecibels(highShelfGain_, decibels);
}
void Mixer::setMakeupGain(float decibels) noexcept {
    setDecibels(makeupGain_, decibels);
}

float Mixer::lowShelfGain() const noexcept {
    return lowShelfGain_.load(std::memory_order_relaxed);
}
float Mixer::highShelfGain() const noexcept {
    return highShelfGain_.load(std::memory_order_relaxed);
}
float Mixer::makeupGain() const noexcept {
    return makeupGain_.load(std::memory_order_relaxed);
}

void Mixer::setToneConnected(bool connected) noexcept {
    toneConnected_.store(connected, std::memory_order_relaxed);
}

bool Mixer::toneConnected() const noexcept {
    return toneConnected_.load(std::memory_order_relaxed);
}

ToneGains Mixer::toneGains() const noexcept {
    // Out of the chain is the same as flat, which passes the signal bit for bit.
    return toneConnected() ? ToneGains{lowShelfGain(), highShelfGain(), makeupGain()} : ToneGains{};
}

void Mixer::prepare(double outputSampleRate) {
    outputSampleRate_ =
        std::isfinite(outputSampleRate) ? std::clamp(outputSampleRate, 8000.0, 768000.0) : bufferSampleRate;
    voices_.prepare(bufferSampleRate, outputSampleRate_);
    tone_.setGains(toneGains());
    tone_.prepare(outputSampleRate_);
    limiter_.prepare(outputSampleRate_);
    volumeTarget_ = masterVolume_.load(std::memory_order_relaxed);
    volume_ = volumeTarget_;
    volumeRampFrames_ = 0;
}

void Mixer::discardAll() noexcept {
    while (const auto hit = queue_.pop()) {
        VoicePool::release(hit->inFlight);
    }
    for (std::size_t index = 0; index < pendingCount_; ++index) {
        VoicePool::release(std::exchange(pending_[index], PendingHit()).hit.inFlight);
    }
    pendingCount_ = 0;
    voices_.discardAll();
    silent_.store(true, std::memory_order_relaxed);
    tone_.settle();
    limiter_.reset();
}

/// Moves the hits that arrived into the list of those that wait, earliest first.
void Mixer::takeHits(const IoCycle& cycle, double nanosecondsPerFrame) noexcept {
    constexpr std::int64_t second = 1'000'000'000;
    while (pendingCount_ < pending_.size()) {
        auto hit = queue_.pop();
        if (!hit) {
            return;
        }
        if (hit->timeNanoseconds > cycle.startNanoseconds + second) {
            hit->timeNanoseconds = cycle.startNanoseconds; // the output's clock is wrong, not the hit's
        }
        // Longer ago than that is too late in any case, and cannot be reckoned with.
        hit->timeNanoseconds = std::max(hit->timeNanoseconds, cycle.startNanoseconds - 60 * second);
        // The period is added here and once: a hit keeps its place if the period changes while it waits.
        const PendingHit arrival = {nanosecondsPerFrame * cycle.frameCount, *hit};
        const auto end = pending_.begin() + static_cast<std::ptrdiff_t>(pendingCount_);
        const auto place =
            std::upper_bound(pending_.begin(), end, arrival, [](const PendingHit& a, const PendingHit& b) {
                return static_cast<double>(a.hit.timeNanoseconds - b.hit.timeNanoseconds) + a.delay < b.delay;
            });
        std::move_backward(place, end, end + 1);
        *place = arrival;
        ++pendingCount_;
    }
}

/// Starts the waiting hits whose frame lies in the chunk.
void Mixer::beginHits(const IoCycle& cycle, double nanosecondsPerFrame, std::size_t chunkStart,
                      std::size_t frames) noexcept {
    const auto end = static_cast<double>(chunkStart + frames);
    std::size_t begun = 0;
    for (; begun < pendingCount_; ++begun) {
        const PendingHit& waiting = pending_[begun];
        const auto early =
            static_cast<double>(waiting.hit.timeNanoseconds - cycle.startNanoseconds) + waiting.delay;
        const double frame = std::round(early / nanosecondsPerFrame);
        if (frame >= end) {
            break;
        }
        if (early < -static_cast<double>(mostLateNanoseconds) && !std::exchange(forgivesOne_, false)) {
            drop(waiting.hit);
            continue;
        }
        const double within = std::max(0.0, frame - static_cast<double>(chunkStart));
        voices_.begin(waiting.hit, static_cast<std::size_t>(within));
    }
    const auto first = pending_.begin();
    const auto last = first + static_cast<std::ptrdiff_t>(pendingCount_);
    std::fill(std::move(first + static_cast<std::ptrdiff_t>(begun), last, first), last, PendingHit());
    pendingCount_ -= begun;
}

void Mixer::drop(const ScheduledHit& hit) noexcept {
    VoicePool::release(hit.inFlight);
    // The render thread alone counts.
    lateHits_.store(lateHits() + 1, std::memory_order_relaxed);
}

void Mixer::applyMasterVolume(float* left, float* right, std::size_t frames) noexcept {
    std::size_t index = 0;
    for (; index < frames && volumeRampFrames_ > 0; ++index) {
        volume_ = --volumeRampFrames_ == 0 ? volumeTarget_ : volume_ + volumePerFrame_;
        left[index] *= volume_;
        right[index] *= volume_;
    }
    for (; index + floatVectorSize <= frames; index += floatVectorSize) {
        storeVector(left + index, loadVector(left + index) * volume_);
        storeVector(right + index, loadVector(right + index) * volume_);
    }
    for (; index < frames; ++index) {
        left[index] *= volume_;
        right[index] *= volume_;
    }
}

void Mixer::takeSettings() noexcept {
    tone_.setGains(toneGains());
    const float volume = masterVolume_.load(std::memory_order_relaxed);
    if (volume != volumeTarget_) {
        volumeTarget_ = volume;
        volumeRampFrames_ = static_cast<std::size_t>(volumeRampSeconds * outputSampleRate_);
        volumePerFrame_ = (volumeTarget_ - volume_) / static_cast<float>(volumeRampFrames_);
    }
}

void Mixer::render(const IoCycle& cycle, float* left, float* right) noexcept {
    const FlushTinyNumbers flush;
    const double nanosecondsPerFrame =
        cycle.nanosecondsPerFrame > 0 ? cycle.nanosecondsPerFrame : 1e9 / outputSampleRate_;
    takeSettings();
    takeHits(cycle, nanosecondsPerFrame);
    forgivesOne_ = cycle.isFirstAfterRest;
    bool silent = true;
    for (std::size_t start = 0; start < cycle.frameCount; start += VoicePool::maximumChunk) {
        const std::size_t frames = std::min<std::size_t>(cycle.frameCount - start, VoicePool::maximumChunk);
        beginHits(cycle, nanosecondsPerFrame, start, frames);
        const bool sounding = voices_.finishChunk(left + start, right + start, frames);
        if (!sounding && tone_.isQuiet()) {
            // In silence every setting is reached at once and nothing needs to be worked out.
            tone_.settle();
            volume_ = volumeTarget_;
            volumeRampFrames_ = 0;
            limiter_.recover(frames);
            continue;
        }
        silent = false;
        applyMasterVolume(left + start, right + start, frames);
        tone_.process(left + start, right + start, frames);
        limiter_.process(left + start, right + start, frames);
    }
    silent_.store(silent && pendingCount_ == 0, std::memory_order_relaxed);
}

} // namespace keysong
