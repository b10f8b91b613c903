#include "UI/Settings/SettingsWindow.h"

#include "UI/Settings/StrayTyping.h"
#include "UI/WindowActivation.h"

#include <QApplication>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QScreen>
#include <QShortcut>

namespace keysong {

namespace {

constexpr QSize contentSize(440, 560);
/// What a title bar and a panel take of the screen.
constexpr int screenMargin = 90;

} // namespace

SettingsPanel::SettingsPanel(const UiServices& services) : view_(new SettingsView(services, this)) {
    setWindowTitle(tr("Keysong Settings"));
    setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                   Qt::WindowCloseButtonHint);
    setCentralWidget(view_);
    setFocusProxy(&view_->scratch());
    connect(new QShortcut(QKeySequence::Close, this), &QShortcut::activated, this, &QWidget::close);
    fitScreen();
}

void SettingsPanel::fitScreen() {
    // With larger texts the window is as much larger.
    const double scale = qMax(1.0, static_cast<double>(view_->contentWidth()) / contentSize.width());
    const QRect room = screen()->availableGeometry();
    const QSize size(qMin(static_cast<int>(contentSize.width() * scale), room.width()),
                     qMin(static_cast<int>(contentSize.height() * scale), room.height() - screenMargin));
    setFixedSize(size);
    move(room.center() - QPoint(size.width(), size.height()) / 2);
}

void SettingsPanel::keyPressEvent(QKeyEvent* event) {
    QWidget& scratch = view_->scratch();
    // What the scratch field itself did not take must not come back to it.
    if (QApplication::focusWidget() == &scratch || !isStrayTyping(*event)) {
        QMainWindow::keyPressEvent(event);
        return;
    }
    scratch.setFocus(Qt::OtherFocusReason);
    QApplication::sendEvent(&scratch, event);
}

void SettingsPanel::closeEvent(QCloseEvent* event) {
    QMainWindow::closeEvent(event);
    if (event->isAccepted()) {
        emit closed();
    }
}

void SettingsWindow::show() {
    if (window_ == nullptr) {
        window_ = std::make_unique<SettingsPanel>(services_);
        connect(window_.get(), &SettingsPanel::closed, this, &SettingsWindow::closed);
    }
    bringToFront(*window_);
}

} // namespace keysong
