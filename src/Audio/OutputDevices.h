#pragma once

#include "Platform/AudioOutput.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace keysong {

/// A device that can play.
struct AudioOutputDevice {
    /// Valid only while the program runs.
    AudioDeviceId id = 0;
    /// Stable across runs; stored in preferences.
    std::string uid;
    /// Shown to the user.
    std::string name;

    friend bool operator==(const AudioOutputDevice&, const AudioOutputDevice&) = default;
};

/// Look-ups in the machine's list of sound devices, asked afresh each time. Any thread but the event-tap
/// and the render thread. Nothing throws: what cannot be read is absent.
class OutputDevices {
  public:
    OutputDevices() = delete;

    /// Every device that has an output channel, a UID and a name, in the system's order.
    [[nodiscard]] static std::vector<AudioOutputDevice> all(const AudioDevices& devices);

    /// The first device that has an output channel and exactly this UID.
    [[nodiscard]] static std::optional<AudioDeviceId> deviceIdForUid(const AudioDevices& devices,
                                                                     std::string_view uid);

    /// The system's default output; none when there is none or it cannot be read.
    [[nodiscard]] static std::optional<AudioDeviceId> defaultDeviceId(const AudioDevices& devices);
};

} // namespace keysong

template <>
struct std::hash<keysong::AudioOutputDevice> {
    std::size_t operator()(const keysong::AudioOutputDevice& device) const noexcept {
        const std::hash<std::string> text;
        std::size_t result = device.id;
        result = result * 31 + text(device.uid);
        return result * 31 + text(device.name);
    }
};
