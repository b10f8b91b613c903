#include "App/AppModel.h"

#include "App/LaunchAtLogin.h"
#include "Shared/Log.h"

#include <algorithm>

namespace keysong {

namespace {

void persist(Preferences& preferences, const char* key, bool value) {
    preferences.setBool(key, value);
}

void persist(Preferences& preferences, const char* key, float value) {
    preferences.setFloat(key, value);
}

void persist(Preferences& preferences, const char* key, const std::optional<std::string>& value) {
    preferences.setString(key, value);
}

void persist(Preferences& preferences, const char* key, const std::vector<std::string>& value) {
    preferences.setStringArray(key, value);
}

std::vector<std::string> withoutRepetitions(const std::vector<std::string>& texts) {
    std::vector<std::string> result;
    for (const std::string& text : texts) {
        if (std::ranges::find(result, text) == result.end()) {
            result.push_back(text);
        }
    }
    return result;
}

/// What is stored under a key, or the default when it is missing or of another type.
template <typename Value>
Value restored(const Preferences& preferences, const char* key, const Value& fallback) {
    if constexpr (std::is_same_v<Value, bool>) {
        return preferences.boolean(key).value_or(fallback);
    } else if constexpr (std::is_same_v<Value, float>) {
        return preferences.number(key).value_or(fallback);
    } else if constexpr (std::is_same_v<Value, std::string>) {
        return preferences.string(key).value_or(fallback);
    } else if constexpr (std::is_same_v<Value, std::optional<std::string>>) {
        return preferences.string(key);
    } else {
        return withoutRepetitions(preferences.stringArray(key).value_or(fallback));
    }
}

} // namespace

/// What the sleep triggers see and set: one of the reasons to sleep.
struct AppModel::FrontmostReason final : SleepModel {
    explicit FrontmostReason(AppModel& owner) : model(owner) {}

    [[nodiscard]] const std::vector<std::string>& mutedApps() const override { return model.mutedApps(); }
    [[nodiscard]] bool isSleeping() const override { return sleeping; }
    void setSleeping(bool value) override {
        sleeping = value;
        model.updateSleeping();
    }

    AppModel& model;
    bool sleeping = false;
};

AppModel::AppModel(const AppServices& services)
    : services_(services), sets_(*this,
                                 {services.engine, services.places, services.textOrder, services.audioFiles,
                                  services.folders, services.mainQueue, services.background},
                                 [this](const std::vector<SoundSetInfo>& sets) {
                                     store(live_.availableSets, sets, &AppState::availableSetsChanged);
                                 }),
      hotkeyRegistry_(services.hotkeys, services.mainQueue) {
}

AppModel::~AppModel() {
    services_.captures.watch({});
}

void AppModel::change(const SettingChange& change) {
    withRowOf(change, [this](const auto& row, const auto& value) {
        auto& field = settings_.*row.field;
        const bool differs = store(field, value, row.changed);
        if (isRestoring_ || (!differs && row.whenEqual == WhenEqual::doNothing)) {
            return;
        }
        if (row.key != nullptr) {
            persist(services_.preferences, row.key, field);
        }
        row.apply(*this, field);
    });
}

void AppModel::restore() {
    isRestoring_ = true;
    services_.migration.run(services_.preferences);
    forEachRow(settingTable, [this, defaults = Settings()](const auto& row) {
        if (row.key != nullptr) {
            store(settings_.*row.field, restored(services_.preferences, row.key, defaults.*row.field),
                  row.changed);
        }
    });
    store(live_.canLaunchAtLogin, services_.loginItem.isInstalled(), &AppState::canLaunchAtLoginChanged);
    setLaunchAtLogin(canLaunchAtLogin() && LaunchAtLogin::isEnabled(services_.loginItem));
    isRestoring_ = false;
}

void AppModel::apply(AtStart turn) {
    forEachRow(settingTable, [this, turn](const auto& row) {
        if (row.atStart == turn) {
            row.apply(*this, settings_.*row.field);
        }
    });
}

void AppModel::applyMute() {
    services_.engine.setMuted(!isEnabled() || isSleeping());
}

void AppModel::updateSleeping() {
    const bool recording = muteWhileRecording() && services_.captures.isInUse();
    const bool sleeping = recording || (frontmostReason_ != nullptr && frontmostReason_->sleeping);
    store(live_.isSleeping, sleeping, &AppState::isSleepingChanged);
    applyMute();
}

void AppModel::observeSleepReasons() {
    services_.captures.watch([this] { followCaptures(); });
    frontmostReason_ = std::make_unique<FrontmostReason>(*this);
    sleepTriggers_ = std::make_unique<SleepTriggers>(*frontmostReason_, services_.frontmost);
}

void AppModel::reevaluateFrontmost() {
    if (sleepTriggers_ != nullptr) {
        sleepTriggers_->reevaluate();
    }
}

void AppModel::followCaptures() {
    services_.engine.setPlaceless(services_.captures.isInUse());
    updateSleeping();
}

void AppModel::applyLaunchAtLogin(bool enabled) {
    try {
        LaunchAtLogin::set(services_.loginItem, enabled);
    } catch (const LoginItemError& error) {
        log.error("launch at login %s failed: %s", enabled ? "on" : "off", error.what());
        // Back to what the login item says. Once only, since this attempt may be refused as well.
        if (!launchAtLoginIsSettling_) {
            launchAtLoginIsSettling_ = true;
            setLaunchAtLogin(LaunchAtLogin::isEnabled(services_.loginItem));
            launchAtLoginIsSettling_ = false;
        }
    }
}

void AppModel::resetStats() {
    if (stats_) {
        stats_->reset();
    }
    publishCounts(0);
    emit keysCounted(0);
}

void AppModel::publishCounts(std::int64_t keysPressed) {
    lateHits_ = static_cast<std::int64_t>(services_.engine.lateHits());
    store(live_.keysPressed, keysPressed, &AppState::keysPressedChanged);
}

} // namespace keysong
