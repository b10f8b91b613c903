#pragma once

#include "Platform/InstalledApplications.h"
#include "Platform/TextOrder.h"

#include <QDialog>
#include <QModelIndex>
#include <memory>
#include <string>

class QLineEdit;
class QListView;
class QPushButton;
class QSortFilterProxyModel;

namespace keysong {

/// Lets the user choose one of the installed applications: a list with icons, narrowed by what is typed.
/// Main thread.
class AppChooser final : public QDialog {
    Q_OBJECT

  public:
    AppChooser(const InstalledApplications::List& applications, const TextOrder& order, QWidget* parent);
    ~AppChooser() override;

  signals:
    /// The user chose this application; the dialog closes.
    void chosen(const std::string& id);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    class Model;

    void narrow(const QString& text);
    /// Not valid where nothing is.
    [[nodiscard]] QModelIndex selected() const;
    void finish();

    std::unique_ptr<Model> model_;
    std::unique_ptr<QSortFilterProxyModel> shown_;
    QLineEdit* search_;
    QListView* list_;
    QPushButton* add_;
};

} // namespace keysong
