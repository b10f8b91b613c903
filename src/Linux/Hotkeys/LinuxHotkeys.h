#pragma once

#include "Linux/Hotkeys/InputHotkeys.h"
#include "Linux/Hotkeys/PortalHotkeys.h"
#include "Linux/Hotkeys/X11Hotkeys.h"

#include <memory>
#include <vector>

namespace keysong {

/// Hotkeys served in the best of three ways: by grabs of an X server where DISPLAY names a real one, else by
/// the desktop's global shortcuts as long as its portal has them, else from the program's own input.
///
/// One way at a time serves a hotkey, so that a press counts once. A hotkey that one way refused, since it
/// belongs to another program, is not tried by the next.
class LinuxHotkeys final : public HotkeyRegistrar {
  public:
    /// Queue and threads outlive the registrar; the queue runs its tasks on the main thread. Connects to the
    /// X server, if there is one. Throws std::system_error when there can be no thread.
    LinuxHotkeys(TaskQueue& mainQueue, Threads& threads, PortalHotkeyOptions options);

    /// Looks at one event of the program's input. The event-tap thread; costs what `InputHotkeys::observe`
    /// costs.
    void observe(const RawEvent& event) { input_.observe(event); }

    void installHandlers(Handlers handlers) override;
    [[nodiscard]] HotkeyStatus registerHotkey(HotkeyCombination combination,
                                              HotkeyIdentity identity) override;
    void unregisterHotkey(HotkeyIdentity identity) override;
    [[nodiscard]] std::string_view way() const override { return current_->way(); }

  private:
    void use(HotkeyRegistrar& way);

    InputHotkeys input_;
    /// Null where there is no such X server.
    std::unique_ptr<X11Hotkeys> x11_;
    /// Null where the X server serves.
    std::unique_ptr<PortalHotkeys> portal_;
    HotkeyRegistrar* current_;
    HotkeyTable table_;
    std::function<void(HotkeyIdentity, HotkeyStatus)> refused_;
};

} // namespace keysong
