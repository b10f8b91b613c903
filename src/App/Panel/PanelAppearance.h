#pragma once

#include <array>
#include <cstdint>

namespace keysong {

class AppState;

/// The symbols that the status item may show.
enum class PanelSymbol : std::uint8_t { keyboard, speakerMuted, warningTriangle };
inline constexpr std::array panelSymbols{PanelSymbol::keyboard, PanelSymbol::speakerMuted,
                                         PanelSymbol::warningTriangle};

/// The opacity, 0 to 1, of the symbol of a program that makes no sound.
inline constexpr double faintOpacity = 0.4;

/// What the status item looks like.
struct PanelAppearance {
    PanelSymbol symbol;
    bool isFaint;

    friend bool operator==(const PanelAppearance&, const PanelAppearance&) = default;
};

/// The looks that tell the state. Main thread.
[[nodiscard]] PanelAppearance panelAppearance(const AppState& state);

} // namespace keysong
