#pragma once

#include "support/Eventually.h"

#include <QCoreApplication>
#include <QEvent>
#include <functional>

namespace keysong::test {

/// Serves the application's events, and `besides`, until the condition holds; false when that takes too long.
[[nodiscard]] inline bool pumpUntil(
    const std::function<bool()>& condition, const std::function<void()>& besides = [] {}) {
    return condition() || eventually([&] {
               QCoreApplication::processEvents();
               QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
               besides();
               return condition();
           });
}

} // namespace keysong::test
