#include "App/KeyMonitor.h"

namespace keysong {

KeyMonitor& KeyMonitor::shared() {
    static KeyMonitor monitor;
    return monitor;
}

void KeyMonitor::record(const SoundEvent& event) {
    {
        const MutexLock lock(watchingLock_);
        if (!watching_) {
            return;
        }
    }
    if (!event.isKey() || event.keyCode() > 255) {
        return;
    }
    const std::size_t word = event.keyCode() / 64;
    const std::uint64_t bit = std::uint64_t{1} << event.keyCode() % 64;
    const MutexLock lock(stateLock_);
    if (event.kind() == SoundEvent::Kind::keyDown) {
        state_.down.at(word) |= bit;
    } else {
        state_.down.at(word) &= ~bit;
    }
    ++state_.generation;
}

void KeyMonitor::setWatching(bool watching) {
    {
        const MutexLock lock(watchingLock_);
        watching_ = watching;
    }
    if (!watching) {
        const MutexLock lock(stateLock_);
        state_.down = {};
        ++state_.generation;
    }
}

KeyMonitor::State KeyMonitor::snapshot() const {
    const MutexLock lock(stateLock_);
    return state_;
}

} // namespace keysong
