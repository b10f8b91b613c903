// keysong-panelicons FILE: draws the symbols of the status item while the program is built, and writes them
// as C++ source. The program itself has nothing to draw with.

#include "App/Panel/PanelPictures.h"
#include "UI/Panel/PanelSymbols.h"

#include <QImage>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <fstream>
#include <ios>
#include <iostream>

namespace {

using namespace keysong;

unsigned inFourBits(double share) {
    return static_cast<unsigned>(std::lround(std::clamp(share, 0.0, 1.0) * 15));
}

unsigned packed(QRgb pixel) {
    const double light = (qRed(pixel) - qRed(symbolEdge)) / double(qRed(symbolFill) - qRed(symbolEdge));
    return inFourBits(qAlpha(pixel) / 255.0) << 4U | (qAlpha(pixel) == 0 ? 0 : inFourBits(light));
}

void write(std::ostream& out, PanelSymbol symbol, int side) {
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    paintEdgedSymbol(painter, drawingOf(symbol), image.rect(), 1);
    painter.end();
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            out << packed(image.pixel(x, y)) << ',';
        }
        out << '\n';
    }
}

void writeAll(std::ostream& out) {
    out << "#include \"App/Panel/PanelPictures.h\"\n\nnamespace keysong {\n\n"
        << "const std::uint32_t panelPictureDark = " << (symbolEdge & RGB_MASK) << ";\n"
        << "const std::uint32_t panelPictureLight = " << (symbolFill & RGB_MASK) << ";\n"
        << "const std::uint8_t panelPictureData[] = {\n";
    for (const PanelSymbol symbol : panelSymbols) {
        for (const int side : panelPictureSides) {
            write(out, symbol, side);
        }
    }
    out << "};\n\n} // namespace keysong\n";
}

} // namespace

int main(int count, char** words) {
    if (count != 2) {
        std::cerr << "usage: keysong-panelicons FILE\n";
        return 2;
    }
    std::ofstream out(words[1]);
    writeAll(out);
    out.close();
    if (!out) {
        std::cerr << words[1] << " could not be written\n";
        return 1;
    }
    return 0;
}
