// The part of the engine that starts the output and keeps it on the right device. All of it runs on the
// control queue, except for the requests that put it there. What to do is decided in `OutputDecider` alone.

#include "Audio/OutputDevices.h"
#include "Audio/SoundEngine.h"
#include "Shared/Log.h"
#include "Shared/NumberText.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace keysong {

namespace {

constexpr std::chrono::milliseconds drainLimit(20);
constexpr std::chrono::microseconds drainInterval(50);
constexpr std::chrono::milliseconds recoverDelay(300);

std::string millisecondsText(std::uint64_t frames, double rate) {
    return fixedText(static_cast<double>(frames) / rate * 1000.0, 2);
}

} // namespace

SoundEngineError SoundEngineError::deviceUnavailable(const std::string& uid) {
    return {Kind::deviceUnavailable, "output device " + uid + " is not attached"};
}

SoundEngineError SoundEngineError::deviceSwitchFailed(std::int32_t status) {
    return {Kind::deviceSwitchFailed,
            "could not switch output device (OSStatus " + std::to_string(status) + ")"};
}

SoundEngineError SoundEngineError::noOutputDevice() {
    return {Kind::noOutputDevice, "no audio output device is available"};
}

void SoundEngine::start() {
    control_->sync([this] { settleOutput(OutputEvent::start, snapshot().selectedUid); });
}

void SoundEngine::requestStart(OutputReport done) {
    control_->async([this, done = std::move(done)] {
        report(done, [this] { settleOutput(OutputEvent::start, snapshot().selectedUid); });
        tryAgain();
    });
}

void SoundEngine::setOutputDevice(const std::optional<std::string>& uid, bool rebuild) {
    ++wishes_;
    control_->sync([&] { settleOutput(rebuild ? OutputEvent::rebuild : OutputEvent::wish, uid); });
}

void SoundEngine::requestOutputDevice(const std::optional<std::string>& uid, OutputReport done) {
    control_->async([this, uid, wish = ++wishes_, done = std::move(done)] {
        if (wishes_ == wish) {
            {
                const MutexLock lock(mutex_);
                state_.selectedUid = uid; // whatever comes of it: it is what the user chose
            }
            report(done, [&] { settleOutput(OutputEvent::choice, uid); });
            tryAgain();
        }
    });
}

void SoundEngine::report(const OutputReport& done, const std::function<void()>& operation) {
    std::optional<std::string> failure;
    try {
        operation();
    } catch (const std::runtime_error& error) {
        failure = error.what();
    }
    done(failure);
}

SoundEngine::Target SoundEngine::look(OutputEvent event, const std::optional<std::string>& choice) const {
    const AudioDevices& devices = output_.devices();
    const auto chosen = choice ? OutputDevices::deviceIdForUid(devices, *choice) : std::nullopt;
    const auto standard = OutputDevices::defaultDeviceId(devices);
    Target target;
    target.device = chosen ? chosen : standard;
    target.isSystems = !chosen && output_.isMovedBySystem();
    target.situation.hasDefault = standard.has_value();
    if (choice) {
        target.situation.choice = chosen ? OutputChoice::present : OutputChoice::absent;
    }
    if (outputRuns()) {
        // After a change of the system it counts where the engine put the output: the user may have moved
        // the sound with the system's mixer since, and it stays there.
        const bool there = event == OutputEvent::change ? belongingOf(target) == placedOn_
                                                        : currentDeviceId() == target.device;
        target.situation.place = there ? OutputPlace::onTarget : OutputPlace::elsewhere;
    }
    return target;
}

