#pragma once

#include "Shared/NumberText.h"

#include <CLI/CLI.hpp>

#include <optional>
#include <string>

namespace keysong {

/// Reads a number the same way in every locale, unlike the library's own conversion.
template <typename Value, typename Parse>
CLI::Option* addNumber(CLI::App& command, const std::string& name, Value& value, const std::string& help,
                       Parse parse) {
    return command
        .add_option_function<std::string>(
            name,
            [name, &value, parse](const std::string& text) {
                const auto parsed = parse(text);
                if (!parsed) {
                    throw CLI::ValidationError(name, "not a usable number: \"" + text + "\"");
                }
                value = *parsed;
            },
            help)
        ->take_last();
}

/// A float within bounds.
inline auto between(float low, float high) {
    return [low, high](const std::string& text) {
        auto value = parseFloat(text);
        return value && *value >= low && *value <= high ? value : std::nullopt;
    };
}

} // namespace keysong
