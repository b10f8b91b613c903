#include "App/SettingTable.h"

#include <algorithm>

namespace keysong::checks {

void isInstalledSet(const AppState& state, const std::string& id) {
    if (std::ranges::find(state.availableSets(), id, &SoundSetInfo::id) == state.availableSets().end()) {
        throw SettingRefused("no set \"" + id + "\"");
    }
}

void isAttachedDevice(const AppState& state, const std::optional<std::string>& uid) {
    const auto& devices = state.outputDevices();
    if (uid && std::ranges::find(devices, *uid, &AudioOutputDevice::uid) == devices.end()) {
        throw SettingRefused("output device " + *uid + " is not attached");
    }
}

void isListOfApplications(const AppState&, const std::vector<std::string>& identifiers) {
    constexpr std::size_t most = 200;
    constexpr std::size_t longest = 256;
    if (identifiers.size() > most) {
        throw SettingRefused("at most " + std::to_string(most) + " applications can be muted");
    }
    for (auto at = identifiers.begin(); at != identifiers.end(); ++at) {
        if (at->empty() || at->size() > longest) {
            throw SettingRefused("an application's identifier has 1 to " + std::to_string(longest) +
                                 " bytes");
        }
        if (std::find(identifiers.begin(), at, *at) != at) {
            throw SettingRefused("an application is in the list twice: " + *at);
        }
    }
}

void canLaunchAtLogin(const AppState& state, const bool& enabled) {
    if (enabled && !state.live().canLaunchAtLogin) {
        throw SettingRefused("there is no place for a login item here");
    }
}

} // namespace keysong::checks
