#include "Audio/OutputDevices.h"

namespace keysong {

std::vector<AudioOutputDevice> OutputDevices::all(const AudioDevices& devices) {
    std::vector<AudioOutputDevice> result;
    for (const AudioDeviceId id : devices.deviceIds()) {
        if (devices.outputChannels(id) == 0) {
            continue;
        }
        const auto uid = devices.uid(id);
        const auto name = uid ? devices.name(id) : std::nullopt;
        if (name) {
            result.push_back({id, *uid, *name});
        }
    }
    return result;
}

std::optional<AudioDeviceId> OutputDevices::deviceIdForUid(const AudioDevices& devices,
                                                           std::string_view uid) {
    for (const AudioDeviceId id : devices.deviceIds()) {
        if (devices.outputChannels(id) > 0 && devices.uid(id) == uid) {
            return id;
        }
    }
    return std::nullopt;
}

std::optional<AudioDeviceId> OutputDevices::defaultDeviceId(const AudioDevices& devices) {
    const auto device = devices.defaultOutputDevice();
    return device && *device != 0 ? device : std::nullopt;
}

} // namespace keysong
