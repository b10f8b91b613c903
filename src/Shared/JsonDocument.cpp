#include "Shared/JsonDocument.h"

#include <nlohmann/json.hpp>

namespace keysong {

using Json = nlohmann::json;

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
        throw JsonDocumentError(error.what());
    }
}

} // namespace keysong
