#pragma once

#include "Platform/AudioOutput.h"
#include "Platform/DeviceListeners.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace keysong {

/// The devices of one of several back ends, under numbers that name the back end: a number looked up before
/// a change never means another back end's device after it. Listeners stay when the back end changes.
class FallbackDevices final : public AudioDevices {
  public:
    /// `wantedRank` tells which back end's devices to list; `devicesAt` gives those of a rank, null for a
    /// back end that was never made. Both are asked on any thread and outlive this object.
    FallbackDevices(std::function<std::size_t()> wantedRank,
                    std::function<const AudioDevices*(std::size_t)> devicesAt)
        : wantedRank_(std::move(wantedRank)), devicesAt_(std::move(devicesAt)) {}

    /// The number of a back end's own device; 0 for one that does not fit. Ranks up to 14. Pure.
    [[nodiscard]] static AudioDeviceId numbered(std::size_t rank, AudioDeviceId own) noexcept;
    /// The back end that a number names; none for a number that names no back end. Pure.
    [[nodiscard]] static std::optional<std::size_t> rankOf(AudioDeviceId device) noexcept;
    /// The back end's own number. Pure.
    [[nodiscard]] static AudioDeviceId ownNumber(AudioDeviceId device) noexcept;

    [[nodiscard]] std::vector<AudioDeviceId> deviceIds() const override;
    [[nodiscard]] std::uint32_t outputChannels(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<std::string> uid(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<std::string> name(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<double> nominalSampleRate(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<std::uint32_t> latencyFrames(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<std::uint32_t> safetyOffsetFrames(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<AudioDeviceId> defaultOutputDevice() const override;
    [[nodiscard]] bool isGone(std::string_view uid) const override;
    std::int32_t addListener(DeviceListProperty property,
                             std::shared_ptr<const ChangeHandler> handler) override;
    void removeListener(DeviceListProperty property,
                        const std::shared_ptr<const ChangeHandler>& handler) override;

    /// Calls the listeners of a property on this thread.
    void tell(DeviceListProperty property) const { listeners_.tell(property); }

  private:
    /// Who knows the device: its back end, even when it is no longer the wanted one.
    [[nodiscard]] const AudioDevices* ownerOf(AudioDeviceId device) const;
    template <typename Value>
    [[nodiscard]] std::optional<Value>
    ask(AudioDeviceId device, std::optional<Value> (AudioDevices::*question)(AudioDeviceId) const) const {
        const AudioDevices* owner = ownerOf(device);
        return owner != nullptr ? (owner->*question)(ownNumber(device)) : std::nullopt;
    }

    const std::function<std::size_t()> wantedRank_;
    const std::function<const AudioDevices*(std::size_t)> devicesAt_;
    DeviceListeners listeners_;
};

} // namespace keysong
