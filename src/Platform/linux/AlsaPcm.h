#pragma once

#include "Platform/linux/AlsaFrames.h"

#include <alsa/asoundlib.h>

#include <cstdint>
#include <memory>
#include <string>

namespace keysong {

/// Frees an ALSA object when its owner goes.
template <auto Free>
struct AlsaDeleter {
    template <typename Object>
    void operator()(Object* object) const noexcept {
        Free(object);
    }
};

/// ALSA's configuration, read afresh: what the files and the cards say now. The library's shared copy is
/// read once and does not know the cards that came later.
///
/// Any thread but the render thread.
class AlsaConfig {
  public:
    /// Throws `AudioOutputError` when the files cannot be read.
    AlsaConfig();

    [[nodiscard]] snd_config_t* get() const noexcept { return root_.get(); }

    /// What the configuration calls a PCM in its hints; empty when it says nothing.
    [[nodiscard]] std::string description(const char* pcmName) const;

  private:
    std::unique_ptr<snd_config_t, AlsaDeleter<snd_config_delete>> root_;
};

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

    /// Wakes the poller once this many frames can be written. Real-time safe. Returns 0 or a negative error.
    [[nodiscard]] int setWakeUp(std::uint32_t freeFrames) noexcept;

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

/// A refusal by ALSA, as the library numbers it. `what()` says in words what was tried and why it failed.
class AlsaError : public std::runtime_error {
  public:
    /// `error` is a negative number as ALSA's functions return it.
    AlsaError(const std::string& attempt, int error);

    [[nodiscard]] int code() const noexcept { return code_; }
    /// The error in words for a person.
    [[nodiscard]] static std::string text(int error);

  private:
    int code_;
};

/// Opens a PCM for a look at it: nothing is configured, and a busy one is not waited for. Null with `error`
/// set when it does not open.
[[nodiscard]] std::unique_ptr<snd_pcm_t, AlsaDeleter<snd_pcm_close>>
openPcm(const AlsaConfig& config, const std::string& name, int& error);

/// Whether sound written to this PCM takes as long as it lasts: not so where it ends in nothing or in a file.
[[nodiscard]] bool isPaced(snd_pcm_t* pcm);

} // namespace keysong
