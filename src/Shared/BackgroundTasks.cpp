#include "Shared/BackgroundTasks.h"

#include "Shared/Log.h"

#include <exception>
#include <utility>

namespace keysong {

BackgroundTasks::BackgroundTasks(Threads& threads, ThreadAttributes attributes)
    : threads_(threads), attributes_(std::move(attributes)) {
}

BackgroundTasks::~BackgroundTasks() {
    std::list<Running> last;
    {
        const MutexLock lock(mutex_);
        // Their own entries must stay where they are until they have ended.
        last.splice(last.end(), running_);
    }
    for (Running& running : last) {
        running.thread.join();
    }
}

void BackgroundTasks::run(std::function<void()> task) {
    const MutexLock lock(mutex_);
    joinEnded();
    running_.emplace_back();
    Running& running = running_.back();
    try {
        running.thread = threads_.start(attributes_, [this, &running, task = std::move(task)] {
            try {
                task();
            } catch (const std::exception& error) {
                log.error("background task failed: %s", error.what());
            }
            const MutexLock ending(mutex_);
            running.ended = true;
        });
    } catch (...) {
        running_.pop_back();
        throw;
    }
}

void BackgroundTasks::joinEnded() {
    for (auto at = running_.begin(); at != running_.end();) {
        if (at->ended) {
            at->thread.join();
            at = running_.erase(at);
        } else {
            ++at;
        }
    }
}

} // namespace keysong
