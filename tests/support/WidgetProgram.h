#pragma once

#include "support/PumpUntil.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <cstdlib>
#include <optional>

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

} // namespace keysong::test
