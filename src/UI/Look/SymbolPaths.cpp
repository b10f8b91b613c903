#include "UI/Look/Symbols.h"

#include <QPainterPathStroker>
#include <QTransform>
#include <algorithm>
#include <cmath>

namespace keysong {

namespace {

/// Smaller ones have too few pixels to lay anything out.
constexpr int smallestLaidOut = 14;

/// Turns lengths of a drawing 16 units wide into whole pixels of one size.
class PixelGrid {
  public:
    explicit PixelGrid(int side) : side_(side) {}

    [[nodiscard]] int side() const { return side_; }
    [[nodiscard]] double middle() const { return side_ / 2.0; }
    /// Unrounded, for what is slanted or round anyhow.
    [[nodiscard]] double exact(double units) const { return units * side_ / 16; }
    /// The nearest border between two pixels.
    [[nodiscard]] int snapped(double units) const { return static_cast<int>(std::lround(exact(units))); }
    /// A length of at least a pixel; what lies half-way becomes the smaller one.
    [[nodiscard]] int length(double units) const {
        return std::max(1, static_cast<int>(std::ceil(exact(units) - 0.5)));
    }
    /// A length that can lie in the middle of the square with both edges on pixel borders.
    [[nodiscard]] int centredLength(double units) const {
        const int half = static_cast<int>(std::ceil((exact(units) + side_ % 2 - 1) / 2));
        return 2 * std::max(1, half) - side_ % 2;
    }

  private:
    int side_;
};

QPainterPath stroked(const QPainterPath& line, double width) {
    QPainterPathStroker stroker;
    stroker.setWidth(width);
    stroker.setCapStyle(Qt::RoundCap);
    stroker.setJoinStyle(Qt::RoundJoin);
    return stroker.createStroke(line);
}

void addCentredRect(QPainterPath& path, const PixelGrid& grid, int width, int height, double radius) {
    path.addRoundedRect(QRectF((grid.side() - width) / 2.0, (grid.side() - height) / 2.0, width, height),
                        radius, radius);
}

/// The measures of the keyboard in whole pixels: its frame, its keys, what is between them and around them.
struct KeyboardMeasures {
    static constexpr int columns = 5;
    static constexpr int rows = 3;

    int frame;
    int key;
    int gap;
    int margin;

