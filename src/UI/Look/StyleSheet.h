#pragma once

#include <QString>

namespace keysong {

/// What the standard controls look like, in the palette's colours. Main thread.
[[nodiscard]] QString styleSheet();

} // namespace keysong
