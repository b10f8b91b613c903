#pragma once

#include "Linux/Sound/AlsaPcm.h"
#include "Platform/AudioOutput.h"
#include "Platform/DeviceListeners.h"
#include "Shared/Mutex.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace keysong {

/// The UID of the device that ALSA's configuration calls "default".
inline constexpr std::string_view alsaDefaultUid = "alsa:default";

/// The UID of a card's PCM. The card's id, unlike its number, stays with the card.
[[nodiscard]] std::string alsaUid(std::string_view cardId, int device);

/// ALSA's name for a card's PCM: as it is ("hw") or with conversion ("plughw").
[[nodiscard]] std::string alsaPcmName(std::string_view kind, std::string_view cardId, int device);

/// ALSA's devices: the PCMs of every card, and before them the configuration's "default" where that opens to
/// something that plays in time. The default is the device to play to; without one, the first card that
/// plays is.
///
/// What a call tells was true at the last `rescan`, which the owner asks for at first and after each change.
/// Any thread but the render thread.
class AlsaDevices final : public AudioDevices {
  public:
    struct Device {
        AudioDeviceId id = 0;
        std::string uid;
        std::string name;
        bool plays = false;
        /// The names to open it by, the best first.
        std::vector<std::string> pcmNames;

        friend bool operator==(const Device&, const Device&) = default;
    };

    /// What is known of a device while it plays.
    struct Stream {
        AudioDeviceId device = 0;
        double rate = 0;
        std::optional<std::uint32_t> latencyFrames;
        std::uint32_t aheadFrames = 0;
    };

    /// Looks at the machine and tells the listeners what changed, on the calling thread. True when
    /// anything did. `defaultInUse`: the default device plays; it is not opened a second time.
    bool rescan(bool defaultInUse);

    /// Notes what the playing stream knows; none when nothing plays.
    void setStream(std::optional<Stream> stream);

    [[nodiscard]] std::optional<Device> find(AudioDeviceId device) const;
    [[nodiscard]] std::optional<Device> find(std::string_view uid) const;

    [[nodiscard]] std::vector<AudioDeviceId> deviceIds() const override;
    /// Two where it plays, whatever the card has: the sound is put onto its channels.
    [[nodiscard]] std::uint32_t outputChannels(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<std::string> uid(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<std::string> name(AudioDeviceId device) const override;
    /// Known while the device plays, as are the next two.
    [[nodiscard]] std::optional<double> nominalSampleRate(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<std::uint32_t> latencyFrames(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<std::uint32_t> safetyOffsetFrames(AudioDeviceId device) const override;
    [[nodiscard]] std::optional<AudioDeviceId> defaultOutputDevice() const override;
    /// Of this system's own identifiers.
    [[nodiscard]] bool isGone(std::string_view uid) const override;
    std::int32_t addListener(DeviceListProperty property,
                             std::shared_ptr<const ChangeHandler> handler) override;
    void removeListener(DeviceListProperty property,
                        const std::shared_ptr<const ChangeHandler>& handler) override;

  private:
    struct Changes {
        bool list = false;
        bool standard = false;
    };

    [[nodiscard]] Changes look(bool defaultInUse);
    [[nodiscard]] std::optional<Stream> streamOn(AudioDeviceId device) const;
    [[nodiscard]] static std::optional<AudioDeviceId> defaultOf(const std::vector<Device>& devices);

    /// Held for the whole of a look, so that an older one never replaces a newer one.
    Mutex lookMutex_;
    mutable Mutex mutex_;
    std::vector<Device> devices_ KEYSONG_GUARDED_BY(mutex_);
    /// Every UID seen, so that a device that comes back has its old number, which is its place here plus 1.
    std::vector<std::string> knownUids_ KEYSONG_GUARDED_BY(mutex_);
    std::optional<Stream> stream_ KEYSONG_GUARDED_BY(mutex_);
    DeviceListeners listeners_;
};

} // namespace keysong
