#pragma once

#include <string>
#include <string_view>

namespace keysong {

/// Text of a stranger as a terminal or a log may show it: UTF-8 in which whatever a terminal obeys instead of
/// showing is written out. A line's end becomes "\n", other control characters (C0, DEL, C1), bytes that are
/// no UTF-8 and marks that turn the direction of the text around become "\xNN", byte by byte. All else stays.
/// Any thread.
[[nodiscard]] std::string printable(std::string_view text);

/// The same, put behind `out`.
void appendPrintable(std::string& out, std::string_view text);

} // namespace keysong
