#pragma once

#include <span>
#include <string_view>

namespace keysong {

/// The other identifiers under which the application `listed` is known: a stored list may name applications
/// as another system does ("us.zoom.xos"), while the desktop files here go by names of their own. Empty for
/// most. Any thread.
[[nodiscard]] std::span<const std::string_view> equivalentsOf(std::string_view listed) noexcept;

/// Whether an entry of a stored list means the application `identifier`: it is that text, or one of that
/// entry's equivalents, letter for letter. Any thread.
[[nodiscard]] bool meansApplication(std::string_view listed, std::string_view identifier) noexcept;

} // namespace keysong
