#include "Shared/Lifetime.h"

#include <algorithm>

namespace keysong {

bool Lifetime::State::enter() {
    const MutexLock lock(mutex_);
    if (!ended_) {
        calls_.push_back(std::this_thread::get_id());
    }
    return !ended_;
}

void Lifetime::State::leave() {
    const MutexLock lock(mutex_);
    calls_.erase(std::find(calls_.begin(), calls_.end(), std::this_thread::get_id()));
    if (ended_) {
        left_.notify_all();
    }
}

void Lifetime::State::end() {
    const MutexLock lock(mutex_);
    ended_ = true;
    const auto thisThread = std::this_thread::get_id();
    while (static_cast<std::size_t>(std::count(calls_.begin(), calls_.end(), thisThread)) != calls_.size()) {
        left_.wait(mutex_);
    }
}

} // namespace keysong
