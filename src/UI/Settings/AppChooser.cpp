#include "UI/Settings/AppChooser.h"

#include "UI/Settings/ApplicationIcons.h"

#include <QAbstractListModel>
#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QStyledItemDelegate>
#include <QVBoxLayout>
#include <algorithm>

namespace keysong {

namespace {

constexpr int iconSide = 24;
constexpr QSize dialogSize(380, 440);
/// What is typed is looked for in this: the name, then the identifier.
constexpr int searchRole = Qt::UserRole + 1;

/// Gives every name the same place, however narrow the icon before it is.
class RowDelegate final : public QStyledItemDelegate {
  public:
    using QStyledItemDelegate::QStyledItemDelegate;

  protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
        const QSize whole = option->decorationSize;
        QStyledItemDelegate::initStyleOption(option, index);
        option->decorationSize = whole;
    }
};

} // namespace

/// The applications that are offered to people, in the order of their names. An icon is looked up when its
/// row is drawn first.
class AppChooser::Model final : public QAbstractListModel {
  public:
    Model(const InstalledApplications::List& applications, const TextOrder& order) {
        std::ranges::copy_if(applications, std::back_inserter(applications_),
                             &InstalledApplication::isListed);
        std::ranges::sort(applications_, [&](const auto& a, const auto& b) {
            const int names = order.compare(a.name, b.name);
            return names != 0 ? names < 0 : a.id < b.id;
        });
        icons_.resize(applications_.size());
    }

    [[nodiscard]] int rowCount(const QModelIndex& parent) const override {
        return parent.isValid() ? 0 : static_cast<int>(applications_.size());
    }

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override {
        const auto row = static_cast<std::size_t>(index.row());
        const InstalledApplication& application = applications_[row];
        switch (role) {
        case Qt::DisplayRole:
            return QString::fromStdString(application.name);
        case Qt::ToolTipRole:
        case Qt::UserRole:
            return QString::fromStdString(application.id);
        case searchRole:
            return QString::fromStdString(application.name + ' ' + application.id);
        case Qt::DecorationRole:
            if (icons_[row].isNull()) {
                icons_[row] = applicationIcon(application.icon);
            }
            return icons_[row];
        default:
            return {};
        }
    }

  private:
    std::vector<InstalledApplication> applications_;
    mutable std::vector<QIcon> icons_;
};

AppChooser::AppChooser(const InstalledApplications::List& applications, const TextOrder& order,
                       QWidget* parent)
    : QDialog(parent), model_(std::make_unique<Model>(applications, order)),
      shown_(std::make_unique<QSortFilterProxyModel>()), search_(new QLineEdit(this)),
      list_(new QListView(this)), add_(nullptr) {
    setWindowTitle(tr("Add an app"));
    setWindowModality(Qt::WindowModal);
    shown_->setSourceModel(model_.get());
    shown_->setFilterRole(searchRole);
    shown_->setFilterCaseSensitivity(Qt::CaseInsensitive);

    search_->setPlaceholderText(tr("Search"));
    search_->setAccessibleName(tr("Search"));
    search_->setClearButtonEnabled(true);
    search_->setMaxLength(200);
    search_->installEventFilter(this);
    list_->setModel(shown_.get());
    list_->setIconSize({iconSide, iconSide});
    list_->setItemDelegate(new RowDelegate(list_));
    list_->setUniformItemSizes(true);
    list_->setTextElideMode(Qt::ElideRight);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setAccessibleName(tr("Installed apps"));

    auto* const message = new QLabel(tr("Choose an app Keysong should stay silent in."), this);
    message->setWordWrap(true);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    add_ = buttons->addButton(tr("Add"), QDialogButtonBox::AcceptRole);
    add_->setDefault(true);

    auto* const lines = new QVBoxLayout(this);
    lines->setSpacing(10);
    for (QWidget* const part : {static_cast<QWidget*>(message), static_cast<QWidget*>(search_),
                                static_cast<QWidget*>(list_), static_cast<QWidget*>(buttons)}) {
        lines->addWidget(part);
    }
    connect(search_, &QLineEdit::textChanged, this, &AppChooser::narrow);
    connect(list_, &QListView::doubleClicked, this, &AppChooser::finish);
    connect(list_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { add_->setEnabled(selected().isValid()); });
    connect(buttons, &QDialogButtonBox::accepted, this, &AppChooser::finish);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    narrow({});
    resize(dialogSize.expandedTo(sizeHint()));
}

AppChooser::~AppChooser() {
    list_->setModel(nullptr);
}

bool AppChooser::eventFilter(QObject* watched, QEvent* event) {
    // The arrows walk through the list while the search has the focus.
    if (watched == search_ && event->type() == QEvent::KeyPress) {
        auto& press = static_cast<QKeyEvent&>(*event);
        const int by = press.key() == Qt::Key_Down ? 1 : press.key() == Qt::Key_Up ? -1 : 0;
        if (by != 0) {
            const int last = shown_->rowCount() - 1;
            const int row = qBound(0, selected().row() + by, qMax(0, last));
            list_->setCurrentIndex(shown_->index(row, 0));
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void AppChooser::narrow(const QString& text) {
    shown_->setFilterFixedString(text);
    const QModelIndex first = shown_->index(0, 0);
    list_->setCurrentIndex(first);
    add_->setEnabled(first.isValid());
}

QModelIndex AppChooser::selected() const {
    // Not the current one, which stays where it is when an assistive program selects another.
    const QModelIndexList selection = list_->selectionModel()->selectedIndexes();
    return selection.isEmpty() ? QModelIndex() : selection.front();
}

void AppChooser::finish() {
    const QModelIndex application = selected();
    if (application.isValid()) {
        emit chosen(application.data(Qt::UserRole).toString().toStdString());
        accept();
    }
}

} // namespace keysong
