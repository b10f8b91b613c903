#include "App/CommandLine.h"

#include "Shared/NumberText.h"

namespace keysong {

CommandLine CommandLine::parse(std::span<const std::string_view> arguments) {
    CommandLine result;
    if (arguments.size() < 2) {
        return result;
    }
    const std::string_view word = arguments[1];
    std::optional<std::string_view> second;
    if (arguments.size() > 2) {
        second = arguments[2];
    }
    if (word == "--input-test") {
        result.mode = Mode::inputTest;
    } else if (word == "--play-test") {
        result.mode = Mode::playTest;
        if (second) {
            result.setID = std::string(*second);
        }
    } else if (word == "--list-sets") {
        result.mode = Mode::listSets;
    } else if (word == "--device-test") {
        result.mode = Mode::deviceTest;
        if (second) {
            result.rounds = parseInteger<std::int64_t>(*second).value_or(result.rounds);
        }
    } else if (word == "--migrate-test") {
        result.mode = Mode::migrateTest;
    }
    return result;
}

} // namespace keysong
