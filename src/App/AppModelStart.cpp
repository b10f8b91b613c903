// How the model starts: the order in which everything is wired together, and what repeats afterwards.

#include "App/AppModel.h"
#include "App/KeyMonitor.h"
#include "Shared/Log.h"

namespace keysong {

namespace {

using std::chrono::seconds;

/// The combinations that work from any application.
constexpr std::uint32_t toggleKeyCode = 40;  // K
constexpr std::uint32_t settingsKeyCode = 8; // C
constexpr std::uint32_t hotkeyModifiers = controlKey | optionKey;

} // namespace

void AppModel::bootstrap() {
    restore();
    stats_.emplace(services_.preferences);
    static_cast<void>(verboseLogging()); // reads the environment now, not on the first sound
    apply(AtStart::beforeEngine);
    startEngine();
    apply(AtStart::afterEngine);
    applyMute();
    applyOutputDevice();
    listOutputDevices();
    store(live_.availableSets, SoundLibrary::availableSets(services_.places, services_.textOrder),
          &AppState::availableSetsChanged);
    chooseFirstSetIfNeeded();
    makeTap();
    store(live_.keysPressed, stats_->count(), &AppState::keysPressedChanged);
    store(live_.hasAccess, services_.input.hasAccess(), &AppState::hasAccessChanged);
    log.info("launched from %{public}s trusted=%{bool}d launchAtLogin=%{public}s",
             services_.places.resources().string(), hasAccess(),
             canLaunchAtLogin() ? "available" : "unavailable");
    if (hasAccess()) {
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
        store(live_.hasAccess, false, &AppState::hasAccessChanged);
        requireAccess();
        return;
    }
    accessIsPolled_ = false;
    store(live_.hasAccess, true, &AppState::hasAccessChanged);
}

void AppModel::requireAccess() {
    if (accessIsPolled_) {
        return;
    }
    services_.windows.showOnboarding({});
    startAccessPolling();
}

void AppModel::startAccessPolling() {
    accessIsPolled_ = true;
    everySecond([this] {
        if (!hasAccess() && services_.input.hasAccess()) {
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

void AppModel::everySecond(std::function<bool()> step) {
    services_.mainQueue.asyncAfter(seconds(1), lifetime_.guarded([this, step = std::move(step)] {
        if (step()) {
            everySecond(step);
        }
    }));
}

void AppModel::statsTick() {
    store(live_.keysPressed, stats_->statsTick(), &AppState::keysPressedChanged);
}

void AppModel::prepareToTerminate() {
    if (stats_) {
        stats_->flush();
    }
    services_.preferences.flush();
}

} // namespace keysong
