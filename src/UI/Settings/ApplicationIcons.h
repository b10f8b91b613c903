#pragma once

#include "Platform/InstalledApplications.h"

#include <QIcon>
#include <QString>
#include <string>

namespace keysong {

/// The icon of an application by the name or path that it gives; a general one where that leads to nothing.
/// Main thread. Reads the disk, the picture itself only when it is drawn.
[[nodiscard]] QIcon applicationIcon(const std::string& iconName);

/// What to show of an application that is known by its identifier alone.
struct ApplicationFace {
    QString name;
    QIcon icon;
};

/// The name and icon of the application with the identifier or an equivalent of it; the identifier and a
/// general icon where it is not installed. Main thread.
[[nodiscard]] ApplicationFace applicationFace(InstalledApplications& applications, const std::string& id);

} // namespace keysong
