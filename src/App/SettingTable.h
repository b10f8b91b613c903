#pragma once

#include "App/AppState.h"

#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>

namespace keysong {

/// A value that a setting does not take; the text says why. Thrown by the checks of the table below.
class SettingRefused : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// Whether a value equal to the old one is stored and applied once more.
enum class WhenEqual { doNothing, applyAgain };

/// When a restored value is applied for the first time.
enum class AtStart {
    /// Before the engine starts.
    beforeEngine,
    /// Right after the engine was started.
    afterEngine,
    /// At a place of its own in `AppModel::bootstrap`.
    inSequence,
};

/// What is known about a setting beside its value and what it does.
template <typename Value>
struct SettingTraits {
    /// Of the property on the bus.
    const char* name;
    /// Of the preferences; null for what is not kept there.
    const char* key = nullptr;
    AppState::Signal changed;
    WhenEqual whenEqual = WhenEqual::doNothing;
    AtStart atStart = AtStart::inSequence;
    /// Throws `SettingRefused` for a value from outside that makes no sense now. Null: every value does.
    void (*check)(const AppState& state, const Value& value) = nullptr;
};

/// One row of the table.
template <typename ValueType, typename Apply>
struct Setting : SettingTraits<ValueType> {
    using Value = ValueType;

    Value Settings::*field;
    /// `apply(model, value)` gives the value to the part of the `AppModel` that it is meant for.
    Apply apply;
};

template <typename Value, typename Apply>
constexpr Setting<Value, Apply>
setting(Value Settings::*field, const SettingTraits<std::type_identity_t<Value>>& traits, Apply apply) {
    return {traits, field, apply};
}

/// A value of the live state, which can only be read from outside.
template <typename ValueType>
struct LiveValue {
    using Value = ValueType;

