#include "StallWatch.h"

#include <pthread.h>
#include <sched.h>

#include <algorithm>

#include "World.h"

namespace keysong::bench {

StallWatch::StallWatch() {
    for (unsigned i = 0; i < std::thread::hardware_concurrency(); ++i) {
        threads_.emplace_back([this, i] { run(i); });
    }
}

StallWatch::~StallWatch() {
    ending_ = true;
    for (std::thread& thread : threads_) {
        thread.join();
    }
}

void StallWatch::run(unsigned processor) {
    cpu_set_t only;
    CPU_ZERO(&only);
    CPU_SET(processor, &only);
    pthread_setaffinity_np(pthread_self(), sizeof only, &only);
    constexpr std::chrono::milliseconds sleep{5};
    while (!ending_) {
        const auto begin = now();
        std::this_thread::sleep_for(sleep);
        const auto end = now();
        if (end - begin > sleep + tolerated) {
            const std::lock_guard lock(mutex_);
            stalls_.push_back({begin, end});
        }
    }
}

std::vector<Span> StallWatch::stalls() const {
    const std::lock_guard lock(mutex_);
    std::vector<Span> sorted = stalls_;
    std::sort(sorted.begin(), sorted.end(), [](const Span& a, const Span& b) { return a.begin < b.begin; });
    return sorted;
}

} // namespace keysong::bench