void SoundEngine::settleOutput(OutputEvent event, const std::optional<std::string>& choice) {
    isWanted_ = true;
    const Target target = look(event, choice);
    const OutputAction action = OutputDecider::decide(event, target.situation);
    if (action == OutputAction::refuseDevice) {
        throw SoundEngineError::deviceUnavailable(*choice);
    }
    if (action == OutputAction::refuseNothingThere) {
        throw SoundEngineError::noOutputDevice();
    }
    {
        const MutexLock lock(mutex_);
        state_.selectedUid = choice;
    }
    switch (action) {
    case OutputAction::startHere:
        applyBufferFrameSize();
        startOutput();
        finishStart(currentDeviceId());
        placedOn_ = output_.isMovedBySystem() ? placedOn_.value_or("") : snapshot().activeUid;
        break;
    case OutputAction::keep:
        keepOn(target);
        break;
    case OutputAction::standIn:
        log.notice("selected output device is gone, falling back to the system default");
        retarget(target);
        break;
    case OutputAction::move:
        retarget(target);
        break;
    case OutputAction::wait:
        logFailure("configuration change: no output device available");
        break;
    default:
        notePlace();
        break;
    }
    if (event == OutputEvent::choice && target.situation.choice == OutputChoice::absent) {
        throw SoundEngineError::deviceUnavailable(*choice);
    }
}

void SoundEngine::logFailure(const std::string& text) {
    if (std::exchange(lastFailure_, text) != text) {
        log.error("%{public}s", text);
    }
}

void SoundEngine::keepOn(const Target& target) {
    // The system may have moved the output here by itself; from now on it belongs here.
    output_.setDevice(target.belonging());
    placedOn_ = belongingOf(target);
    auto uid = uidOf(target.device);
    const MutexLock lock(mutex_);
    state_.activeUid.swap(uid);
}

void SoundEngine::notePlace() {
    const auto device = outputRuns() ? output_.currentDevice() : std::nullopt;
    if (auto uid = uidOf(device)) {
        const MutexLock lock(mutex_);
        state_.activeUid.swap(uid);
    }
}

std::optional<std::string> SoundEngine::belongingOf(const Target& target) const {
    return target.isSystems ? std::string() : uidOf(target.device);
}

void SoundEngine::startOutput() {
    // A back end may have started by itself since the last stop. The mixer is prepared only while nothing
    // plays.
    output_.stop();
    mixer_.prepare(output_.sampleRate());
    output_.start();
}

void SoundEngine::startOutputIfPossible() {
    try {
        startOutput();
    } catch (const AudioOutputError&) { // the caller has a failure of its own to report
    }
    const bool runs = output_.isRunning();
    const MutexLock lock(mutex_);
    noteRunning(runs);
}

void SoundEngine::noteRunning(bool runs) {
    state_.running = runs;
    state_.lastUse = clock_.now();
    state_.resting = false;
    if (runs) {
        output_.setResting(false); // it may have been sent to rest while it was started
    }
}

void SoundEngine::applyBufferFrameSize() {
    const std::int32_t status = output_.requestBufferFrames(requestedBufferFrames);
    if (status != 0) {
        log.error("could not request a %{public}u frame IO buffer (OSStatus %{public}d)",
                  requestedBufferFrames, status);
    }
}

void SoundEngine::finishStart(std::optional<AudioDeviceId> device) {
    // Asked before the lock is taken: hits wait for the lock, and the answer may take a while.
    std::optional<std::string> uid = uidOf(device);
    {
        const MutexLock lock(mutex_);
        noteRunning(true);
        state_.activeUid.swap(uid);
    }
    logStartLine(device);
}

void SoundEngine::logStartLine(std::optional<AudioDeviceId> device) const {
    const AudioDevices& devices = output_.devices();
    std::string name = "unknown";
    double rate = renderFormat.sampleRate;
    std::uint64_t latencyFrames = 0;
    if (device) {
        name = devices.name(*device).value_or(name);
        const double nominal = devices.nominalSampleRate(*device).value_or(0);
        if (std::isfinite(nominal) && nominal > 0) {
            rate = nominal;
        }
        latencyFrames = std::uint64_t{devices.latencyFrames(*device).value_or(0)} +
                        devices.safetyOffsetFrames(*device).value_or(0);
    }
    // Now that the output runs, this is the size that was granted.
    const std::uint32_t granted = output_.bufferFrames().value_or(0);
    log.notice("engine started output=%{public}s rate=%{public}ld buffer=%{public}u (%{public}s ms) "
               "deviceLatency=%{public}s ms voices=%{public}ld",
               name, static_cast<std::int64_t>(rate), granted, millisecondsText(granted, rate),
               millisecondsText(latencyFrames, rate), static_cast<std::int64_t>(VoiceLanes::voiceCount));
}

