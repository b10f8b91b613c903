#pragma once

#include "App/AppState.h"
#include "App/AppWindows.h"
#include "App/PreferenceMigration.h"
#include "App/Preferences.h"
#include "App/SetChooser.h"
#include "App/SettingTable.h"
#include "App/SleepTriggers.h"
#include "App/Stats.h"
#include "Audio/ListenerToken.h"
#include "Audio/SoundEngine.h"
#include "Input/EventTap.h"
#include "Input/Hotkey.h"
#include "Platform/CaptureUse.h"
#include "Platform/FrontmostApplication.h"
#include "Platform/LoginItem.h"

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
    CaptureUse& captures;
    FolderWatcher& folders;
    AppWindows& windows;
    /// Runs its tasks on the main thread.
    TaskQueue& mainQueue;
    /// Runs a task on another thread, beside others.
    std::function<void(std::function<void()>)> background;
    /// Sees every raw event on the event-tap thread, after its sound was started; may be empty.
    RawEventHandler observeRawEvent;
};

/// The one object of the application: it restores and stores the settings, applies each change and owns the
/// parts that feed the engine.
///
/// Main thread only. A changed setting is stored in the object first, then the observers are told, then it is
/// persisted and applied.
class AppModel final : public AppState {
    Q_OBJECT

  public:
    explicit AppModel(const AppServices& services);
    ~AppModel() override;

    /// Restores the settings and wires everything together, once. What fails is logged and left out.
    void bootstrap();
    /// Stores what is not stored yet, before the program ends.
    void prepareToTerminate();

    void change(const SettingChange& change) override;
    [[nodiscard]] bool systemGivesAccess() const override { return services_.input.hasAccess(); }
    [[nodiscard]] std::string hotkeyWay() const override { return std::string(services_.hotkeys.way()); }
    [[nodiscard]] std::optional<std::string> playingOn() const override {
        return services_.engine.isPlaying() ? services_.engine.activeOutputDeviceUid() : std::nullopt;
    }
    [[nodiscard]] std::int64_t lateHits() const override { return lateHits_; }
    [[nodiscard]] std::int64_t xruns() const override {
        return static_cast<std::int64_t>(services_.engine.xruns());
    }
    void previewSet(const std::string& id) override { sets_.preview(id); }
    void resetStats() override;
    void showSettings() override { services_.windows.showSettings({}); }
    void showOnboarding() override { services_.windows.showOnboarding({}); }

    // What the rows of `settingTable` apply.
    [[nodiscard]] SoundEngine& engine() const { return services_.engine; }
    /// Silences the engine while the sound is off or the program sleeps.
    void applyMute();
    void loadSelectedSet() { sets_.loadSelected(); }
    /// Asks the engine to play on the chosen device. Returns at once. A device that is gone for good is
    /// forgotten later.
    void applyOutputDevice();
    /// Looks again whether a muted application is in front.
    void reevaluateFrontmost();
    /// Looks again whether there is a reason to be silent.
    void updateSleeping();
    void applyLaunchAtLogin(bool enabled);

  signals:
    /// How many keys were pressed so far, every second and with a reset. For the program's own windows: what
    /// `keysPressed` says is for everybody and changes less often.
    void keysCounted(std::int64_t total);

  private:
    struct FrontmostReason;

    /// Runs `step` on the main thread every second as long as it returns true.
    void everySecond(std::function<bool()> step);

    void restore();
    /// Applies the restored settings whose turn it is.
    void apply(AtStart turn);
    /// Asks the engine to start. Returns at once.
    void startEngine();
    /// Tells a failure on the main thread.
    [[nodiscard]] OutputReport onFailure(std::function<void(const std::string& failure)> tell);
    void makeTap();
    void startTap();
    void requireAccess();
    void startAccessPolling();
    /// While there is a tap: access may be taken back, and given again.
    void followAccess();
    void registerHotkeys();
    void observeSleepReasons();
    void observeDevices();
    void statsTick();
    /// Lets everybody know what counts keys. Not more often than a flush: from numbers that follow each key
    /// whoever reads them learns how long a password is.
    void publishCounts(std::int64_t keysPressed);

    /// Plays as what captures now allows.
    void followCaptures();
    void listOutputDevices(const std::vector<AudioOutputDevice>& devices);
    void outputDevicesChanged(const std::vector<AudioOutputDevice>& devices);
    /// Gives the chosen device up if it is gone and nothing changes for a while.
    void reviewChoice();
    /// Acts if the chosen device is gone, unless another review has begun by then.
    void ifChoiceIsGone(std::uint64_t review, std::function<void()> act);

    AppServices services_;
    Lifetime lifetime_;

    /// While it is true no setter persists or applies anything.
    bool isRestoring_ = false;
    bool accessIsPolled_ = false;
    bool launchAtLoginIsSettling_ = false;
    /// Counts what may matter to the chosen device; only the newest review ends in a decision.
    std::uint64_t choiceReviews_ = 0;

    /// As published last.
    std::int64_t lateHits_ = 0;
    /// Made after the migration, so that a carried-over total is what it goes on from.
    std::optional<Stats> stats_;
    std::unique_ptr<EventTap> tap_;
    SetChooser sets_;
    HotkeyRegistry hotkeyRegistry_;
    std::vector<std::unique_ptr<Hotkey>> hotkeys_;
    std::unique_ptr<FrontmostReason> frontmostReason_;
    std::unique_ptr<SleepTriggers> sleepTriggers_;
    std::unique_ptr<ListenerToken> deviceObserver_;
};

} // namespace keysong
