#pragma once

#include "Audio/HitQueue.h"
#include "Audio/SincInterpolator.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace keysong {

/// The sounds under way: at most one on each voice, and those cut off that still fade out.
///
/// Works on one chunk of frames at a time: `begin` any number of sounds in the order of their frames, then
/// `finishChunk`. Construction and `prepare` allocate and must not meet the render thread; everything else
/// is called by that thread, or while it does not run, and is real-time safe.
class VoicePool {
  public:
    static constexpr std::size_t voiceCount = 16;
    static constexpr std::size_t fadingCount = 48;
    static constexpr std::size_t maximumChunk = 256;
    static constexpr double fadeSeconds = 0.002;

    /// `pans` places each voice, from -1, left, to 1, right.
    VoicePool(std::span<const float, voiceCount> pans, SincInterpolator::Instructions limit);

    /// Computes what depends on the rates, in Hz: that of the samples and that of the output. Sounds
    /// under way go on at their pitch.
    void prepare(double bufferRate, double outputRate);

    /// Starts a sound exactly at `frame` of this chunk, not before that of the previous call. What its
    /// voice plays fades out from the same frame on.
    void begin(const ScheduledHit& hit, std::size_t frame) noexcept;

    /// Completes the chunk, at most `maximumChunk` frames, writes it out and gets ready for the next. All
    /// samples are finite. False when nothing sounded and the chunk is silence.
    bool finishChunk(float* left, float* right, std::size_t frames) noexcept;

    /// Ends everything at once.
    void discardAll() noexcept;

    /// Tells whoever scheduled a hit that it is over.
    static void release(std::atomic<std::uint32_t>* inFlight) noexcept;

  private:
    struct Playback {
        const SampleBuffer* buffer = nullptr;
        std::atomic<std::uint32_t>* inFlight = nullptr;
        const SincInterpolator::Phase* filter = nullptr;
        /// 32.32 fixed-point frames of the sample.
        std::uint64_t position = 0;
        std::uint64_t step = 0;
        std::uint64_t end = 0;
        float rate = 1;
        float leftGain = 0;
        float rightGain = 0;
        /// How far this sound has been rendered into the chunk.
        std::size_t rendered = 0;
        /// Frames of fade behind it; meaningful for sounds that were cut off.
        std::size_t faded = 0;
    };

    void setStep(Playback& playback) const noexcept;
    /// Fills `scratch_` with the next frames of a sound.
    void readFrames(Playback& playback, std::size_t count) noexcept;
    void advance(Playback& playback, std::size_t frame, bool fading) noexcept;
    void mix(const float* frames, std::size_t at, std::size_t count, const Playback& playback) noexcept;
    void cutOff(Playback& playback) noexcept;
    [[nodiscard]] Playback& fadingSlot() noexcept;
    static void end(Playback& playback) noexcept;

    SincInterpolator interpolator_;
    double ratio_ = 1;
    std::vector<float> fade_;
    std::array<float, voiceCount> leftPans_;
    std::array<float, voiceCount> rightPans_;
    std::array<Playback, voiceCount> current_;
    std::array<Playback, fadingCount> fading_;
    /// Whether this chunk has sound in it.
    bool sounding_ = false;
    std::array<float, maximumChunk> left_ = {};
    std::array<float, maximumChunk> right_ = {};
    std::array<float, maximumChunk> scratch_ = {};
    /// What a chunk needs of a sample in 16 bits, as float.
    std::array<float, maximumChunk* static_cast<std::size_t>(SincInterpolator::highestRatio) +
                          SincInterpolator::taps>
        window_ = {};
};

} // namespace keysong
