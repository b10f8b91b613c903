#pragma once

#include "Linux/Input/PointerChoices.h"
#include "Linux/Pointers/PointerSource.h"
#include "Platform/Places.h"

#include <memory>

namespace keysong {

/// Follows what the desktop's user chooses of pointers, as far as the desktop can be asked: an X server
/// whoever has set it, sway, KDE and GNOME on Wayland. On others the choices stay empty.
///
/// Made, used and destroyed on one thread, which does not wait for the desktop.
class PointerFollower {
  public:
    /// `threads` outlives the follower. Throws std::system_error when there can be no thread.
    PointerFollower(const Places& places, Threads& threads);

    /// For the taps; they may outlive the follower, and then stay as they are.
    [[nodiscard]] const std::shared_ptr<PointerChoices>& choices() const noexcept { return choices_; }

  private:
    std::shared_ptr<PointerChoices> choices_ = std::make_shared<PointerChoices>();
    std::unique_ptr<PointerSource> source_;
};

} // namespace keysong
