#pragma once

#include "App/AppWindows.h"
#include "Shared/Log.h"

namespace keysong {

/// The windows of a session without a display: there are none, and the log says so.
class NoWindows final : public AppWindows {
  public:
    std::string showSettings(const Asker&) override {
        log.notice("no display to show the settings on: use keysongctl");
        return "there is no display";
    }
    std::string showOnboarding(const Asker&) override {
        log.notice("not allowed to read the keyboards: add the user to the group \"input\"");
        return "there is no display";
    }
};

} // namespace keysong
