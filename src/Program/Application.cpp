#include "Program/Application.h"

#include "App/AppModel.h"
#include "App/AskerData.h"
#include "App/GlobalHotkeys.h"
#include "App/MainThreadQueue.h"
#include "App/Panel/PanelChoice.h"
#include "App/Panel/PanelItem.h"
#include "App/RemoteControl.h"
#include "App/WindowsLauncher.h"
#include "App/WindowsMessages.h"
#include "Linux/Desktop/AutostartItem.h"
#include "Linux/Desktop/DesktopFiles.h"
#include "Linux/Desktop/LinuxWindowsProgram.h"
#include "Linux/Desktop/X11TraySelection.h"
#include "Linux/Files/LinuxFolderWatcher.h"
#include "Linux/Frontmost/LinuxFrontmost.h"
#include "Linux/Hotkeys/LinuxHotkeys.h"
#include "Linux/Input/LinuxInput.h"
#include "Linux/Listener/ListenerSource.h"
#include "Linux/Pointers/PointerFollower.h"
#include "Linux/Sound/PipeWireCaptures.h"
#include "Linux/System/Heap.h"
#include "Linux/System/RealtimeLimit.h"
#include "Linux/System/SessionBusProbe.h"
#include "Linux/System/TerminationSignals.h"
#include "Program/FirstInstance.h"
#include "Shared/BackgroundTasks.h"
#include "Shared/Log.h"
#include "Shared/SerialQueue.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <csignal>
#include <filesystem>
#include <memory>
#include <system_error>

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
        background.run([task] {
            task();
            // What lists and decodes sets needs much for a moment.
            returnFreeMemory();
        });
    } catch (const std::system_error&) { // no thread to be had: the main thread does it, and waits
        task();
    }
}

/// Whether this process was started on an X server that is no part of a Wayland session.
bool isOnX11(const Places& places) {
    return places.environment("WAYLAND_DISPLAY").value_or("").empty() &&
           !places.environment("DISPLAY").value_or("").empty();
}

/// Tells the windows' program where the program's symbol is. Main thread.
class SymbolPlace {
  public:
    /// All outlive it.
    SymbolPlace(const PanelItem& panel, const Places& places, WindowsLauncher& windows)
        : windows_(windows), choice_(
                                 panel, isOnX11(places) ? makeX11TraySelection() : nullptr,
                                 [this](bool serve) {
                                     state_.serveTray = serve;
                                     windows_.setPanel(state_);
                                 },
                                 PanelChoice::Patience()) {
        QObject::connect(&choice_, &PanelChoice::isShownChanged, &choice_, [this] { follow(); });
        follow();
    }

  private:
    void follow() {
        state_.isShown = choice_.isShown();
        windows_.setPanel(state_);
    }

    WindowsLauncher& windows_;
    PanelState state_{.isShown = true, .serveTray = false};
    PanelChoice choice_;
};

int runModel(Machine& machine, SessionBus& bus, RemoteControl& remote, const TerminationSignals& termination,
             MainThreadQueue& mainQueue, BackgroundTasks& background) {
    if (verboseLogging()) {
        log.notice("KEYSONG_LOG=1 is set: this log shows each key");
    }
    const auto output = machine.makeOutput();
    SoundEngine engine(*output, machine.clock, machine.threads, RandomSource(), &machine.memoryLock);
    const PointerFollower pointers(machine.places, machine.threads);
    const auto input = makeInputSource(
        machine.places, std::make_unique<listener::ListenerSource>(machine.threads), pointers.choices());
    LinuxWindowsProgram windowsProgram(
        SpawnedProcess::ownProgram("keysong-settings", KEYSONG_PROGRAM_FOLDER));
    WindowsLauncher windows(windowsProgram, KeyMonitor::shared(), mainQueue, askerOfEnvironment().display,
                            [&bus] { return bus.isOpen(); });
    SerialQueue writer(machine.threads, {"com.orlen.keysong.preferences", "preferences"});
    const PreferenceDomains domains(machine.places.userConfig(), machine.durableFiles);
    Preferences preferences(domains, PreferenceMigration::currentDomain, &writer);
    const PreferenceMigration migration(domains);
    AutostartItem loginItem(machine.places, machine.durableFiles, ownExecutable());
    LinuxHotkeys hotkeys(mainQueue, machine.threads, portalOptions());
    DesktopFiles applications(machine.places);
    const auto frontmost = makeFrontmostApplication(mainQueue, machine.threads, machine.places, applications);
    PipeWireCaptures captures(mainQueue);
    LinuxFolderWatcher folders(mainQueue, machine.threads);
    AppModel model({engine, output->devices(), *input, machine.threads, machine.places, machine.textOrder,
                    machine.files.audio, preferences, migration, loginItem, hotkeys, *frontmost, captures,
                    folders, windows, mainQueue,
                    [&background](const std::function<void()>& task) { runBeside(background, task); },
                    [&hotkeys](const RawEvent& event) { hotkeys.observe(event); }});
    QObject::connect(&model, &AppModel::keysCounted,
                     [&windows](std::int64_t total) { windows.setKeysPressed(total); });
    const auto quit = [&remote] {
        remote.beginEnding();
        QCoreApplication::quit();
    };
    const PanelItem panel(bus, model, windows, quit);
    const SymbolPlace symbol(panel, machine.places, windows);
    remote.attach(model, windows, quit, [&termination] { return termination.areRequested(); });
    const QSocketNotifier asked(termination.descriptor(), QSocketNotifier::Read);
    QObject::connect(&asked, &QSocketNotifier::activated, quit);
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
    demoteAtRealtimeLimit();
    int count = 1;
    char* words[] = {programPath, nullptr};
    const QCoreApplication application(count, words);
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
    return runModel(machine, bus, remote, termination, mainQueue, background);
}

} // namespace keysong
