#pragma once

#include "Linux/Sound/AlsaConfig.h"
#include "Linux/Sound/AlsaFrames.h"

#include <cstdint>
#include <memory>
#include <string>

namespace keysong {

/// A playback PCM, open and configured for two channels of sound in small periods.
///
/// Everything but construction and destruction belongs to one thread at a time.
class AlsaPcm {
  public:
    static constexpr unsigned rate = 48000;

    /// Opens the PCM of this name and asks for periods of `periodFrames`. Throws `AlsaError`.
    AlsaPcm(const AlsaConfig& config, const std::string& name, std::uint32_t periodFrames);

    [[nodiscard]] snd_pcm_t* get() const noexcept { return pcm_.get(); }
    [[nodiscard]] const std::string& name() const noexcept { return name_; }

    // What was granted.
    [[nodiscard]] std::uint32_t periodFrames() const noexcept { return periodFrames_; }
    [[nodiscard]] std::uint32_t bufferFrames() const noexcept { return bufferFrames_; }
    [[nodiscard]] AlsaFormat format() const noexcept { return format_; }
    [[nodiscard]] const AlsaChannels& channels() const noexcept { return channels_; }

    /// How much of the buffer is to be kept filled: the device starts by itself once it holds as much, and
    /// the poller wakes when a period of it was played. Real-time safe. Returns 0 or a negative error.
    [[nodiscard]] int setFill(std::uint32_t frames) noexcept;

  private:
    void setHardware(std::uint32_t wishedFrames);
    void setSoftware();
    void findChannels();

    std::string name_;
    std::unique_ptr<snd_pcm_t, AlsaDeleter<snd_pcm_close>> pcm_;
    std::unique_ptr<snd_pcm_sw_params_t, AlsaDeleter<snd_pcm_sw_params_free>> software_;
    std::uint32_t periodFrames_ = 0;
    std::uint32_t bufferFrames_ = 0;
    AlsaFormat format_ = AlsaFormat::float32;
    AlsaChannels channels_;
};

/// Opens a PCM for a look at it: nothing is configured, and a busy one is not waited for. Null with `error`
/// set when it does not open.
[[nodiscard]] std::unique_ptr<snd_pcm_t, AlsaDeleter<snd_pcm_close>>
openPcm(const AlsaConfig& config, const std::string& name, int& error);

/// Whether sound written to this PCM takes as long as it lasts: not so where it ends in nothing or in a file.
[[nodiscard]] bool isPaced(snd_pcm_t* pcm);

} // namespace keysong
