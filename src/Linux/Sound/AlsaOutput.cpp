#include "Linux/Sound/AlsaOutput.h"

#include "Shared/Log.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace keysong {

namespace {

constexpr std::uint32_t mostFrames = 8192;
/// How much longer the periods get when a device cannot be fed in short ones, and where that ends.
constexpr std::uint32_t periodGrowth = 4;
constexpr std::uint32_t longestGrown = 2048;
/// How often a machine without any device to play to is looked at for a sound server.
constexpr std::chrono::seconds serverInterval{2};

/// Every failure comes back as a number and is reported in our own words; the library would also print it
/// on standard error, from whichever thread.
void dropLibraryMessage(const char*, int, const char*, int, const char*, ...) {
}

/// Whether there is a card that this process may not use. ALSA does not even list it.
bool isShutOut(const std::filesystem::path& deviceFolder) {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(deviceFolder / "snd", error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->path().filename().string().starts_with("control") &&
            access(entry->path().c_str(), R_OK | W_OK) != 0) {
            return true;
        }
    }
    return false;
}

} // namespace

AlsaOutput::AlsaOutput(Threads& threads, const Clock& clock, std::filesystem::path deviceFolder)
    : threads_(threads), clock_(clock), deviceFolder_(std::move(deviceFolder)) {
    snd_lib_error_set_handler(dropLibraryMessage);
    try {
        watch_ = std::make_unique<AlsaWatch>(threads, deviceFolder_,
                                             AlsaWatch::Handlers{[this] { return lookAgain(); },
                                                                 [this] { return woken(); },
                                                                 [this] { logXruns(); }});
    } catch (const std::system_error& error) {
        throw AudioOutputError(error.what());
    }
    // Not before the watch: nothing may change between the two unseen.
    devices_.rescan(false);
    watch_->wake();
}

AlsaOutput::~AlsaOutput() {
    setConfigurationChangeHandler({});
    stop();
    watch_.reset();
}

std::int32_t AlsaOutput::requestBufferFrames(std::uint32_t frames) {
    if (frames == 0 || frames > mostFrames) {
        return EINVAL;
    }
    requestedFrames_ = frames;
    return 0;
}

std::optional<std::uint32_t> AlsaOutput::bufferFrames() const {
    const MutexLock lock(mutex_);
    return stream_ != nullptr ? stream_->pcm().periodFrames() : requestedFrames_.load();
}

void AlsaOutput::start() {
    if (isRunning()) {
        return;
    }
    const MutexLock control(controlMutex_);
    endStream(takeStream());
    const auto id = currentDevice();
    const auto device = id ? devices_.find(*id) : std::nullopt;
    if (!device) {
        throw AudioOutputError(isShutOut(deviceFolder_) ? AlsaError::text(-EACCES)
                                                        : "there is no sound device to play to");
    }
    startOn(*device, false);
}

void AlsaOutput::startOn(const AlsaDevices::Device& device, bool isAfterRest) {
    std::unique_ptr<AlsaStream> stream;
    try {
        stream = open(device, isAfterRest);
    } catch (const AlsaError& error) {
        throw AudioOutputError(error.what());
    } catch (const std::system_error& error) {
        throw AudioOutputError(error.what());
    }
    if (!isAfterRest) {
        logStart(*stream);
    }
    devices_.setStream(AlsaDevices::Stream{device.id, AlsaPcm::rate, stream->latencyFrames(),
                                           stream->filledFrames() - stream->pcm().periodFrames()});
    bool lost = false;
    {
        const MutexLock lock(mutex_);
        stream_ = std::move(stream);
        streamUid_ = device.uid;
        isResting_ = false;
        lost = !stream_->isRunning();
    }
    if (lost) {
        watch_->wake();
    }
}

std::unique_ptr<AlsaStream> AlsaOutput::open(const AlsaDevices::Device& device, bool isAfterRest) {
    const AlsaConfig config;
    for (std::uint32_t frames = requestedFrames_;; frames *= periodGrowth) {
        try {
            return std::make_unique<AlsaStream>(
                openPcm(config, device, frames),
                AlsaStream::Services{threads_, clock_, renderer_, [this] { watch_->wake(); }, isAfterRest});
        } catch (const AlsaError& error) {
            // It ran dry over and over: some sound servers cannot be fed in short periods.
            if (error.code() != -EPIPE || frames * periodGrowth > longestGrown) {
                throw;
            }
        }
    }
}

AlsaPcm AlsaOutput::openPcm(const AlsaConfig& config, const AlsaDevices::Device& device,
                            std::uint32_t frames) {
    std::optional<AlsaError> refusal;
    for (const std::string& name : device.pcmNames) {
        try {
            return AlsaPcm(config, name, frames);
        } catch (const AlsaError& error) {
            // That the device is in use says most, and otherwise what the first name met.
            if (!refusal || error.code() == -EBUSY) {
                refusal = error;
            }
        }
    }
    throw refusal.value_or(AlsaError("opening " + device.name, -ENODEV));
}

void AlsaOutput::logStart(const AlsaStream& stream) {
    const AlsaPcm& pcm = stream.pcm();
    log.info("%{public}s plays in periods of %{public}u frames, %{public}u of a buffer of %{public}u filled",
             pcm.name(), pcm.periodFrames(), stream.filledFrames(), pcm.bufferFrames());
}

