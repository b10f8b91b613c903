#pragma once

#include "Platform/AudioOutput.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace keysong {

/// The listeners of one device list, as its implementations keep them. Any thread but the render thread.
class DeviceListeners {
  public:
    using Handler = std::shared_ptr<const AudioDevices::ChangeHandler>;

    /// Returns 0, or EINVAL for a handler that cannot be called.
    std::int32_t add(DeviceListProperty property, Handler handler) {
        if (handler == nullptr || !*handler) {
            return EINVAL;
        }
        const std::lock_guard lock(mutex_);
        listeners_.push_back({property, std::move(handler)});
        return 0;
    }

    /// Removes the handler from this property. A call under way may still end afterwards.
    void remove(DeviceListProperty property, const Handler& handler) {
        const std::lock_guard lock(mutex_);
        std::erase_if(listeners_, [&](const Listener& listener) {
            return listener.property == property && listener.handler == handler;
        });
    }

    /// Calls the property's listeners on this thread, without a lock: they may add and remove.
    void tell(DeviceListProperty property) const {
        std::vector<Listener> listeners;
        {
            const std::lock_guard lock(mutex_);
            listeners = listeners_;
        }
        for (const Listener& listener : listeners) {
            if (listener.property == property) {
                (*listener.handler)();
            }
        }
    }

    [[nodiscard]] std::size_t count() const {
        const std::lock_guard lock(mutex_);
        return listeners_.size();
    }

  private:
    struct Listener {
        DeviceListProperty property;
        Handler handler;
    };

    mutable std::mutex mutex_;
    std::vector<Listener> listeners_;
};

} // namespace keysong
