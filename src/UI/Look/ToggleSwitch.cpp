#include "UI/Look/ToggleSwitch.h"

#include <QPainter>
#include <QStyle>

namespace keysong {

namespace {

constexpr int slideMilliseconds = 120;
/// Room around the track for the focus ring.
constexpr qreal ring = 3;

} // namespace

ToggleSwitch::ToggleSwitch(QWidget* parent) : QCheckBox(parent) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setFocusPolicy(Qt::StrongFocus);
    knob_.setStartValue(0.0);
    knob_.setEndValue(1.0);
    knob_.setDuration(slideMilliseconds);
    knob_.setEasingCurve(QEasingCurve::InOutQuad);
    connect(&knob_, &QVariantAnimation::valueChanged, this, [this] { update(); });
    connect(this, &QCheckBox::toggled, this, &ToggleSwitch::slide);
}

QSize ToggleSwitch::sizeHint() const {
    const int height = qMax(18, fontMetrics().height() + 3);
    return {static_cast<int>(height * 1.75 + 2 * ring), static_cast<int>(height + 2 * ring)};
}

void ToggleSwitch::slide(bool on) {
    knob_.setDirection(on ? QAbstractAnimation::Forward : QAbstractAnimation::Backward);
    // A desktop without animations, or a switch that nobody sees, gets the end at once.
    if (!isVisible() || style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, this) == 0) {
        knob_.stop();
        knob_.setCurrentTime(on ? slideMilliseconds : 0);
        update();
    } else if (knob_.state() != QAbstractAnimation::Running) {
        knob_.start();
    }
}

void ToggleSwitch::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF track = QRectF(rect()).adjusted(ring, ring, -ring, -ring);
    const qreal position = knob_.currentValue().toReal();
    const QColor off = palette().color(QPalette::Midlight);
    const QColor on = palette().color(QPalette::Highlight);
    const auto mixed = [&](int a, int b) { return static_cast<int>(a + (b - a) * position); };
    painter.setOpacity(isEnabled() ? 1.0 : 0.5);
    painter.setPen(Qt::NoPen);
    painter.setBrush(
        QColor(mixed(off.red(), on.red()), mixed(off.green(), on.green()), mixed(off.blue(), on.blue())));
    painter.drawRoundedRect(track, track.height() / 2, track.height() / 2);
    const qreal diameter = track.height() - 4;
    const qreal way = track.width() - diameter - 4;
    const qreal along = layoutDirection() == Qt::RightToLeft ? 1 - position : position;
    painter.setBrush(Qt::white);
    painter.drawEllipse(QRectF(track.left() + 2 + way * along, track.top() + 2, diameter, diameter));
    if (hasFocus()) {
        painter.setOpacity(1);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(palette().highlight(), 1.5));
        const QRectF outline = QRectF(rect()).adjusted(1, 1, -1, -1);
        painter.drawRoundedRect(outline, outline.height() / 2, outline.height() / 2);
    }
}

} // namespace keysong
