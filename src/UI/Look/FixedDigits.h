#pragma once

#include <QFont>

namespace keysong {

/// A font for numbers that change while they are looked at: the given one where its digits are all of one
/// width, else one of the same size and weight with digits that are. Main thread, after the application
/// object was made.
[[nodiscard]] QFont withFixedDigits(const QFont& font);

} // namespace keysong
