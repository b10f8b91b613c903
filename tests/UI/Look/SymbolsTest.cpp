#include "UI/Look/Symbols.h"

#include "App/Panel/PanelPictures.h"
#include "UI/Panel/PanelSymbols.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPalette>
#include <QtEndian>
#include <algorithm>
#include <set>

namespace keysong {
namespace {

constexpr Symbol allSymbols[] = {
    Symbol::keyboard,     Symbol::warningTriangle, Symbol::speaker, Symbol::speakerLoud,
    Symbol::speakerMuted, Symbol::playCircle,      Symbol::plus,    Symbol::minus};

QImage drawn(Symbol symbol, int side, double scale) {
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    paintSymbol(painter, symbol, QRectF(0, 0, side / scale, side / scale), Qt::black);
    return image;
}

TEST(Symbols, KeepWithinTheirSquareAndDifferFromEachOther) {
    for (const int side : {8, 16, 22, 24, 32, 44, 64, 256}) {
        std::set<QByteArray> pictures;
        for (const Symbol symbol : allSymbols) {
            const QRectF bounds = symbolPath(symbol, side).boundingRect();
            EXPECT_TRUE(QRectF(-0.01, -0.01, side + 0.02, side + 0.02).contains(bounds))
                << side << ", symbol " << static_cast<int>(symbol);
            EXPECT_NEAR(bounds.center().y(), side / 2.0, side * 0.08 + 0.5);
            const QImage image = drawn(symbol, side, 1);
            pictures.insert(
                QByteArray(reinterpret_cast<const char*>(image.constBits()), image.sizeInBytes()));
        }
        EXPECT_EQ(pictures.size(), std::size(allSymbols)) << side;
    }
}

TEST(Symbols, StraightLinesAreSharpAtEveryScale) {
    for (const double scale : {1.0, 1.25, 1.5, 1.75, 2.0}) {
        for (const int side : {16, 22, 24, 32, 44}) {
            const QImage image = drawn(Symbol::plus, side, scale);
            for (int x = 0; x < side; ++x) {
                // A line that does not lie on the pixels shows half-tones along its whole length.
                const int alpha = qAlpha(image.pixel(x, side / 4 + side / 8));
                EXPECT_TRUE(alpha == 0 || alpha == 255) << side << " at " << scale;
            }
        }
    }
}

TEST(Symbols, AnIconTakesTheColourOfThePaletteInUse) {
    const QIcon icon = symbolIcon(Symbol::minus);
    for (const Qt::GlobalColor color : {Qt::red, Qt::blue}) {
        QPalette palette;
        palette.setColor(QPalette::ButtonText, color);
        palette.setColor(QPalette::Disabled, QPalette::ButtonText, Qt::gray);
        QGuiApplication::setPalette(palette);
        EXPECT_EQ(icon.pixmap(32).toImage().pixelColor(16, 16), QColor(color));
        EXPECT_EQ(icon.pixmap(32, QIcon::Disabled).toImage().pixelColor(16, 16), QColor(Qt::gray));
    }
    QGuiApplication::setPalette(QPalette());
    EXPECT_EQ(icon.pixmap(QSize(16, 16), 1.5).toImage().size(), QSize(24, 24));
}

TEST(Symbols, APanelOnTheBusGetsTheSamePicture) {
    const auto onGround = [](QRgb color, int ground) {
        return (qGreen(color) * qAlpha(color) + ground * (255 - qAlpha(color))) / 255;
    };
    const auto expectSame = [&onGround](const PanelAppearance& shown, int side) {
        const QByteArray sent = panelPicture(shown, side);
        ASSERT_EQ(sent.size(), side * side * 4);
        const QImage drawn = panelIcon(drawingOf(shown.symbol), shown.isFaint ? faintOpacity : 1)
                                 .pixmap(side)
                                 .toImage()
                                 .convertToFormat(QImage::Format_ARGB32);
        for (int i = 0; i < side * side; ++i) {
            const QRgb pixel = qFromBigEndian<QRgb>(sent.constData() + qsizetype{4} * i);
            for (const int ground : {0, 255}) {
                // As near as four bits come.
                ASSERT_NEAR(onGround(pixel, ground), onGround(drawn.pixel(i % side, i / side), ground),
                            shown.isFaint ? 8 : 17)
                    << side << ", pixel " << i;
            }
        }
    };
    for (const PanelSymbol symbol : panelSymbols) {
        for (const int side : panelPictureSides) {
            expectSame({symbol, false}, side);
            expectSame({symbol, true}, side);
        }
    }
}

} // namespace
} // namespace keysong
