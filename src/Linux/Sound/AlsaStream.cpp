#include "Linux/Sound/AlsaStream.h"

#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace keysong {

namespace {

using std::chrono::milliseconds;

constexpr std::int64_t second = 1'000'000'000;

/// A device that takes nothing for so long stands still. A sound server may first play out the two seconds
/// that it had prepared.
constexpr milliseconds stallLimit{2500};
/// How long a start waits for the first period.
constexpr milliseconds startLimit{4000};
/// How long a device may take to come back from the machine's sleep, and how often it is asked.
constexpr milliseconds resumeInterval{20};
constexpr int resumeAttempts = 250;
/// A device that fails so often in a row, without playing a period in between, is given up.
constexpr std::uint32_t mostFailedStarts = 20;
/// Running dry again within this time asks for more to be kept ahead.
constexpr std::int64_t xrunMemory = 60 * second;
constexpr std::uint64_t cyclesBetweenLatencies = 256;
constexpr std::uint32_t periodsAhead = 2;

/// The stack that the render thread will use is there before it is needed.
void touchStack() noexcept {
    constexpr std::size_t pageBytes = 4096;
    std::array<volatile char, 16 * pageBytes> pages;
    for (std::size_t i = 0; i < pages.size(); i += pageBytes) {
        pages[i] = 0;
    }
}

void signal(const FileDescriptor& event) noexcept {
    eventfd_write(event.get(), 1);
}

FileDescriptor makeEvent() {
    FileDescriptor event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!event.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    return event;
}

} // namespace

AlsaStream::AlsaStream(AlsaPcm pcm, Services services)
    : pcm_(std::move(pcm)), services_(std::move(services)),
      frames_(pcm_.format(), pcm_.channels(), pcm_.periodFrames()), left_(pcm_.periodFrames()),
      right_(pcm_.periodFrames()), timeline_(AlsaPcm::rate, pcm_.periodFrames()), stopEvent_(makeEvent()),
      startedEvent_(makeEvent()), fill_(periodsAhead * pcm_.periodFrames()) {
    const int count = snd_pcm_poll_descriptors_count(pcm_.get());
    if (count <= 0) {
        throw AlsaError("waiting for the device", count < 0 ? count : -EINVAL);
    }
    descriptors_.resize(1 + static_cast<std::size_t>(count));
    descriptors_[0] = {stopEvent_.get(), POLLIN, 0};
    thread_ = services_.threads.start({"com.orlen.keysong.alsa", "alsa", ThreadPriority::render},
                                      [this] { serve(); });
    pollfd started{startedEvent_.get(), POLLIN, 0};
    const int ready = ::poll(&started, 1, static_cast<int>(startLimit.count()));
    if (ready > 0 && running_) {
        return;
    }
    const int error = ready > 0 ? error_.load() : -ETIMEDOUT;
    stop();
    throw AlsaError("starting " + pcm_.name(), error);
}

AlsaStream::~AlsaStream() {
    stop();
}

void AlsaStream::stop() noexcept {
    stopping_ = true;
    signal(stopEvent_);
    thread_.join();
}

std::optional<std::uint32_t> AlsaStream::latencyFrames() const noexcept {
    const std::int64_t latency = latency_;
    return latency >= 0 ? std::optional(static_cast<std::uint32_t>(latency)) : std::nullopt;
}

void AlsaStream::serve() noexcept {
    touchStack();
    int result = beginPlaying();
    while (!stopping_) {
        if (result >= 0) {
            result = waitForRoom();
        }
        if (result >= 0 && !stopping_) {
            result = playPeriod();
        }
        if (result < 0) {
            result = recover(result);
            if (result < 0) {
                break;
            }
            result = beginPlaying();
        }
    }
    snd_pcm_drop(pcm_.get());
    error_ = result < 0 ? result : 0;
    running_ = false;
    signal(startedEvent_);
    if (result < 0 && cycles_ > 0) {
        services_.onEnd();
    }
}

/// The device starts on silence: what is to be heard follows on the timeline that only a running device has.
int AlsaStream::beginPlaying() noexcept {
    std::fill(left_.begin(), left_.end(), 0.0F);
    frames_.fill(left_.data(), left_.data());
    timeline_.reset();
    written_ = 0;
    if (const int result = pcm_.setFill(fill_); result < 0) {
        return result;
    }
    while (written_ < fill_ && !stopping_) {
        if (const int result = writePeriod(); result < 0) {
            return result;
        }
    }
    startNanoseconds_ = nowNanoseconds();
    return snd_pcm_state(pcm_.get()) == SND_PCM_STATE_PREPARED ? snd_pcm_start(pcm_.get()) : 0;
}

int AlsaStream::playPeriod() noexcept {
    if (outrunsTime()) {
        return -ETIME;
    }
    IoCycle cycle = timeline_.advance(roomTime());
    cycle.isFirstAfterRest = services_.isAfterRest && cycles_ == 0;
    if (services_.renderer != nullptr) {
        services_.renderer->render(cycle, left_.data(), right_.data());
        frames_.fill(left_.data(), right_.data());
    }
    const int result = writePeriod();
    if (result < 0) {
        return result;
    }
    failedStarts_ = 0;
    if (cycles_++ % cyclesBetweenLatencies == 0) {
        measureLatency();
    }
    if (cycles_ == 1) {
        signal(startedEvent_);
    }
    return 0;
}

