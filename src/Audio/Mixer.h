#pragma once

#include "Audio/HitQueue.h"
#include "Audio/Limiter.h"
#include "Audio/ToneStage.h"
#include "Audio/VoicePool.h"
#include "Platform/AudioOutput.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace keysong {

/// Turns hits into sound: sixteen voices of fixed place, each with a rate and a volume of its own, mixed to
/// two channels, coloured by the tone stage and kept within full scale.
///
/// A hit is heard a constant time after it was asked for, one period and what the output adds, exact to the
/// frame, however the wake-ups of the render thread fall. A hit on a voice that still sounds cuts that sound
/// off: it fades out within 2 ms while the new one starts at once.
///
/// A hit that could be heard only `mostLateNanoseconds` after its time, or later, is dropped and counted:
/// what was typed while the render thread stood still would otherwise come out as one bang. Only the first
/// hit after the output's rest is played however late: it is the one that woke the output.
///
/// Hits and settings come from any thread, without a lock. The owner keeps the mixer until the output has
/// stopped, and calls `discardAll` before it goes if anyone still counts hits.
class Mixer final : public AudioRenderer {
  public:
    static constexpr std::size_t voiceCount = VoicePool::voiceCount;
    /// The rate of every recording, in Hz.
    static constexpr double bufferSampleRate = 48000;
    static constexpr std::int64_t mostLateNanoseconds = 60'000'000;

    /// `pans` places each voice, from -1, left, to 1, right. Allocates; ready for 48 kHz.
    explicit Mixer(const std::array<float, voiceCount>& pans);

    /// For comparisons: with a limit to the interpolator's instructions.
    Mixer(const std::array<float, voiceCount>& pans, SincInterpolator::Instructions limit);

    /// Takes a hit; false when the queue is full, or when the hit names no buffer or voice or a rate or
    /// volume that is no use. A hit that was not taken is not counted down either. Any thread, real-time
    /// safe, lock-free.
    [[nodiscard]] bool schedule(const ScheduledHit& hit) noexcept;

    /// Linear gain of the whole mix, at least 0, reached within 10 ms. Any thread, real-time safe, as are
    /// all the settings below. A value that is not finite changes nothing.
    void setMasterVolume(float linear) noexcept;

    /// Gains of the tone stage in dB, within 40 either way, reached within 20 ms.
    void setLowShelfGain(float decibels) noexcept;
    void setHighShelfGain(float decibels) noexcept;
    void setMakeupGain(float decibels) noexcept;
    [[nodiscard]] float lowShelfGain() const noexcept;
    [[nodiscard]] float highShelfGain() const noexcept;
    [[nodiscard]] float makeupGain() const noexcept;

    /// Takes the tone stage out of the chain, or puts it back. Its gains stay.
    void setToneConnected(bool connected) noexcept;
    [[nodiscard]] bool toneConnected() const noexcept;

    /// How many hits came too late to be played. Any thread, real-time safe.
    [[nodiscard]] std::uint64_t lateHits() const noexcept {
        return lateHits_.load(std::memory_order_relaxed);
    }

    /// Whether nothing sounds, dies away or waits, as of the last period. Any thread, real-time safe.
    [[nodiscard]] bool isSilent() const noexcept { return silent_.load(std::memory_order_relaxed); }

    /// Computes what depends on the output's rate, in Hz. Settings are in force at once. Only while not
    /// rendering; allocates.
    void prepare(double outputSampleRate);

    /// Ends every sound, every fade and every hit that waits. Only while not rendering.
    void discardAll() noexcept;

    void render(const IoCycle& cycle, float* left, float* right) noexcept override;

  private:
    struct PendingHit {
        /// From the time it was asked for until it is to be heard, in nanoseconds.
        double delay = 0;
        ScheduledHit hit;
    };

    static void setDecibels(std::atomic<float>& setting, float decibels) noexcept;
    [[nodiscard]] ToneGains toneGains() const noexcept;
    void takeSettings() noexcept;
    void takeHits(const IoCycle& cycle, double nanosecondsPerFrame) noexcept;
    void beginHits(const IoCycle& cycle, double nanosecondsPerFrame, std::size_t chunkStart,
                   std::size_t frames) noexcept;
    void drop(const ScheduledHit& hit) noexcept;
    void applyMasterVolume(float* left, float* right, std::size_t frames) noexcept;

    HitQueue queue_;
    std::atomic<float> masterVolume_ = 1;
    std::atomic<float> lowShelfGain_ = 0;
    std::atomic<float> highShelfGain_ = 0;
    std::atomic<float> makeupGain_ = 0;
    std::atomic<bool> toneConnected_ = true;
    std::atomic<std::uint64_t> lateHits_ = 0;
    std::atomic<bool> silent_ = true;

    // The render thread's own.
    double outputSampleRate_ = bufferSampleRate;
    std::array<PendingHit, HitQueue::capacity> pending_;
    std::size_t pendingCount_ = 0;
    /// The next late hit is played: it woke the output.
    bool forgivesOne_ = false;
    float volume_ = 1;
    float volumeTarget_ = 1;
    float volumePerFrame_ = 0;
    std::size_t volumeRampFrames_ = 0;
    VoicePool voices_;
    ToneStage tone_;
    Limiter limiter_;
};

} // namespace keysong
