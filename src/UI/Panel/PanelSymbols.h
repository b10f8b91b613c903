#pragma once

#include "App/Panel/PanelAppearance.h"
#include "UI/Look/Symbols.h"

namespace keysong {

/// The drawing of a symbol of the status item. Pure.
[[nodiscard]] constexpr Symbol drawingOf(PanelSymbol symbol) noexcept {
    switch (symbol) {
    case PanelSymbol::keyboard:
        return Symbol::keyboard;
    case PanelSymbol::speakerMuted:
        return Symbol::speakerMuted;
    case PanelSymbol::warningTriangle:
        break;
    }
    return Symbol::warningTriangle;
}

} // namespace keysong
