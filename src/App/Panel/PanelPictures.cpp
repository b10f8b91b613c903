#include "App/Panel/PanelPictures.h"

#include <cmath>
#include <cstddef>
#include <stdexcept>

namespace keysong {

namespace {

/// The most that four bits hold.
constexpr int most = 15;

std::size_t pixelsIn(int side) {
    return static_cast<std::size_t>(side) * static_cast<std::size_t>(side);
}

const std::uint8_t* pixelsOf(PanelSymbol symbol, int side) {
    std::size_t ofSymbol = 0;
    std::size_t before = 0;
    bool isKnown = false;
    for (const int other : panelPictureSides) {
        isKnown = isKnown || other == side;
        before += isKnown ? 0 : pixelsIn(other);
        ofSymbol += pixelsIn(other);
    }
    if (!isKnown) {
        throw std::invalid_argument("no symbol is drawn in this size");
    }
    return panelPictureData + static_cast<std::size_t>(symbol) * ofSymbol + before;
}

/// A part of a mixed colour.
char mixed(int light, int shift) {
    const auto partOf = [shift](std::uint32_t color) { return static_cast<int>(color >> shift & 0xFFU); };
    const int dark = partOf(panelPictureDark) * (most - light);
    return static_cast<char>((dark + partOf(panelPictureLight) * light + most / 2) / most);
}

} // namespace

QByteArray panelPicture(const PanelAppearance& appearance, int side) {
    const std::uint8_t* const pixels = pixelsOf(appearance.symbol, side);
    const double opacity = appearance.isFaint ? faintOpacity : 1;
    QByteArray result;
    result.reserve(static_cast<qsizetype>(pixelsIn(side) * 4));
    for (std::size_t i = 0; i < pixelsIn(side); ++i) {
        const int alpha = pixels[i] >> 4;
        const int light = pixels[i] & most;
        result.append(static_cast<char>(std::lround(alpha * opacity * 255 / most)));
        result.append(mixed(light, 16)).append(mixed(light, 8)).append(mixed(light, 0));
    }
    return result;
}

} // namespace keysong
