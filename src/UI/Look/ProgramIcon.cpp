#include "UI/Look/ProgramIcon.h"

#include <QIconEngine>
#include <QLinearGradient>
#include <QPainter>

namespace keysong {

namespace {

/// The side of the square in which the picture is described.
constexpr int pictureSide = 64;

/// A rounded rectangle, filled from its top to its bottom with two colours.
struct Part {
    QRect area;
    int radius;
    QRgb top, bottom;
};

constexpr Part parts[] = {
    {{4, 4, 56, 56}, 13, 0xff2358c4, 0xff143478}, // the keycap's sides
    {{8, 4, 48, 46}, 11, 0xff6aa8ff, 0xff2a6fe8}, // and its top
    {{16, 20, 8, 16}, 4, 0xffffffff, 0xffffffff}, // a sound that rises
    {{28, 12, 8, 32}, 4, 0xffffffff, 0xffffffff},
    {{40, 24, 8, 8}, 4, 0xffffffff, 0xffffffff}, // and dies away
};

class Engine final : public QIconEngine {
  public:
    void paint(QPainter* painter, const QRect& rect, QIcon::Mode, QIcon::State) override {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(Qt::NoPen);
        const int side = qMin(rect.width(), rect.height());
        painter->translate(rect.center() - QRect(0, 0, side, side).center());
        painter->scale(side / double{pictureSide}, side / double{pictureSide});
        for (const Part& part : parts) {
            const QRectF area(part.area);
            QLinearGradient fill(area.topLeft(), area.bottomLeft());
            fill.setColorAt(0, QColor(part.top));
            fill.setColorAt(1, QColor(part.bottom));
            painter->setBrush(fill);
            painter->drawRoundedRect(area, part.radius, part.radius);
        }
        painter->restore();
    }

    [[nodiscard]] QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        QPixmap result(size);
        result.fill(Qt::transparent);
        QPainter painter(&result);
        paint(&painter, QRect({}, size), mode, state);
        return result;
    }

    [[nodiscard]] QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override {
        // What window managers and panels ask for.
        return {{16, 16}, {24, 24}, {32, 32}, {48, 48}, {64, 64}, {128, 128}};
    }

    [[nodiscard]] QIconEngine* clone() const override { return new Engine; }
};

} // namespace

QIcon drawnProgramIcon() {
    return QIcon(new Engine);
}

QIcon programIcon() {
    const QIcon installed = QIcon::fromTheme(QStringLiteral("com.orlen.keysong"));
    // A theme names pictures that may turn out to be unreadable.
    return installed.pixmap(32).isNull() ? drawnProgramIcon() : installed;
}

} // namespace keysong
