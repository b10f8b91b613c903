#pragma once

#include "App/SleepTriggers.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace keysong {

/// The values of all settings; a new one holds the defaults. What is known about each of them beside its
/// value stands in `settingTable`.
struct Settings {
    bool enabled = true;
    /// 0 to 1; the engine limits it.
    float volume = 0.6F;
    std::string selectedSetId;
    /// None follows the system's default output.
    std::optional<std::string> outputDeviceUid;
    bool spatialAudio = true;
    /// -1 to 1, as is body; the engine limits both.
    float tone = 0;
    float body = 0;
    bool mouseSounds = true;
    bool scrollSounds = false;
    /// Identifiers of the applications in whose presence the program is silent.
    std::vector<std::string> mutedApps = SleepTriggers::defaultMutedApps();
    /// Whether the program is silent while some application captures a microphone or what the speakers play.
    bool muteWhileRecording = false;
    /// A copy of what the login item says, which is the only record of it.
    bool launchAtLogin = false;
};

/// A new value for one setting, which the field identifies.
template <typename Value>
struct NewValue {
    Value Settings::*field;
    Value value;
};

/// A new value for any setting.
using SettingChange = std::variant<NewValue<bool>, NewValue<float>, NewValue<std::string>,
                                   NewValue<std::optional<std::string>>, NewValue<std::vector<std::string>>>;

} // namespace keysong
