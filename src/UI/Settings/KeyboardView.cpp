#include "UI/Settings/KeyboardView.h"

#include "App/HeldKeys.h"

#include <QPaintEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <utility>

namespace keysong {

namespace {

constexpr double gap = 2;
constexpr double capHeight = 0.86;
constexpr double smallestCap = 8;
constexpr double aspectRatio = 3;
constexpr qreal cornerRadius = 3;

double rowUnits(const std::vector<KeyboardView::Key>& row) {
    double units = 0;
    for (const KeyboardView::Key& key : row) {
        units += key.width;
    }
    return units;
}

/// The unit with which every row, the widest too, lies within the width.
double unitFor(double width) {
    double unit = width;
    for (const auto& row : KeyboardView::rows()) {
        unit = std::min(unit, (width - gap * static_cast<double>(row.size() - 1)) / rowUnits(row));
    }
    return unit;
}

QSizeF capSize(const KeyboardView::Key& key, double unit) {
    return {std::max(key.width * unit, smallestCap), std::max(unit * capHeight, smallestCap)};
}

} // namespace

KeyboardView::KeyboardView(const HeldKeys& keys, QWidget* parent)
    : QWidget(parent), keys_(keys), down_(keys.down()) {
    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    // A keyboard has its left on the left, whatever the direction of the writing.
    setLayoutDirection(Qt::LeftToRight);
    setAccessibleName(tr("Keyboard"));
    connect(&keys_, &HeldKeys::downChanged, this, &KeyboardView::follow);
}

const std::vector<std::vector<KeyboardView::Key>>& KeyboardView::rows() {
    // clang-format off
    static const std::vector<std::vector<Key>> table = {
        {{53, "esc", 1.3}, {122, "F1"}, {120, "F2"}, {99, "F3"}, {118, "F4"}, {96, "F5"}, {97, "F6"},
         {98, "F7"}, {100, "F8"}, {101, "F9"}, {109, "F10"}, {103, "F11"}, {111, "F12"}},
        {{50, "`"}, {18, "1"}, {19, "2"}, {20, "3"}, {21, "4"}, {23, "5"}, {22, "6"}, {26, "7"}, {28, "8"},
         {25, "9"}, {29, "0"}, {27, "-"}, {24, "="}, {51, "delete", 1.7}},
        {{48, "tab", 1.5}, {12, "Q"}, {13, "W"}, {14, "E"}, {15, "R"}, {17, "T"}, {16, "Y"}, {32, "U"},
         {34, "I"}, {31, "O"}, {35, "P"}, {33, "["}, {30, "]"}, {42, "\\", 1.2}},
        {{57, "caps", 1.8}, {0, "A"}, {1, "S"}, {2, "D"}, {3, "F"}, {5, "G"}, {4, "H"}, {38, "J"},
         {40, "K"}, {37, "L"}, {41, ";"}, {39, "'"}, {36, "return", 1.9}},
        {{56, "shift", 2.3}, {6, "Z"}, {7, "X"}, {8, "C"}, {9, "V"}, {11, "B"}, {45, "N"}, {46, "M"},
         {43, ","}, {47, "."}, {44, "/"}, {60, "shift", 2.4}},
        {{63, "fn"}, {59, "ctrl"}, {58, "opt"}, {55, "cmd", 1.3}, {49, "", 5.6}, {54, "cmd", 1.3},
         {61, "opt"}, {123, "\u25c0"}, {126, "\u25b2"}, {125, "\u25bc"}, {124, "\u25b6"}}};
    // clang-format on
    return table;
}

int KeyboardView::heightForWidth(int width) const {
    const auto count = static_cast<double>(rows().size());
    const double rowHeight = std::max(unitFor(width) * capHeight, smallestCap);
    return static_cast<int>(std::ceil(std::max(width / aspectRatio, count * rowHeight + (count - 1) * gap)));
}

QRectF KeyboardView::capOf(std::uint16_t code) const {
    const auto cap = std::ranges::find_if(caps_, [&](const Cap& each) { return each.key->code == code; });
    return cap != caps_.end() ? cap->area : QRectF();
}

bool KeyboardView::isHeld(std::uint16_t code) const {
    return code < 256 && ((down_[code / 64U] >> (code % 64U)) & 1U) != 0;
}

void KeyboardView::follow() {
    const KeyBitmap now = keys_.down();
    const KeyBitmap before = std::exchange(down_, now);
    for (const Cap& cap : caps_) {
        const std::size_t word = cap.key->code / 64U;
        if (((before[word] ^ now[word]) >> (cap.key->code % 64U) & 1U) != 0) {
            update(cap.area.toAlignedRect());
        }
    }
}

void KeyboardView::layOut() {
    unit_ = unitFor(width());
    caps_.clear();
    const double rowHeight = std::max(unit_ * capHeight, smallestCap);
    const auto count = static_cast<double>(rows().size());
    double top = (height() - count * rowHeight - (count - 1) * gap) / 2;
    for (const auto& row : rows()) {
        double rowWidth = gap * static_cast<double>(row.size() - 1);
        for (const Key& key : row) {
            rowWidth += capSize(key, unit_).width();
        }
        double left = (width() - rowWidth) / 2;
        for (const Key& key : row) {
            const QSizeF size = capSize(key, unit_);
            caps_.push_back({&key, QRectF(QPointF(left, top), size)});
            left += size.width() + gap;
        }
        top += rowHeight + gap;
    }
}

void KeyboardView::drawCap(QPainter& painter, const Cap& cap) const {
    const bool held = isHeld(cap.key->code);
    QColor background = palette().color(QPalette::Text);
    background.setAlphaF(held ? 0.85F : 0.09F);
    painter.setPen(Qt::NoPen);
    painter.setBrush(background);
    painter.drawRoundedRect(cap.area, cornerRadius, cornerRadius);

    const QString label = QString::fromUtf8(cap.key->label);
    const double room = cap.area.width() - 4;
    const double size = std::max(unit_ * 0.3, 5.0);
    QFont labelFont = font();
    labelFont.setWeight(QFont::Medium);
    labelFont.setPixelSize(std::max(1, static_cast<int>(std::lround(size))));
    const double wanted = QFontMetricsF(labelFont).horizontalAdvance(label);
    if (wanted > room) {
        labelFont.setPixelSize(std::max(1, static_cast<int>(size * std::max(0.5, room / wanted))));
    }
    painter.setFont(labelFont);
    painter.setPen(palette().color(held ? QPalette::Window : QPalette::PlaceholderText));
    painter.drawText(cap.area, Qt::AlignCenter, label);
}

void KeyboardView::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    for (const Cap& cap : caps_) {
        if (event->region().intersects(cap.area.toAlignedRect())) {
            drawCap(painter, cap);
        }
    }
}

void KeyboardView::resizeEvent(QResizeEvent*) {
    layOut();
}

} // namespace keysong
