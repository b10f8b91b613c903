#pragma once

#include <alsa/asoundlib.h>

#include <functional>
#include <memory>
#include <stdexcept>
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

/// Shows every sound card that can be asked, in the system's order. Any thread but the render thread.
void forEachCard(const std::function<void(snd_ctl_t*, const snd_ctl_card_info_t*)>& show);

/// ALSA's configuration, read afresh: what the files and the cards say now. The library's shared copy is
/// read once and does not know the cards that came later. ALSA's own mixer gets short periods in it, unless
/// the user's files say how long they are.
///
/// Any thread but the render thread.
class AlsaConfig {
  public:
    /// Throws `AlsaError` when the files cannot be read.
    AlsaConfig();

    [[nodiscard]] snd_config_t* get() const noexcept { return root_.get(); }

    /// What the configuration calls a PCM in its hints; empty when it says nothing.
    [[nodiscard]] std::string description(const char* pcmName) const;

  private:
    void shortenMixerPeriods();

    std::unique_ptr<snd_config_t, AlsaDeleter<snd_config_delete>> root_;
};

} // namespace keysong
