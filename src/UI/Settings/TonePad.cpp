#include "UI/Settings/TonePad.h"

#include "UI/Settings/TonePadAccessible.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace keysong {

namespace {

constexpr qreal cornerRadius = 6;
constexpr qreal handleDiameter = 13;
constexpr float arrowStep = 0.05F;
constexpr float fineStep = 0.01F;

} // namespace

TonePad::TonePad(AppState& model, QWidget* parent, int side, int inset)
    : QWidget(parent), model_(model), inset_(inset) {
    // First of all: naming the pad makes assistive programs look at it.
    TonePadAccessible::install();
    setFixedSize(side, side);
    setFocusPolicy(Qt::StrongFocus);
    // Left is deep whatever the direction of the writing.
    setLayoutDirection(Qt::LeftToRight);
    setAccessibleName(tr("Tone"));
    connect(&model_, &AppState::toneChanged, this, [this] {
        update();
        TonePadAccessible::announce(*this, Axis::tone);
    });
    connect(&model_, &AppState::bodyChanged, this, [this] {
        update();
        TonePadAccessible::announce(*this, Axis::body);
    });
}

QPointF TonePad::handle() const {
    return {inset_ + (static_cast<qreal>(model_.tone()) + 1) * 0.5 * span(),
            inset_ + span() * (1 - static_cast<qreal>(model_.body())) * 0.5};
}

void TonePad::moveTo(QPointF point) {
    const qreal fx = (point.x() - inset_) / span();
    const qreal fy = (point.y() - inset_) / span();
    model_.setTone(fx <= 0 ? -1.0F : static_cast<float>(std::min(fx, 1.0) * 2 - 1));
    model_.setBody(fy <= 0 ? 1.0F : static_cast<float>(1 - 2 * std::min(fy, 1.0)));
}

float TonePad::value(Axis axis) const {
    return axis == Axis::tone ? model_.tone() : model_.body();
}

void TonePad::setValue(Axis axis, float value) {
    const float limited = std::clamp(value, -1.0F, 1.0F);
    axis == Axis::tone ? model_.setTone(limited) : model_.setBody(limited);
}

void TonePad::step(Axis axis, float by) {
    // In whole hundredths, so that as many steps back lead to where one came from, 0 above all.
    setValue(axis, std::round((value(axis) + by) * 100) / 100);
}

void TonePad::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor line = palette().color(QPalette::Mid);
    painter.setPen(hasFocus() ? QPen(palette().highlight(), 1.5) : QPen(line, 1));
    painter.setBrush(palette().base());
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75), cornerRadius, cornerRadius);

    const qreal middle = width() / 2.0;
    const qreal end = width() - inset_;
    painter.setPen(QPen(line, 1));
    painter.drawLine(QPointF(middle, inset_), QPointF(middle, end));
    painter.drawLine(QPointF(inset_, middle), QPointF(end, middle));

    painter.setPen(palette().color(QPalette::PlaceholderText));
    const QRect area = rect().adjusted(inset_ - 1, inset_ - 4, 1 - inset_, 4 - inset_);
    painter.drawText(area, Qt::AlignTop | Qt::AlignRight, tr("clack"));
    painter.drawText(area, Qt::AlignBottom | Qt::AlignLeft, tr("thock"));

    painter.setPen(QPen(palette().base(), 1.5));
    painter.setBrush(palette().highlight());
    painter.drawEllipse(handle(), handleDiameter / 2, handleDiameter / 2);
}

void TonePad::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        dragging_ = true;
        moveTo(event->position());
    }
}

void TonePad::mouseMoveEvent(QMouseEvent* event) {
    if (dragging_) {
        moveTo(event->position());
    }
}

void TonePad::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        dragging_ = false;
    }
}

void TonePad::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        dragging_ = false; // however the hand trembles before it lets go
        model_.resetTone();
    }
}

void TonePad::keyPressEvent(QKeyEvent* event) {
    const float by = (event->modifiers() & Qt::ShiftModifier) != 0 ? fineStep : arrowStep;
    switch (event->key()) {
    case Qt::Key_Left:
        return step(Axis::tone, -by);
    case Qt::Key_Right:
        return step(Axis::tone, by);
    case Qt::Key_Up:
        return step(Axis::body, by);
    case Qt::Key_Down:
        return step(Axis::body, -by);
    case Qt::Key_Home:
        return model_.resetTone();
    default:
        QWidget::keyPressEvent(event);
    }
}

} // namespace keysong
