#include "Linux/Files/IcuTextOrder.h"
#include "Linux/Files/LinuxPlaces.h"
#include "Linux/Log/LogSinks.h"
#include "Linux/System/LinuxThreads.h"
#include "Linux/System/Utf8Characters.h"
#include "Program/AccessCommands.h"
#include "Program/CommandNumbers.h"
#include "Program/ControlCommands.h"
#include "Program/GuardedFiles.h"
#include "Program/RemoteClient.h"
#include "Program/RenderCommand.h"
#include "Program/SetCommands.h"
#include "Shared/Log.h"
#include "Shared/PrintableText.h"

#include <CLI/CLI.hpp>

#include <QCoreApplication>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace {

/// The arguments as the parser takes them, the last one first. The word that many try first asks for help.
std::vector<std::string> argumentsIn(int count, char** words) {
    std::vector<std::string> arguments(words + 1, words + count);
    if (!arguments.empty() && arguments.front() == "help") {
        arguments.erase(arguments.begin());
        arguments.emplace_back("--help");
    }
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

/// What is wrong, then how it is done right: the usage of the command, or the list of all.
std::string explainMistake(const CLI::App* app, const CLI::Error& error) {
    std::string mistake = error.what();
    if (app->get_subcommands().empty()) {
        const auto words = app->remaining();
        mistake = words.empty() ? "a command is missing" : "there is no command \"" + words.front() + "\"";
    }
    return "keysongctl: " + keysong::printable(mistake) + "\n\n" + app->help();
}

} // namespace

int main(int count, char** words) {
    using namespace keysong;
    useUtf8Characters();
    int one = 1;
    const QCoreApplication toolkit(one, words);
    CLI::App app("Controls Keysong and renders logs of typing.", "keysongctl");
    app.require_subcommand(1);
    app.set_version_flag("--version", "keysongctl " KEYSONG_VERSION, "Print the version and end");
    app.failure_message(&explainMistake);

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
        const GuardedFiles files(places);
        RenderCommand(threads, places, textOrder, files.audio).run(options);
    });
    addAccessCommands(app);
    addControlCommands(app);
    addSetCommands(app);
    // Last, or each command inherits it.
    app.footer("\"keysongctl help COMMAND\" tells more about a command.");

    try {
        app.parse(argumentsIn(count, words));
        return 0;
    } catch (const SetHasProblems&) {
        return 1;
    } catch (const CLI::ParseError& error) {
        // The library has a status for each kind of mistake; a shell knows 2 as "wrong arguments".
        return app.exit(error) == 0 ? 0 : 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "keysongctl: %s\n", printable(error.what()).c_str());
        return 1;
    }
}
