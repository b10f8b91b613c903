#pragma once

#include "Platform/linux/FrontmostSource.h"

#include <memory>

namespace keysong {

/// The window in front by the word of the applications themselves, which tell the accessibility bus when one
/// of their windows is activated.
///
/// Offered only while accessibility is switched on for the desktop ("IsEnabled" or "ScreenReaderEnabled" of
/// org.a11y.Status), which this never does: it would make every application keep a description of its windows
/// for nobody. Listening without that would also be of little use, since only GTK's applications are on the
/// bus then, and those would start to send more than window events for one listener. The application in front
/// is known from the first switch on.
[[nodiscard]] std::unique_ptr<FrontmostSource> makeAtspiFrontmost();

} // namespace keysong
