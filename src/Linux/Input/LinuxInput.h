#pragma once

#include "Platform/InputSource.h"
#include "Platform/Places.h"

#include <memory>

namespace keysong {

/// The machine's input: its devices where the process may read them, else the X display. `KEYSONG_INPUT`
/// ("devices" or "x11") leaves only one; another value is logged and leaves both.
[[nodiscard]] std::unique_ptr<InputSource> makeInputSource(const Places& places);

} // namespace keysong
