#pragma once

#include <QComboBox>
#include <functional>

namespace keysong {

/// A choice of one among entries that may stand in titled groups. The wheel turns it only while it has the
/// keyboard's focus, and letters typed at it go on to the window instead of choosing. Main thread.
class PickerBox final : public QComboBox {
    Q_OBJECT

  public:
    explicit PickerBox(QWidget* parent = nullptr);

    /// Fills the box anew without a choice being made: `fill` calls `addHeading` and `addEntry`. Where the
    /// entry with `current` is among them it is the chosen one, else none is.
    void refill(const std::function<void()>& fill, const QVariant& current);
    /// A title that cannot be chosen, for the entries that follow.
    void addHeading(const QString& text);
    void addEntry(const QString& text, const QVariant& value);
    /// Shows the entry with this value as chosen, without a choice being made.
    void showChoice(const QVariant& value);

    void showPopup() override;

  signals:
    /// The user chose an entry.
    void chosen(const QVariant& value);

  protected:
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void adoptSelection();

    /// A heading keeps the colour that it is given, so it is given each new one.
    void colorHeadings();

    bool hasHeadings_ = false;
};

} // namespace keysong