    /// Of the property on the bus.
    const char* name;
    Value LiveState::*field;
    AppState::Signal changed;
};

namespace checks {

template <int low, int high>
void isWithin(const AppState&, const float& number) {
    if (!(number >= low && number <= high)) {
        throw SettingRefused("the number is out of range");
    }
}
void isInstalledSet(const AppState& state, const std::string& id);
void isAttachedDevice(const AppState& state, const std::optional<std::string>& uid);
/// At most 200 identifiers of at most 256 bytes, none of them empty, none there twice.
void isListOfApplications(const AppState& state, const std::vector<std::string>& identifiers);
/// A machine that has no place for a login item is not told to keep one.
void canLaunchAtLogin(const AppState& state, const bool& enabled);

} // namespace checks

/// Every setting, in the order in which they are restored. The preferences, what a change does, the remote
/// control and the copies in other processes all go by this table: a new setting is a row here, its value in
/// `Settings`, and its accessors in `AppState`.
///
/// What a row applies is a template, so that it is compiled for the model only: a copy of the state needs
/// nothing of what the model drives.
inline constexpr auto settingTable = std::make_tuple(
    setting(&Settings::enabled,
            {.name = "Enabled",
             .key = "enabled",
             .changed = &AppState::isEnabledChanged,
             .whenEqual = WhenEqual::applyAgain},
            [](auto& model, bool) { model.applyMute(); }),
    setting(&Settings::volume,
            {.name = "Volume",
             .key = "volume",
             .changed = &AppState::volumeChanged,
             .whenEqual = WhenEqual::applyAgain,
             .atStart = AtStart::afterEngine,
             .check = checks::isWithin<0, 1>},
            [](auto& model, float volume) { model.engine().setVolume(volume); }),
    setting(&Settings::selectedSetId,
            {.name = "SetId",
             .key = "setID",
             .changed = &AppState::selectedSetIdChanged,
             .check = checks::isInstalledSet},
            [](auto& model, const std::string&) { model.loadSelectedSet(); }),
    setting(&Settings::outputDeviceUid,
            {.name = "OutputUid",
             .key = "outputUID",
             .changed = &AppState::outputDeviceUidChanged,
             .check = checks::isAttachedDevice},
            [](auto& model, const std::optional<std::string>&) { model.applyOutputDevice(); }),
    setting(&Settings::spatialAudio,
            {.name = "SpatialAudio",
             .key = "spatial",
             .changed = &AppState::spatialAudioChanged,
             .atStart = AtStart::beforeEngine},
            [](auto& model, bool spatial) { model.engine().setSpatial(spatial); }),
    setting(&Settings::tone,
            {.name = "Tone",
             .key = "tone",
             .changed = &AppState::toneChanged,
             .atStart = AtStart::beforeEngine,
             .check = checks::isWithin<-1, 1>},
            [](auto& model, float tone) { model.engine().setTone(tone); }),
    setting(&Settings::body,
            {.name = "Body",
             .key = "body",
             .changed = &AppState::bodyChanged,
             .atStart = AtStart::beforeEngine,
             .check = checks::isWithin<-1, 1>},
            [](auto& model, float body) { model.engine().setBody(body); }),
    setting(&Settings::mouseSounds,
            {.name = "MouseSounds",
             .key = "mouse",
             .changed = &AppState::mouseSoundsChanged,
             .whenEqual = WhenEqual::applyAgain,
             .atStart = AtStart::afterEngine},
            [](auto& model, bool enabled) { model.engine().setMouseEnabled(enabled); }),
    setting(&Settings::scrollSounds,
            {.name = "ScrollSounds",
             .key = "scroll",
             .changed = &AppState::scrollSoundsChanged,
             .whenEqual = WhenEqual::applyAgain,
             .atStart = AtStart::afterEngine},
            [](auto& model, bool enabled) { model.engine().setScrollEnabled(enabled); }),
    setting(&Settings::mutedApps,
            {.name = "MutedApps",
             .key = "mutedApps",
             .changed = &AppState::mutedAppsChanged,
             .whenEqual = WhenEqual::applyAgain,
             .check = checks::isListOfApplications},
            [](auto& model, const std::vector<std::string>&) { model.reevaluateFrontmost(); }),
    setting(&Settings::muteWhileRecording,
            {.name = "MuteWhileRecording",
             .key = "muteWhileRecording",
             .changed = &AppState::muteWhileRecordingChanged},
            [](auto& model, bool) { model.updateSleeping(); }),
    setting(&Settings::launchAtLogin,
            {.name = "LaunchAtLogin",
             .changed = &AppState::launchAtLoginChanged,
             .check = checks::canLaunchAtLogin},
            [](auto& model, bool enabled) { model.applyLaunchAtLogin(enabled); }));

/// Every value of the live state.
inline constexpr auto liveTable = std::make_tuple(
    LiveValue<bool>{"CanLaunchAtLogin", &LiveState::canLaunchAtLogin, &AppState::canLaunchAtLoginChanged},
    LiveValue<bool>{"Trusted", &LiveState::hasAccess, &AppState::hasAccessChanged},
    LiveValue<bool>{"Sleeping", &LiveState::isSleeping, &AppState::isSleepingChanged},
    LiveValue<std::vector<SoundSetInfo>>{"Sets", &LiveState::availableSets, &AppState::availableSetsChanged},
    LiveValue<std::vector<AudioOutputDevice>>{"Outputs", &LiveState::outputDevices,
                                              &AppState::outputDeviceListChanged},
    LiveValue<std::int64_t>{"KeysPressed", &LiveState::keysPressed, &AppState::keysPressedChanged});

/// Calls `visit` with each row of one of the tables, in their order.
template <typename Table, typename Visit>
void forEachRow(const Table& table, Visit&& visit) {
    std::apply([&visit](const auto&... rows) { (visit(rows), ...); }, table);
}

/// Calls `visit` with the row of the setting that is to change, and the new value.
template <typename Visit>
void withRowOf(const SettingChange& change, Visit&& visit) {
    std::visit(
        [&visit](const auto& wanted) {
            forEachRow(settingTable, [&](const auto& row) {
                if constexpr (std::is_same_v<decltype(row.field), decltype(wanted.field)>) {
                    if (row.field == wanted.field) {
                        visit(row, wanted.value);
                    }
                }
            });
        },
        change);
}

} // namespace keysong
