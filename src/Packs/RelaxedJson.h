#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <string_view>

namespace keysong {

/// JSON as people write it turned into JSON as it is defined: comments and commas before a closing bracket
/// go, NaN and Infinity become null, and control characters in strings are written as they must be. What
/// stands in a string is not touched otherwise. Any text is taken; nothing fails.
[[nodiscard]] std::string strictJson(std::string_view text);

/// An object from a text in UTF-8 as `strictJson` takes it. Throws `JsonDocumentError` for what is no object
/// even so.
[[nodiscard]] nlohmann::json parseRelaxedJson(std::string_view text, std::size_t largestBytes);

} // namespace keysong
