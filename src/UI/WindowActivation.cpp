#include "UI/WindowActivation.h"

#include <QGuiApplication>
#include <QWidget>

namespace keysong {

void bringToFront(QWidget& window) {
    const bool isWayland = QGuiApplication::platformName() == QLatin1String("wayland");
    if (isWayland && window.isVisible() && !window.isActiveWindow() &&
        qEnvironmentVariableIsEmpty("XDG_ACTIVATION_TOKEN")) {
        // Without a token a compositor leaves a window where it is; a new one it shows in front.
        window.hide();
    }
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    window.activateWindow();
    qunsetenv("XDG_ACTIVATION_TOKEN");
}

} // namespace keysong
