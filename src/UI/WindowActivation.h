#pragma once

class QWidget;

namespace keysong {

/// Shows a window in front of all others and gives it the keyboard's focus, as far as the desktop lets a
/// program do so. A token that came with the request, in the environment, is used and forgotten. Main thread.
void bringToFront(QWidget& window);

} // namespace keysong
