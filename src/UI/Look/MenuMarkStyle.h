#pragma once

#include <QProxyStyle>

namespace keysong {

/// The toolkit's Fusion style, except that the mark of a chosen menu item is drawn for its size: the
/// toolkit's own is seven pixels wide, enlarged where the display is finer. Main thread.
class MenuMarkStyle final : public QProxyStyle {
    Q_OBJECT

  public:
    MenuMarkStyle() : QProxyStyle("Fusion") {}

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
};

} // namespace keysong
