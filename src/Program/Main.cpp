#include "App/BackgroundSession.h"
#include "App/CommandLine.h"
#include "App/PreferenceMigration.h"
#include "Audio/AudioDevTest.h"
#include "Audio/FallbackOutput.h"
#include "Audio/SoundEngine.h"
#include "Input/InputDevTest.h"
#include "Platform/linux/AudioOutputFactories.h"
#include "Platform/linux/IcuTextOrder.h"
#include "Platform/linux/LinuxDurableFiles.h"
#include "Platform/linux/LinuxInput.h"
#include "Platform/linux/LinuxPlaces.h"
#include "Platform/linux/LinuxThreads.h"
#include "Platform/linux/LogSinks.h"
#include "Platform/linux/MonotonicClock.h"
#include "Platform/linux/SndfileAudio.h"
#include "Platform/linux/TerminationSignals.h"
#include "Shared/Log.h"
#include "Shared/SerialQueue.h"

#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace keysong {
namespace {

/// The machine's services, made once for the process.
struct Machine {
    LinuxPlaces places;
    LinuxThreads threads;
    MonotonicClock clock;
    IcuTextOrder textOrder{places};
    SndfileAudio audioFiles;
    LinuxDurableFiles durableFiles;
};

std::unique_ptr<AudioOutput> makeOutput(Machine& machine) {
    return std::make_unique<FallbackOutput>(
        audioOutputFactories(machine.places, machine.threads, machine.clock),
        std::make_unique<SerialQueue>(machine.threads,
                                      ThreadAttributes{"com.orlen.keysong.output", "output"}));
}

int runApplication(Machine& machine) {
    TerminationSignals termination;
    const auto output = makeOutput(machine);
    const auto input = makeInputSource();
    SoundEngine engine(*output, machine.clock, machine.threads, RandomSource());
    BackgroundSession session({engine, *input, machine.threads, machine.places, machine.textOrder,
                               machine.audioFiles, termination});
    session.run();
    return 0;
}

int runAudioTest(Machine& machine, std::span<const std::string_view> arguments,
                 const std::function<int(const AudioDevTest&)>& mode) {
    // Made with the first engine: a mode that fails before it needs no sound output.
    std::unique_ptr<AudioOutput> output;
    const auto makeEngine = [&] {
        output = makeOutput(machine);
        return std::make_unique<SoundEngine>(*output, machine.clock, machine.threads, RandomSource());
    };
    return mode(AudioDevTest({makeEngine, machine.clock, machine.threads, machine.places, machine.textOrder,
                              machine.audioFiles,
                              [](std::chrono::nanoseconds time) { std::this_thread::sleep_for(time); }},
                             arguments));
}

int runMigrationTest(const Machine& machine) {
    const PreferenceDomains domains(machine.places.userConfig(), machine.durableFiles);
    const auto failures = PreferenceMigration(domains).migrationSelfCheck();
    std::fputs(PreferenceMigration::report(failures).c_str(), stdout);
    return failures.empty() ? 0 : 1;
}

int notYet(const char* mode) {
    std::fprintf(stderr, "%s is not available in this version\n", mode);
    return 1;
}

int run(std::span<const std::string_view> arguments) {
    using Mode = CommandLine::Mode;
    Machine machine;
    const auto sink = makeLogSink(machine.places);
    Logger::setSink(sink.get());
    const CommandLine commandLine = CommandLine::parse(arguments);
    switch (commandLine.mode) {
    case Mode::application:
        return runApplication(machine);
    case Mode::inputTest: {
        const auto input = makeInputSource();
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
    try {
        status = keysong::run(arguments);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "keysong: %s\n", error.what());
    }
    std::fflush(nullptr);
    return status;
}
