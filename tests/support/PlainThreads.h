#pragma once

#include "Platform/Threads.h"
#include "Shared/Mutex.h"

#include <string>
#include <system_error>
#include <vector>

namespace keysong::test {

/// Ordinary threads; remembers the labels of those that were started.
class PlainThreads final : public Threads {
  public:
    /// As if the system had no room for another thread.
    bool refusing = false;

    [[nodiscard]] std::thread start(ThreadAttributes attributes, std::function<void()> body) override {
        if (refusing) {
            throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
        }
        const MutexLock lock(mutex_);
        labels_.push_back(attributes.label);
        return std::thread(std::move(body));
    }

    void raiseThisThread(const ThreadAttributes&) override {}

    [[nodiscard]] std::vector<std::string> labels() const {
        const MutexLock lock(mutex_);
        return labels_;
    }

  private:
    mutable Mutex mutex_;
    std::vector<std::string> labels_ KEYSONG_GUARDED_BY(mutex_);
};

} // namespace keysong::test
