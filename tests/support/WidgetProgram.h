#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <optional>
#include <thread>

namespace keysong::test {

/// Gives the tests of a program an application object with widgets, without a display unless the derived
/// class prepares one.
class WidgetProgram : public testing::Environment {
  public:
    void SetUp() override {
        prepare();
        application_.emplace(count_, words_);
        QApplication::setQuitOnLastWindowClosed(false);
        started();
    }
    void TearDown() override { application_.reset(); }

  protected:
    virtual void prepare() { setenv("QT_QPA_PLATFORM", "offscreen", 1); }

    virtual void started() {}

  private:
    int count_ = 1;
    char name_[8] = "keysong";
    char* words_[2] = {name_, nullptr};
    std::optional<QApplication> application_;
};

/// Serves the application's events, and `besides`, until the condition holds; false when that takes too long.
[[nodiscard]] inline bool pumpUntil(
    const std::function<bool()>& condition, const std::function<void()>& besides = [] {}) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        QApplication::processEvents();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        besides();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace keysong::test
