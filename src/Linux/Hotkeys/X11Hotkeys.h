#pragma once

#include "Linux/Hotkeys/HotkeyDelivery.h"
#include "Linux/Hotkeys/HotkeyTable.h"
#include "Linux/System/ServiceThread.h"

#include <memory>

namespace keysong {

class X11KeyGrabs;

/// Hotkeys as key grabs of an X server, served by the thread "com.orlen.keysong.hotkeys". The key is the one
/// in the table's place on the board, whatever the layout prints on it. When the server is lost the hotkeys
/// wait, and are grabbed again once it is back.
class X11Hotkeys final : public HotkeyRegistrar {
  public:
    /// Null unless DISPLAY names an X server that sees all keys, which one inside a Wayland session does
    /// not. Both arguments outlive the registrar; the queue runs its tasks on the main thread.
    /// Throws std::system_error when there can be no thread.
    [[nodiscard]] static std::unique_ptr<X11Hotkeys> make(TaskQueue& mainQueue, Threads& threads);
    ~X11Hotkeys() override;

    void installHandlers(Handlers handlers) override { delivery_.install(std::move(handlers)); }
    /// Waits for the server's answer. While the server is away everything is accepted for its return.
    [[nodiscard]] HotkeyStatus registerHotkey(HotkeyCombination combination,
                                              HotkeyIdentity identity) override;
    void unregisterHotkey(HotkeyIdentity identity) override;
    [[nodiscard]] std::string_view way() const override { return "x11"; }

  private:
    X11Hotkeys(TaskQueue& mainQueue, Threads& threads);

    // All on the service thread.
    bool connect();
    void dispatch();
    void lose();
    void reconnect();
    void scheduleReconnect();
    void refuse(HotkeyCombination combination, HotkeyStatus status);

    HotkeyDelivery delivery_;
    /// Touched by the service thread only; null while the server is away.
    std::unique_ptr<X11KeyGrabs> grabs_;
    HotkeyTable table_;
    /// Last, so that it ends first.
    ServiceThread service_;
};

} // namespace keysong
