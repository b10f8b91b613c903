#pragma once

#include "Linux/Input/PointerChoices.h"
#include "Platform/InputSource.h"
#include "Platform/Places.h"

#include <memory>

namespace keysong {

/// The machine's input: its devices where the process may read them, else the X display. `KEYSONG_INPUT`
/// ("devices" or "x11") leaves only one; another value is logged and leaves both. The devices are set up as
/// `choices` has them.
[[nodiscard]] std::unique_ptr<InputSource>
makeInputSource(const Places& places,
                std::shared_ptr<PointerChoices> choices = std::make_shared<PointerChoices>());

} // namespace keysong