bool SoundEngine::outputRuns() const {
    return output_.isRunning() && snapshot().running;
}

std::optional<AudioDeviceId> SoundEngine::currentDeviceId() const {
    const auto device = output_.currentDevice();
    return device && *device != 0 ? device : OutputDevices::defaultDeviceId(output_.devices());
}

std::optional<std::string> SoundEngine::uidOf(std::optional<AudioDeviceId> device) const {
    return device ? output_.devices().uid(*device) : std::nullopt;
}

std::optional<std::string> SoundEngine::activeOutputDeviceUid() const {
    const MutexLock lock(mutex_);
    return state_.activeUid;
}

std::optional<std::string> SoundEngine::currentOutputDeviceUid() {
    std::optional<std::string> uid = activeOutputDeviceUid();
    if (!uid) {
        control_->sync([&] { uid = uidOf(currentDeviceId()); });
    }
    return uid;
}

void SoundEngine::retarget(const Target& target) {
    {
        const MutexLock lock(mutex_);
        noteRunning(false);
    }
    drainScheduling();
    output_.stop();
    mixer_.discardAll();
    placedOn_.reset();
    const std::int32_t status = output_.setDevice(target.belonging());
    if (status != 0) {
        startOutputIfPossible();
        throw SoundEngineError::deviceSwitchFailed(status);
    }
    mixer_.setToneConnected(true);
    applyBufferFrameSize();
    startWithOrWithoutTone();
    placedOn_ = belongingOf(target);
    // The system may know better than by its default where to put the sound.
    const auto current = target.isSystems ? output_.currentDevice() : std::nullopt;
    finishStart(current ? current : target.device);
}

void SoundEngine::startWithOrWithoutTone() {
    try {
        startOutput();
        return;
    } catch (const AudioOutputError& first) {
        log.error("engine did not start with the tone EQ in the graph, dropping it");
        mixer_.setToneConnected(false);
        try {
            startOutput();
            return;
        } catch (const AudioOutputError&) { // the first failure is the one to report
        }
        mixer_.setToneConnected(true);
        startOutputIfPossible();
        throw;
    }
}

void SoundEngine::drainScheduling() {
    const std::chrono::nanoseconds deadline = clock_.now() + drainLimit;
    while (snapshot().scheduling > 0) {
        if (clock_.now() > deadline) {
            log.error("a hit was still scheduling after 20 ms, switching the device anyway");
            return;
        }
        sleep_(drainInterval);
    }
}

void SoundEngine::recover() {
    std::uint64_t generation = 0;
    {
        const MutexLock lock(mutex_);
        generation = ++state_.recoverGeneration;
    }
    control_->asyncAfter(recoverDelay, [this, generation] {
        if (snapshot().recoverGeneration != generation) {
            return;
        }
        lastFailure_.clear();
        retryDelay_ = firstRetryDelay;
        settleAfterChange();
    });
}

void SoundEngine::settleAfterChange() {
    try {
        settleOutput(OutputEvent::change, snapshot().selectedUid);
    } catch (const std::runtime_error& error) {
        logFailure(std::string("recover failed: ") + error.what());
    }
    tryAgain();
}

void SoundEngine::tryAgain() {
    const std::uint64_t attempt = ++attempts_;
    if (!isWanted_ || outputRuns()) {
        retryDelay_ = firstRetryDelay;
        lastFailure_.clear();
        return;
    }
    control_->asyncAfter(retryDelay_, [this, attempt] {
        if (attempts_ == attempt) {
            settleAfterChange();
        }
    });
    retryDelay_ = std::min(2 * retryDelay_, longestRetryDelay);
}

} // namespace keysong
