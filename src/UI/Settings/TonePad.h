#pragma once

#include "App/AppState.h"

#include <QWidget>

namespace keysong {

/// A square that sets two settings with one drag: across, from a deep "thock" on the left to a sharp "clack"
/// on the right, the tone; up and down the body. A double click puts both back to 0. The arrow keys move the
/// handle in steps, finer ones with Shift, and Home puts it back; a screen reader finds a slider for each.
/// Main thread.
class TonePad final : public QWidget {
    Q_OBJECT

  public:
    /// One of the two settings.
    enum class Axis { tone, body };

    static constexpr int defaultSide = 132;
    static constexpr int defaultInset = 9;

    /// `side` is the width and height, `inset` the margin around what the handle can reach, in pixels of the
    /// display's scale. The model outlives it.
    explicit TonePad(AppState& model, QWidget* parent = nullptr, int side = defaultSide,
                     int inset = defaultInset);

    /// The centre of the handle.
    [[nodiscard]] QPointF handle() const;
    /// Sets tone, then body, to what lies at the point; points outside count as the nearest edge.
    void moveTo(QPointF point);

    [[nodiscard]] float value(Axis axis) const;
    void setValue(Axis axis, float value);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void step(Axis axis, float by);
    [[nodiscard]] qreal span() const { return width() - 2.0 * inset_; }

    AppState& model_;
    const int inset_;
    bool dragging_ = false;
};

} // namespace keysong
