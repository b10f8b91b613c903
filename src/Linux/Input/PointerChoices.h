#pragma once

#include "Linux/Input/PointerSettings.h"
#include "Shared/Mutex.h"

#include <functional>

namespace keysong {

/// What is chosen of pointers at the moment, handed from whoever follows the desktop to the tap. Any thread
/// but the render thread.
class PointerChoices {
  public:
    /// Told of each change on the thread that made it, under a lock: it must be short, and must not use the
    /// choices. One at a time; none for an empty function.
    void setListener(std::function<void()> listener) KEYSONG_EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        listener_ = std::move(listener);
    }

    /// Does nothing for rules that are there already.
    void set(PointerRules rules) KEYSONG_EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        if (rules != rules_) {
            rules_ = std::move(rules);
            if (listener_) {
                listener_();
            }
        }
    }

    [[nodiscard]] PointerRules rules() const KEYSONG_EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        return rules_;
    }

  private:
    mutable Mutex mutex_;
    PointerRules rules_ KEYSONG_GUARDED_BY(mutex_);
    std::function<void()> listener_ KEYSONG_GUARDED_BY(mutex_);
};

} // namespace keysong
