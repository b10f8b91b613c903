#pragma once

#include "App/HeldKeys.h"
#include "App/MainThreadQueue.h"
#include "App/RemoteState.h"
#include "App/ResidentLink.h"
#include "App/WindowsMessages.h"
#include "Linux/Desktop/DesktopFiles.h"
#include "Linux/Files/IcuTextOrder.h"
#include "Linux/Files/LinuxPlaces.h"
#include "Linux/Input/PolkitAccess.h"
#include "Linux/Listener/ListenerAccess.h"
#include "Linux/System/LinuxThreads.h"
#include "UI/DesktopWindows.h"
#include "UI/Look/Theme.h"
#include "UI/Panel/StatusItem.h"

#include <QApplication>
#include <memory>
#include <optional>
#include <vector>

namespace keysong {

/// The windows of one start of their program: what it shows, as the program that started it asks, and when it
/// ends. Main thread.
class WindowsSession final : public QObject {
    Q_OBJECT

  public:
    /// `application` outlives it.
    WindowsSession(QApplication& application, std::unique_ptr<MessageChannel> channel);
    ~WindowsSession() override;

    /// Serves the event loop to the end. Returns the process's exit status.
    [[nodiscard]] int run();

  private:
    void asked(const ShowWindow& request);
    void show(const ShowWindow& request);
    void setPanel(const PanelState& panel);
    void loaded();
    void lost(const QString& reason);
    void endIfUnused();

    Theme theme_;
    LinuxPlaces places_;
    LinuxThreads threads_;
    IcuTextOrder textOrder_{places_};
    DesktopFiles applications_{places_};
    MainThreadQueue mainQueue_;
    PolkitAccess helperAccess_;
    listener::ListenerAccess access_;
    RemoteState state_;
    HeldKeys heldKeys_;
    ResidentLink link_;
    DesktopWindows windows_;
    std::optional<StatusItem> trayItem_;
    /// Asked for before there was anything to show.
    std::vector<ShowWindow> waiting_;
    PanelState panel_{.isShown = true, .serveTray = false};
    bool isLoaded_ = false;
};

} // namespace keysong
