#include "Audio/FallbackOutput.h"

#include "Shared/Log.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace keysong {

namespace {

/// A device number is the back end's own below these bits and the back end's rank, from 1, in them.
constexpr unsigned rankShift = 28;
constexpr AudioDeviceId ownMask = (AudioDeviceId{1} << rankShift) - 1;

/// 0 for a number that does not fit.
AudioDeviceId numbered(std::size_t rank, AudioDeviceId own) {
    return own == (own & ownMask) && own != 0 ? static_cast<AudioDeviceId>(rank + 1) << rankShift | own : 0;
}

std::optional<std::size_t> rankOf(AudioDeviceId device) {
    const AudioDeviceId rank = device >> rankShift;
    return rank != 0 ? std::optional<std::size_t>(rank - 1) : std::nullopt;
}

} // namespace

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

/// The wanted back end's devices under numbers that name it. Listeners stay when the back end changes.
class FallbackOutput::Devices final : public AudioDevices {
  public:
    explicit Devices(const FallbackOutput& output) : output_(output) {}

    [[nodiscard]] std::vector<AudioDeviceId> deviceIds() const override {
        const std::size_t rank = output_.wanted_;
        std::vector<AudioDeviceId> ids = output_.at(rank).devices().deviceIds();
        std::transform(ids.begin(), ids.end(), ids.begin(),
                       [&](AudioDeviceId own) { return numbered(rank, own); });
        std::erase(ids, AudioDeviceId{0});
        return ids;
    }
    [[nodiscard]] std::uint32_t outputChannels(AudioDeviceId device) const override {
        const AudioDevices* owner = ownerOf(device);
        return owner != nullptr ? owner->outputChannels(device & ownMask) : 0;
    }
    [[nodiscard]] std::optional<std::string> uid(AudioDeviceId device) const override {
        return ask(device, &AudioDevices::uid);
    }
    [[nodiscard]] std::optional<std::string> name(AudioDeviceId device) const override {
        return ask(device, &AudioDevices::name);
    }
    [[nodiscard]] std::optional<double> nominalSampleRate(AudioDeviceId device) const override {
        return ask(device, &AudioDevices::nominalSampleRate);
    }
    [[nodiscard]] std::optional<std::uint32_t> latencyFrames(AudioDeviceId device) const override {
        return ask(device, &AudioDevices::latencyFrames);
    }
    [[nodiscard]] std::optional<std::uint32_t> safetyOffsetFrames(AudioDeviceId device) const override {
        return ask(device, &AudioDevices::safetyOffsetFrames);
    }
    [[nodiscard]] std::optional<AudioDeviceId> defaultOutputDevice() const override {
        const std::size_t rank = output_.wanted_;
        const auto own = output_.at(rank).devices().defaultOutputDevice();
        return own ? std::optional(numbered(rank, *own)) : std::nullopt;
    }

    std::int32_t addListener(DeviceListProperty property,
                             std::shared_ptr<const ChangeHandler> handler) override {
        const MutexLock lock(mutex_);
        listeners_.push_back({property, std::move(handler)});
        return 0;
    }
    void removeListener(DeviceListProperty property,
                        const std::shared_ptr<const ChangeHandler>& handler) override {
        const MutexLock lock(mutex_);
        std::erase_if(listeners_, [&](const Listener& listener) {
            return listener.property == property && listener.handler == handler;
        });
    }

    /// On the output's queue.
    void tell(DeviceListProperty property) const KEYSONG_EXCLUDES(mutex_) {
        std::vector<Listener> listeners;
        {
            const MutexLock lock(mutex_);
            listeners = listeners_;
        }
        for (const Listener& listener : listeners) {
            if (listener.property == property) {
                (*listener.handler)();
            }
        }
    }

  private:
    struct Listener {
        DeviceListProperty property;
        std::shared_ptr<const ChangeHandler> handler;
    };

    /// Who knows the device: its back end, even when it is no longer the wanted one.
    [[nodiscard]] const AudioDevices* ownerOf(AudioDeviceId device) const {
        const auto rank = rankOf(device);
        const MutexLock lock(output_.mutex_);
        if (!rank || *rank >= output_.backEnds_.size() || output_.backEnds_[*rank].output == nullptr) {
            return nullptr;
        }
        return &output_.backEnds_[*rank].output->devices();
    }
    template <typename Value>
    [[nodiscard]] std::optional<Value>
    ask(AudioDeviceId device, std::optional<Value> (AudioDevices::*question)(AudioDeviceId) const) const {
        const AudioDevices* owner = ownerOf(device);
        return owner != nullptr ? (owner->*question)(device & ownMask) : std::nullopt;
    }

    const FallbackOutput& output_;
    mutable Mutex mutex_;
    std::vector<Listener> listeners_ KEYSONG_GUARDED_BY(mutex_);
};

void FallbackOutput::Gate::listChanged(std::size_t rank, DeviceListProperty property) {
    const MutexLock lock(mutex);
    if (output != nullptr) {
        output->queue_->async([output = output, rank, property] {
            if (rank == output->wanted_) {
                output->devices_->tell(property);
            }
        });
    }
}

FallbackOutput::FallbackOutput(std::vector<Factory> factories, std::unique_ptr<TaskQueue> queue)
    : devices_(std::make_unique<Devices>(*this)), gate_(std::make_shared<Gate>(this)),
      queue_(std::move(queue)) {
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
    backEnd.output = std::exchange(backEnd.factory, nullptr)();
    if (backEnd.output == nullptr) {
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
    devices_->tell(DeviceListProperty::defaultOutputDevice);
    devices_->tell(DeviceListProperty::devices);
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
    const auto rank = rankOf(device);
    if (rank != wanted_) {
        return ENODEV;
    }
    const std::int32_t status = at(*rank).setDevice(device & ownMask);
    if (status == 0) {
        active_ = *rank;
    }
    return status;
}

std::optional<AudioDeviceId> FallbackOutput::currentDevice() const {
    const std::size_t rank = active_;
    const auto own = at(rank).currentDevice();
    return own ? std::optional(numbered(rank, *own)) : std::nullopt;
}

void FallbackOutput::setConfigurationChangeHandler(std::function<void()> handler) {
    const MutexLock lock(mutex_);
    configurationChanged_ = std::move(handler);
}

AudioDevices& FallbackOutput::devices() {
    return *devices_;
}

} // namespace keysong
