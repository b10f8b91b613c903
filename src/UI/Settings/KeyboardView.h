#pragma once

#include <QBasicTimer>
#include <QWidget>
#include <array>
#include <cstdint>
#include <vector>

namespace keysong {

class KeyMonitor;

/// A small picture of a keyboard that lights every key held right now, anywhere on the machine.
///
/// While it can be seen it looks at the key monitor once per frame of its display, less often while nobody
/// types, and draws only the caps that changed; nothing lights unless somebody switched the monitor's
/// watching on. Main thread.
class KeyboardView final : public QWidget {
    Q_OBJECT

  public:
    struct Key {
        /// The virtual key code that lights it.
        std::uint16_t code;
        const char* label;
        /// In units: a letter key has 1.
        double width = 1;
    };

    explicit KeyboardView(const KeyMonitor& monitor, QWidget* parent = nullptr);

    /// The rows from top to bottom, each from left to right.
    [[nodiscard]] static const std::vector<std::vector<Key>>& rows();

    /// Where the cap of a key lies now; empty for a code that is not on the picture.
    [[nodiscard]] QRectF capOf(std::uint16_t code) const;

    [[nodiscard]] bool hasHeightForWidth() const override { return true; }
    [[nodiscard]] int heightForWidth(int width) const override;
    [[nodiscard]] QSize sizeHint() const override { return {392, heightForWidth(392)}; }
    [[nodiscard]] QSize minimumSizeHint() const override { return {240, heightForWidth(240)}; }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    /// Sees that somebody types into this program.
    [[nodiscard]] bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    struct Cap {
        const Key* key;
        QRectF area;
    };

    [[nodiscard]] bool isHeld(std::uint16_t code) const;
    void follow();
    void lookEvery(int milliseconds);
    void lookEveryFrame();
    [[nodiscard]] int frameInterval() const;
    void layOut();
    void drawCap(QPainter& painter, const Cap& cap) const;

    const KeyMonitor& monitor_;
    /// As in the monitor's state, when it was last looked at.
    std::array<std::uint64_t, 4> down_{};
    QBasicTimer frame_;
    /// The time between two looks, now; 0 while it cannot be seen.
    int interval_ = 0;
    int looksWithoutChange_ = 0;
    double unit_ = 0;
    std::vector<Cap> caps_;
};

} // namespace keysong
