#include "App/Panel/PanelAppearance.h"

#include "App/AppState.h"

namespace keysong {

PanelAppearance panelAppearance(const AppState& state) {
    if (!state.hasAccess()) {
        return {PanelSymbol::warningTriangle, true};
    }
    if (!state.isEnabled()) {
        return {PanelSymbol::speakerMuted, true};
    }
    return {PanelSymbol::keyboard, state.isSleeping()};
}

} // namespace keysong
