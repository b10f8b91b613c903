#include "Shared/JsonDocument.h"

#include <nlohmann/json.hpp>

namespace keysong {

using Json = nlohmann::json;

namespace {

/// The library's text without its own name of the error, which stands before it in brackets.
std::string withoutName(const std::string& text) {
    const std::size_t end = text.starts_with('[') ? text.find("] ") : std::string::npos;
    return end == std::string::npos ? text : text.substr(end + 2);
}

} // namespace

Json parseJsonObject(std::string_view bytes, std::size_t largestBytes) {
    if (bytes.size() > largestBytes) {
        throw JsonDocumentError("the file is too large");
    }
    // The parser takes a zero byte for the end of its input and would not see what follows.
    if (bytes.find('\0') != std::string_view::npos) {
        throw JsonDocumentError("the file contains a zero byte");
    }
    const auto limitDepth = [](int depth, Json::parse_event_t, Json&) {
        if (depth > deepestJsonNesting) {
            throw JsonDocumentError("the file is nested too deeply");
        }
        return true;
    };
    try {
        Json document = Json::parse(bytes.begin(), bytes.end(), limitDepth);
        if (!document.is_object()) {
            throw JsonDocumentError("the top level is not an object");
        }
        return document;
    } catch (const Json::exception& error) {
        throw JsonDocumentError(withoutName(error.what()));
    }
}

} // namespace keysong
