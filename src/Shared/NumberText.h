#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string>
#include <string_view>

namespace keysong {

/// Numbers as text, the same in every locale. Any thread; not real-time safe.

/// Reads a decimal integer: an optional single "+" or "-", then one or more ASCII digits and nothing
/// else. None for anything else and for a value that does not fit. "-0" is 0 in every type; a negative
/// number does not fit an unsigned type.
template <std::integral Integer>
[[nodiscard]] std::optional<Integer> parseInteger(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    // from_chars reads a second sign in a signed type.
    if (text.empty() || text.front() < '0' || text.front() > '9') {
        return std::nullopt;
    }
    std::string digits;
    if (negative && text.find_first_not_of('0') != std::string_view::npos) {
        if constexpr (std::unsigned_integral<Integer>) {
            return std::nullopt;
        }
        digits = "-" + std::string(text);
        text = digits;
    }
    Integer value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

/// Reads a floating-point number that is the whole of the text: an optional sign, then decimal,
/// hexadecimal ("0x1p3"), "inf", "infinity" or "nan" in any case. No blanks. A value too large is an
/// infinity and one too small a zero.
[[nodiscard]] std::optional<float> parseFloat(std::string_view text);

/// The shortest decimal form that reads back as the same 32-bit float, always with a point or an
/// exponent: "1.0", "-0.0", "0.8408964".
[[nodiscard]] std::string shortestText(float value);

/// Fixed notation with this many digits after the point: "%.Nf" in the C locale; `plus` writes a "+" before
/// a value that is not negative.
[[nodiscard]] std::string fixedText(double value, int decimals, bool plus = false);

} // namespace keysong