int AlsaStream::waitForRoom() noexcept {
    const std::int64_t begin = nowNanoseconds();
    for (bool woken = false; !stopping_; woken = true) {
        const snd_pcm_sframes_t room = usableRoom();
        if (room < 0 || room >= wantedRoom()) {
            return static_cast<int>(std::min<snd_pcm_sframes_t>(room, 0));
        }
        if (nowNanoseconds() - begin > std::chrono::nanoseconds(stallLimit).count()) {
            return -ETIMEDOUT;
        }
        if (woken) {
            // A wake-up that brought no room would come again at once, over and over.
            pause(std::chrono::nanoseconds(second * pcm_.periodFrames() / AlsaPcm::rate / 4));
        }
        if (const int result = waitForDevice(); result < 0) {
            return result;
        }
    }
    return 0;
}

/// The room in the buffer, or what has become of the device: not every kind of PCM tells both in one answer.
snd_pcm_sframes_t AlsaStream::usableRoom() noexcept {
    switch (snd_pcm_state(pcm_.get())) {
    case SND_PCM_STATE_XRUN:
        return -EPIPE;
    case SND_PCM_STATE_SUSPENDED:
        return -ESTRPIPE;
    case SND_PCM_STATE_DISCONNECTED:
        return -ENODEV;
    default:
        return snd_pcm_avail_update(pcm_.get());
    }
}

int AlsaStream::waitForDevice() noexcept {
    auto* const own = descriptors_.data() + 1;
    const int filled =
        snd_pcm_poll_descriptors(pcm_.get(), own, static_cast<unsigned>(descriptors_.size() - 1));
    if (filled < 0) {
        return filled;
    }
    const int ready =
        ::poll(descriptors_.data(), 1 + static_cast<nfds_t>(filled), static_cast<int>(stallLimit.count()));
    if (ready == 0) {
        return -ETIMEDOUT;
    }
    if (ready < 0) {
        return errno == EINTR ? 0 : -errno;
    }
    // Plugins need to hear of their events to take them back; what they say comes out as room.
    unsigned short events = 0;
    return snd_pcm_poll_descriptors_revents(pcm_.get(), own, static_cast<unsigned>(filled), &events);
}

void AlsaStream::pause(std::chrono::nanoseconds time) noexcept {
    pollfd stop{stopEvent_.get(), POLLIN, 0};
    const timespec limit{static_cast<time_t>(time.count() / second),
                         static_cast<long>(time.count() % second)};
    ::ppoll(&stop, 1, &limit, nullptr);
}

std::int64_t AlsaStream::roomTime() noexcept {
    const std::int64_t now = nowNanoseconds();
    snd_pcm_uframes_t room = 0;
    snd_htimestamp_t stamp{};
    std::int64_t seen = now;
    if (snd_pcm_htimestamp(pcm_.get(), &room, &stamp) == 0) {
        const std::int64_t stamped = stamp.tv_sec * second + stamp.tv_nsec;
        if (stamped > now - second && stamped <= now) {
            seen = stamped;
        }
    } else {
        room =
            static_cast<snd_pcm_uframes_t>(std::max<snd_pcm_sframes_t>(0, snd_pcm_avail_update(pcm_.get())));
    }
    // The room beyond what was waited for says how long ago that was reached.
    return seen - (static_cast<std::int64_t>(room) - wantedRoom()) * second / AlsaPcm::rate;
}

int AlsaStream::writePeriod() noexcept {
    std::uint32_t done = 0;
    while (done < pcm_.periodFrames() && !stopping_) {
        const snd_pcm_sframes_t count =
            snd_pcm_writei(pcm_.get(), frames_.at(done), pcm_.periodFrames() - done);
        if (count == -EAGAIN || count == 0) {
            // Plugins that convert may hold back a few frames of room for a moment.
            if (const int result = waitForDevice(); result < 0) {
                return result;
            }
            continue;
        }
        if (count < 0) {
            return static_cast<int>(count);
        }
        done += static_cast<std::uint32_t>(count);
    }
    written_ += done;
    return 0;
}

int AlsaStream::recover(int error) noexcept {
    if (++failedStarts_ > mostFailedStarts) {
        return error;
    }
    switch (error) {
    case -EINTR:
        return 0;
    case -EPIPE:
        xruns_.fetch_add(1, std::memory_order_relaxed);
        keepMore();
        break;
    case -ESTRPIPE:
        if (const int result = resume(); result < 0) {
            return result;
        }
        break;
    default:
        return error;
    }
    return snd_pcm_prepare(pcm_.get());
}

/// Waits until the driver is awake. What it held is stale by then: it is started anew in any case.
int AlsaStream::resume() noexcept {
    for (int attempt = 0; attempt < resumeAttempts; ++attempt) {
        const int result = snd_pcm_resume(pcm_.get());
        if (result == -ENODEV) {
            return result;
        }
        if (result != -EAGAIN || stopping_) {
            break;
        }
        pause(resumeInterval);
    }
    return 0;
}

void AlsaStream::keepMore() noexcept {
    const std::int64_t now = nowNanoseconds();
    if (lastXrun_ != 0 && now - lastXrun_ < xrunMemory) {
        fill_ = std::min(fill_ + pcm_.periodFrames(), pcm_.bufferFrames());
    }
    lastXrun_ = now;
}

void AlsaStream::measureLatency() noexcept {
    snd_pcm_sframes_t room = 0;
    snd_pcm_sframes_t delay = 0;
    if (snd_pcm_avail_delay(pcm_.get(), &room, &delay) == 0) {
        latency_ = std::max<std::int64_t>(0, delay - (pcm_.bufferFrames() - room));
    }
}

/// Whether the device has taken far more sound than can have been heard: it has no clock, and filling it
/// would take all of the machine.
bool AlsaStream::outrunsTime() const noexcept {
    const std::int64_t elapsed = nowNanoseconds() - startNanoseconds_;
    return written_ > pcm_.bufferFrames() + AlsaPcm::rate + 2 * elapsed * AlsaPcm::rate / second;
}

} // namespace keysong
