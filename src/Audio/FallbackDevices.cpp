#include "Audio/FallbackDevices.h"

#include <algorithm>
#include <utility>

namespace keysong {

namespace {

/// A number is the back end's own below these bits and the back end's rank, from 1, in them.
constexpr unsigned rankShift = 28;
constexpr AudioDeviceId ownMask = (AudioDeviceId{1} << rankShift) - 1;

} // namespace

AudioDeviceId FallbackDevices::numbered(std::size_t rank, AudioDeviceId own) noexcept {
    return own == ownNumber(own) && own != 0 ? static_cast<AudioDeviceId>(rank + 1) << rankShift | own : 0;
}

std::optional<std::size_t> FallbackDevices::rankOf(AudioDeviceId device) noexcept {
    const AudioDeviceId rank = device >> rankShift;
    return rank != 0 ? std::optional<std::size_t>(rank - 1) : std::nullopt;
}

AudioDeviceId FallbackDevices::ownNumber(AudioDeviceId device) noexcept {
    return device & ownMask;
}

const AudioDevices* FallbackDevices::ownerOf(AudioDeviceId device) const {
    const auto rank = rankOf(device);
    return rank ? devicesAt_(*rank) : nullptr;
}

std::vector<AudioDeviceId> FallbackDevices::deviceIds() const {
    const std::size_t rank = wantedRank_();
    const AudioDevices* const devices = devicesAt_(rank);
    if (devices == nullptr) {
        return {};
    }
    std::vector<AudioDeviceId> ids = devices->deviceIds();
    std::transform(ids.begin(), ids.end(), ids.begin(),
                   [&](AudioDeviceId own) { return numbered(rank, own); });
    std::erase(ids, AudioDeviceId{0});
    return ids;
}

std::uint32_t FallbackDevices::outputChannels(AudioDeviceId device) const {
    const AudioDevices* owner = ownerOf(device);
    return owner != nullptr ? owner->outputChannels(ownNumber(device)) : 0;
}

std::optional<std::string> FallbackDevices::uid(AudioDeviceId device) const {
    return ask(device, &AudioDevices::uid);
}

std::optional<std::string> FallbackDevices::name(AudioDeviceId device) const {
    return ask(device, &AudioDevices::name);
}

std::optional<double> FallbackDevices::nominalSampleRate(AudioDeviceId device) const {
    return ask(device, &AudioDevices::nominalSampleRate);
}

std::optional<std::uint32_t> FallbackDevices::latencyFrames(AudioDeviceId device) const {
    return ask(device, &AudioDevices::latencyFrames);
}

std::optional<std::uint32_t> FallbackDevices::safetyOffsetFrames(AudioDeviceId device) const {
    return ask(device, &AudioDevices::safetyOffsetFrames);
}

std::optional<AudioDeviceId> FallbackDevices::defaultOutputDevice() const {
    const std::size_t rank = wantedRank_();
    const AudioDevices* const devices = devicesAt_(rank);
    const auto own = devices != nullptr ? devices->defaultOutputDevice() : std::nullopt;
    return own ? std::optional(numbered(rank, *own)) : std::nullopt;
}

bool FallbackDevices::isGone(std::string_view uid) const {
    const AudioDevices* const devices = devicesAt_(wantedRank_());
    return devices != nullptr && devices->isGone(uid);
}

std::int32_t FallbackDevices::addListener(DeviceListProperty property,
                                          std::shared_ptr<const ChangeHandler> handler) {
    return listeners_.add(property, std::move(handler));
}

void FallbackDevices::removeListener(DeviceListProperty property,
                                     const std::shared_ptr<const ChangeHandler>& handler) {
    listeners_.remove(property, handler);
}

} // namespace keysong
