#include "Packs/RelaxedJson.h"

#include "Shared/JsonDocument.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace keysong {

namespace {

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
    if (text.substr(at, 2) == "//" || text.substr(at, 1) == "#") {
        return std::min(text.find('\n', at), text.size());
    }
    if (text.substr(at, 2) == "/*") {
        const std::size_t end = text.find("*/", at + 2);
        return end == std::string_view::npos ? text.size() : end + 2;
    }
    return at;
}

/// The length of a number at `at` that JSON does not have; 0 where there is none.
std::size_t lengthOfNoNumber(std::string_view text, std::size_t at) {
    for (const std::string_view word : {"NaN", "Infinity", "-Infinity", "-NaN"}) {
        if (text.substr(at, word.size()) == word) {
            return word.size();
        }
    }
    return 0;
}

/// A string with its control characters written as JSON wants them.
std::string escaped(std::string_view text) {
    constexpr const char* digits = "0123456789abcdef";
    std::string result;
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        if (code < 0x20) {
            result += std::string("\\u00") + digits[code / 16] + digits[code % 16];
        } else {
            result += character;
        }
    }
    return result;
}

} // namespace

std::string strictJson(std::string_view text) {
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
        if (const std::size_t length = lengthOfNoNumber(text, at); length > 0) {
            result += "null";
            comma = std::string::npos;
            at += length;
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
        result += text[at] == '"' ? escaped(text.substr(at, end - at)) : std::string(1, text[at]);
        at = end;
    }
    return result;
}

nlohmann::json parseRelaxedJson(std::string_view text, std::size_t largestBytes) {
    if (text.size() > largestBytes) {
        throw JsonDocumentError("the file is too large");
    }
    // Escapes make a text longer by five bytes for each control character at most.
    return parseJsonObject(strictJson(text), largestBytes * 6);
}

} // namespace keysong
