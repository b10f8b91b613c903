#include "UI/Look/Symbols.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QImage>
#include <QPainter>
#include <QPalette>
#include <QPen>
#include <QPixmap>
#include <QTransform>
#include <algorithm>
#include <cmath>

namespace keysong {

namespace {

/// The symbol's path on the device under a painter, and the way back to the painter's coordinates.
struct PlacedSymbol {
    QRectF square;
    QPainterPath path;
    QTransform toPainter;

    PlacedSymbol(const QPainter& painter, Symbol symbol, const QRectF& rect) {
        const QTransform toDevice = painter.deviceTransform();
        const QRectF device = toDevice.mapRect(rect);
        const int side = static_cast<int>(std::min(device.width(), device.height()) + 0.01);
        const QPointF corner = device.center() - QPointF(side, side) / 2;
        square = QRectF(std::round(corner.x()), std::round(corner.y()), side, side);
        path = symbolPath(symbol, side).translated(square.topLeft());
        toPainter = toDevice.inverted();
    }
};

/// Draws itself on a pixmap of any size.
class DrawnIconEngine : public QIconEngine {
  public:
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        QPixmap pixmap(size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        paint(&painter, QRect(QPoint(), size), mode, state);
        return pixmap;
    }
};

class SymbolIconEngine final : public DrawnIconEngine {
  public:
    explicit SymbolIconEngine(Symbol symbol) : symbol_(symbol) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        const QPalette palette = QGuiApplication::palette();
        const auto group = mode == QIcon::Disabled ? QPalette::Disabled : QPalette::Active;
        const auto role = mode == QIcon::Selected ? QPalette::HighlightedText : QPalette::ButtonText;
        paintSymbol(*painter, symbol_, rect, palette.color(group, role));
    }
    [[nodiscard]] QIconEngine* clone() const override { return new SymbolIconEngine(*this); }

  private:
    Symbol symbol_;
};

class PanelIconEngine final : public DrawnIconEngine {
  public:
    PanelIconEngine(Symbol symbol, double opacity) : symbol_(symbol), opacity_(opacity) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode, QIcon::State) override {
        paintEdgedSymbol(*painter, symbol_, rect, opacity_);
    }
    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override {
        QList<QSize> sizes;
        for (const int side : {16, 22, 24, 32, 44, 48, 64}) {
            sizes.append({side, side});
        }
        return sizes;
    }
    [[nodiscard]] QIconEngine* clone() const override { return new PanelIconEngine(*this); }

  private:
    Symbol symbol_;
    double opacity_;
};

} // namespace

void paintSymbol(QPainter& painter, Symbol symbol, const QRectF& rect, const QColor& color) {
    const PlacedSymbol placed(painter, symbol, rect);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(placed.toPainter.map(placed.path), color);
    painter.restore();
}

void paintEdgedSymbol(QPainter& painter, Symbol symbol, const QRectF& rect, double opacity) {
    const PlacedSymbol placed(painter, symbol, rect);
    const QRect bounds = placed.square.toRect();
    // Light and dark fade as one: drawn one upon the other half transparent, they would mix to grey.
    QImage image(bounds.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter whole(&image);
    whole.setRenderHint(QPainter::Antialiasing);
    whole.translate(-bounds.topLeft());
    const QColor dark(symbolEdge);
    for (const QPolygonF& part : placed.path.toSubpathPolygons()) {
        // Filled, so that what lies within a frame is dark all over.
        QPainterPath solid;
        solid.addPolygon(part);
        whole.fillPath(solid, dark);
    }
    whole.strokePath(placed.path, QPen(dark, 2 * std::max(1.0, placed.square.width() / 20), Qt::SolidLine,
                                       Qt::RoundCap, Qt::RoundJoin));
    whole.fillPath(placed.path, QColor(symbolFill));
    whole.setCompositionMode(QPainter::CompositionMode_DestinationIn);
    whole.fillRect(bounds, QColor::fromRgbF(0, 0, 0, static_cast<float>(opacity)));
    whole.end();
    painter.drawImage(placed.toPainter.mapRect(placed.square), image);
}

QIcon symbolIcon(Symbol symbol) {
    return QIcon(new SymbolIconEngine(symbol));
}

QIcon panelIcon(Symbol symbol, double opacity) {
    return QIcon(new PanelIconEngine(symbol, opacity));
}

} // namespace keysong
