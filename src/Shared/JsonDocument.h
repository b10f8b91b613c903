#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <stdexcept>
#include <string_view>

namespace keysong {

/// A text that is no JSON document of the wanted kind; `what()` says why.
class JsonDocumentError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Deeper documents are refused, because what was read is also walked by recursion. No file of the program
/// nests more than a few levels; the rest is room for keys that this version does not know.
inline constexpr int deepestJsonNesting = 64;

/// The document's top level, an object. Of a key given twice the last counts. Any thread but the render
/// and event-tap threads. Throws `JsonDocumentError` for text of more than `largestBytes`, nested too deeply,
/// holding a zero byte, or not JSON.
[[nodiscard]] nlohmann::json parseJsonObject(std::string_view bytes, std::size_t largestBytes);

} // namespace keysong
