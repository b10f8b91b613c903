#include "Audio/ListenerToken.h"

#include "Shared/Log.h"
#include "Shared/SerialQueue.h"

#include <atomic>
#include <utility>

namespace keysong {

/// The news of one property. At most one notice of it waits in the queue: whoever looks after that one looks
/// at the newest state anyway.
struct ListenerToken::News {
    explicit News(ChangeHandler handler) : onChange(std::move(handler)) {}

    void tell() {
        // First: what comes from now on may not be seen by the handler and asks for another call.
        waiting = false;
        onChange();
    }

    const ChangeHandler onChange;
    std::atomic<bool> waiting = false;
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
        auto block = std::make_shared<const ChangeHandler>(
            lifetime_.guarded([this, news = std::make_shared<News>(onChange)] { pass(news); }));
        const std::int32_t status = devices_.addListener(selector, block);
        if (status != 0) {
            log.error("device listener %{public}u failed: %{public}d", static_cast<std::uint32_t>(selector),
                      status);
            continue;
        }
        registrations_.push_back({selector, std::move(block)});
    }
}

ListenerToken::~ListenerToken() {
    for (const Registration& registration : registrations_) {
        devices_.removeListener(registration.selector, registration.block);
    }
    lifetime_.end();
    queue_.reset();
}

void ListenerToken::pass(const std::shared_ptr<News>& news) {
    if (!news->waiting.exchange(true)) {
        queue_->async([news] { news->tell(); });
    }
}

void ListenerToken::look(const ChangeHandler& handler) {
    queue_->async(handler);
}

} // namespace keysong
