#include "App/CommandLine.h"
#include "App/PreferenceMigration.h"
#include "Audio/AudioDevTest.h"
#include "Audio/SoundEngine.h"
#include "Input/InputDevTest.h"
#include "Linux/Input/LinuxInput.h"
#include "Linux/Listener/ListenerSource.h"
#include "Linux/Log/LogSinks.h"
#include "Linux/Pointers/PointerFollower.h"
#include "Linux/Sound/AudioOutputFactories.h"
#include "Linux/System/CoreDumps.h"
#include "Linux/System/Heap.h"
#include "Linux/System/Utf8Characters.h"
#include "Program/Application.h"
#include "Shared/Log.h"
#include "Shared/PrintableText.h"

#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace keysong {
namespace {

int runAudioTest(Machine& machine, std::span<const std::string_view> arguments,
                 const std::function<int(const AudioDevTest&)>& mode) {
    // Made with the first engine: a mode that fails before it needs no sound output.
    std::unique_ptr<AudioOutput> output;
    const auto makeEngine = [&] {
        output = machine.makeOutput();
        return std::make_unique<SoundEngine>(*output, machine.clock, machine.threads, RandomSource());
    };
    return mode(AudioDevTest({makeEngine, machine.clock, machine.threads, machine.places, machine.textOrder,
                              machine.files.audio,
                              [](std::chrono::nanoseconds time) { std::this_thread::sleep_for(time); }},
                             arguments));
}

int runMigrationTest(const Machine& machine) {
    const PreferenceDomains domains(machine.places.userConfig(), machine.durableFiles);
    const auto failures = PreferenceMigration(domains).migrationSelfCheck();
    std::fputs(PreferenceMigration::report(failures).c_str(), stdout);
    return failures.empty() ? 0 : 1;
}

int print(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    return 0;
}

int run(std::span<const std::string_view> arguments, char* programPath) {
    using Mode = CommandLine::Mode;
    const CommandLine commandLine = CommandLine::parse(arguments);
    if (commandLine.mode == Mode::help) {
        return print(CommandLine::help());
    }
    if (commandLine.mode == Mode::version) {
        return print("keysong " KEYSONG_VERSION "\n");
    }
    leaveNoCore();
    keepHeapSmall();
    introduceToSoundServers();
    std::unique_ptr<LogSink> sink; // outlives the machine, whose threads log
    Machine machine;
    sink = makeLogSink(machine.places);
    Logger::setSink(sink.get());
    switch (commandLine.mode) {
    case Mode::help:
    case Mode::version:
        break; // answered above, without the machine
    case Mode::application:
        return runApplication(machine, programPath);
    case Mode::inputTest: {
        const PointerFollower pointers(machine.places, machine.threads);
        const auto input = makeInputSource(
            machine.places, std::make_unique<listener::ListenerSource>(machine.threads), pointers.choices());
        return InputDevTest(*input, machine.threads).run(arguments);
    }
    case Mode::playTest:
        return runAudioTest(machine, arguments,
                            [&](const AudioDevTest& test) { return test.playTest(commandLine.setID); });
    case Mode::listSets:
        return runAudioTest(machine, arguments, [](const AudioDevTest& test) { return test.listSets(); });
    case Mode::deviceTest:
        return runAudioTest(machine, arguments,
                            [&](const AudioDevTest& test) { return test.deviceTest(commandLine.rounds); });
    case Mode::migrateTest:
        return runMigrationTest(machine);
    }
    return 0;
}

} // namespace
} // namespace keysong

int main(int count, char** words) {
    const std::vector<std::string_view> arguments(words, words + count);
    int status = 1;
    keysong::useUtf8Characters();
    try {
        status = keysong::run(arguments, words[0]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "keysong: %s\n", keysong::printable(error.what()).c_str());
    }
    std::fflush(nullptr);
    return status;
}
