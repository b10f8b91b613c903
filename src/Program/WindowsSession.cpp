#include "Program/WindowsSession.h"

#include "Linux/System/XcbKeyboard.h"
#include "Shared/Log.h"

#include <QMessageBox>
#include <algorithm>
#include <utility>

namespace keysong {

namespace {

constexpr int failed = 1;

void tellProblem(const QString& text, const QString& details) {
    log.error("%{public}s %{public}s", text.toStdString(), details.toStdString());
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Keysong"), text, QMessageBox::Close);
    box.setInformativeText(details);
    box.exec();
}

} // namespace

WindowsSession::WindowsSession(QApplication& application, std::unique_ptr<MessageChannel> channel)
    : theme_(application), helperAccess_(mainQueue_, threads_, PolkitAccess::installedPrograms()),
      access_(mainQueue_, threads_, helperAccess_), state_(QDBusConnection::sessionBus()),
      link_(std::move(channel), heldKeys_),
      windows_({state_, heldKeys_, applications_, places_, textOrder_, access_}, access_, mainQueue_) {
    connect(&link_, &ResidentLink::asked, this, &WindowsSession::asked);
    connect(&link_, &ResidentLink::panelChanged, this, &WindowsSession::setPanel);
    connect(&link_, &ResidentLink::keysCounted, &state_, &RemoteState::setKeysPressed);
    connect(&link_, &ResidentLink::closed, this, [] { QCoreApplication::quit(); });
    connect(&link_, &ResidentLink::notUnderstood, this, [] {
        tellProblem(tr("Keysong was updated."), tr("Quit Keysong and start it again to see its settings."));
        QCoreApplication::exit(failed);
    });
    connect(&state_, &RemoteState::loaded, this, &WindowsSession::loaded);
    connect(&state_, &RemoteState::lost, this, &WindowsSession::lost);
    connect(&state_, &RemoteState::settingsWanted, this, [this] { show({WindowKind::settings, {}}); });
    connect(&state_, &RemoteState::onboardingWanted, this, [this] { show({WindowKind::onboarding, {}}); });
    connect(&windows_, &DesktopWindows::closed, this, &WindowsSession::endIfUnused);
}

WindowsSession::~WindowsSession() = default;

int WindowsSession::run() {
    state_.load();
    return QCoreApplication::exec();
}

void WindowsSession::asked(const ShowWindow& request) {
    if (isLoaded_) {
        show(request);
    } else {
        std::erase_if(waiting_, [&](const ShowWindow& each) { return each.window == request.window; });
        waiting_.push_back(request);
    }
}

void WindowsSession::show(const ShowWindow& request) {
    windows_.show(request.window, request.activationToken);
    link_.tellShown(request.window);
}

void WindowsSession::setPanel(const PanelState& panel) {
    const bool servedTray = std::exchange(panel_, panel).serveTray;
    windows_.setHasTray(panel.isShown);
    if (!isLoaded_ || servedTray == panel.serveTray) {
        return;
    }
    trayItem_.reset();
    if (panel.serveTray) {
        // Its open menu must know when the key of a shortcut comes up.
        if (const auto* const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>()) {
            useDetectableRepeat(x11->connection());
        }
        trayItem_.emplace(state_,
                          PanelMenu::Actions{[this] { state_.showSettings(); }, [this] { state_.quit(); }});
    } else {
        endIfUnused();
    }
}

void WindowsSession::loaded() {
    if (std::exchange(isLoaded_, true)) {
        return;
    }
    const PanelState panel = std::exchange(panel_, PanelState{.isShown = true, .serveTray = false});
    setPanel(panel);
    for (const ShowWindow& request : std::exchange(waiting_, {})) {
        show(request);
    }
}

void WindowsSession::lost(const QString& reason) {
    if (reason.isEmpty()) {
        QCoreApplication::quit();
    } else if (!isLoaded_) {
        tellProblem(tr("Keysong does not answer."), reason);
        QCoreApplication::exit(failed);
    }
}

void WindowsSession::endIfUnused() {
    if (!trayItem_ && !windows_.isOpen()) {
        QCoreApplication::quit();
    }
}

} // namespace keysong
