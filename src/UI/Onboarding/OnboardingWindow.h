#pragma once

#include "Platform/KeyboardAccess.h"
#include "Shared/Lifetime.h"
#include "Shared/TaskQueue.h"

#include <QObject>
#include <chrono>
#include <memory>
#include <optional>

class QDialog;

namespace keysong {

class AppState;
class OnboardingView;

/// The window that asks for the right to hear the keyboards. It exists only while it is shown, and closes
/// itself shortly after the model is trusted. Closing it, by hand or by itself, never ends the program. Main
/// thread.
class OnboardingWindow final : public QObject {
    Q_OBJECT

  public:
    static constexpr std::chrono::milliseconds selfCloseDelay{600};

    /// `mainQueue` runs its tasks on the main thread. All outlive this object.
    OnboardingWindow(const AppState& model, KeyboardAccess& access, TaskQueue& mainQueue);
    ~OnboardingWindow() override;

    /// Makes the window if there is none, and brings it to the front.
    void show();
    /// Takes the window away. Without one, nothing happens.
    void close();
    /// Whether some panel shows the program's icon. As long as nobody says otherwise, one does.
    void setHasTray(bool hasTray);

    [[nodiscard]] bool isShown() const noexcept { return window_ != nullptr; }
    /// Whether the machine asks for a password, which outlives the window.
    [[nodiscard]] bool isAsking() const noexcept { return isAsking_; }

  signals:
    /// The window was closed, or a question that outlived it was answered.
    void closed();

  private:
    void makeWindow();
    void accessChanged();
    void scheduleSelfClose();
    void grant();

    const AppState& model_;
    KeyboardAccess& access_;
    TaskQueue& mainQueue_;
    bool hasTray_ = true;
    bool isAsking_ = false;
    /// That of the pending self-close, if there is one.
    std::optional<Lifetime> selfClose_;
    std::unique_ptr<QDialog> window_;
    /// Part of the window.
    OnboardingView* view_ = nullptr;
};

} // namespace keysong
