#include "Virtual/VirtualOutput.h"

#include <cerrno>
#include <cmath>
#include <utility>

namespace keysong {

namespace {

/// Longest period that is granted.
constexpr std::uint32_t mostFrames = 8192;

/// A thread that wakes later than this (a machine that slept) skips the missed periods instead of running
/// through them.
constexpr std::chrono::nanoseconds longestCatchUp = std::chrono::milliseconds(100);

} // namespace

std::int32_t BuiltInOutput::requestBufferFrames(std::uint32_t frames) {
    if (frames == 0 || frames > mostFrames) {
        return EINVAL;
    }
    if (failures.buffer == 0) {
        frames_ = frames;
    }
    return failures.buffer;
}

std::int32_t BuiltInOutput::setDevice(std::optional<AudioDeviceId> wished) {
    if (failures.device != 0) {
        return failures.device;
    }
    const AudioDeviceId device = wished.value_or(devices_.defaultOutputDevice().value_or(0));
    if (devices_.outputChannels(device) == 0) {
        return ENODEV;
    }
    current_ = device;
    return 0;
}

std::optional<AudioDeviceId> BuiltInOutput::currentDevice() const {
    const AudioDeviceId device = current_;
    return device != 0 ? std::optional(device) : std::nullopt;
}

void BuiltInOutput::setConfigurationChangeHandler(std::function<void()> handler) {
    const std::lock_guard lock(handlerMutex_);
    configurationChanged_ = std::move(handler);
}

void BuiltInOutput::reportChange() {
    std::function<void()> handler;
    {
        const std::lock_guard lock(handlerMutex_);
        handler = configurationChanged_;
    }
    if (handler) {
        handler();
    }
}

std::optional<VirtualDevice> BuiltInOutput::unplug(AudioDeviceId device) {
    auto unplugged = devices_.unplug(device);
    if (current_ == device) {
        current_ = 0;
        halt();
    }
    reportChange();
    return unplugged;
}

void BuiltInOutput::plug(VirtualDevice device) {
    devices_.plug(std::move(device));
    reportChange();
}

void BuiltInOutput::setReadiness(Readiness readiness) {
    readiness_ = readiness;
    if (readiness != Readiness::ready) {
        halt();
    }
    reportChange();
}

void BuiltInOutput::failStartAsTold() {
    if (readiness_ != Readiness::ready) {
        throw AudioOutputError("the sound system does not answer");
    }
    if (failures.starts.empty()) {
        return;
    }
    const std::optional<std::string> failure = std::move(failures.starts.front());
    failures.starts.pop_front();
    if (failure) {
        throw AudioOutputError(*failure);
    }
}

VirtualOutput::~VirtualOutput() {
    stop();
}

void VirtualOutput::start() {
    if (running_) {
        return;
    }
    stop(); // a halted thread may not have ended yet
    failStartAsTold();
    stopping_ = false;
    resting_ = false;
    try {
        thread_ = threads_.start({"com.orlen.keysong.virtual", "virtual", ThreadPriority::render},
                                 [this] { serve(); });
    } catch (const std::system_error& error) {
        throw AudioOutputError(error.what());
    }
    running_ = true;
}

void VirtualOutput::halt() noexcept {
    running_ = false;
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
}

void VirtualOutput::stop() noexcept {
    halt();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void VirtualOutput::setResting(bool resting) noexcept {
    {
        const std::lock_guard lock(mutex_);
        resting_ = resting;
    }
    wake_.notify_all();
}

void VirtualOutput::serve() {
    const std::uint32_t frames = frames_;
    std::vector<float> left(frames);
    std::vector<float> right(frames);
    const double period = frames * nanosecondsPerFrame;
    std::chrono::nanoseconds origin = clock_.now();
    std::int64_t cycle = 0;
    bool rested = false;
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        if (resting_) {
            wake_.wait(lock, [this] { return stopping_ || !resting_; });
            origin = clock_.now();
            cycle = 0;
            rested = true;
            continue;
        }
        const auto start =
            origin + std::chrono::nanoseconds(std::llround(static_cast<double>(cycle) * period));
        const auto now = clock_.now();
        if (now < start) {
            wake_.wait_for(lock, start - now, [this] { return stopping_ || resting_; });
            continue;
        }
        if (now - start > longestCatchUp) {
            origin = now;
            cycle = 0;
            continue;
        }
        // The mutex guards the wishes to stop and to rest alone; hardly anybody ever wants it.
        lock.unlock();
        if (renderer_ != nullptr) {
            renderer_->render({start.count(), nanosecondsPerFrame, frames, std::exchange(rested, false)},
                              left.data(), right.data());
        }
        lock.lock();
        ++cycle;
    }
}

void SteppedOutput::start() {
    if (!running_) {
        failStartAsTold();
        running_ = true;
        resting_ = false;
        rested_ = false;
    }
}

void SteppedOutput::step() {
    left_.assign(frames_, 0.0F);
    right_.assign(frames_, 0.0F);
    const auto start = std::llround(static_cast<double>(position_) * nanosecondsPerFrame);
    if (resting_) {
        rested_ = true;
    } else if (running_ && renderer_ != nullptr) {
        renderer_->render({start, nanosecondsPerFrame, frames_, std::exchange(rested_, false)}, left_.data(),
                          right_.data());
    }
    position_ += frames_;
}

} // namespace keysong
