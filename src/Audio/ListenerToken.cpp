#include "Audio/ListenerToken.h"

#include "Shared/Log.h"
#include "Shared/Mutex.h"
#include "Shared/SerialQueue.h"

#include <utility>

namespace keysong {

/// The notices of one property, on their way from the devices' thread to the token's queue. At most one of
/// them waits there: whoever looks after it looks at the newest state anyway.
class ListenerToken::Notices : public std::enable_shared_from_this<Notices> {
  public:
    Notices(TaskQueue& queue, ChangeHandler onChange) : queue_(&queue), onChange_(std::move(onChange)) {}

    /// Any thread.
    void add() KEYSONG_EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        if (queue_ != nullptr && !std::exchange(waiting_, true)) {
            queue_->async([notices = shared_from_this()] { notices->pass(); });
        }
    }
    void close() KEYSONG_EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        queue_ = nullptr;
    }

  private:
    /// On the queue.
    void pass() KEYSONG_EXCLUDES(mutex_) {
        {
            // First: what comes from now on may not have been seen by the handler and asks for another call.
            const MutexLock lock(mutex_);
            waiting_ = false;
        }
        onChange_();
    }

    Mutex mutex_;
    TaskQueue* queue_ KEYSONG_GUARDED_BY(mutex_);
    bool waiting_ KEYSONG_GUARDED_BY(mutex_) = false;
    const ChangeHandler onChange_;
};

ListenerToken::ListenerToken(AudioDevices& devices, Threads& threads,
                             const std::vector<DeviceListProperty>& selectors, const ChangeHandler& onChange)
    : ListenerToken(
          devices,
          std::make_unique<SerialQueue>(threads, ThreadAttributes{"com.orlen.keysong.devices", "devices"}),
          selectors, onChange) {
}

ListenerToken::ListenerToken(AudioDevices& devices, std::unique_ptr<TaskQueue> queue,
                             const std::vector<DeviceListProperty>& selectors, const ChangeHandler& onChange)
    : devices_(devices), queue_(std::move(queue)) {
    for (const DeviceListProperty selector : selectors) {
        auto notices = std::make_shared<Notices>(*queue_, onChange);
        auto block = std::make_shared<const ChangeHandler>([notices] { notices->add(); });
        const std::int32_t status = devices_.addListener(selector, block);
        if (status != 0) {
            log.error("device listener %{public}u failed: %{public}d", static_cast<std::uint32_t>(selector),
                      status);
            continue;
        }
        registrations_.push_back({selector, std::move(block), std::move(notices)});
    }
}

ListenerToken::~ListenerToken() {
    for (const Registration& registration : registrations_) {
        devices_.removeListener(registration.selector, registration.block);
        registration.notices->close();
    }
    queue_.reset();
}

} // namespace keysong
