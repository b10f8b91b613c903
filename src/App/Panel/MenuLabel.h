#pragma once

#include <QString>

namespace keysong {

/// A name from outside, such as a device's, as the text of a menu item: on one line and at most forty
/// characters long, with the middle left out. Any thread.
[[nodiscard]] QString menuText(const QString& name);

} // namespace keysong
