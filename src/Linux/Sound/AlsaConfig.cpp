#include "Linux/Sound/AlsaConfig.h"

#include "Shared/Log.h"

#include <cerrno>

namespace keysong {

namespace {

/// The period of ALSA's own mixer, and how many of them: enough for programs that buffer more than this one.
constexpr unsigned mixerPeriodFrames = 128;
constexpr unsigned mixerPeriods = 32;

} // namespace

AlsaError::AlsaError(const std::string& attempt, int error)
    : std::runtime_error(text(error) + " (" + attempt + ": " + snd_strerror(error) + ")"), code_(error) {
}

std::string AlsaError::text(int error) {
    switch (-error) {
    case EBUSY:
        return "the sound device is in use by another program";
    case EACCES:
    case EPERM:
        return "no permission to use the sound device";
    case ENOENT:
    case ENODEV:
    case ENXIO:
    case EBADFD:
        return "the sound device is gone";
    case ECONNREFUSED:
    case EHOSTDOWN:
        return "no sound server answers";
    case EINVAL:
        return "the sound device cannot play in a form that is spoken here";
    case ETIMEDOUT:
        return "the sound device stands still";
    case ETIME:
        return "the sound device takes more than can be heard";
    default:
        return "the sound device failed";
    }
}

void forEachCard(const std::function<void(snd_ctl_t*, const snd_ctl_card_info_t*)>& show) {
    snd_ctl_card_info_t* info = nullptr;
    if (snd_ctl_card_info_malloc(&info) < 0) {
        return;
    }
    const std::unique_ptr<snd_ctl_card_info_t, AlsaDeleter<snd_ctl_card_info_free>> infoOwner(info);
    for (int card = -1; snd_card_next(&card) == 0 && card >= 0;) {
        snd_ctl_t* control = nullptr;
        if (snd_ctl_open(&control, ("hw:" + std::to_string(card)).c_str(), SND_CTL_NONBLOCK) < 0) {
            continue;
        }
        const std::unique_ptr<snd_ctl_t, AlsaDeleter<snd_ctl_close>> owner(control);
        if (snd_ctl_card_info(control, info) == 0) {
            show(control, info);
        }
    }
}

AlsaConfig::AlsaConfig() {
    snd_config_t* root = nullptr;
    snd_config_update_t* files = nullptr;
    const int result = snd_config_update_r(&root, &files, nullptr);
    if (files != nullptr) {
        snd_config_update_free(files);
    }
    if (result < 0 || root == nullptr) {
        throw AlsaError("reading ALSA's configuration", result < 0 ? result : -ENOENT);
    }
    root_.reset(root);
    shortenMixerPeriods();
}

void AlsaConfig::shortenMixerPeriods() {
    // Whoever opens a card's mixer first sets its period for all: 1024 frames if nobody says otherwise. What
    // the user's files say stays.
    std::string lines;
    forEachCard([&](snd_ctl_t*, const snd_ctl_card_info_t* card) {
        const std::string key = std::string("defaults.dmix.") + snd_ctl_card_info_get_id(card);
        snd_config_t* present = nullptr;
        if (snd_config_search(root_.get(), (key + ".period_size").c_str(), &present) < 0) {
            lines += key + ".period_size " + std::to_string(mixerPeriodFrames) + "\n" + key + ".periods " +
                     std::to_string(mixerPeriods) + "\n";
        }
    });
    snd_input_t* input = nullptr;
    if (lines.empty() ||
        snd_input_buffer_open(&input, lines.data(), static_cast<ssize_t>(lines.size())) < 0) {
        return;
    }
    const std::unique_ptr<snd_input_t, AlsaDeleter<snd_input_close>> owner(input);
    if (snd_config_load(root_.get(), input) < 0) {
        log.info("ALSA's mixer keeps its long periods");
    }
}

std::string AlsaConfig::description(const char* pcmName) const {
    snd_config_t* definition = nullptr;
    if (snd_config_search_definition(root_.get(), "pcm", pcmName, &definition) < 0) {
        return {};
    }
    const std::unique_ptr<snd_config_t, AlsaDeleter<snd_config_delete>> owner(definition);
    snd_config_t* hint = nullptr;
    const char* text = nullptr;
    if (snd_config_search(definition, "hint.description", &hint) < 0 ||
        snd_config_get_string(hint, &text) < 0 || text == nullptr) {
        return {};
    }
    return text;
}

} // namespace keysong
