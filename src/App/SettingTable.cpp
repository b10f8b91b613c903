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

} // namespace keysong::checks
