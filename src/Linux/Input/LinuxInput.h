#pragma once

#include "Linux/Input/PointerChoices.h"
#include "Platform/InputSource.h"
#include "Platform/Places.h"

#include <memory>

namespace keysong {

/// The machine's input: what `service` sends, where it may be had; else the devices where the process may
/// read them, set up as `choices` has them, else the X display. `KEYSONG_INPUT` ("service", "devices" or
/// "x11") leaves only one; another value is logged and leaves all.
[[nodiscard]] std::unique_ptr<InputSource>
makeInputSource(const Places& places, std::unique_ptr<InputSource> service,
                std::shared_ptr<PointerChoices> choices = std::make_shared<PointerChoices>());

} // namespace keysong
