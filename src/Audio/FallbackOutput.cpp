#include "Audio/FallbackOutput.h"

#include "Shared/Log.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace keysong {

namespace {

/// The rate, in Hz, that is named before there is a back end; every one has this rate so far.
constexpr double usualRate = 48000;

} // namespace

std::vector<FallbackOutput::Factory> FallbackOutput::chosen(const std::vector<NamedOutput>& all,
                                                            const std::string& wish) {
    const bool forced =
        std::any_of(all.begin(), all.end(), [&](const NamedOutput& output) { return output.name == wish; });
    if (!wish.empty() && !forced) {
        log.error("KEYSONG_OUTPUT=%{public}s is not an output, choosing one", wish);
    }
    std::vector<Factory> factories;
    for (const NamedOutput& output : all) {
        if (!forced || output.name == wish) {
            factories.push_back(output.make);
        }
    }
    return factories;
}

FallbackOutput::FallbackOutput(std::vector<Factory> factories, std::unique_ptr<TaskQueue> queue)
    : factories_(std::move(factories)), backEnds_(factories_.size()),
      devices_([this] { return wanted_.load(); },
               [this](std::size_t rank) -> const AudioDevices* {
                   AudioOutput* output = at(rank);
                   return output != nullptr ? &output->devices() : nullptr;
               }),
      queue_(std::move(queue)) {
    queue_->async([this] { choose(); });
}

FallbackOutput::~FallbackOutput() {
    lifetime_.end();
    queue_.reset();
    const MutexLock lock(mutex_);
    for (const BackEnd& backEnd : backEnds_) {
        if (backEnd.output != nullptr) {
            backEnd.output->setConfigurationChangeHandler({});
        }
    }
}

void FallbackOutput::choose() {
    if (wanted_ != nobody) {
        return; // nobody waits for a lower back end that is being made
    }
    const MutexLock making(makeMutex_);
    if (wanted_ != nobody) {
        return;
    }
    // A server without a device is most likely about to find one.
    const std::size_t rank = firstAtLeast(Readiness::preparing);
    if (rank == nobody) {
        return;
    }
    {
        const MutexLock lock(mutex_);
        active_ = rank;
        wanted_ = rank;
        waitForWanted();
    }
    log.notice("sound output %{public}s", at(rank)->backendName());
    queue_->async([this, rank] {
        for (std::size_t better = 0; better < rank; ++better) {
            review(better); // it may have come while the others were made
        }
        devices_.tell(DeviceListProperty::defaultOutputDevice);
        devices_.tell(DeviceListProperty::devices);
    });
}

AudioOutput* FallbackOutput::made(std::size_t rank) {
    const Factory factory = std::exchange(factories_[rank], nullptr);
    if (factory != nullptr) {
        try {
            takeIn(rank, factory());
        } catch (const AudioOutputError& error) {
            log.error("a sound output is not available: %{public}s", error.what());
        }
    }
    return at(rank);
}

void FallbackOutput::takeIn(std::size_t rank, std::unique_ptr<AudioOutput> made) {
    AudioOutput& output = *made;
    output.setConfigurationChangeHandler(
        lifetime_.guarded([this, rank] { queue_->async([this, rank] { review(rank); }); }));
    for (const auto property : {DeviceListProperty::defaultOutputDevice, DeviceListProperty::devices}) {
        // Held by the back end alone, for as long as it lives.
        static_cast<void>(output.devices().addListener(
            property, std::make_shared<const AudioDevices::ChangeHandler>(
                          lifetime_.guarded([this, rank, property] { listChanged(rank, property); }))));
    }
    const Readiness readiness = output.readiness();
    const MutexLock lock(mutex_);
    output.setRenderer(renderer_);
    backEnds_[rank] = {std::move(made), readiness};
}

std::size_t FallbackOutput::firstAtLeast(Readiness wished) {
    std::size_t last = nobody;
    for (std::size_t rank = 0; rank < factories_.size(); ++rank) {
        if (made(rank) == nullptr) {
            continue;
        }
        last = rank;
        const MutexLock lock(mutex_);
        if (backEnds_[rank].readiness >= wished) {
            return rank;
        }
    }
    return last;
}

AudioOutput* FallbackOutput::at(std::size_t rank) const {
    const MutexLock lock(mutex_);
    return rank < backEnds_.size() ? backEnds_[rank].output.get() : nullptr;
}

AudioOutput& FallbackOutput::activeOrFirst() {
    choose();
    AudioOutput* const output = active();
    if (output == nullptr) {
        throw AudioOutputError("there is no sound output");
    }
    return *output;
}

void FallbackOutput::listChanged(std::size_t rank, DeviceListProperty property) {
    queue_->async([this, rank, property] {
        if (rank == wanted_) {
            devices_.tell(property);
        }
    });
}

void FallbackOutput::waitForWanted() {
    const bool away = backEnds_[wanted_].readiness != Readiness::ready;
    if (away == (absences_ % 2 != 0)) {
        return;
    }
    const std::uint64_t absence = ++absences_;
    if (away) {
        queue_->asyncAfter(patience, [this, absence] { giveUp(absence); });
    }
}

