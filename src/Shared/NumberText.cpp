#include "Shared/NumberText.h"

#include <array>
#include <cmath>
#include <limits>

namespace keysong {

std::optional<float> parseFloat(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    if (text.empty() || text.front() == '-' || text.front() == '+') {
        return std::nullopt;
    }
    auto format = std::chars_format::general;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        format = std::chars_format::hex;
        if (text.empty() || text.front() == '-') {
            return std::nullopt;
        }
    }
    // Read wide, then round: a float that is out of range still says in which direction.
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, format);
    if (end != text.data() + text.size() || error == std::errc::invalid_argument) {
        return std::nullopt;
    }
    if (error == std::errc::result_out_of_range) {
        const auto exponent = text.find_first_of(format == std::chars_format::hex ? "pP" : "eE");
        const bool tiny =
            exponent != std::string_view::npos && exponent + 1 < text.size() && text[exponent + 1] == '-';
        value = tiny ? 0.0 : std::numeric_limits<double>::infinity();
    }
    const auto narrow = static_cast<float>(value);
    return negative ? -narrow : narrow;
}

std::string shortestText(float value) {
    std::array<char, 64> buffer{};
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    std::string text(buffer.data(), end);
    if (std::isfinite(value) && text.find_first_of(".e") == std::string::npos) {
        text += ".0";
    }
    return text;
}

std::string fixedText(double value, int decimals, bool plus) {
    std::array<char, 512> buffer{};
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                            std::chars_format::fixed, decimals);
    std::string text(buffer.data(), end);
    return plus && !text.starts_with('-') ? "+" + text : text;
}

} // namespace keysong
