#pragma once

#include "App/KeyMonitor.h"
#include "Shared/Lifetime.h"
#include "Shared/TaskQueue.h"

#include <functional>
#include <memory>
#include <optional>

namespace keysong {

/// Tells somebody who watches which keys are held: at once, and then each change, at most sixty times a
/// second. It looks less often while nobody types, and not at all while nobody watches. Main thread.
class LiveKeys final {
  public:
    /// Takes what is held now; false when that did not arrive, and it is then told again.
    using Teller = std::function<bool(const KeyBitmap&)>;

    /// `mainQueue` runs its tasks on the main thread. All outlive this object.
    LiveKeys(KeyMonitor& monitor, TaskQueue& mainQueue, Teller tell);
    ~LiveKeys();
    LiveKeys(const LiveKeys&) = delete;
    LiveKeys& operator=(const LiveKeys&) = delete;

    /// Also switches the monitor's watching.
    void setWatching(bool isWatching);

  private:
    void look();

    KeyMonitor& monitor_;
    TaskQueue& mainQueue_;
    const Teller tell_;
    /// What was told last; nothing before the first time.
    std::optional<KeyBitmap> told_;
    int looksWithoutChange_ = 0;
    /// There is one while somebody watches; the next look is guarded by it.
    std::unique_ptr<Lifetime> watching_;
};

} // namespace keysong