void FallbackOutput::review(std::size_t rank) {
    const AudioOutput* const output = at(rank);
    if (output == nullptr) {
        return; // its readiness is asked when it is taken in
    }
    const Readiness now = output->readiness();
    bool better = false;
    {
        const MutexLock lock(mutex_);
        const Readiness before = std::exchange(backEnds_[rank].readiness, now);
        // One that was given up for lack of a device gets no second chance for its mere presence.
        better = wanted_ != nobody && rank < wanted_ &&
                 (now == Readiness::ready || (before == Readiness::absent && now == Readiness::preparing));
    }
    if (better) {
        moveTo(rank);
        return;
    }
    if (rank == wanted_) {
        {
            const MutexLock lock(mutex_);
            waitForWanted();
        }
        reportChange();
    }
}

void FallbackOutput::giveUp(std::uint64_t absence) {
    {
        const MutexLock lock(mutex_);
        if (absences_ != absence) {
            return;
        }
    }
    std::size_t rank = 0;
    {
        const MutexLock making(makeMutex_);
        rank = firstAtLeast(Readiness::ready);
    }
    moveTo(rank);
}

void FallbackOutput::moveTo(std::size_t rank) {
    if (rank == wanted_) {
        return;
    }
    if (rank < wanted_) {
        const MutexLock control(controlMutex_);
        active()->stop();
    }
    {
        const MutexLock lock(mutex_);
        wanted_ = rank;
        absences_ += absences_ % 2; // the absence was another's
        waitForWanted();
    }
    log.notice("sound output %{public}s", at(rank)->backendName());
    devices_.tell(DeviceListProperty::defaultOutputDevice);
    devices_.tell(DeviceListProperty::devices);
    reportChange();
}

void FallbackOutput::reportChange() {
    std::function<void()> handler;
    {
        const MutexLock lock(mutex_);
        handler = configurationChanged_;
    }
    if (handler) {
        handler();
    }
}

const char* FallbackOutput::backendName() const noexcept {
    const AudioOutput* const output = active();
    return output != nullptr ? output->backendName() : "none";
}

void FallbackOutput::setRenderer(AudioRenderer* renderer) {
    const MutexLock control(controlMutex_);
    const MutexLock lock(mutex_);
    renderer_ = renderer;
    for (const BackEnd& backEnd : backEnds_) {
        if (backEnd.output != nullptr) {
            backEnd.output->setRenderer(renderer);
        }
    }
}

std::int32_t FallbackOutput::requestBufferFrames(std::uint32_t frames) {
    const MutexLock control(controlMutex_);
    return activeOrFirst().requestBufferFrames(frames);
}

std::optional<std::uint32_t> FallbackOutput::bufferFrames() const {
    const AudioOutput* const output = active();
    return output != nullptr ? output->bufferFrames() : std::nullopt;
}

double FallbackOutput::sampleRate() const {
    const AudioOutput* const output = active();
    return output != nullptr ? output->sampleRate() : usualRate;
}

void FallbackOutput::start() {
    const MutexLock control(controlMutex_);
    activeOrFirst().start();
}

void FallbackOutput::stop() noexcept {
    const MutexLock control(controlMutex_);
    if (AudioOutput* const output = active()) {
        output->stop();
    }
}

Readiness FallbackOutput::readiness() const {
    const AudioOutput* const output = at(wanted_);
    return output != nullptr ? output->readiness() : Readiness::absent;
}

bool FallbackOutput::isRunning() const noexcept {
    const AudioOutput* const output = active();
    return output != nullptr && output->isRunning();
}

bool FallbackOutput::isRendering() const noexcept {
    const AudioOutput* const output = active();
    return output != nullptr && output->isRendering();
}

void FallbackOutput::setResting(bool resting) noexcept {
    if (AudioOutput* const output = active()) {
        output->setResting(resting);
    }
}

std::uint64_t FallbackOutput::xruns() const noexcept {
    const MutexLock lock(mutex_);
    std::uint64_t sum = 0;
    for (const BackEnd& backEnd : backEnds_) {
        sum += backEnd.output != nullptr ? backEnd.output->xruns() : 0;
    }
    return sum;
}

std::int32_t FallbackOutput::setDevice(std::optional<AudioDeviceId> device) {
    const MutexLock control(controlMutex_);
    const std::size_t rank = wanted_;
    AudioOutput* const output = at(rank);
    if (output == nullptr || (device && FallbackDevices::rankOf(*device) != rank)) {
        return ENODEV;
    }
    const std::int32_t status =
        output->setDevice(device ? std::optional(FallbackDevices::ownNumber(*device)) : std::nullopt);
    if (status == 0) {
        active_ = rank;
    }
    return status;
}

bool FallbackOutput::isMovedBySystem() const noexcept {
    const AudioOutput* const output = at(wanted_);
    return output != nullptr && output->isMovedBySystem();
}

std::optional<AudioDeviceId> FallbackOutput::currentDevice() const {
    const std::size_t rank = active_;
    const AudioOutput* const output = at(rank);
    const auto own = output != nullptr ? output->currentDevice() : std::nullopt;
    return own ? std::optional(FallbackDevices::numbered(rank, *own)) : std::nullopt;
}

void FallbackOutput::setConfigurationChangeHandler(std::function<void()> handler) {
    const MutexLock lock(mutex_);
    configurationChanged_ = std::move(handler);
}

AudioDevices& FallbackOutput::devices() {
    return devices_;
}

} // namespace keysong
