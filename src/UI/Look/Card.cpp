#include "UI/Look/Card.h"

#include "UI/Look/AccessibleFactory.h"

#include <QAbstractButton>
#include <QAccessibleWidget>
#include <QHBoxLayout>
#include <QPaintEvent>
#include <QPainter>
#include <QVBoxLayout>
#include <utility>

namespace keysong {

namespace {

constexpr qreal cornerRadius = 9;
constexpr int sidePadding = 12;
constexpr int rowPadding = 7;
/// Of what separates one row from the next.
constexpr int lineWidth = 1;

/// Gives a control the name of its row; a button with a text of its own is described by it.
void nameAfterRow(QWidget* control, const QString& label, const QString& caption) {
    const auto* const button = qobject_cast<const QAbstractButton*>(control);
    if (button != nullptr && !button->text().isEmpty()) {
        control->setAccessibleDescription(label);
    } else {
        control->setAccessibleName(label);
    }
    if (!caption.isEmpty()) {
        control->setAccessibleDescription(caption);
    }
}

/// A group, so that assistive programs can say to which one a control belongs.
QAccessibleInterface* makeGroup(SettingsSection& section) {
    return new QAccessibleWidget(&section, QAccessible::Grouping);
}

} // namespace

Caption::Caption(const QString& text, QWidget* parent) : QLabel(text, parent) {
    setWordWrap(true);
    setTextFormat(Qt::PlainText);
    setForegroundRole(QPalette::PlaceholderText);
    QFont smaller = font();
    smaller.setPointSizeF(smaller.pointSizeF() * 0.92);
    setFont(smaller);
}

Card::Card(QWidget* parent) : QWidget(parent), rows_(new QVBoxLayout(this)) {
    rows_->setContentsMargins(sidePadding, 3, sidePadding, 3);
    rows_->setSpacing(lineWidth);
}

void Card::addContent(QWidget* content) {
    rows_->addWidget(content);
}

QWidget* Card::addRow(const QString& label, const QList<QWidget*>& controls, const QString& caption) {
    auto* const row = new QWidget(this);
    row->setMinimumHeight(fontMetrics().height() + 2 * (rowPadding + 4));
    auto* const lines = new QVBoxLayout(row);
    lines->setContentsMargins(0, rowPadding, 0, rowPadding);
    lines->setSpacing(2);
    auto* const line = new QHBoxLayout;
    line->setSpacing(10);
    auto* const name = new QLabel(label, row);
    name->setTextFormat(Qt::PlainText);
    line->addWidget(name);
    line->addStretch(1);
    for (QWidget* const control : controls) {
        line->addWidget(control);
        QWidget* const active = control->focusProxy() != nullptr ? control->focusProxy() : control;
        if (name->buddy() == nullptr && active->focusPolicy() != Qt::NoFocus) {
            name->setBuddy(active);
            nameAfterRow(active, label, caption);
        }
    }
    lines->addLayout(line);
    if (!caption.isEmpty()) {
        lines->addWidget(new Caption(caption, row));
    }
    addContent(row);
    return row;
}

void Card::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    // What lies on the card and changes, a caret or a key's cap, needs only the ground below it anew.
    constexpr int corner = static_cast<int>(cornerRadius);
    if (rect().adjusted(corner, corner, -corner, -corner).contains(event->rect())) {
        painter.fillRect(event->rect(), palette().alternateBase());
    } else {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(palette().mid(), 1));
        painter.setBrush(palette().alternateBase());
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);
    }
    bool isFirst = true;
    for (int i = 0; i < rows_->count(); ++i) {
        const QWidget* const row = rows_->itemAt(i)->widget();
        if (row->isVisible() && !std::exchange(isFirst, false)) {
            painter.fillRect(row->x(), row->y() - lineWidth, row->width(), lineWidth, palette().mid());
        }
    }
}

SettingsSection::SettingsSection(const QString& title, QWidget* parent)
    : QWidget(parent), card_(new Card(this)) {
    installAccessible<SettingsSection, makeGroup>();
    auto* const lines = new QVBoxLayout(this);
    lines->setContentsMargins(0, 0, 0, 0);
    lines->setSpacing(7);
    auto* const heading = new QLabel(title, this);
    QFont bold = heading->font();
    bold.setWeight(QFont::DemiBold);
    heading->setFont(bold);
    heading->setContentsMargins(4, 0, 4, 0);
    setAccessibleName(title);
    lines->addWidget(heading);
    lines->addWidget(card_);
}

void SettingsSection::setFooter(const QString& text) {
    auto* const footer = new Caption(text, this);
    footer->setContentsMargins(4, 0, 4, 0);
    layout()->addWidget(footer);
}

} // namespace keysong
