#pragma once

#include "App/AppWindows.h"
#include "App/PreferenceMigration.h"
#include "App/Preferences.h"
#include "App/SleepTriggers.h"
#include "App/Stats.h"
#include "Audio/ListenerToken.h"
#include "Audio/OutputDevices.h"
#include "Audio/SoundEngine.h"
#include "Audio/SoundLibrary.h"
#include "Input/EventTap.h"
#include "Input/Hotkey.h"
#include "Platform/AudioFile.h"
#include "Platform/FolderWatcher.h"
#include "Platform/FrontmostApplication.h"
#include "Platform/LoginItem.h"
#include "Platform/MicrophoneUse.h"
#include "Platform/Places.h"
#include "Platform/TextOrder.h"

#include <QObject>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace keysong {

/// What the model works with. Everything referred to outlives it.
struct AppServices {
    SoundEngine& engine;
    /// Those of the engine's output.
    AudioDevices& devices;
    InputSource& input;
    Threads& threads;
    const Places& places;
    const TextOrder& textOrder;
    const AudioFiles& audioFiles;
    Preferences& preferences;
    const PreferenceMigration& migration;
    LoginItem& loginItem;
    HotkeyRegistrar& hotkeys;
    FrontmostApplication& frontmost;
    MicrophoneUse& microphone;
    FolderWatcher& folders;
    AppWindows& windows;
    /// Runs its tasks on the main thread.
    TaskQueue& mainQueue;
    /// Runs a task on another thread, beside others.
    std::function<void(std::function<void()>)> background;
    /// Sees every raw event on the event-tap thread; may be empty.
    RawEventHandler observeRawEvent;
};

/// The one object of the application: every setting and all live state that windows, menu and the remote
/// control show and change. It persists the settings, pushes each change into the engine and owns the parts
/// that feed it.
///
/// Main thread only. A setter stores the value, tells the observers if it differs from the old one, and then
/// persists and applies it.
class AppModel final : public QObject {
    Q_OBJECT

  public:
    static constexpr float defaultVolume = 0.6F;

    explicit AppModel(const AppServices& services);
    ~AppModel() override;

    /// Reads the settings and wires everything together, once. What fails is logged and left out.
    void bootstrap();
    /// Stores what is not stored yet, before the program ends.
    void prepareToTerminate();

    // Settings.
    [[nodiscard]] bool isEnabled() const { return isEnabled_; }
    void setEnabled(bool enabled);
    void toggleEnabled() { setEnabled(!isEnabled_); }
    /// 0 to 1; the engine limits it.
    [[nodiscard]] float volume() const { return volume_; }
    void setVolume(float volume);
    [[nodiscard]] const std::string& selectedSetId() const { return selectedSetId_; }
    void setSelectedSetId(const std::string& id);
    /// None follows the system's default output.
    [[nodiscard]] const std::optional<std::string>& outputDeviceUid() const { return outputDeviceUid_; }
    void setOutputDeviceUid(const std::optional<std::string>& uid);
    [[nodiscard]] bool spatialAudio() const { return spatialAudio_; }
    void setSpatialAudio(bool spatial);
    /// -1 to 1, as is body; the engine limits both.
    [[nodiscard]] float tone() const { return tone_; }
    void setTone(float tone);
    [[nodiscard]] float body() const { return body_; }
    void setBody(float body);
    /// Tone, then body, to 0.
    void resetTone();
    [[nodiscard]] bool mouseSounds() const { return mouseSounds_; }
    void setMouseSounds(bool enabled);
    [[nodiscard]] bool scrollSounds() const { return scrollSounds_; }
    void setScrollSounds(bool enabled);
    /// Identifiers of the applications in whose presence the program is silent.
    [[nodiscard]] const std::vector<std::string>& mutedApps() const { return mutedApps_; }
    void setMutedApps(const std::vector<std::string>& identifiers);
    /// Appends the identifier unless it is empty or there already.
    void addMutedApp(const std::string& bundleId);
    void removeMutedApp(const std::string& bundleId);
    /// Whether the program is silent while some application listens to a microphone.
    [[nodiscard]] bool muteWhileRecording() const { return muteWhileRecording_; }
    void setMuteWhileRecording(bool enabled);
    /// A refusal leaves what the login item says.
    [[nodiscard]] bool launchAtLogin() const { return launchAtLogin_; }
    void setLaunchAtLogin(bool enabled);

