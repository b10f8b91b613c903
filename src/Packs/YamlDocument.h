#pragma once

#include <nlohmann/json_fwd.hpp>

#include <stdexcept>
#include <string_view>

namespace keysong {

/// A text that is no YAML document within the bounds; `what()` says why.
class YamlDocumentError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The first document of a YAML text as a tree of objects, lists and strings: every scalar is a string, a
/// null is null. Aliases are refused, because a short text could stand for an endless one with them. Any
/// thread. Throws `YamlDocumentError` for more than `largestBytes`, deep nesting, or no mapping at the top.
[[nodiscard]] nlohmann::json parseYamlObject(std::string_view text, std::size_t largestBytes);

} // namespace keysong
