#pragma once

#include <QIcon>

namespace keysong {

/// The program's own icon, for its windows: the desktop's where it is installed and can be read, else the
/// same picture, drawn. Main thread.
[[nodiscard]] QIcon programIcon();

/// The picture of packaging/icons, drawn: a program that is not installed, or that finds no reader of SVG,
/// has an icon too. Main thread.
[[nodiscard]] QIcon drawnProgramIcon();

} // namespace keysong
