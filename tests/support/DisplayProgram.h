#pragma once

#include "support/PrivateXServer.h"
#include "support/WidgetProgram.h"

namespace keysong::test {

/// A program with widgets on an X server of its own.
class DisplayProgram : public WidgetProgram {
  public:
    [[nodiscard]] const std::string& display() const { return server_.display(); }

  protected:
    void prepare() override {
        ASSERT_TRUE(server_.start());
        setenv("DISPLAY", server_.display().c_str(), 1);
        setenv("QT_QPA_PLATFORM", "xcb", 1);
    }
    void started() override { QCoreApplication::setApplicationName("Keysong"); }

  private:
    PrivateXServer server_;
};

} // namespace keysong::test