void AlsaOutput::stop() noexcept {
    const MutexLock control(controlMutex_);
    endStream(takeStream());
}

std::unique_ptr<AlsaStream> AlsaOutput::takeStream() noexcept {
    const MutexLock lock(mutex_);
    restWished_ = false;
    isResting_ = false;
    if (stream_ != nullptr) {
        earlierXruns_ += stream_->xruns();
    }
    return std::move(stream_);
}

void AlsaOutput::endStream(std::unique_ptr<AlsaStream> stream) noexcept {
    if (stream != nullptr) {
        devices_.setStream(std::nullopt);
        stream.reset();
        logXruns();
    }
}

bool AlsaOutput::isRunning() const noexcept {
    const MutexLock lock(mutex_);
    return isResting_ || (stream_ != nullptr && stream_->isRunning());
}

void AlsaOutput::setResting(bool resting) noexcept {
    {
        const MutexLock lock(mutex_);
        restWished_ = resting;
    }
    watch_->wake();
}

void AlsaOutput::rest() {
    const MutexLock control(controlMutex_);
    std::string uid;
    std::unique_ptr<AlsaStream> ended;
    {
        const MutexLock lock(mutex_);
        const bool runs = stream_ != nullptr && stream_->isRunning();
        if (restWished_ == isResting_ || (restWished_ && !runs)) {
            return;
        }
        uid = streamUid_;
        if (restWished_) {
            isResting_ = true;
            earlierXruns_ += stream_->xruns();
            ended = std::move(stream_);
        }
    }
    if (ended != nullptr) {
        endStream(std::move(ended));
        return;
    }
    // To whoever asks it runs on until it is known that it does not.
    try {
        const auto device = devices_.find(uid);
        startOn(device ? *device : throw AudioOutputError(AlsaError::text(-ENODEV)), true);
    } catch (const AudioOutputError& error) {
        log.notice("the output did not wake up: %{public}s", error.what());
        {
            const MutexLock lock(mutex_);
            isResting_ = false;
        }
        reportChange();
    }
}

std::int32_t AlsaOutput::setDevice(std::optional<AudioDeviceId> device) {
    const auto wanted = device ? device : devices_.defaultOutputDevice();
    if (isRunning() && currentDevice() != wanted) {
        return EBUSY;
    }
    const auto found = wanted ? devices_.find(*wanted) : std::nullopt;
    if (!found || !found->plays) {
        return ENODEV;
    }
    const MutexLock lock(mutex_);
    chosenUid_ = device ? found->uid : std::string();
    return 0;
}

std::optional<AudioDeviceId> AlsaOutput::currentDevice() const {
    std::string uid;
    {
        const MutexLock lock(mutex_);
        const bool runs = isResting_ || (stream_ != nullptr && stream_->isRunning());
        uid = runs ? streamUid_ : chosenUid_;
    }
    if (uid.empty()) {
        return devices_.defaultOutputDevice();
    }
    const auto device = devices_.find(uid);
    return device ? std::optional(device->id) : std::nullopt;
}

void AlsaOutput::setConfigurationChangeHandler(std::function<void()> handler) {
    const MutexLock lock(mutex_);
    configurationChanged_ = std::move(handler);
}

std::uint64_t AlsaOutput::xruns() const noexcept {
    const MutexLock lock(mutex_);
    return earlierXruns_ + (stream_ != nullptr ? stream_->xruns() : 0);
}

void AlsaOutput::logXruns() {
    std::uint64_t count = 0;
    {
        const MutexLock lock(mutex_);
        const std::uint64_t all = earlierXruns_ + (stream_ != nullptr ? stream_->xruns() : 0);
        count = all - std::exchange(loggedXruns_, all);
    }
    if (count > 0) {
        log.notice("the sound device ran dry %{public}u times", count);
    }
}

AlsaWatch::NextLook AlsaOutput::woken() {
    rest();
    std::optional<int> error;
    {
        const MutexLock lock(mutex_);
        if (stream_ != nullptr && !stream_->isRunning()) {
            error = stream_->error();
        }
    }
    if (error) {
        log.notice("the output stopped: %{public}s", AlsaError::text(*error));
        devices_.rescan(false);
        reportChange();
    }
    return nextLook();
}

AlsaWatch::NextLook AlsaOutput::lookAgain() {
    bool defaultInUse = false;
    {
        const MutexLock lock(mutex_);
        defaultInUse = stream_ != nullptr && stream_->isRunning() && streamUid_ == alsaDefaultUid;
    }
    // An output that stands may have been waiting for just this.
    if (devices_.rescan(defaultInUse) || (!isRunning() && canPlay())) {
        reportChange();
    }
    return nextLook();
}

/// A sound server that comes leaves no trace among the nodes: without any device it is looked for.
AlsaWatch::NextLook AlsaOutput::nextLook() const {
    return canPlay() ? std::nullopt : AlsaWatch::NextLook(serverInterval);
}

void AlsaOutput::reportChange() {
    std::function<void()> handler;
    {
        const MutexLock lock(mutex_);
        handler = configurationChanged_;
    }
    if (handler) {
        handler();
    }
}

} // namespace keysong
