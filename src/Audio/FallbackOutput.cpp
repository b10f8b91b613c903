#include "Audio/FallbackOutput.h"

#include "Shared/Log.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace keysong {

struct FallbackOutput::Gate {
    explicit Gate(FallbackOutput* target) : output(target) {}

    /// Any thread, the back ends' locks held.
    void changed(std::size_t rank) KEYSONG_EXCLUDES(mutex) {
        const MutexLock lock(mutex);
        if (output != nullptr) {
            output->queue_->async([output = output, rank] { output->review(rank); });
        }
    }
    void listChanged(std::size_t rank, DeviceListProperty property) KEYSONG_EXCLUDES(mutex);
    void close() KEYSONG_EXCLUDES(mutex) {
        const MutexLock lock(mutex);
        output = nullptr;
    }

    Mutex mutex;
    FallbackOutput* output KEYSONG_GUARDED_BY(mutex);
};

void FallbackOutput::Gate::listChanged(std::size_t rank, DeviceListProperty property) {
    const MutexLock lock(mutex);
    if (output != nullptr) {
        output->queue_->async([output = output, rank, property] {
            if (rank == output->wanted_) {
                output->devices_.tell(property);
            }
        });
    }
}

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
    : devices_([this] { return wanted_.load(); },
               [this](std::size_t rank) -> const AudioDevices* {
                   const MutexLock lock(mutex_);
                   AudioOutput* output = rank < backEnds_.size() ? backEnds_[rank].output.get() : nullptr;
                   return output != nullptr ? &output->devices() : nullptr;
               }),
      gate_(std::make_shared<Gate>(this)), queue_(std::move(queue)) {
    const MutexLock lock(mutex_);
    for (Factory& factory : factories) {
        backEnds_.push_back({std::move(factory), nullptr, Readiness::absent});
    }
    // A server without a device is most likely about to find one.
    wanted_ = firstAtLeast(Readiness::preparing);
    active_ = wanted_.load();
    log.notice("sound output %{public}s", backEnds_[wanted_].output->backendName());
    waitForWanted();
}

FallbackOutput::~FallbackOutput() {
    gate_->close();
    queue_.reset();
    const MutexLock lock(mutex_);
    for (const BackEnd& backEnd : backEnds_) {
        if (backEnd.output != nullptr) {
            backEnd.output->setConfigurationChangeHandler({});
        }
    }
}

AudioOutput* FallbackOutput::made(std::size_t rank) {
    BackEnd& backEnd = backEnds_[rank];
    if (backEnd.output != nullptr || backEnd.factory == nullptr) {
        return backEnd.output.get();
    }
    try {
        backEnd.output = std::exchange(backEnd.factory, nullptr)();
    } catch (const AudioOutputError& error) {
        log.error("a sound output is not available: %{public}s", error.what());
        return nullptr;
    }
    AudioOutput& output = *backEnd.output;
    output.setRenderer(renderer_);
    output.setConfigurationChangeHandler([gate = gate_, rank] { gate->changed(rank); });
    for (const auto property : {DeviceListProperty::defaultOutputDevice, DeviceListProperty::devices}) {
        // Held by the back end alone, for as long as it lives.
        static_cast<void>(output.devices().addListener(
            property, std::make_shared<const AudioDevices::ChangeHandler>(
                          [gate = gate_, rank, property] { gate->listChanged(rank, property); })));
    }
    backEnd.readiness = output.readiness();
    return &output;
}

std::size_t FallbackOutput::firstAtLeast(Readiness wished) {
    for (std::size_t rank = 0; rank + 1 < backEnds_.size(); ++rank) {
        if (made(rank) != nullptr && backEnds_[rank].readiness >= wished) {
            return rank;
        }
    }
    if (made(backEnds_.size() - 1) == nullptr) {
        throw AudioOutputError("there is no sound output");
    }
    return backEnds_.size() - 1;
}

AudioOutput& FallbackOutput::at(std::size_t rank) const {
    const MutexLock lock(mutex_);
    return *backEnds_[rank].output;
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
    const Readiness now = at(rank).readiness();
    bool better = false;
    {
        const MutexLock lock(mutex_);
        const Readiness before = std::exchange(backEnds_[rank].readiness, now);
        // One that was given up for lack of a device gets no second chance for its mere presence.
        better = rank < wanted_ &&
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
    std::size_t rank = 0;
    {
        const MutexLock lock(mutex_);
        if (absences_ != absence) {
            return;
        }
        rank = firstAtLeast(Readiness::ready);
    }
    moveTo(rank);
}

void FallbackOutput::moveTo(std::size_t rank) {
    if (rank == wanted_) {
        return;
    }
    const char* name = at(rank).backendName();
    if (rank < wanted_) {
        const MutexLock control(controlMutex_);
        active().stop();
    }
    {
        const MutexLock lock(mutex_);
        wanted_ = rank;
        absences_ += absences_ % 2; // the absence was another's
        waitForWanted();
    }
    log.notice("sound output %{public}s", name);
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
    return active().backendName();
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
    return active().requestBufferFrames(frames);
}

std::optional<std::uint32_t> FallbackOutput::bufferFrames() const {
    return active().bufferFrames();
}

double FallbackOutput::sampleRate() const {
    return active().sampleRate();
}

void FallbackOutput::start() {
    const MutexLock control(controlMutex_);
    active().start();
}

void FallbackOutput::stop() noexcept {
    const MutexLock control(controlMutex_);
    active().stop();
}

Readiness FallbackOutput::readiness() const {
    return wanted().readiness();
}

bool FallbackOutput::isRunning() const noexcept {
    return active().isRunning();
}

std::int32_t FallbackOutput::setDevice(AudioDeviceId device) {
    const MutexLock control(controlMutex_);
    const auto rank = FallbackDevices::rankOf(device);
    if (rank != wanted_) {
        return ENODEV;
    }
    const std::int32_t status = at(*rank).setDevice(FallbackDevices::ownNumber(device));
    if (status == 0) {
        active_ = *rank;
    }
    return status;
}

std::optional<AudioDeviceId> FallbackOutput::currentDevice() const {
    const std::size_t rank = active_;
    const auto own = at(rank).currentDevice();
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
