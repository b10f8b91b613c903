#include "support/PacedPcm.h"

#include <alsa/asoundlib.h>
#include <alsa/pcm_external.h>
#include <dlfcn.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

namespace keysong::test {

namespace {

/// More than any test plays, so that keeping a sample never allocates.
constexpr std::size_t mostSamples = 16U << 20U;

std::int64_t nowNanoseconds() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

/// One opened PCM of the card.
class PacedPcm {
  public:
    static int open(snd_pcm_t** result, const char* name, snd_pcm_stream_t stream, int mode);

  private:
    PacedPcm();
    ~PacedPcm() {
        close(timer_);
        PacedCard::shared().countOpen(-1);
    }

    static PacedPcm& of(snd_pcm_ioplug_t* plugin) { return *static_cast<PacedPcm*>(plugin->private_data); }
    static const snd_pcm_ioplug_callback_t callbacks;

    int constrain();
    int start();
    snd_pcm_sframes_t position();
    snd_pcm_sframes_t take(const snd_pcm_channel_area_t* areas, snd_pcm_uframes_t offset,
                           snd_pcm_uframes_t frames);
    [[nodiscard]] float sampleAt(const snd_pcm_channel_area_t& area, snd_pcm_uframes_t frame) const;

    PacedCard& card_ = PacedCard::shared();
    snd_pcm_ioplug_t plugin_{};
    int timer_;
    std::int64_t started_ = 0;
    std::int64_t taken_ = 0;
    std::int64_t position_ = 0;
};

} // namespace

PacedCard& PacedCard::shared() {
    static PacedCard card;
    return card;
}

std::string PacedCard::library() {
    Dl_info info{};
    dladdr(reinterpret_cast<const void*>(&PacedCard::library), &info);
    const std::unique_ptr<char, decltype(&std::free)> path(realpath(info.dli_fname, nullptr), &std::free);
    return path != nullptr ? path.get() : "";
}

void PacedCard::reset() {
    format = SND_PCM_FORMAT_FLOAT;
    channels = 2;
    smallestPeriod = 64;
    frontChannelsLast = false;
    openError = 0;
    rate = 48000;
    gulp = 1;
    attached = true;
    stalled = false;
    pendingXruns = 0;
    pendingSleeps = 0;
    prepared_ = 0;
    const std::lock_guard lock(mutex_);
    played_.clear();
    played_.reserve(mostSamples);
}

std::vector<float> PacedCard::played() const {
    const std::lock_guard lock(mutex_);
    return played_;
}

void PacedCard::keep(float sample) {
    const std::lock_guard lock(mutex_);
    if (played_.size() < mostSamples) {
        played_.push_back(sample);
    }
}

namespace {

// The callbacks that are left out are null, as the library wants it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
const snd_pcm_ioplug_callback_t PacedPcm::callbacks = {
    .start = [](snd_pcm_ioplug_t* plugin) { return of(plugin).start(); },
    .stop = [](snd_pcm_ioplug_t*) { return 0; },
    .pointer = [](snd_pcm_ioplug_t* plugin) { return of(plugin).position(); },
    .transfer = [](snd_pcm_ioplug_t* plugin, const snd_pcm_channel_area_t* areas, snd_pcm_uframes_t offset,
                   snd_pcm_uframes_t frames) { return of(plugin).take(areas, offset, frames); },
    .close =
        [](snd_pcm_ioplug_t* plugin) {
            delete &of(plugin);
            return 0;
        },
    .prepare =
        [](snd_pcm_ioplug_t* plugin) {
            PacedPcm& self = of(plugin);
            self.card_.countPrepare();
            self.taken_ = self.position_ = 0;
            return self.card_.attached ? 0 : -ENODEV;
        },
    .resume = [](snd_pcm_ioplug_t*) { return 0; },
    .poll_revents =
        [](snd_pcm_ioplug_t* plugin, pollfd* descriptors, unsigned, unsigned short* events) {
            std::uint64_t ticks = 0;
            const bool ticked = read(of(plugin).timer_, &ticks, sizeof(ticks)) > 0;
            *events = ticked && (descriptors->revents & POLLIN) != 0 ? POLLOUT : 0;
            return 0;
        },
    .get_chmap = [](snd_pcm_ioplug_t* plugin) -> snd_pcm_chmap_t* {
        PacedPcm& self = of(plugin);
        if (!self.card_.frontChannelsLast) {
            return nullptr;
        }
        constexpr std::array<unsigned, 4> places{SND_CHMAP_RL, SND_CHMAP_RR, SND_CHMAP_FL, SND_CHMAP_FR};
        auto* map = static_cast<snd_pcm_chmap_t*>(std::malloc(sizeof(unsigned) * (places.size() + 1)));
        map->channels = places.size();
        std::memcpy(map->pos, places.data(), sizeof(places));
        return map;
    }};
#pragma GCC diagnostic pop

PacedPcm::PacedPcm() : timer_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
    PacedCard::shared().countOpen(1);
    plugin_.version = SND_PCM_IOPLUG_VERSION;
    plugin_.name = "A card made of software";
    plugin_.callback = &callbacks;
    plugin_.private_data = this;
    plugin_.poll_fd = timer_;
    plugin_.poll_events = POLLIN;
}

int PacedPcm::open(snd_pcm_t** result, const char* name, snd_pcm_stream_t stream, int mode) {
    if (const int error = PacedCard::shared().openError; error != 0) {
        return error;
    }
    if (!PacedCard::shared().attached || stream != SND_PCM_STREAM_PLAYBACK) {
        return -ENODEV;
    }
    auto* self = new PacedPcm; // deleted by the library, through `close`
    if (const int error = snd_pcm_ioplug_create(&self->plugin_, name, stream, mode); error < 0) {
        delete self;
        return error;
    }
    if (const int error = self->constrain(); error < 0) {
        snd_pcm_ioplug_delete(&self->plugin_);
        return error;
    }
    *result = self->plugin_.pcm;
    return 0;
}

int PacedPcm::constrain() {
    constexpr std::array<unsigned, 1> access{SND_PCM_ACCESS_RW_INTERLEAVED};
    const std::array<unsigned, 1> format{static_cast<unsigned>(card_.format.load())};
    const unsigned channels = card_.channels;
    const unsigned frameBytes =
        channels * static_cast<unsigned>(snd_pcm_format_width(static_cast<snd_pcm_format_t>(format[0]))) / 8;
    int error = snd_pcm_ioplug_set_param_list(&plugin_, SND_PCM_IOPLUG_HW_ACCESS, 1, access.data());
    const auto limit = [&](int parameter, unsigned least, unsigned most) {
        error = error < 0 ? error : snd_pcm_ioplug_set_param_minmax(&plugin_, parameter, least, most);
    };
    error = error < 0 ? error
                      : snd_pcm_ioplug_set_param_list(&plugin_, SND_PCM_IOPLUG_HW_FORMAT, 1, format.data());
    limit(SND_PCM_IOPLUG_HW_CHANNELS, channels, channels);
    limit(SND_PCM_IOPLUG_HW_RATE, 48000, 48000);
    limit(SND_PCM_IOPLUG_HW_PERIOD_BYTES, card_.smallestPeriod * frameBytes, 8192 * frameBytes);
    limit(SND_PCM_IOPLUG_HW_PERIODS, 2, 32);
    return error;
}

int PacedPcm::start() {
    started_ = nowNanoseconds();
    // A tick for every period, at the card's own pace.
    const auto period =
        static_cast<std::int64_t>(static_cast<double>(plugin_.period_size) * 1e9 / card_.rate) + 1000;
    const timespec interval{period / 1'000'000'000, period % 1'000'000'000};
    const itimerspec ticks{interval, interval};
    return timerfd_settime(timer_, 0, &ticks, nullptr) < 0 ? -errno : 0;
}

snd_pcm_sframes_t PacedPcm::position() {
    const auto within = [&] { return position_ % static_cast<std::int64_t>(plugin_.buffer_size); };
    if (!card_.attached) {
        snd_pcm_ioplug_set_state(&plugin_, SND_PCM_STATE_DISCONNECTED);
        return within();
    }
    if (plugin_.state != SND_PCM_STATE_RUNNING || card_.stalled) {
        return within();
    }
    if (card_.pendingSleeps > 0) {
        --card_.pendingSleeps;
        snd_pcm_ioplug_set_state(&plugin_, SND_PCM_STATE_SUSPENDED);
        return within();
    }
    position_ = std::llround(static_cast<double>(nowNanoseconds() - started_) * card_.rate / 1e9);
    position_ += card_.gulp - 1;
    position_ -= position_ % card_.gulp;
    if (position_ > taken_ || card_.pendingXruns > 0) {
        card_.pendingXruns = std::max(0, card_.pendingXruns - 1);
        return -EPIPE;
    }
    return within();
}

float PacedPcm::sampleAt(const snd_pcm_channel_area_t& area, snd_pcm_uframes_t frame) const {
    const auto* bytes = static_cast<const std::byte*>(area.addr) + (area.first + frame * area.step) / 8;
    const auto read = [bytes](auto sample) {
        std::memcpy(&sample, bytes, sizeof(sample));
        return static_cast<double>(sample);
    };
    switch (plugin_.format) {
    case SND_PCM_FORMAT_S16:
        return static_cast<float>(read(std::int16_t{}) / 32768.0);
    case SND_PCM_FORMAT_S32:
        return static_cast<float>(read(std::int32_t{}) / 2147483648.0);
    default:
        return static_cast<float>(read(float{}));
    }
}

snd_pcm_sframes_t PacedPcm::take(const snd_pcm_channel_area_t* areas, snd_pcm_uframes_t offset,
                                 snd_pcm_uframes_t frames) {
    for (snd_pcm_uframes_t frame = 0; frame < frames; ++frame) {
        for (unsigned channel = 0; channel < plugin_.channels; ++channel) {
            card_.keep(sampleAt(areas[channel], offset + frame));
        }
    }
    taken_ += static_cast<std::int64_t>(frames);
    return static_cast<snd_pcm_sframes_t>(frames);
}

} // namespace

extern "C" {

SND_PCM_PLUGIN_DEFINE_FUNC(keysong_paced) {
    static_cast<void>(root);
    static_cast<void>(conf);
    return PacedPcm::open(pcmp, name, stream, mode);
}

SND_PCM_PLUGIN_SYMBOL(keysong_paced)
}

} // namespace keysong::test
