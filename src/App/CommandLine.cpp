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
    } else if (word == "--help" || word == "-h") {
        result.mode = Mode::help;
    } else if (word == "--version") {
        result.mode = Mode::version;
    }
    return result;
}

std::string_view CommandLine::help() {
    return R"(Usage: keysong [MODE]

Plays the sound of a mechanical keyboard for every key, click and scroll notch.
Without a mode it runs in the background; keysongctl says what it is doing,
changes its settings and ends it.

  --list-sets                 lists the installed sound sets
  --play-test [SET [CODE]...] plays every kind of event once
  --device-test [ROUNDS]      rebuilds the sound output, and checks that it still plays
  --migrate-test              checks how settings of earlier names are carried over
  --input-test [selftest]     checks the decoder, then prints what the program hears
  --version                   prints the version
  -h, --help                  prints this

KEYSONG_OUTPUT=pipewire, alsa or virtual leaves only that sound output,
KEYSONG_INPUT=devices or x11 only that input. KEYSONG_LOG_SINK=stderr shows the log.
)";
}

} // namespace keysong
