#pragma once

#include "App/KeyBitmap.h"

#include <QWidget>
#include <cstdint>
#include <vector>

namespace keysong {

class HeldKeys;

/// A small picture of a keyboard that lights every key held right now, anywhere on the machine.
///
/// It draws only the caps that changed. Nothing lights unless somebody switched the watching on. Main thread.
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

    explicit KeyboardView(const HeldKeys& keys, QWidget* parent = nullptr);

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

  private:
    struct Cap {
        const Key* key;
        QRectF area;
    };

    [[nodiscard]] bool isHeld(std::uint16_t code) const;
    void follow();
    void layOut();
    void drawCap(QPainter& painter, const Cap& cap) const;

    const HeldKeys& keys_;
    /// What is drawn as held.
    KeyBitmap down_{};
    double unit_ = 0;
    std::vector<Cap> caps_;
};

} // namespace keysong