    explicit KeyboardMeasures(const PixelGrid& grid)
        : frame(grid.length(1.1)), key(grid.length(1.4)), gap(grid.length(1)), margin(gap) {
        const int most = grid.side() - 2 * grid.length(0.6);
        while (width() > most && key > 1) {
            --key;
        }
        while (width() + 2 <= most && margin < gap + 1) {
            ++margin;
        }
    }
    [[nodiscard]] int pitch() const { return key + gap; }
    [[nodiscard]] int span(int keys) const { return keys * pitch() - gap; }
    [[nodiscard]] int width() const { return 2 * (frame + margin) + span(columns); }
    [[nodiscard]] int height() const { return 2 * (frame + margin) + span(rows); }
};

QPainterPath keyboardPath(const PixelGrid& grid) {
    const KeyboardMeasures measures(grid);
    const int left = (grid.side() - measures.width()) / 2;
    const int top = (grid.side() - measures.height()) / 2;
    const QRectF outside(left, top, measures.width(), measures.height());
    const double radius = grid.exact(2);
    const double frame = measures.frame;
    QPainterPath path;
    path.addRoundedRect(outside, radius, radius);
    const double innerRadius = std::max(0.0, radius - frame);
    path.addRoundedRect(outside.adjusted(frame, frame, -frame, -frame), innerRadius, innerRadius);
    const auto addKey = [&](int column, int row, int keys) {
        const int inset = measures.frame + measures.margin;
        const double round = measures.key / 5.0;
        path.addRoundedRect(QRectF(left + inset + column * measures.pitch(),
                                   top + inset + row * measures.pitch(), measures.span(keys), measures.key),
                            round, round);
    };
    for (int row = 0; row < 2; ++row) {
        for (int column = 0; column < KeyboardMeasures::columns; ++column) {
            addKey(column, row, 1);
        }
    }
    addKey(0, 2, 1);
    addKey(1, 2, 3); // the space bar
    addKey(4, 2, 1);
    return path;
}

QPainterPath warningPath(const PixelGrid& grid) {
    const double line = std::max(1.0, grid.exact(1.3));
    const double bottom = grid.snapped(14.25) - line / 2;
    QPainterPath triangle;
    triangle.moveTo(grid.middle(), grid.exact(2.2));
    triangle.lineTo(grid.exact(14.6), bottom);
    triangle.lineTo(grid.exact(1.4), bottom);
    triangle.closeSubpath();
    QPainterPath path = stroked(triangle, line);
    path.setFillRule(Qt::WindingFill);
    const int width = grid.centredLength(1.4);
    const double left = grid.middle() - width / 2.0;
    const int top = grid.snapped(6);
    const int dotTop = grid.snapped(11);
    path.addRoundedRect(QRectF(left, top, width, dotTop - grid.length(0.9) - top), width / 3.0, width / 3.0);
    path.addEllipse(QRectF(left, dotTop, width, width));
    return path;
}

/// The speaker alone, `scale` times its usual size, its left edge at `start` units.
QPainterPath speakerBody(const PixelGrid& grid, double start, double scale) {
    const double round = grid.exact(1);
    const double left = grid.snapped(start) + round / 2;
    const double neck = left + grid.exact(2.6 * scale);
    const double right = grid.snapped(start + 7.4 * scale) - round / 2;
    const double half = grid.snapped(2.4 * scale) - round / 2;
    const double tall = grid.exact(5 * scale) - round / 2;
    const double middle = grid.middle();
    QPainterPath body;
    body.moveTo(left, middle - half);
    body.lineTo(neck, middle - half);
    body.lineTo(right, middle - tall);
    body.lineTo(right, middle + tall);
    body.lineTo(neck, middle + half);
    body.lineTo(left, middle + half);
    body.closeSubpath();
    return body.united(stroked(body, round)).simplified();
}

/// Sound waves to the right of a speaker, nearest first.
QPainterPath wavesPath(const PixelGrid& grid, int count) {
    constexpr double halfAngle = 42;
    const double centre = grid.exact(6.2);
    const double width = std::max(1.0, grid.exact(1.2));
    QPainterPath waves;
    waves.setFillRule(Qt::WindingFill);
    for (int wave = 0; wave < count; ++wave) {
        const double radius = grid.exact(4 + 2.3 * wave);
        const QRectF circle(centre - radius, grid.middle() - radius, 2 * radius, 2 * radius);
        QPainterPath arc;
        arc.arcMoveTo(circle, -halfAngle);
        arc.arcTo(circle, -halfAngle, 2 * halfAngle);
        waves.addPath(stroked(arc, width));
    }
    return waves;
}

QPainterPath speakerPath(const PixelGrid& grid, int waves) {
    QPainterPath path = speakerBody(grid, waves > 0 ? 0 : 4, 1);
    path.setFillRule(Qt::WindingFill);
    path.addPath(wavesPath(grid, waves));
    return path;
}

QPainterPath mutedPath(const PixelGrid& grid) {
    const double width = std::max(1.0, grid.exact(1.3));
    QPainterPath slash;
    slash.moveTo(grid.exact(2), grid.exact(2));
    slash.lineTo(grid.exact(14), grid.exact(14));
    // A gap on both sides of the slash keeps it apart from what it crosses out.
    return speakerBody(grid, 3, 1.3).subtracted(stroked(slash, width * 2.8)).united(stroked(slash, width));
}

QPainterPath playPath(const PixelGrid& grid) {
    const double line = std::max(1.0, grid.exact(1.3));
    const double radius = grid.middle() - grid.length(0.8);
    const QPointF centre(grid.middle(), grid.middle());
    QPainterPath path;
    path.addEllipse(centre, radius, radius);
    path.addEllipse(centre, radius - line, radius - line);
    // Its centre of gravity, not its box, is in the middle of the circle.
    const double reach = grid.exact(3.6);
    const double round = grid.exact(0.8);
    QPainterPath triangle;
    triangle.moveTo(centre.x() + reach - round, centre.y());
    triangle.lineTo(centre.x() - reach / 2 + round / 2, centre.y() - (reach - round) * 0.866);
    triangle.lineTo(centre.x() - reach / 2 + round / 2, centre.y() + (reach - round) * 0.866);
    triangle.closeSubpath();
    path.addPath(triangle.united(stroked(triangle, round)).simplified());
    return path;
}

QPainterPath signPath(const PixelGrid& grid, bool plus) {
    const int line = grid.centredLength(1.4);
    const int reach = grid.centredLength(11);
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    addCentredRect(path, grid, reach, line, line / 2.5);
    if (plus) {
        addCentredRect(path, grid, line, reach, line / 2.5);
    }
    return path;
}

QPainterPath checkMarkPath(const PixelGrid& grid) {
    QPainterPath line;
    line.moveTo(grid.exact(3.2), grid.exact(8.6));
    line.lineTo(grid.exact(6.5), grid.exact(11.9));
    line.lineTo(grid.exact(12.8), grid.exact(4.4));
    return stroked(line, std::max(1.5, grid.exact(1.9)));
}

} // namespace

QPainterPath symbolPath(Symbol symbol, int side) {
    if (side < smallestLaidOut) {
        const double scale = std::max(side, 0) / static_cast<double>(smallestLaidOut);
        return QTransform::fromScale(scale, scale).map(symbolPath(symbol, smallestLaidOut));
    }
    const PixelGrid grid(side);
    switch (symbol) {
    case Symbol::keyboard:
        return keyboardPath(grid);
    case Symbol::warningTriangle:
        return warningPath(grid);
    case Symbol::speaker:
        return speakerPath(grid, 0);
    case Symbol::speakerLoud:
        return speakerPath(grid, 3);
    case Symbol::speakerMuted:
        return mutedPath(grid);
    case Symbol::playCircle:
        return playPath(grid);
    case Symbol::plus:
        return signPath(grid, true);
    case Symbol::minus:
        return signPath(grid, false);
    case Symbol::checkMark:
        return checkMarkPath(grid);
    }
    return {};
}

} // namespace keysong
