#pragma once

#include "App/Panel/PanelAppearance.h"

#include <QByteArray>
#include <array>
#include <cstdint>

namespace keysong {

/// The sides, in pixels, of the squares in which panels get a symbol.
inline constexpr std::array panelPictureSides{16, 22, 24, 32, 44, 48, 64};

/// The pixels of a symbol, row by row and four bytes each: alpha, red, green and blue, as status notifier
/// items carry them. `side` is one of `panelPictureSides`. Any thread.
[[nodiscard]] QByteArray panelPicture(const PanelAppearance& appearance, int side);

/// All symbols in all sizes, in the order of `panelSymbols` and `panelPictureSides`, as tools/panelicons
/// draws them when the program is built. A pixel is a byte: its alpha in the upper four bits, and in the
/// lower ones the part of the light colour in a mixture with the dark one.
extern const std::uint8_t panelPictureData[];
/// The two colours, 0xRRGGBB.
extern const std::uint32_t panelPictureDark;
extern const std::uint32_t panelPictureLight;

} // namespace keysong
