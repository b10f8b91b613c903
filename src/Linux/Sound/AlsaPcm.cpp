#include "Linux/Sound/AlsaPcm.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace keysong {

namespace {

/// The buffer asked for, in periods. Only as much of it is kept filled as the machine turns out to need.
constexpr unsigned wishedPeriods = 4;

constexpr std::array<std::pair<AlsaFormat, snd_pcm_format_t>, 3> formats{
    {{AlsaFormat::float32, SND_PCM_FORMAT_FLOAT},
     {AlsaFormat::signed32, SND_PCM_FORMAT_S32},
     {AlsaFormat::signed16, SND_PCM_FORMAT_S16}}};

using HardwareParameters = std::unique_ptr<snd_pcm_hw_params_t, AlsaDeleter<snd_pcm_hw_params_free>>;

void check(int result, const char* attempt) {
    if (result < 0) {
        throw AlsaError(attempt, result);
    }
}

HardwareParameters everyConfiguration(snd_pcm_t* pcm) {
    snd_pcm_hw_params_t* parameters = nullptr;
    check(snd_pcm_hw_params_malloc(&parameters), "reading the device's abilities");
    HardwareParameters owner(parameters);
    check(snd_pcm_hw_params_any(pcm, parameters), "reading the device's abilities");
    return owner;
}

} // namespace

std::unique_ptr<snd_pcm_t, AlsaDeleter<snd_pcm_close>> openPcm(const AlsaConfig& config,
                                                               const std::string& name, int& error) {
    snd_pcm_t* pcm = nullptr;
    error = snd_pcm_open_lconf(&pcm, name.c_str(), SND_PCM_STREAM_PLAYBACK, SND_PCM_NONBLOCK, config.get());
    return std::unique_ptr<snd_pcm_t, AlsaDeleter<snd_pcm_close>>(error < 0 ? nullptr : pcm);
}

bool isPaced(snd_pcm_t* pcm) {
    // A chain of plugins says in its description alone where it ends.
    snd_output_t* output = nullptr;
    if (snd_output_buffer_open(&output) < 0) {
        return false;
    }
    const std::unique_ptr<snd_output_t, AlsaDeleter<snd_output_close>> owner(output);
    snd_pcm_dump(pcm, output);
    char* text = nullptr;
    const std::size_t length = snd_output_buffer_string(output, &text);
    return std::string_view(text, length).find("Null PCM") == std::string_view::npos;
}

AlsaPcm::AlsaPcm(const AlsaConfig& config, const std::string& name, std::uint32_t periodFrames)
    : name_(name) {
    int error = 0;
    pcm_ = openPcm(config, name, error);
    check(error, ("opening " + name).c_str());
    setHardware(periodFrames);
    setSoftware();
    findChannels();
}

void AlsaPcm::setHardware(std::uint32_t wishedFrames) {
    const HardwareParameters parameters = everyConfiguration(pcm_.get());
    snd_pcm_t* pcm = pcm_.get();
    snd_pcm_hw_params_t* hardware = parameters.get();
    check(snd_pcm_hw_params_set_access(pcm, hardware, SND_PCM_ACCESS_RW_INTERLEAVED), "interleaved frames");
    int result = -EINVAL;
    for (const auto& [format, alsaFormat] : formats) {
        result = snd_pcm_hw_params_set_format(pcm, hardware, alsaFormat);
        if (result >= 0) {
            format_ = format;
            break;
        }
    }
    check(result, "sample format");
    channels_.count = 2;
    check(snd_pcm_hw_params_set_channels_near(pcm, hardware, &channels_.count), "channels");
    check(snd_pcm_hw_params_set_rate(pcm, hardware, rate, 0), "48 kHz");
    snd_pcm_uframes_t period = wishedFrames;
    check(snd_pcm_hw_params_set_period_size_near(pcm, hardware, &period, nullptr), "period size");
    snd_pcm_uframes_t buffer = period * wishedPeriods;
    check(snd_pcm_hw_params_set_buffer_size_near(pcm, hardware, &buffer), "buffer size");
    check(snd_pcm_hw_params(pcm, hardware), "configuring");
    check(snd_pcm_hw_params_get_period_size(hardware, &period, nullptr), "period size");
    check(snd_pcm_hw_params_get_buffer_size(hardware, &buffer), "buffer size");
    if (period == 0 || buffer < 2 * period) {
        throw AlsaError("two periods", -EINVAL);
    }
    periodFrames_ = static_cast<std::uint32_t>(period);
    bufferFrames_ = static_cast<std::uint32_t>(buffer);
}

void AlsaPcm::setSoftware() {
    snd_pcm_sw_params_t* parameters = nullptr;
    check(snd_pcm_sw_params_malloc(&parameters), "software parameters");
    software_.reset(parameters);
    snd_pcm_t* pcm = pcm_.get();
    check(snd_pcm_sw_params_current(pcm, parameters), "software parameters");
    // It stops by itself when it runs dry.
    check(snd_pcm_sw_params_set_stop_threshold(pcm, parameters, bufferFrames_), "stop threshold");
    check(snd_pcm_sw_params_set_tstamp_mode(pcm, parameters, SND_PCM_TSTAMP_ENABLE), "time stamps");
    // Not every plugin has a choice; stamps of another clock are recognised and left alone.
    snd_pcm_sw_params_set_tstamp_type(pcm, parameters, SND_PCM_TSTAMP_TYPE_MONOTONIC);
    check(setFill(bufferFrames_), "wake-up");
}

int AlsaPcm::setFill(std::uint32_t frames) noexcept {
    // A sound server goes on by this threshold too after it ran dry: with more than is ever written it
    // would wait for ever.
    int result = snd_pcm_sw_params_set_start_threshold(pcm_.get(), software_.get(), frames);
    if (result >= 0) {
        result = snd_pcm_sw_params_set_avail_min(pcm_.get(), software_.get(),
                                                 bufferFrames_ - frames + periodFrames_);
    }
    return result < 0 ? result : snd_pcm_sw_params(pcm_.get(), software_.get());
}

void AlsaPcm::findChannels() {
    const std::unique_ptr<snd_pcm_chmap_t, AlsaDeleter<std::free>> map(snd_pcm_get_chmap(pcm_.get()));
    if (map == nullptr) {
        return;
    }
    for (std::uint32_t i = 0; i < map->channels && i < channels_.count; ++i) {
        if (map->pos[i] == SND_CHMAP_FL) {
            channels_.left = i;
        } else if (map->pos[i] == SND_CHMAP_FR) {
            channels_.right = i;
        }
    }
}

} // namespace keysong
