#pragma once

#include "App/KeyBitmap.h"

#include <QObject>

namespace keysong {

/// The keys that are held anywhere on the machine, as a windows' program is told: a copy of the resident
/// program's key monitor, which follows while somebody watches. Main thread.
class HeldKeys final : public QObject {
    Q_OBJECT

  public:
    [[nodiscard]] const KeyBitmap& down() const noexcept { return down_; }
    /// What is held now. Without effect while nobody watches.
    void setDown(const KeyBitmap& down);

    [[nodiscard]] bool isWatching() const noexcept { return isWatching_; }
    /// Ending it releases every key.
    void setWatching(bool isWatching);

  signals:
    void downChanged();
    void watchingChanged();

  private:
    KeyBitmap down_{};
    bool isWatching_ = false;
};

} // namespace keysong
