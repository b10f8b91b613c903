#include "UI/Settings/StrayTyping.h"

#include <QKeyEvent>

namespace keysong {

bool isStrayTyping(const QKeyEvent& event) {
    if (event.key() == Qt::Key_Backspace) {
        return true;
    }
    // AltGr comes as Control and Alt on some layouts; alone each of them is a command.
    const auto commands = event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
    const bool isAltGr = commands == (Qt::ControlModifier | Qt::AltModifier);
    return (!commands || isAltGr) && !event.text().isEmpty() && event.text().front().isPrint();
}

} // namespace keysong
