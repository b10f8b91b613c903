#pragma once

#include <QColor>
#include <QIcon>
#include <QPainterPath>
#include <QRectF>
#include <cstdint>

class QPainter;

namespace keysong {

/// The program's own symbols. They are drawn, not loaded: nothing has to be installed for them, and they are
/// sharp at every size.
enum class Symbol : std::uint8_t {
    keyboard,
    warningTriangle,
    speaker,
    speakerLoud,
    speakerMuted,
    playCircle,
    plus,
    minus,
    checkMark,
};

/// The outline of a symbol, to be filled, in a square of `side` device pixels with its corner at the origin.
/// Straight edges lie on the borders of pixels, so that a symbol is not the scaled copy of another size but
/// laid out for its own, down to 14. Main thread, as everything here; no errors.
[[nodiscard]] QPainterPath symbolPath(Symbol symbol, int side);

/// Fills the symbol with a colour in the largest square in the middle of `rect`, which is in the painter's
/// own coordinates; the square is moved and shrunk by less than a pixel to lie on the pixels of the device.
void paintSymbol(QPainter& painter, Symbol symbol, const QRectF& rect, const QColor& color);

/// The colours of a symbol with an edge.
inline constexpr QRgb symbolFill = 0xfffafafa;
inline constexpr QRgb symbolEdge = 0xff1c1c1e;

/// As `paintSymbol`, in a light colour with a dark edge around every line, so that it can be seen on a ground
/// whose colour is not known. `opacity`, 0 to 1, is that of the whole.
void paintEdgedSymbol(QPainter& painter, Symbol symbol, const QRectF& rect, double opacity);

/// An icon in the colour of the application's button text: of the palette as it is when the icon is drawn,
/// for its mode (normal, disabled, selected), at any size and device pixel ratio.
[[nodiscard]] QIcon symbolIcon(Symbol symbol);

/// An icon for a panel: the symbol with an edge (`paintEdgedSymbol`), in the sizes that panels ask for.
[[nodiscard]] QIcon panelIcon(Symbol symbol, double opacity);

} // namespace keysong
