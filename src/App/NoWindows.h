#pragma once

#include "App/AppWindows.h"
#include "Shared/Log.h"

namespace keysong {

/// The windows of a session without a display: there are none, and the log says so.
class NoWindows final : public AppWindows {
  public:
    void showSettings() override { log.notice("no display to show the settings on: use keysongctl"); }
    void showOnboarding() override {
        log.notice("not allowed to read the keyboards: add the user to the group \"input\"");
    }
};

} // namespace keysong
