#include "UI/Settings/PickerBox.h"

#include "UI/Settings/StrayTyping.h"

#include <QAbstractItemView>
#include <QPainter>
#include <QPainterPath>
#include <QSignalBlocker>
#include <QStandardItemModel>
#include <QStyledItemDelegate>
#include <QWheelEvent>

namespace keysong {

namespace {

constexpr int mostVisibleEntries = 16;
constexpr int widestPopup = 420;
constexpr int indentation = 10;
constexpr int shortestChoice = 12;

/// Indents what stands below a heading, and gives both some air.
class GroupedDelegate final : public QStyledItemDelegate {
  public:
    using QStyledItemDelegate::QStyledItemDelegate;

    bool indents = false;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        QStyleOptionViewItem shifted = option;
        if (indents && (index.flags() & Qt::ItemIsEnabled) != 0 &&
            (option.state & QStyle::State_Selected) != 0) {
            painter->fillRect(option.rect, option.palette.highlight());
        }
        if (indents && (index.flags() & Qt::ItemIsEnabled) != 0) {
            shifted.rect.adjust(option.direction == Qt::RightToLeft ? 0 : indentation, 0,
                                option.direction == Qt::RightToLeft ? -indentation : 0, 0);
        }
        QStyledItemDelegate::paint(painter, shifted, index);
    }

    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option,
                                 const QModelIndex& index) const override {
        const QSize size = QStyledItemDelegate::sizeHint(option, index);
        return {size.width() + (indents ? indentation : 0), size.height() + 6};
    }
};

} // namespace

PickerBox::PickerBox(QWidget* parent) : QComboBox(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setMaxVisibleItems(mostVisibleEntries);
    setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    setMinimumContentsLength(shortestChoice);
    setItemDelegate(new GroupedDelegate(this));
    view()->setTextElideMode(Qt::ElideMiddle);
    view()->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    connect(this, &QComboBox::activated, this, [this](int index) { emit chosen(itemData(index)); });
    // Assistive programs select an entry of the list. What the pointer or the keys select is the current one
    // by the time that the event is over, and not chosen yet.
    connect(view()->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &PickerBox::adoptSelection, Qt::QueuedConnection);
}

void PickerBox::adoptSelection() {
    const QModelIndexList selected = view()->selectionModel()->selectedIndexes();
    if (selected.size() != 1 || selected.front() == view()->currentIndex() ||
        (selected.front().flags() & Qt::ItemIsEnabled) == 0) {
        return;
    }
    const int index = selected.front().row();
    hidePopup();
    setCurrentIndex(index);
    view()->setCurrentIndex(selected.front());
    emit chosen(itemData(index));
}

void PickerBox::refill(const std::function<void()>& fill, const QVariant& current) {
    const QSignalBlocker blocker(this);
    clear();
    hasHeadings_ = false;
    fill();
    static_cast<GroupedDelegate*>(itemDelegate())->indents = hasHeadings_;
    showChoice(current);
    if (view()->isVisible()) { // an open list goes on from the chosen entry
        view()->setCurrentIndex(model()->index(currentIndex(), modelColumn()));
    }
}

void PickerBox::addHeading(const QString& text) {
    hasHeadings_ = true;
    addItem(text);
    auto* const item = static_cast<QStandardItemModel*>(model())->item(count() - 1);
    item->setFlags(Qt::NoItemFlags);
    QFont heading = font();
    heading.setWeight(QFont::DemiBold);
    heading.setPointSizeF(heading.pointSizeF() * 0.9);
    item->setFont(heading);
    colorHeadings();
}

void PickerBox::colorHeadings() {
    auto* const items = static_cast<QStandardItemModel*>(model());
    for (int index = 0; index < count(); ++index) {
        if (items->item(index)->flags() == Qt::NoItemFlags) {
            items->item(index)->setForeground(palette().placeholderText());
        }
    }
}

void PickerBox::changeEvent(QEvent* event) {
    QComboBox::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        colorHeadings();
    }
}

void PickerBox::addEntry(const QString& text, const QVariant& value) {
    addItem(text, value);
    setItemData(count() - 1, text, Qt::ToolTipRole); // for a name that is too long to be seen whole
}

void PickerBox::showChoice(const QVariant& value) {
    const QSignalBlocker blocker(this);
    int chosenIndex = -1;
    for (int index = 0; index < count() && chosenIndex < 0; ++index) {
        const bool isEntry = (model()->flags(model()->index(index, 0)) & Qt::ItemIsEnabled) != 0;
        chosenIndex = isEntry && itemData(index) == value ? index : -1;
    }
    setCurrentIndex(chosenIndex);
}

void PickerBox::showPopup() {
    const int contents = view()->sizeHintForColumn(0) + 2 * view()->frameWidth() + 24;
    view()->setMinimumWidth(qBound(width(), contents, qMax(width(), widestPopup)));
    QComboBox::showPopup();
}

void PickerBox::paintEvent(QPaintEvent* event) {
    QComboBox::paintEvent(event);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal across = layoutDirection() == Qt::RightToLeft ? 15 : width() - 15;
    QPainterPath chevron(QPointF(across - 3.5, height() / 2.0 - 1.75));
    chevron.lineTo(across, height() / 2.0 + 1.75);
    chevron.lineTo(across + 3.5, height() / 2.0 - 1.75);
    painter.setPen(
        QPen(palette().color(QPalette::PlaceholderText), 1.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(chevron);
}

void PickerBox::wheelEvent(QWheelEvent* event) {
    hasFocus() ? QComboBox::wheelEvent(event) : event->ignore();
}

void PickerBox::keyPressEvent(QKeyEvent* event) {
    isStrayTyping(*event) && event->key() != Qt::Key_Space ? event->ignore()
                                                           : QComboBox::keyPressEvent(event);
}

} // namespace keysong
