#pragma once

#include "Linux/Frontmost/FrontmostSource.h"

#include <memory>

namespace keysong {

/// The window in front by the word of the applications themselves, which tell the accessibility bus when one
/// of their windows is activated.
///
/// Offered only while accessibility is switched on for the desktop ("IsEnabled" or "ScreenReaderEnabled" of
/// org.a11y.Status), which this never does: it would make every application describe its windows to nobody.
/// Listening without it would be of no use: most toolkits are not on the bus then, those of the video calls
/// among them, and the rest would have to send their events for nothing. Whether it is on is looked at when
/// the source is opened. The application in front is known from the first switch on.
[[nodiscard]] std::unique_ptr<FrontmostSource> makeAtspiFrontmost();

} // namespace keysong
