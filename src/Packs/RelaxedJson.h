#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <string_view>

namespace keysong {

/// JSON as people write it turned into JSON as it is defined: a byte-order mark, comments and commas before a
/// closing bracket go. What stands in a string is not touched. Any text is taken; nothing fails.
[[nodiscard]] std::string strictJson(std::string_view text);

/// An object from a text as `strictJson` takes it. Bytes that are no UTF-8 are read as question marks. Throws
/// `JsonDocumentError` for what is no object even so.
[[nodiscard]] nlohmann::json parseRelaxedJson(std::string_view text, std::size_t largestBytes);

} // namespace keysong
