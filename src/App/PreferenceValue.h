#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace keysong {

/// A stored preference as a value of one type; none when it has another type. Any thread but the render and
/// event-tap threads.

[[nodiscard]] std::optional<bool> asBoolean(const nlohmann::json& value);

/// Any number that fits a 32-bit float: other programs write 1.0 as "1".
[[nodiscard]] std::optional<float> asFloat(const nlohmann::json& value);

/// An integer of 64 bits with sign, written without a point.
[[nodiscard]] std::optional<std::int64_t> asInteger(const nlohmann::json& value);

[[nodiscard]] std::optional<std::string> asString(const nlohmann::json& value);

/// A list in which everything is a string.
[[nodiscard]] std::optional<std::vector<std::string>> asStringArray(const nlohmann::json& value);

/// A 32-bit float as it is stored: written with the fewest digits that identify it ("0.7").
/// Null for infinities and for what is not a number, which no file can hold.
[[nodiscard]] nlohmann::json floatValue(float value);

} // namespace keysong
