#pragma once

#include <QString>
#include <cstdint>

class QFontMetrics;

namespace keysong {

/// Who draws a menu, which decides how a label says that a character is no mark of a keyboard shortcut.
enum class MenuDrawer : std::uint8_t {
    /// The toolkit, in a window of this program.
    toolkit,
    /// A panel, which is told the menu over the bus.
    panel,
};

/// A name from outside, such as a device's, as the label of a menu item: on one line, no wider than about
/// forty letters of the font, and with every "&" and "_" of it to be seen. Any thread.
[[nodiscard]] QString menuLabel(const QString& name, MenuDrawer drawer, const QFontMetrics& font);

} // namespace keysong
