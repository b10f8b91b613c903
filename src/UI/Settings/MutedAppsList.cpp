#include "UI/Settings/MutedAppsList.h"

#include "UI/Settings/AppChooser.h"
#include "UI/Settings/ApplicationIcons.h"
#include "UI/Settings/StrayTyping.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPainter>
#include <QStackedLayout>
#include <QVBoxLayout>

namespace keysong {

namespace {

constexpr qreal cornerRadius = 6;
constexpr int iconSide = 16;
constexpr int shownRows = 4;

/// A list that leaves letters to the window: they are typed, not looked for.
class List final : public QListWidget {
  public:
    using QListWidget::QListWidget;

  protected:
    void keyPressEvent(QKeyEvent* event) override {
        isStrayTyping(*event) ? event->ignore() : QListWidget::keyPressEvent(event);
    }
};

} // namespace

MutedAppsList::MutedAppsList(AppState& model, InstalledApplications& applications, const TextOrder& order,
                             QWidget* parent)
    : QWidget(parent), model_(model), applications_(applications), order_(order), list_(new List(this)),
      none_(new QLabel(tr("No apps added."), list_)), remove_(nullptr) {
    auto* const lines = new QVBoxLayout(this);
    lines->setContentsMargins(1, 9, 1, 9);
    lines->setSpacing(0);
    list_->setFrameShape(QFrame::NoFrame);
    list_->setStyleSheet(QStringLiteral("QListView { background: transparent; border: none; }"));
    list_->setIconSize({iconSide, iconSide});
    list_->setAccessibleName(tr("Apps in which Keysong is silent"));
    list_->setTextElideMode(Qt::ElideRight);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setFixedHeight(shownRows * (fontMetrics().height() + 9) + 8);
    none_->setForegroundRole(QPalette::PlaceholderText);
    none_->setAlignment(Qt::AlignCenter);
    none_->setAttribute(Qt::WA_TransparentForMouseEvents);
    auto* const over = new QVBoxLayout(list_);
    over->addWidget(none_);
    lines->addWidget(list_);

    auto* const buttons = new QHBoxLayout;
    buttons->setContentsMargins(4, 4, 4, 3);
    buttons->setSpacing(2);
    QToolButton* const add = makeButton(Symbol::plus, tr("Add an app"));
    remove_ = makeButton(Symbol::minus, tr("Remove the selected app"));
    buttons->addWidget(add);
    buttons->addWidget(remove_);
    buttons->addStretch(1);
    lines->addLayout(buttons);

    connect(add, &QToolButton::clicked, this, &MutedAppsList::addMutedApp);
    connect(remove_, &QToolButton::clicked, this, &MutedAppsList::removeSelectedMutedApp);
    connect(list_, &QListWidget::itemSelectionChanged, this, &MutedAppsList::followSelection);
    connect(&model_, &AppState::mutedAppsChanged, this, [this] {
        if (isVisible()) { // else the next showing looks
            refill();
        }
    });
    followSelection();
}

QToolButton* MutedAppsList::makeButton(Symbol symbol, const QString& help) {
    auto* const button = new QToolButton(this);
    button->setIcon(symbolIcon(symbol));
    button->setIconSize({iconSide, iconSide});
    button->setToolTip(help);
    button->setAccessibleName(help);
    button->setFocusPolicy(Qt::StrongFocus);
    return button;
}

void MutedAppsList::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor line = palette().color(QPalette::Mid);
    painter.setPen(QPen(line, 1));
    painter.setBrush(palette().base());
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 8.5, -0.5, -8.5), cornerRadius, cornerRadius);
    painter.fillRect(QRect(1, list_->geometry().bottom() + 1, width() - 2, 1), line);
}

void MutedAppsList::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    refill(); // an application may have come or gone since the last time
}

void MutedAppsList::refill() {
    const QListWidgetItem* const before = list_->currentItem();
    const QString selected =
        before != nullptr && before->isSelected() ? before->data(Qt::UserRole).toString() : QString();
    list_->clear();
    for (const std::string& id : model_.mutedApps()) {
        const ApplicationFace face = applicationFace(applications_, id);
        auto* const item = new QListWidgetItem(face.icon, face.name, list_);
        item->setData(Qt::UserRole, QString::fromStdString(id));
        item->setToolTip(QString::fromStdString(id));
        if (item->data(Qt::UserRole).toString() == selected) {
            list_->setCurrentItem(item);
        }
    }
    none_->setVisible(model_.mutedApps().empty());
    followSelection();
}

void MutedAppsList::followSelection() {
    remove_->setEnabled(!list_->selectedItems().isEmpty());
}

void MutedAppsList::addMutedApp() {
    auto* const chooser = new AppChooser(*applications_.list(), order_, window());
    chooser->setAttribute(Qt::WA_DeleteOnClose);
    // The model leaves out what is in the list already.
    connect(chooser, &AppChooser::chosen, this, [this](const std::string& id) { model_.addMutedApp(id); });
    chooser->open();
}

void MutedAppsList::removeSelectedMutedApp() {
    const auto selected = list_->selectedItems();
    if (!selected.isEmpty()) {
        const std::string id = selected.front()->data(Qt::UserRole).toString().toStdString();
        list_->clearSelection();
        list_->setCurrentItem(nullptr);
        model_.removeMutedApp(id);
    }
}

} // namespace keysong
