#include "Program/Application.h"

#include "App/AppModel.h"
#include "App/GlobalHotkeys.h"
#include "App/MainThreadQueue.h"
#include "App/NoWindows.h"
#include "App/Panel/PanelItem.h"
#include "App/RemoteControl.h"
#include "Shared/BackgroundTasks.h"
#include "Shared/Log.h"
#include "Shared/SerialQueue.h"
#include "UI/Look/ProgramIcon.h"

#include <QApplication>
#include <QSocketNotifier>
#include <csignal>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "Linux/Desktop/AutostartItem.h"
#include "Linux/Desktop/DesktopFiles.h"
#include "Linux/Files/LinuxFolderWatcher.h"
#include "Linux/Frontmost/LinuxFrontmost.h"
#include "Linux/Hotkeys/LinuxHotkeys.h"
#include "Linux/Input/LinuxInput.h"
#include "Linux/Sound/PipeWireMicrophone.h"
#include "Linux/System/SessionBusProbe.h"
#include "Linux/System/TerminationSignals.h"
#include "Program/DesktopSession.h"
#include "Program/FirstInstance.h"
#include "Program/LastFlush.h"

namespace keysong {

namespace {

PortalHotkeyOptions portalOptions() {
    PortalHotkeyOptions options{RemoteControl::serviceName, {}};
    for (const GlobalHotkey& hotkey : globalHotkeys) {
        options.labels.push_back({hotkey.combination, hotkey.description});
    }
    return options;
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

bool isSet(const char* variable) {
    return !qEnvironmentVariableIsEmpty(variable);
}

/// An application with windows where there is a display, without them where there is none.
std::unique_ptr<QCoreApplication> makeApplication(int& count, char** words) {
    constexpr const char* platform = "QT_QPA_PLATFORM";
    const bool isChosen = isSet(platform);
    if (!isChosen && !isSet("WAYLAND_DISPLAY") && !isSet("DISPLAY")) {
        return std::make_unique<QCoreApplication>(count, words);
    }
    if (!isChosen) {
        // The last takes what a dead display would end with an abort.
        qputenv(platform, isSet("WAYLAND_DISPLAY") ? "wayland;xcb;offscreen" : "xcb;offscreen");
    }
    auto application = std::make_unique<QApplication>(count, words);
    if (!isChosen) {
        qunsetenv(platform); // not for the programs that this one starts
    }
    QGuiApplication::setDesktopFileName(RemoteControl::serviceName);
    // Panels show it as the title of the status item.
    QCoreApplication::setApplicationName("Keysong");
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setWindowIcon(programIcon());
    return application;
}

/// The application as one with windows that somebody can see; null where it is none.
QApplication* onDisplay(QCoreApplication& application) {
    auto* const windowed = qobject_cast<QApplication*>(&application);
    const bool isSeen =
        windowed != nullptr &&
        (QGuiApplication::platformName() != QLatin1String("offscreen") || isSet("QT_QPA_PLATFORM"));
    return isSeen ? windowed : nullptr;
}

int runModel(Machine& machine, SessionBus& bus, RemoteControl& remote, const TerminationSignals& termination,
             MainThreadQueue& mainQueue, BackgroundTasks& background, DesktopSession* desktop) {
    const auto output = machine.makeOutput();
    SoundEngine engine(*output, machine.clock, machine.threads, RandomSource());
    const auto input = makeInputSource(machine.places);
    NoWindows noWindows;
    AppWindows& windows = desktop != nullptr ? desktop->windows() : noWindows;
    SerialQueue writer(machine.threads, {"com.orlen.keysong.preferences", "preferences"});
    const PreferenceDomains domains(machine.places.userConfig(), machine.durableFiles);
    Preferences preferences(domains, PreferenceMigration::currentDomain, &writer);
    const PreferenceMigration migration(domains);
    AutostartItem loginItem(machine.places, machine.durableFiles, ownExecutable());
    LinuxHotkeys hotkeys(mainQueue, machine.threads, portalOptions());
    DesktopFiles applications(machine.places);
    const auto frontmost = makeFrontmostApplication(mainQueue, machine.threads, machine.places, applications);
    PipeWireMicrophone microphone(mainQueue);
    LinuxFolderWatcher folders(mainQueue, machine.threads);
    AppModel model({engine, output->devices(), *input, machine.threads, machine.places, machine.textOrder,
                    machine.audioFiles, preferences, migration, loginItem, hotkeys, *frontmost, microphone,
                    folders, windows, mainQueue,
                    [&background](const std::function<void()>& task) { runBeside(background, task); },
                    [&hotkeys](const RawEvent& event) { hotkeys.observe(event); }});
    const auto quit = [&remote] {
        remote.beginEnding();
        QCoreApplication::quit();
    };
    const PanelItem panel(bus, model, windows, quit);
    if (desktop != nullptr) {
        desktop->attach(model, panel, applications, machine, mainQueue, quit);
    }
    remote.attach(model, windows, quit, [&termination] { return termination.areRequested(); });
    const QSocketNotifier asked(termination.descriptor(), QSocketNotifier::Read);
    QObject::connect(&asked, &QSocketNotifier::activated, quit);
    const LastFlush lastFlush([&model] { model.prepareToTerminate(); });
    model.bootstrap();
    QCoreApplication::exec();
    model.prepareToTerminate();
    if (desktop != nullptr) {
        desktop->detach();
    }
    return 0;
}

} // namespace

int runApplication(Machine& machine, char* programPath) {
    const TerminationSignals termination;
    // A display server or bus that dies is noticed where it is written to, not by the end of the program.
    std::signal(SIGPIPE, SIG_IGN);
    int count = 1;
    char* words[] = {programPath, nullptr};
    const auto application = makeApplication(count, words);
    MainThreadQueue mainQueue;
    BackgroundTasks background(machine.threads, {"com.orlen.keysong.load", "load"});
    SettingsLock lock(PreferenceDomains(machine.places.userConfig(), machine.durableFiles)
                          .fileOf(PreferenceMigration::currentDomain)
                          .parent_path());
    SessionBus bus({sessionBusAnswers,
                    [&background](const std::function<void()>& task) { runBeside(background, task); },
                    mainQueue});
    RemoteControl remote(bus);
    FirstInstance instance(lock, bus, remote, [&termination] { return termination.areRequested(); });
    bus.open();
    switch (instance.decide()) {
    case FirstInstance::Launch::first:
        break;
    case FirstInstance::Launch::second:
        return 0;
    case FirstInstance::Launch::hung:
        instance.reportHung();
        return 1;
    }
    std::optional<DesktopSession> desktop;
    if (QApplication* const display = onDisplay(*application)) {
        desktop.emplace(*display);
    }
    return runModel(machine, bus, remote, termination, mainQueue, background, desktop ? &*desktop : nullptr);
}

} // namespace keysong
