#pragma once

#include "App/AppWindows.h"
#include "App/LiveKeys.h"
#include "App/WindowsMessages.h"
#include "Platform/WindowsProgram.h"

#include <QSocketNotifier>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace keysong {

/// Shows windows by a program of their own, which it starts when the first one is asked for and which ends
/// with its last one. There is one such program at a time: asked from another display, it ends, and the next
/// one starts there. It is told of live keys while it watches. When it ends by a fault, only the next request
/// starts another one.
///
/// Main thread; served by its event loop.
class WindowsLauncher final : public AppWindows {
  public:
    using Display = std::map<std::string, std::string>;

    /// How long a program may take to end after it was told to.
    static constexpr std::chrono::seconds patience{3};

    /// `ownDisplay` is the one that this process was started on; `hasBus` tells whether there is a session
    /// bus, by which windows speak to this process. All that is referred to outlives this object.
    WindowsLauncher(WindowsProgram& program, KeyMonitor& monitor, TaskQueue& mainQueue, Display ownDisplay,
                    std::function<bool()> hasBus);
    /// The program that runs ends soon.
    ~WindowsLauncher() override;

    /// Tells where the program's symbol is. Serving the tray of an X panel takes a windows' program on this
    /// process's own display as long as it lasts.
    void setPanel(const PanelState& panel);

    /// Tells how many keys were pressed so far, as often as it changes.
    void setKeysPressed(std::int64_t total);

    std::string showSettings(const Asker& asker) override { return show(WindowKind::settings, asker); }
    std::string showOnboarding(const Asker& asker) override { return show(WindowKind::onboarding, asker); }

  private:
    /// What is asked for and not shown yet: each window, and the leave that came with it.
    using Requests = std::map<WindowKind, Asker>;

    std::string show(WindowKind window, const Asker& asker);
    /// Why nothing can be shown; empty where it can.
    [[nodiscard]] std::string obstacle() const;
    /// Starts a program there that shows what is asked for. Returns why that cannot be.
    std::string start(const Display& display);
    void startTray();
    void send(const Requests::value_type& request);
    void serve();
    void received(const MessageChannel::Message& bytes);
    /// Tells the program to end.
    void close();
    /// Ends the program by force when it does not end soon.
    void expectEnd();
    void ended(const WindowsProcess::End& end);
    void logEnd(const WindowsProcess::End& end) const;

    WindowsProgram& program_;
    TaskQueue& mainQueue_;
    const std::function<bool()> hasBus_;
    const Display ownDisplay_;
    /// Where a window was shown last.
    Display lastDisplay_;
    /// Where what is asked for shall show.
    Display wantedDisplay_;
    PanelState panel_{.isShown = true, .serveTray = false};
    std::int64_t keysPressed_ = 0;
    Requests requests_;
    std::unique_ptr<WindowsProcess> process_;
    /// Where the process shows its windows.
    Display display_;
    /// Whether the process has shown anything.
    bool hasShown_ = false;
    /// Whether it was told to end, and whether it is about to.
    bool isClosing_ = false;
    bool isEnding_ = false;
    std::unique_ptr<QSocketNotifier> notifier_;
    LiveKeys liveKeys_;
    /// As long as the process; late calls about it are guarded by it.
    std::optional<Lifetime> processLife_;
};

} // namespace keysong
