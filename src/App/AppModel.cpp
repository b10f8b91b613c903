#include "App/AppModel.h"

#include "App/LaunchAtLogin.h"
#include "Shared/Log.h"

#include <algorithm>

namespace keysong {

/// What the sleep triggers see and set: one of the reasons to sleep.
struct AppModel::FrontmostReason final : SleepModel {
    explicit FrontmostReason(AppModel& owner) : model(owner) {}

    [[nodiscard]] const std::vector<std::string>& mutedApps() const override { return model.mutedApps_; }
    [[nodiscard]] bool isSleeping() const override { return sleeping; }
    void setSleeping(bool value) override {
        sleeping = value;
        model.updateSleeping();
    }

    AppModel& model;
    bool sleeping = false;
};

AppModel::AppModel(const AppServices& services)
    : services_(services), hotkeyRegistry_(services.hotkeys, services.mainQueue) {
}

AppModel::~AppModel() {
    services_.microphone.setChangeHandler({});
    services_.folders.watch({}, {});
}

TaskQueue::Task AppModel::guarded(std::function<void()> task) const {
    return [life = std::weak_ptr(life_), task = std::move(task)] {
        if (!life.expired()) {
            task();
        }
    };
}

void AppModel::setEnabled(bool enabled) {
    store(isEnabled_, enabled, &AppModel::isEnabledChanged);
    if (!isRestoring_) {
        services_.preferences.setBool("enabled", isEnabled_);
        applyMute();
    }
}

void AppModel::applyMute() {
    services_.engine.setMuted(!isEnabled_ || isSleeping_);
}

void AppModel::updateSleeping() {
    const bool recording = muteWhileRecording_ && services_.microphone.isInUse();
    const bool sleeping = recording || (frontmostReason_ != nullptr && frontmostReason_->sleeping);
    store(isSleeping_, sleeping, &AppModel::isSleepingChanged);
    applyMute();
}

void AppModel::observeSleepReasons() {
    services_.microphone.setChangeHandler([this] { updateSleeping(); });
    services_.microphone.setWatching(muteWhileRecording_);
    frontmostReason_ = std::make_unique<FrontmostReason>(*this);
    sleepTriggers_ = std::make_unique<SleepTriggers>(*frontmostReason_, services_.frontmost);
}

void AppModel::setVolume(float volume) {
    store(volume_, volume, &AppModel::volumeChanged);
    if (!isRestoring_) {
        services_.preferences.setFloat("volume", volume_);
        services_.engine.setVolume(volume_);
    }
}

void AppModel::setSelectedSetId(const std::string& id) {
    if (store(selectedSetId_, id, &AppModel::selectedSetIdChanged) && !isRestoring_) {
        services_.preferences.setString("setID", selectedSetId_);
        loadSelectedSet();
    }
}

void AppModel::setOutputDeviceUid(const std::optional<std::string>& uid) {
    if (store(outputDeviceUid_, uid, &AppModel::outputDeviceUidChanged) && !isRestoring_) {
        services_.preferences.setString("outputUID", outputDeviceUid_);
        applyOutputDevice();
    }
}

void AppModel::setSpatialAudio(bool spatial) {
    if (store(spatialAudio_, spatial, &AppModel::spatialAudioChanged) && !isRestoring_) {
        services_.preferences.setBool("spatial", spatialAudio_);
        services_.engine.setSpatial(spatialAudio_);
    }
}

void AppModel::setTone(float tone) {
    if (store(tone_, tone, &AppModel::toneChanged) && !isRestoring_) {
        services_.preferences.setFloat("tone", tone_);
        services_.engine.setTone(tone_);
    }
}

void AppModel::setBody(float body) {
    if (store(body_, body, &AppModel::bodyChanged) && !isRestoring_) {
        services_.preferences.setFloat("body", body_);
        services_.engine.setBody(body_);
    }
}

void AppModel::resetTone() {
    setTone(0);
    setBody(0);
}

void AppModel::setMouseSounds(bool enabled) {
    store(mouseSounds_, enabled, &AppModel::mouseSoundsChanged);
    if (!isRestoring_) {
        services_.preferences.setBool("mouse", mouseSounds_);
        services_.engine.setMouseEnabled(mouseSounds_);
    }
}

void AppModel::setScrollSounds(bool enabled) {
    store(scrollSounds_, enabled, &AppModel::scrollSoundsChanged);
    if (!isRestoring_) {
        services_.preferences.setBool("scroll", scrollSounds_);
        services_.engine.setScrollEnabled(scrollSounds_);
    }
}

void AppModel::setMutedApps(const std::vector<std::string>& identifiers) {
    store(mutedApps_, identifiers, &AppModel::mutedAppsChanged);
    if (!isRestoring_) {
        persistMutedApps();
    }
}

void AppModel::persistMutedApps() {
    services_.preferences.setStringArray("mutedApps", mutedApps_);
    if (sleepTriggers_ != nullptr) {
        sleepTriggers_->reevaluate();
    }
}

void AppModel::addMutedApp(const std::string& bundleId) {
    if (bundleId.empty() || std::find(mutedApps_.begin(), mutedApps_.end(), bundleId) != mutedApps_.end()) {
        return;
    }
    auto identifiers = mutedApps_;
    identifiers.push_back(bundleId);
    setMutedApps(identifiers);
}

void AppModel::removeMutedApp(const std::string& bundleId) {
    auto identifiers = mutedApps_;
    std::erase(identifiers, bundleId);
    setMutedApps(identifiers);
}

void AppModel::setMuteWhileRecording(bool enabled) {
    if (store(muteWhileRecording_, enabled, &AppModel::muteWhileRecordingChanged) && !isRestoring_) {
        services_.preferences.setBool("muteWhileRecording", muteWhileRecording_);
        services_.microphone.setWatching(muteWhileRecording_);
        updateSleeping();
    }
}

void AppModel::setLaunchAtLogin(bool enabled) {
    if (!store(launchAtLogin_, enabled, &AppModel::launchAtLoginChanged) || isRestoring_) {
        return;
    }
    try {
        LaunchAtLogin::set(services_.loginItem, enabled);
    } catch (const LoginItemError& error) {
        log.error("launch at login %s failed: %s", enabled ? "on" : "off", error.what());
        // Back to what is: once, however the second attempt goes.
        if (!launchAtLoginIsSettling_) {
            launchAtLoginIsSettling_ = true;
            setLaunchAtLogin(LaunchAtLogin::isEnabled(services_.loginItem));
            launchAtLoginIsSettling_ = false;
        }
    }
}

void AppModel::applyOutputDevice() {
    try {
        services_.engine.setOutputDevice(outputDeviceUid_, false);
    } catch (const std::runtime_error& error) {
        log.error("output device unavailable, using the system default: %s", error.what());
        if (outputDeviceUid_) {
            setOutputDeviceUid(std::nullopt);
        }
    }
}

void AppModel::outputDevicesChanged() {
    store(outputDevices_, OutputDevices::all(services_.devices), &AppModel::outputDeviceListChanged);
    const bool present =
        std::any_of(outputDevices_.begin(), outputDevices_.end(),
                    [&](const AudioOutputDevice& device) { return device.uid == outputDeviceUid_; });
    if (!outputDeviceUid_ || present) {
        applyOutputDevice();
    } else {
        setOutputDeviceUid(std::nullopt);
    }
}

void AppModel::resetStats() {
    if (stats_) {
        stats_->reset();
    }
    store(keysPressed_, std::int64_t{0}, &AppModel::keysPressedChanged);
}

} // namespace keysong
