#include "UI/Look/MenuMarkStyle.h"

#include "UI/Look/Symbols.h"

#include <QStyleOption>

namespace keysong {

void MenuMarkStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                                  const QWidget* widget) const {
    if (element == PE_IndicatorMenuCheckMark) {
        paintSymbol(*painter, Symbol::checkMark, option->rect, option->palette.color(QPalette::Text));
    } else {
        QProxyStyle::drawPrimitive(element, option, painter, widget);
    }
}

} // namespace keysong
