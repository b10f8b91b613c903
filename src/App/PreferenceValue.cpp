#include "App/PreferenceValue.h"

#include "Shared/NumberText.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <cmath>
#include <limits>

namespace keysong {

using Json = nlohmann::json;

std::optional<bool> asBoolean(const Json& value) {
    return value.is_boolean() ? std::optional(value.get<bool>()) : std::nullopt;
}

std::optional<float> asFloat(const Json& value) {
    if (!value.is_number()) {
        return std::nullopt;
    }
    const auto wide = value.get<double>();
    if (std::abs(wide) > static_cast<double>(std::numeric_limits<float>::max())) {
        return std::nullopt;
    }
    return static_cast<float>(wide);
}

std::optional<std::int64_t> asInteger(const Json& value) {
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (!value.is_number_integer() || (value.is_number_unsigned() && value.get<std::uint64_t>() > largest)) {
        return std::nullopt;
    }
    return value.get<std::int64_t>();
}

std::optional<std::string> asString(const Json& value) {
    return value.is_string() ? std::optional(value.get<std::string>()) : std::nullopt;
}

std::optional<std::vector<std::string>> asStringArray(const Json& value) {
    if (!value.is_array()) {
        return std::nullopt;
    }
    std::vector<std::string> strings;
    strings.reserve(value.size());
    for (const Json& element : value) {
        if (!element.is_string()) {
            return std::nullopt;
        }
        strings.push_back(element.get<std::string>());
    }
    return strings;
}

Json floatValue(float value) {
    if (!std::isfinite(value)) {
        return nullptr;
    }
    // The file's numbers are 64 bits wide. The one nearest to the float's own short text is written as that
    // text; the float itself, widened, would be written with all its digits.
    const std::string text = shortestText(value);
    double wide = 0;
    std::from_chars(text.data(), text.data() + text.size(), wide);
    // Rounding twice, to 64 and to 32 bits, misses one float of all, 7.038531e-26.
    return static_cast<float>(wide) == value ? wide : static_cast<double>(value);
}

} // namespace keysong
