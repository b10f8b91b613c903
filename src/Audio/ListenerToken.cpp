#include "Audio/ListenerToken.h"

#include "Shared/Log.h"
#include "Shared/Mutex.h"
#include "Shared/SerialQueue.h"

#include <utility>

namespace keysong {

struct ListenerToken::Gate {
    explicit Gate(TaskQueue* target) : queue(target) {}

    void pass(const ChangeHandler& onChange) KEYSONG_EXCLUDES(mutex) {
        const MutexLock lock(mutex);
        if (queue != nullptr) {
            queue->async(onChange);
        }
    }
    void close() KEYSONG_EXCLUDES(mutex) {
        const MutexLock lock(mutex);
        queue = nullptr;
    }

    Mutex mutex;
    TaskQueue* queue KEYSONG_GUARDED_BY(mutex);
};

ListenerToken::ListenerToken(AudioDevices& devices, Threads& threads,
                             std::vector<DeviceListProperty> selectors, ChangeHandler onChange)
    : ListenerToken(
          devices,
          std::make_unique<SerialQueue>(threads, ThreadAttributes{"com.orlen.keysong.devices", "devices"}),
          std::move(selectors), std::move(onChange)) {
}

ListenerToken::ListenerToken(AudioDevices& devices, std::unique_ptr<TaskQueue> queue,
                             std::vector<DeviceListProperty> selectors, ChangeHandler onChange)
    : devices_(devices), selectors_(std::move(selectors)), gate_(std::make_shared<Gate>(queue.get())),
      block_(std::make_shared<const ChangeHandler>(
          [gate = gate_, onChange = std::move(onChange)] { gate->pass(onChange); })),
      queue_(std::move(queue)) {
    for (const DeviceListProperty selector : selectors_) {
        const std::int32_t status = devices_.addListener(selector, block_);
        if (status != 0) {
            log.error("device listener %{public}u failed: %{public}d", static_cast<std::uint32_t>(selector),
                      status);
        }
    }
}

ListenerToken::~ListenerToken() {
    for (const DeviceListProperty selector : selectors_) {
        devices_.removeListener(selector, block_);
    }
    gate_->close();
    queue_.reset();
}

} // namespace keysong
