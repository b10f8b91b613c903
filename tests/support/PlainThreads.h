#pragma once

#include "Platform/Threads.h"
#include "Shared/Mutex.h"

#include <string>
#include <vector>

namespace keysong::test {

/// Ordinary threads; remembers the labels that were asked for.
class PlainThreads final : public Threads {
  public:
    [[nodiscard]] std::thread start(ThreadAttributes attributes, std::function<void()> body) override {
        const MutexLock lock(mutex_);
        labels_.push_back(attributes.label);
        return std::thread(std::move(body));
    }

    [[nodiscard]] std::vector<std::string> labels() const {
        const MutexLock lock(mutex_);
        return labels_;
    }

  private:
    mutable Mutex mutex_;
    std::vector<std::string> labels_ KEYSONG_GUARDED_BY(mutex_);
};

} // namespace keysong::test
