#include "Packs/RelaxedJson.h"

#include "Shared/JsonDocument.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace keysong {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view blanks = " \t\r\n";

/// The place after the string that begins at `at`.
std::size_t endOfString(std::string_view text, std::size_t at) {
    for (++at; at < text.size() && text[at] != '"'; ++at) {
        if (text[at] == '\\') {
            ++at;
        }
    }
    return std::min(at + 1, text.size());
}

/// The place after the comment that begins at `at`; `at` itself where there is none.
std::size_t endOfComment(std::string_view text, std::size_t at) {
    if (text.substr(at, 2) == "//") {
        return std::min(text.find('\n', at), text.size());
    }
    if (text.substr(at, 2) == "/*") {
        const std::size_t end = text.find("*/", at + 2);
        return end == std::string_view::npos ? text.size() : end + 2;
    }
    return at;
}

} // namespace

std::string strictJson(std::string_view text) {
    if (text.starts_with(byteOrderMark)) {
        text.remove_prefix(byteOrderMark.size());
    }
    std::string result;
    result.reserve(text.size());
    // Where in the result a comma stands that only blanks have followed.
    std::size_t comma = std::string::npos;
    for (std::size_t at = 0; at < text.size();) {
        if (const std::size_t end = endOfComment(text, at); end != at) {
            result += ' ';
            at = end;
            continue;
        }
        const std::size_t end = text[at] == '"' ? endOfString(text, at) : at + 1;
        if ((text[at] == '}' || text[at] == ']') && comma != std::string::npos) {
            result[comma] = ' ';
        }
        if (text[at] == ',') {
            comma = result.size();
        } else if (blanks.find(text[at]) == std::string_view::npos) {
            comma = std::string::npos;
        }
        result += text.substr(at, end - at);
        at = end;
    }
    return result;
}

nlohmann::json parseRelaxedJson(std::string_view text, std::size_t largestBytes) {
    if (text.size() > largestBytes) {
        throw JsonDocumentError("the file is too large");
    }
    std::string strict = strictJson(text);
    try {
        return parseJsonObject(strict, largestBytes);
    } catch (const JsonDocumentError&) {
        const auto isForeign = [](char character) { return static_cast<unsigned char>(character) >= 0x80; };
        if (std::none_of(strict.begin(), strict.end(), isForeign)) {
            throw;
        }
        // Perhaps an older encoding: names in it are lost, the rest is not.
        std::replace_if(strict.begin(), strict.end(), isForeign, '?');
        return parseJsonObject(strict, largestBytes);
    }
}

} // namespace keysong
