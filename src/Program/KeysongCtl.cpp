#include "Shared/Log.h"

#include <CLI/CLI.hpp>

#include <QCoreApplication>
#include <cstdio>
#include <exception>

#include "Linux/Files/IcuTextOrder.h"
#include "Linux/Files/LinuxPlaces.h"
#include "Linux/Log/LogSinks.h"
#include "Linux/Sound/SndfileAudio.h"
#include "Linux/System/LinuxThreads.h"
#include "Program/CommandNumbers.h"
#include "Program/ControlCommands.h"
#include "Program/RemoteClient.h"
#include "Program/RenderCommand.h"
#include "Program/SetCommands.h"

int main(int count, char** words) {
    using namespace keysong;
    int one = 1;
    const QCoreApplication toolkit(one, words);
    CLI::App app("Controls Keysong and renders logs of typing.", "keysongctl");
    app.require_subcommand(1);

    RenderOptions options;
    bool noSpatial = false;
    auto* render = app.add_subcommand("render", "Turn an event log of input events into a WAV file");
    render->add_option("log", options.eventLog, "Recorded input in evemu's text form")->required();
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
    render->callback([&] {
        options.spatial = !noSpatial;
        LinuxPlaces places;
        const auto sink = makeLogSink(places);
        Logger::setSink(sink.get());
        LinuxThreads threads;
        const IcuTextOrder textOrder(places);
        const SndfileAudio audioFiles;
        RenderCommand(threads, places, textOrder, audioFiles).run(options);
    });
    addControlCommands(app);
    addSetCommands(app);

    try {
        app.parse(count, words);
        return 0;
    } catch (const SetHasProblems&) {
        return 1;
    } catch (const CLI::ParseError& error) {
        // The library has a status for each kind of mistake; a shell knows 2 as "wrong arguments".
        return app.exit(error) == 0 ? 0 : 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "keysongctl: %s\n", error.what());
        return 1;
    }
}
