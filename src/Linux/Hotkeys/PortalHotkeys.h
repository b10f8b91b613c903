#pragma once

#include "Linux/Hotkeys/HotkeyDelivery.h"
#include "Linux/Hotkeys/HotkeyTable.h"
#include "Linux/Hotkeys/PortalSession.h"
#include "Linux/System/ServiceThread.h"

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace keysong {

/// What the desktop shows for a hotkey when it asks the user, and in its settings.
struct HotkeyLabel {
    HotkeyCombination combination;
    std::string text;
};

struct PortalHotkeyOptions {
    /// The name of the program's desktop file, without its ending.
    std::string applicationId;
    /// A hotkey without a label goes by its combination.
    std::vector<HotkeyLabel> labels;
};

/// Hotkeys as global shortcuts of the desktop, through its portal, served by the thread
/// "com.orlen.keysong.hotkeys". The desktop may give a shortcut other keys than the preferred ones: the
/// user's choice there holds.
class PortalHotkeys final : public HotkeyRegistrar {
  public:
    /// On the main thread. What was registered when the portal goes is forgotten.
    using AvailabilityHandler = std::function<void(bool available)>;

    /// Queue and threads outlive the registrar; the queue runs its tasks on the main thread. The portal is
    /// assumed to be missing until the handler is called.
    /// Throws std::system_error when there can be no thread.
    PortalHotkeys(TaskQueue& mainQueue, Threads& threads, PortalHotkeyOptions options,
                  AvailabilityHandler onAvailability);
    ~PortalHotkeys() override;

    void installHandlers(Handlers handlers) override { delivery_.install(std::move(handlers)); }
    /// Refuses keys other than letters and digits. Everything else is accepted at once; the desktop's answer
    /// may be a refusal later.
    [[nodiscard]] HotkeyStatus registerHotkey(HotkeyCombination combination,
                                              HotkeyIdentity identity) override;
    void unregisterHotkey(HotkeyIdentity identity) override;
    [[nodiscard]] std::string_view way() const override { return "portal"; }

  private:
    [[nodiscard]] PortalSession::Events events();

    // All on the service thread.
    void connect();
    void process();
    void scheduleBind(std::chrono::milliseconds delay);
    void bind();
    void activated(const std::string& id);
    void refused(const std::string& id, PortalSession::Refusal why);
    [[nodiscard]] std::string labelOf(HotkeyCombination combination) const;

    TaskQueue& mainQueue_;
    HotkeyDelivery delivery_;
    const PortalHotkeyOptions options_;
    const AvailabilityHandler onAvailability_;
    // Touched by the service thread only.
    PortalSession session_;
    HotkeyTable table_;
    bool bindScheduled_ = false;
    /// When each shortcut that is down was last reported.
    std::map<std::string, std::chrono::steady_clock::time_point> held_;
    Lifetime lifetime_;
    /// Last, so that it ends first.
    ServiceThread service_;
};

} // namespace keysong
