#pragma once

#include <QVariantMap>

namespace keysong {

/// The desktop's leave to take the focus that this process was started with, as `org.freedesktop.Application`
/// passes it on. Main thread.
[[nodiscard]] QVariantMap activationOfEnvironment();

/// Leaves what a message passed on where the window toolkit looks for it, for the window that is shown next.
/// Anything else in it is passed over. Main thread.
void adoptActivation(const QVariantMap& platformData);

} // namespace keysong
