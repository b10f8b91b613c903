#pragma once

#include <QLabel>
#include <QList>
#include <QWidget>

class QVBoxLayout;

namespace keysong {

/// A note in the secondary colour, as wide as its surroundings, wrapped. Main thread.
class Caption final : public QLabel {
    Q_OBJECT

  public:
    explicit Caption(const QString& text, QWidget* parent = nullptr);
};

/// A rounded box that holds rows, with a thin line between one and the next. Main thread.
class Card final : public QWidget {
    Q_OBJECT

  public:
    explicit Card(QWidget* parent = nullptr);

    /// Appends a row that `content` fills.
    void addContent(QWidget* content);

    /// Appends a row with a label on the leading side and one or more controls on the trailing one. For those
    /// who do not see it, the label names the first that takes the focus, or describes it where it is a
    /// button with a text. `caption`, where there is one, stands below. Returns the row.
    QWidget* addRow(const QString& label, const QList<QWidget*>& controls, const QString& caption = {});

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QVBoxLayout* rows_;
};

/// A titled card with an optional note below it. Main thread.
class SettingsSection : public QWidget {
    Q_OBJECT

  public:
    explicit SettingsSection(const QString& title, QWidget* parent = nullptr);

    [[nodiscard]] Card& card() const noexcept { return *card_; }
    /// Puts the note below the card.
    void setFooter(const QString& text);

  private:
    Card* card_;
};

} // namespace keysong
