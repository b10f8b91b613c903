#pragma once

#include <QCheckBox>
#include <QVariantAnimation>

namespace keysong {

/// A switch: a check box drawn as a knob that slides from off to on. Main thread.
class ToggleSwitch final : public QCheckBox {
    Q_OBJECT

  public:
    explicit ToggleSwitch(QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;
    [[nodiscard]] bool hitButton(const QPoint& position) const override { return rect().contains(position); }

  private:
    void slide(bool on);

    QVariantAnimation knob_;
};

} // namespace keysong
