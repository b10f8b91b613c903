#include "Platform/Virtual/VirtualOutput.h"

#include <cerrno>
#include <cmath>

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
    frames_ = frames;
    return 0;
}

std::int32_t BuiltInOutput::setDevice(AudioDeviceId device) {
    return device == VirtualDevices::deviceId ? 0 : ENODEV;
}

VirtualOutput::~VirtualOutput() {
    stop();
}

void VirtualOutput::start() {
    if (running_) {
        return;
    }
    stopping_ = false;
    try {
        thread_ = threads_.start({"com.orlen.keysong.virtual", "virtual", ThreadPriority::userInteractive},
                                 [this] { serve(); });
    } catch (const std::system_error& error) {
        throw AudioOutputError(error.what());
    }
    running_ = true;
}

void VirtualOutput::stop() noexcept {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
    running_ = false;
}

void VirtualOutput::serve() {
    const std::uint32_t frames = frames_;
    std::vector<float> left(frames);
    std::vector<float> right(frames);
    const double period = frames * nanosecondsPerFrame;
    std::chrono::nanoseconds origin = clock_.now();
    std::int64_t cycle = 0;
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        const auto start =
            origin + std::chrono::nanoseconds(std::llround(static_cast<double>(cycle) * period));
        const auto now = clock_.now();
        if (now < start) {
            wake_.wait_for(lock, start - now, [this] { return stopping_; });
            continue;
        }
        if (now - start > longestCatchUp) {
            origin = now;
            cycle = 0;
            continue;
        }
        // The mutex guards the wish to stop alone; nobody but `stop` ever wants it.
        lock.unlock();
        if (renderer_ != nullptr) {
            renderer_->render({start.count(), nanosecondsPerFrame, frames}, left.data(), right.data());
        }
        lock.lock();
        ++cycle;
    }
}

void SteppedOutput::step() {
    left_.assign(frames_, 0.0F);
    right_.assign(frames_, 0.0F);
    const auto start = std::llround(static_cast<double>(position_) * nanosecondsPerFrame);
    if (running_ && renderer_ != nullptr) {
        renderer_->render({start, nanosecondsPerFrame, frames_}, left_.data(), right_.data());
    }
    position_ += frames_;
}

} // namespace keysong
