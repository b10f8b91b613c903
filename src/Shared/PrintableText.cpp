#include "Shared/PrintableText.h"

#include <cstddef>

namespace keysong {

namespace {

struct Character {
    /// Bytes of the text that it takes.
    std::size_t length = 1;
    /// Above every character where the bytes are no UTF-8.
    char32_t code = 0x110000;
};

/// Bytes that a character of UTF-8 takes, by the first of them; 0 for what is none.
std::size_t lengthFrom(unsigned char first) noexcept {
    if (first < 0x80) {
        return 1;
    }
    if (first < 0xC2 || first > 0xF4) {
        return 0;
    }
    return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

/// The first character of a text that has one.
Character firstOf(std::string_view text) noexcept {
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t length = lengthFrom(first);
    if (length == 0 || length > text.size()) {
        return {};
    }
    char32_t code = length == 1 ? first : first & (0x7FU >> length);
    for (const char next : text.substr(1, length - 1)) {
        const auto byte = static_cast<unsigned char>(next);
        if ((byte & 0xC0U) != 0x80) {
            return {};
        }
        code = (code << 6U) | (byte & 0x3FU);
    }
    // The shortest form of each length, no surrogates (RFC 3629).
    constexpr char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < least[length] || isSurrogate ? Character{} : Character{length, code};
}

bool isShown(char32_t code) noexcept {
    const bool isControl = code < 0x20 || (code >= 0x7F && code < 0xA0);
    // Embeddings, overrides and isolates, and the separators of lines and paragraphs.
    const bool turns = (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
    return !isControl && !turns && code <= 0x10FFFF;
}

} // namespace

void appendPrintable(std::string& out, std::string_view text) {
    constexpr std::string_view digits = "0123456789abcdef";
    while (!text.empty()) {
        const Character character = firstOf(text);
        const std::string_view bytes = text.substr(0, character.length);
        if (isShown(character.code)) {
            out += bytes;
        } else if (bytes == "\n") {
            out += "\\n";
        } else {
            for (const char byte : bytes) {
                const auto value = static_cast<unsigned char>(byte);
                out += "\\x";
                out += digits[value >> 4U];
                out += digits[value & 0x0FU];
            }
        }
        text.remove_prefix(bytes.size());
    }
}

std::string printable(std::string_view text) {
    std::string shown;
    shown.reserve(text.size());
    appendPrintable(shown, text);
    return shown;
}

} // namespace keysong
