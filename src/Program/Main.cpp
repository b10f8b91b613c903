#include "App/BackgroundSession.h"
#include "App/CommandLine.h"
#include "Audio/AudioDevTest.h"
#include "Audio/SoundEngine.h"
#include "Input/InputDevTest.h"
#include "Platform/linux/ChooseAudioOutput.h"
#include "Platform/linux/IcuTextOrder.h"
#include "Platform/linux/LinuxInput.h"
#include "Platform/linux/LinuxPlaces.h"
#include "Platform/linux/LinuxThreads.h"
#include "Platform/linux/MakeLogSink.h"
#include "Platform/linux/MonotonicClock.h"
#include "Platform/linux/SndfileAudio.h"
#include "Platform/linux/TerminationSignals.h"
#include "Shared/Log.h"

#include <cstdio>
#include <vector>

namespace keysong {
namespace {

/// The machine's services, made once for the process.
struct Machine {
    LinuxPlaces places;
    LinuxThreads threads;
    MonotonicClock clock;
    IcuTextOrder textOrder;
    SndfileAudio audioFiles;
};

int runApplication(Machine& machine) {
    TerminationSignals termination;
    const auto output = chooseAudioOutput(machine.places, machine.threads, machine.clock);
    const auto input = makeInputSource(machine.places);
    SoundEngine engine(*output, machine.clock, machine.threads, RandomSource());
    BackgroundSession session({engine, *input, machine.threads, machine.places, machine.textOrder,
                               machine.audioFiles, termination});
    session.run();
    return 0;
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
    const auto audioTest = [&] {
        return AudioDevTest(
            {machine.places, machine.threads, machine.clock, machine.textOrder, machine.audioFiles},
            arguments);
    };
    switch (commandLine.mode) {
    case Mode::application:
        return runApplication(machine);
    case Mode::inputTest: {
        const auto input = makeInputSource(machine.places);
        return InputDevTest(*input, machine.threads).run(arguments);
    }
    case Mode::playTest:
        return audioTest().playTest(commandLine.setID);
    case Mode::listSets:
        return audioTest().listSets();
    case Mode::deviceTest:
        return notYet("--device-test");
    case Mode::migrateTest:
        return notYet("--migrate-test");
    }
    return 0;
}

} // namespace
} // namespace keysong

int main(int count, char** words) {
    const std::vector<std::string_view> arguments(words, words + count);
    const int status = keysong::run(arguments);
    std::fflush(nullptr);
    return status;
}
