#pragma once

#include "App/Settings.h"
#include "Audio/OutputDevices.h"
#include "Audio/SoundLibrary.h"

#include <QObject>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace keysong {

/// What the program knows of its surroundings beside the settings. Nothing of it is stored.
struct LiveState {
    bool canLaunchAtLogin = false;
    /// Whether the program hears the keyboards.
    bool hasAccess = false;
    /// Whether a muted application is in front, or an application captures and that mutes.
    bool isSleeping = false;
    std::vector<SoundSetInfo> availableSets;
    std::vector<AudioOutputDevice> outputDevices;
    /// As everybody on the bus may know it, up to ten seconds old; the program's own windows are told sooner.
    std::int64_t keysPressed = 0;
};

/// Every setting and all live state, with a signal for each, and the requests that change them: what windows,
/// menu and remote control work with. It is the model itself, or a copy of it in another process.
///
/// Main thread only. A signal comes after the new value is stored, and only if it differs from the old one.
class AppState : public QObject {
    Q_OBJECT

  public:
    using Signal = void (AppState::*)();

    [[nodiscard]] const Settings& settings() const { return settings_; }
    [[nodiscard]] const LiveState& live() const { return live_; }

    /// Asks for a new value of a setting. All setters below come here.
    virtual void change(const SettingChange& change) = 0;

    // Settings, as `Settings` describes them.
    [[nodiscard]] bool isEnabled() const { return settings_.enabled; }
    void setEnabled(bool enabled) { set(&Settings::enabled, enabled); }
    void toggleEnabled() { setEnabled(!isEnabled()); }
    [[nodiscard]] float volume() const { return settings_.volume; }
    void setVolume(float volume) { set(&Settings::volume, volume); }
    [[nodiscard]] const std::string& selectedSetId() const { return settings_.selectedSetId; }
    void setSelectedSetId(const std::string& id) { set(&Settings::selectedSetId, id); }
    [[nodiscard]] const std::optional<std::string>& outputDeviceUid() const {
        return settings_.outputDeviceUid;
    }
    void setOutputDeviceUid(const std::optional<std::string>& uid) { set(&Settings::outputDeviceUid, uid); }
    [[nodiscard]] bool spatialAudio() const { return settings_.spatialAudio; }
    void setSpatialAudio(bool spatial) { set(&Settings::spatialAudio, spatial); }
    [[nodiscard]] float tone() const { return settings_.tone; }
    void setTone(float tone) { set(&Settings::tone, tone); }
    [[nodiscard]] float body() const { return settings_.body; }
    void setBody(float body) { set(&Settings::body, body); }
    /// Tone, then body, to 0.
    void resetTone();
    [[nodiscard]] bool mouseSounds() const { return settings_.mouseSounds; }
    void setMouseSounds(bool enabled) { set(&Settings::mouseSounds, enabled); }
    [[nodiscard]] bool scrollSounds() const { return settings_.scrollSounds; }
    void setScrollSounds(bool enabled) { set(&Settings::scrollSounds, enabled); }
    [[nodiscard]] const std::vector<std::string>& mutedApps() const { return settings_.mutedApps; }
    void setMutedApps(const std::vector<std::string>& identifiers) { set(&Settings::mutedApps, identifiers); }
    /// Appends the identifier unless it is empty or there already.
    void addMutedApp(const std::string& bundleId);
    void removeMutedApp(const std::string& bundleId);
    [[nodiscard]] bool muteWhileRecording() const { return settings_.muteWhileRecording; }
    void setMuteWhileRecording(bool enabled) { set(&Settings::muteWhileRecording, enabled); }
    [[nodiscard]] bool launchAtLogin() const { return settings_.launchAtLogin; }
    /// A refusal leaves what the login item says.
    void setLaunchAtLogin(bool enabled) { set(&Settings::launchAtLogin, enabled); }

    // Live state, as `LiveState` describes it.
    [[nodiscard]] bool canLaunchAtLogin() const { return live_.canLaunchAtLogin; }
    [[nodiscard]] bool hasAccess() const { return live_.hasAccess; }
    [[nodiscard]] bool isSleeping() const { return live_.isSleeping; }
    [[nodiscard]] const std::vector<SoundSetInfo>& availableSets() const { return live_.availableSets; }
    [[nodiscard]] const std::vector<AudioOutputDevice>& outputDevices() const { return live_.outputDevices; }
    [[nodiscard]] std::int64_t keysPressed() const { return live_.keysPressed; }

    // Asked anew at each call; no signal tells of a change.
    /// Whether the system would let the program hear the keyboards.
    [[nodiscard]] virtual bool systemGivesAccess() const = 0;
    /// What serves the global hotkeys (`HotkeyRegistrar::way`).
    [[nodiscard]] virtual std::string hotkeyWay() const = 0;
    /// The UID of the device that the sound goes to; none while there is none.
    [[nodiscard]] virtual std::optional<std::string> playingOn() const = 0;
    /// How many sounds were left out since the start, since they would have come too late.
    [[nodiscard]] virtual std::int64_t lateHits() const = 0;
    /// How often the sound came too late for its device since the start.
    [[nodiscard]] virtual std::int64_t xruns() const = 0;

    // Requests.
    /// Selects the set and plays a short phrase with it, unless another preview comes in between.
    virtual void previewSet(const std::string& id) = 0;
    /// Starts the keystroke count again from 0.
    virtual void resetStats() = 0;
    virtual void showSettings() = 0;
    /// Shows what the user can do so that the program hears the keyboards.
    virtual void showOnboarding() = 0;

  signals:
    void isEnabledChanged();
    void volumeChanged();
    void selectedSetIdChanged();
    void outputDeviceUidChanged();
    void spatialAudioChanged();
    void toneChanged();
    void bodyChanged();
    void mouseSoundsChanged();
    void scrollSoundsChanged();
    void mutedAppsChanged();
    void muteWhileRecordingChanged();
    void launchAtLoginChanged();
    void canLaunchAtLoginChanged();
    void hasAccessChanged();
    void isSleepingChanged();
    void availableSetsChanged();
    void outputDeviceListChanged();
    void keysPressedChanged();

  protected:
    AppState() = default;

    /// Stores a value and tells the observers; false when it is the old one.
    template <typename Value>
    bool store(Value& field, const std::type_identity_t<Value>& value, Signal changed) {
        if (field == value) {
            return false;
        }
        field = value;
        emit(this->*changed)();
        return true;
    }

    Settings settings_;
    LiveState live_;

  private:
    template <typename Value>
    void set(Value Settings::*field, const Value& value) {
        change(NewValue<Value>{field, value});
    }
};

} // namespace keysong
