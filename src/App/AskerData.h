#pragma once

#include "App/Asker.h"

#include <QVariantMap>
#include <span>

namespace keysong {

/// The variables of a display: where it is, and how the toolkit shows itself there. No other one is ever
/// taken from outside: some make a program load code. Any thread.
[[nodiscard]] std::span<const char* const> displayVariables() noexcept;

/// Whether the variables lead to a display at all. Any thread.
[[nodiscard]] bool namesDisplay(const std::map<std::string, std::string>& variables);

/// Whether both lead to the same display. Any thread.
[[nodiscard]] bool isSameDisplay(const std::map<std::string, std::string>& one,
                                 const std::map<std::string, std::string>& other);

/// This process as one that asks: its display, and the leave that it was started with. Main thread.
[[nodiscard]] Asker askerOfEnvironment();

/// The same as `org.freedesktop.Application` passes it on: its own keys for the leave, and one of ours for
/// the display. Any thread.
[[nodiscard]] QVariantMap platformDataOf(const Asker& asker);

/// What a message passed on. Anything unknown, too long or of another type is passed over. Any thread.
[[nodiscard]] Asker askerOf(const QVariantMap& platformData);

} // namespace keysong