    // Live state.
    [[nodiscard]] bool canLaunchAtLogin() const { return canLaunchAtLogin_; }
    /// Whether the program hears the keyboards.
    [[nodiscard]] bool hasAccess() const { return hasAccess_; }
    /// Whether the system would let it hear them, asked anew.
    [[nodiscard]] bool systemGivesAccess() const { return services_.input.hasAccess(); }
    /// Whether a muted application is in front, or an application records.
    [[nodiscard]] bool isSleeping() const { return isSleeping_; }
    [[nodiscard]] const std::vector<SoundSetInfo>& availableSets() const { return availableSets_; }
    [[nodiscard]] const std::vector<AudioOutputDevice>& outputDevices() const { return outputDevices_; }
    [[nodiscard]] std::int64_t keysPressed() const { return keysPressed_; }
    [[nodiscard]] SoundEngine& engine() const { return services_.engine; }
    /// What serves the global hotkeys.
    [[nodiscard]] std::string_view hotkeyWay() const { return services_.hotkeys.way(); }

    /// Selects the set and plays a short phrase with it, unless another preview comes in between.
    void previewSet(const std::string& id);
    /// Starts the keystroke count again from 0.
    void resetStats();
    void showSettings() { services_.windows.showSettings(); }
    /// What the user can do so that the program is trusted.
    void showOnboarding() { services_.windows.showOnboarding(); }

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

  private:
    using Signal = void (AppModel::*)();
    struct FrontmostReason;

    /// Stores a value and tells the observers; false when it is the old one.
    template <typename Value>
    bool store(Value& field, const Value& value, Signal changed) {
        if (field == value) {
            return false;
        }
        field = value;
        emit(this->*changed)();
        return true;
    }
    /// A task for the main queue that does nothing once the model is gone.
    [[nodiscard]] TaskQueue::Task guarded(std::function<void()> task) const;
    /// Runs `step` on the main thread every second as long as it returns true.
    void everySecond(std::function<bool()> step);

    void restore();
    void pushTone();
    void startEngine();
    void chooseFirstSetIfNeeded();
    void makeTap();
    void startTap();
    void requireAccess();
    void startAccessPolling();
    void registerHotkeys();
    void observeSleepReasons();
    void observeDevices();
    void observeSetFolders();
    void statsTick();

    void applyMute();
    void updateSleeping();
    void setFoldersChanged(const std::vector<std::filesystem::path>& changed);
    void applySetFolders(const std::vector<SoundSetInfo>& sets);
    [[nodiscard]] const SoundSetInfo* selectedSet() const;
    void loadSelectedSet();
    void applyOutputDevice();
    void outputDevicesChanged();
    void persistMutedApps();
    void playPreview(std::int64_t generation, std::size_t step);
    void awaitPreviewedSet(std::int64_t generation, const std::string& id, int looksLeft);

    AppServices services_;
    /// Gone with the model; what waits in a queue looks at it first.
    std::shared_ptr<const int> life_ = std::make_shared<const int>(0);

    bool isEnabled_ = true;
    float volume_ = defaultVolume;
    std::string selectedSetId_;
    std::optional<std::string> outputDeviceUid_;
    bool spatialAudio_ = true;
    float tone_ = 0;
    float body_ = 0;
    bool mouseSounds_ = true;
    bool scrollSounds_ = false;
    std::vector<std::string> mutedApps_ = SleepTriggers::defaultMutedApps();
    bool muteWhileRecording_ = false;
    bool launchAtLogin_ = false;

    bool canLaunchAtLogin_ = false;
    bool hasAccess_ = false;
    bool isSleeping_ = false;
    std::vector<SoundSetInfo> availableSets_;
    std::vector<AudioOutputDevice> outputDevices_;
    std::int64_t keysPressed_ = 0;

    /// While it is true no setter persists or applies anything.
    bool isRestoring_ = false;
    bool accessIsPolled_ = false;
    bool launchAtLoginIsSettling_ = false;
    std::int64_t setLoadGeneration_ = 0;
    std::int64_t setListGeneration_ = 0;
    /// What changed in the sets' folders since the list was last made.
    std::vector<std::filesystem::path> changedInSets_;
    std::int64_t previewGeneration_ = 0;

    /// Made after the migration, so that a carried-over total is what it goes on from.
    std::optional<Stats> stats_;
    std::unique_ptr<EventTap> tap_;
    HotkeyRegistry hotkeyRegistry_;
    std::unique_ptr<Hotkey> hotkey_;
    std::unique_ptr<Hotkey> settingsHotkey_;
    std::unique_ptr<FrontmostReason> frontmostReason_;
    std::unique_ptr<SleepTriggers> sleepTriggers_;
    std::unique_ptr<ListenerToken> deviceObserver_;
};

} // namespace keysong
