// How the model starts: the order in which everything is wired together, and what repeats afterwards.

#include "App/AppModel.h"
#include "App/KeyMonitor.h"
#include "App/LaunchAtLogin.h"
#include "Shared/Log.h"

#include <algorithm>

namespace keysong {

namespace {

using std::chrono::seconds;

/// The combinations that work from any application.
constexpr std::uint32_t toggleKeyCode = 40;  // K
constexpr std::uint32_t settingsKeyCode = 8; // C
constexpr std::uint32_t hotkeyModifiers = controlKey | optionKey;

std::vector<std::string> withoutRepetitions(const std::vector<std::string>& texts) {
    std::vector<std::string> result;
    for (const std::string& text : texts) {
        if (std::find(result.begin(), result.end(), text) == result.end()) {
            result.push_back(text);
        }
    }
    return result;
}

} // namespace

void AppModel::bootstrap() {
    restore();
    stats_.emplace(services_.preferences);
    static_cast<void>(verboseLogging()); // reads the environment now, not on the first sound
    pushTone();
    startEngine();
    services_.engine.setVolume(volume_);
    services_.engine.setMouseEnabled(mouseSounds_);
    services_.engine.setScrollEnabled(scrollSounds_);
    applyMute();
    applyOutputDevice();
    store(outputDevices_, OutputDevices::all(services_.devices), &AppModel::outputDeviceListChanged);
    store(availableSets_, SoundLibrary::availableSets(services_.places, services_.textOrder),
          &AppModel::availableSetsChanged);
    chooseFirstSetIfNeeded();
    makeTap();
    store(keysPressed_, stats_->count(), &AppModel::keysPressedChanged);
    store(hasAccess_, services_.input.hasAccess(), &AppModel::hasAccessChanged);
    log.info("launched from %{public}s trusted=%{bool}d launchAtLogin=%{public}s",
             services_.places.resources().string(), hasAccess_,
             canLaunchAtLogin_ ? "available" : "unavailable");
    if (hasAccess_) {
        startTap();
    } else {
        requireAccess();
    }
    registerHotkeys();
    observeSleepReasons();
    observeDevices();
    observeSetFolders();
    everySecond([this] {
        statsTick();
        return true;
    });
}

void AppModel::restore() {
    isRestoring_ = true;
    Preferences& preferences = services_.preferences;
    services_.migration.run(preferences);
    setEnabled(preferences.boolean("enabled").value_or(true));
    setVolume(preferences.number("volume").value_or(defaultVolume));
    setSelectedSetId(preferences.string("setID").value_or(""));
    setOutputDeviceUid(preferences.string("outputUID"));
    setSpatialAudio(preferences.boolean("spatial").value_or(true));
    setTone(preferences.number("tone").value_or(0));
    setBody(preferences.number("body").value_or(0));
    setMouseSounds(preferences.boolean("mouse").value_or(true));
    setScrollSounds(preferences.boolean("scroll").value_or(false));
    setMutedApps(
        withoutRepetitions(preferences.stringArray("mutedApps").value_or(SleepTriggers::defaultMutedApps())));
    setMuteWhileRecording(preferences.boolean("muteWhileRecording").value_or(false));
    store(canLaunchAtLogin_, services_.loginItem.isInstalled(), &AppModel::canLaunchAtLoginChanged);
    setLaunchAtLogin(canLaunchAtLogin_ && LaunchAtLogin::isEnabled(services_.loginItem));
    isRestoring_ = false;
}

void AppModel::pushTone() {
    services_.engine.setSpatial(spatialAudio_);
    services_.engine.setTone(tone_);
    services_.engine.setBody(body_);
}

void AppModel::startEngine() {
    try {
        services_.engine.start();
    } catch (const AudioOutputError& error) {
        log.error("audio engine did not start: %s", error.what());
    }
}

void AppModel::makeTap() {
    // On the event-tap thread: an atomic addition, and what the monitor and the engine do under their locks.
    tap_ = std::make_unique<EventTap>(services_.input, services_.threads,
                                      [&stats = *stats_, &engine = services_.engine](SoundEvent event) {
                                          if (event.kind() == SoundEvent::Kind::keyDown) {
                                              stats.increment();
                                          }
                                          KeyMonitor::shared().record(event);
                                          engine.play(event);
                                      });
    tap_->onRawEvent = services_.observeRawEvent;
}

void AppModel::startTap() {
    try {
        tap_->start();
    } catch (const EventTapError& error) {
        log.error("event tap did not start: %s", error.what());
        store(hasAccess_, false, &AppModel::hasAccessChanged);
        requireAccess();
        return;
    }
    accessIsPolled_ = false;
    store(hasAccess_, true, &AppModel::hasAccessChanged);
}

void AppModel::requireAccess() {
    if (accessIsPolled_) {
        return;
    }
    services_.windows.showOnboarding();
    startAccessPolling();
}

void AppModel::startAccessPolling() {
    accessIsPolled_ = true;
    everySecond([this] {
        if (!hasAccess_ && services_.input.hasAccess()) {
            startTap();
        }
        return accessIsPolled_;
    });
}

void AppModel::registerHotkeys() {
    hotkey_ = std::make_unique<Hotkey>(hotkeyRegistry_, toggleKeyCode, hotkeyModifiers,
                                       [this] { toggleEnabled(); });
    settingsHotkey_ = std::make_unique<Hotkey>(hotkeyRegistry_, settingsKeyCode, hotkeyModifiers,
                                               [this] { showSettings(); });
}

void AppModel::observeDevices() {
    deviceObserver_ = std::make_unique<ListenerToken>(
        services_.devices, services_.threads,
        std::vector{DeviceListProperty::defaultOutputDevice, DeviceListProperty::devices},
        [&mainQueue = services_.mainQueue, task = guarded([this] { outputDevicesChanged(); })] {
            mainQueue.async(task);
        });
}

void AppModel::everySecond(std::function<bool()> step) {
    services_.mainQueue.asyncAfter(seconds(1), guarded([this, step = std::move(step)] {
                                       if (step()) {
                                           everySecond(step);
                                       }
                                   }));
}

void AppModel::statsTick() {
    store(keysPressed_, stats_->statsTick(), &AppModel::keysPressedChanged);
}

void AppModel::prepareToTerminate() {
    if (stats_) {
        stats_->flush();
    }
    services_.preferences.flush();
}

} // namespace keysong
