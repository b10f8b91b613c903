#include "Platform/linux/IcuTextOrder.h"
#include "Platform/linux/LinuxPlaces.h"
#include "Platform/linux/LinuxThreads.h"
#include "Platform/linux/LogSinks.h"
#include "Platform/linux/SndfileAudio.h"
#include "Shared/Log.h"
#include "Shared/NumberText.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <exception>

#include "Program/RenderCommand.h"

namespace {

/// Reads a number the same way in every locale, unlike the library's own conversion.
template <typename Value, typename Parse>
void addNumber(CLI::App& command, const std::string& name, Value& value, const std::string& help,
               Parse parse) {
    command
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
auto between(float low, float high) {
    return [low, high](const std::string& text) {
        auto value = keysong::parseFloat(text);
        return value && *value >= low && *value <= high ? value : std::nullopt;
    };
}

} // namespace

int main(int count, char** words) {
    using namespace keysong;
    CLI::App app("Controls Keysong and renders recordings of typing.", "keysongctl");
    app.require_subcommand(1);

    RenderOptions options;
    bool noSpatial = false;
    auto* render = app.add_subcommand("render", "Turn a recording of input events into a WAV file");
    render->add_option("recording", options.recording, "Recorded input in evemu's text form")->required();
    render->add_option("--set", options.set, "A set's identifier, or a set's folder");
    addNumber(*render, "--seed", options.seed,
              "Seed of the random choices; the same seed gives the same bytes",
              [](const std::string& text) { return parseInteger<std::uint64_t>(text); });
    addNumber(*render, "--tone", options.tone, "From -1, deep, to 1, sharp", between(-1, 1));
    addNumber(*render, "--body", options.body, "From -1, slow and deep, to 1, fast and bright",
              between(-1, 1));
    addNumber(*render, "--volume", options.volume, "From 0 to 1", between(0, 1));
    render->add_flag("--no-spatial", noSpatial, "Do not place keys in the stereo field");
    render->add_option("-o,--output", options.output, "The WAV file to write")->required();

    try {
        app.parse(count, words);
        options.spatial = !noSpatial;
        LinuxPlaces places;
        const auto sink = makeLogSink(places);
        Logger::setSink(sink.get());
        LinuxThreads threads;
        const IcuTextOrder textOrder(places);
        const SndfileAudio audioFiles;
        RenderCommand(threads, places, textOrder, audioFiles).run(options);
        return 0;
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "keysongctl: %s\n", error.what());
        return 1;
    }
}
