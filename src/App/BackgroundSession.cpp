#include "App/BackgroundSession.h"

#include "App/KeyMonitor.h"
#include "Audio/SoundLibrary.h"
#include "Audio/SoundSet.h"
#include "Shared/Log.h"

#include <chrono>
#include <exception>
#include <utility>

namespace keysong {

namespace {

/// How often the right to listen is asked for again while it is missing.
constexpr std::chrono::seconds trustPollInterval{1};

} // namespace

BackgroundSession::BackgroundSession(const Services& services)
    : services_(services),
      tap_(services.input, services.threads, [&engine = services.engine](SoundEvent event) {
          KeyMonitor::shared().record(event);
          engine.play(event);
      }) {
}

void BackgroundSession::run() {
    static_cast<void>(verboseLogging()); // reads the environment now, not on the first sound
    startEngine();
    loadFirstSet();
    log.info("launched from %{public}s trusted=%{bool}d launchAtLogin=%{public}s",
             services_.places.resources().string(), services_.input.isTrusted(), "unavailable");
    while (!startTap()) {
        if (services_.termination.waitFor(trustPollInterval)) {
            return;
        }
    }
    services_.termination.wait();
}

void BackgroundSession::startEngine() {
    try {
        services_.engine.start();
    } catch (const AudioOutputError& error) {
        log.error("audio engine did not start: %s", error.what());
    }
}

void BackgroundSession::loadFirstSet() {
    const auto sets = SoundLibrary::availableSets(services_.places, services_.textOrder);
    if (sets.empty()) {
        log.error("no sound sets in %{public}s", SoundLibrary::directory(services_.places).string());
        return;
    }
    const SoundSetInfo& first = sets.front();
    try {
        services_.engine.load(
            SoundSet::load(first.directory, SoundEngine::renderFormat, services_.audioFiles));
    } catch (const std::runtime_error& error) {
        log.error("sound set %{public}s failed to load: %s", first.id, error.what());
    }
}

bool BackgroundSession::startTap() {
    if (!services_.input.isTrusted() && !lastTapError_.empty()) {
        return false;
    }
    try {
        tap_.start();
        return true;
    } catch (const EventTapError& error) {
        if (std::exchange(lastTapError_, error.what()) != error.what()) {
            log.error("event tap did not start: %s", error.what());
        }
        return false;
    }
}

} // namespace keysong
