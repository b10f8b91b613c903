#include "UI/Onboarding/OnboardingWindow.h"

#include "App/AppState.h"
#include "UI/Onboarding/OnboardingView.h"
#include "UI/WindowActivation.h"

#include <QDialog>
#include <QPointer>
#include <QScreen>
#include <QVBoxLayout>

namespace keysong {

OnboardingWindow::OnboardingWindow(const AppState& model, KeyboardAccess& access, TaskQueue& mainQueue)
    : model_(model), access_(access), mainQueue_(mainQueue) {
}

OnboardingWindow::~OnboardingWindow() = default;

void OnboardingWindow::show() {
    if (window_ == nullptr) {
        makeWindow();
    }
    window_->adjustSize();
    QRect frame(QPoint(), window_->size());
    frame.moveCenter(window_->screen()->availableGeometry().center());
    window_->move(frame.topLeft());
    bringToFront(*window_);
    accessChanged();
}

void OnboardingWindow::makeWindow() {
    window_ = std::make_unique<QDialog>();
    window_->setWindowTitle(QStringLiteral("Keysong"));
    window_->setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                            Qt::WindowCloseButtonHint);
    window_->setAttribute(Qt::WA_QuitOnClose, false);
    auto* layout = new QVBoxLayout(window_.get());
    layout->setContentsMargins({});
    layout->setSizeConstraint(QLayout::SetFixedSize); // follows the texts as they change
    view_ = new OnboardingView(model_, access_, window_.get());
    view_->setAsking(isAsking_);
    view_->setHasTray(hasTray_);
    layout->addWidget(view_);
    connect(view_, &OnboardingView::grantRequested, this, &OnboardingWindow::grant);
    // Lives as long as the window: a change that is no grant is followed by further ones.
    connect(&model_, &AppState::hasAccessChanged, window_.get(), [this] { accessChanged(); });
    // By the window's own button or the Escape key.
    connect(window_.get(), &QDialog::finished, this, &OnboardingWindow::close);
}

void OnboardingWindow::accessChanged() {
    if (model_.hasAccess()) {
        scheduleSelfClose();
    }
}

void OnboardingWindow::scheduleSelfClose() {
    if (!selfClose_) {
        selfClose_.emplace();
        mainQueue_.asyncAfter(selfCloseDelay, selfClose_->guarded([this] { close(); }));
    }
}

void OnboardingWindow::close() {
    selfClose_.reset();
    if (window_ == nullptr) {
        return;
    }
    window_->disconnect(this);
    window_->hide();
    view_ = nullptr;
    window_.release()->deleteLater(); // it may be the one that calls
    emit closed();
}

void OnboardingWindow::setHasTray(bool hasTray) {
    hasTray_ = hasTray;
    if (view_ != nullptr) {
        view_->setHasTray(hasTray);
    }
}

void OnboardingWindow::grant() {
    isAsking_ = access_.grant([self = QPointer(this)](const KeyboardAccess::Result& result) {
        if (self == nullptr) {
            return;
        }
        self->isAsking_ = false;
        if (self->view_ != nullptr) {
            self->view_->setAsking(false);
            self->view_->showResult(result);
        } else {
            emit self->closed();
        }
    }) || isAsking_;
    view_->setAsking(isAsking_);
}

} // namespace keysong
