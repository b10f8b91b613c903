#include "Program/Application.h"

#include "App/AppModel.h"
#include "App/MainThreadQueue.h"
#include "App/NoWindows.h"
#include "App/RemoteControl.h"
#include "Platform/linux/AutostartItem.h"
#include "Platform/linux/DesktopFiles.h"
#include "Platform/linux/LinuxFrontmost.h"
#include "Platform/linux/LinuxHotkeys.h"
#include "Platform/linux/LinuxInput.h"
#include "Platform/linux/PipeWireMicrophone.h"
#include "Platform/linux/TerminationSignals.h"
#include "Shared/BackgroundTasks.h"
#include "Shared/Log.h"
#include "Shared/SerialQueue.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <csignal>
#include <filesystem>
#include <system_error>

namespace keysong {

namespace {

/// Names the hotkeys where the desktop asks the user about them.
PortalHotkeyOptions hotkeyLabels() {
    return {RemoteControl::serviceName,
            {{{40, controlKey | optionKey}, "Turn the sound on or off"},
             {{8, controlKey | optionKey}, "Open the settings"}}};
}

std::filesystem::path ownExecutable() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
}

void runBeside(BackgroundTasks& background, const std::function<void()>& task) {
    try {
        background.run(task);
    } catch (const std::system_error&) { // no thread to be had: the main thread does it, and waits
        task();
    }
}

int runModel(Machine& machine, RemoteControl& remote, const TerminationSignals& termination) {
    const auto output = machine.makeOutput();
    SoundEngine engine(*output, machine.clock, machine.threads, RandomSource());
    const auto input = makeInputSource();
    MainThreadQueue mainQueue;
    NoWindows windows;
    SerialQueue writer(machine.threads, {"com.orlen.keysong.preferences", "preferences"});
    const PreferenceDomains domains(machine.places.userConfig(), machine.durableFiles);
    Preferences preferences(domains, PreferenceMigration::currentDomain, &writer);
    const PreferenceMigration migration(domains);
    AutostartItem loginItem(machine.places, machine.durableFiles, ownExecutable());
    LinuxHotkeys hotkeys(mainQueue, machine.threads, hotkeyLabels());
    DesktopFiles applications(machine.places);
    const auto frontmost = makeFrontmostApplication(mainQueue, machine.threads, machine.places, applications);
    PipeWireMicrophone microphone(mainQueue);
    BackgroundTasks background(machine.threads, {"com.orlen.keysong.load", "load"});
    AppModel model({engine, output->devices(), *input, machine.threads, machine.places, machine.textOrder,
                    machine.audioFiles, preferences, migration, loginItem, hotkeys, *frontmost, microphone,
                    windows, mainQueue,
                    [&background](const std::function<void()>& task) { runBeside(background, task); },
                    [&hotkeys](const RawEvent& event) { hotkeys.observe(event); }});
    remote.attach(model, [] { QCoreApplication::quit(); });
    const QSocketNotifier asked(termination.descriptor(), QSocketNotifier::Read);
    QObject::connect(&asked, &QSocketNotifier::activated, [] { QCoreApplication::quit(); });
    model.bootstrap();
    QCoreApplication::exec();
    model.prepareToTerminate();
    return 0;
}

} // namespace

int runApplication(Machine& machine, char* programPath) {
    const TerminationSignals termination;
    // A display server or bus that dies is noticed where it is written to, not by the end of the program.
    std::signal(SIGPIPE, SIG_IGN);
    int count = 1;
    char* words[] = {programPath, nullptr};
    const QCoreApplication application(count, words);
    RemoteControl remote;
    if (remote.claim() == RemoteControl::Claim::taken) {
        if (!RemoteControl::activateOther()) {
            log.error("the program runs already and does not answer");
            return 1;
        }
        return 0;
    }
    return runModel(machine, remote, termination);
}

} // namespace keysong
