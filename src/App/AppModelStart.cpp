// How the model starts: the order in which everything is wired together, and what repeats afterwards.

#include "App/AppModel.h"
#include "App/GlobalHotkeys.h"
#include "App/KeyMonitor.h"
#include "Shared/Log.h"

namespace keysong {

namespace {

using std::chrono::seconds;

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
    sets_.start();
    makeTap();
    publishCounts(stats_->count());
    emit keysCounted(stats_->count());
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
    sets_.watchFolders();
    everySecond([this] {
        statsTick();
        services_.engine.restIfUnused();
        followAccess();
        return true;
    });
}

void AppModel::makeTap() {
    // On the event-tap thread. The sound comes first: what the others cost would be latency.
    tap_ = std::make_unique<EventTap>(
        services_.input, services_.threads,
        [&stats = *stats_, &engine = services_.engine](SoundEvent event, std::chrono::nanoseconds time) {
            engine.play(event, time);
            if (event.kind() == SoundEvent::Kind::keyDown) {
                stats.increment();
            }
            KeyMonitor::shared().record(event);
        });
    tap_->afterRawEvent = services_.observeRawEvent;
    tap_->onInput = [&engine = services_.engine] { engine.noteInput(); };
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
    services_.engine.setListening(true);
    store(live_.hasAccess, true, &AppState::hasAccessChanged);
}

void AppModel::requireAccess() {
    services_.engine.setListening(false);
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

void AppModel::followAccess() {
    if (accessIsPolled_) {
        return;
    }
    const bool hears = !services_.input.isRevoked();
    if (hears != hasAccess()) {
        services_.engine.setListening(hears);
        store(live_.hasAccess, hears, &AppState::hasAccessChanged);
    }
}

void AppModel::registerHotkeys() {
    for (const GlobalHotkey& hotkey : globalHotkeys) {
        hotkeys_.push_back(std::make_unique<Hotkey>(hotkeyRegistry_, hotkey.combination,
                                                    [this, &hotkey] { (this->*hotkey.action)(); }));
    }
}

void AppModel::everySecond(std::function<bool()> step) {
    services_.mainQueue.asyncAfter(seconds(1), lifetime_.guarded([this, step = std::move(step)] {
        if (step()) {
            everySecond(step);
        }
    }));
}

void AppModel::statsTick() {
    if (const auto flushed = stats_->statsTick()) {
        publishCounts(*flushed);
    }
    emit keysCounted(stats_->count());
}

void AppModel::prepareToTerminate() {
    if (stats_) {
        stats_->flush();
    }
    services_.preferences.flush();
}

} // namespace keysong
