#pragma once

#include "Platform/InputSource.h"

#include <memory>

namespace keysong {

/// The machine's input: its devices where the process may read them, else the X display.
[[nodiscard]] std::unique_ptr<InputSource> makeInputSource();

} // namespace keysong
