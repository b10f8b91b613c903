#include "Linux/Sound/AlsaDevices.h"

#include "Shared/Log.h"

#include <algorithm>

namespace keysong {

namespace {

constexpr std::string_view uidPrefix = "alsa:";

using PcmInfo = std::unique_ptr<snd_pcm_info_t, AlsaDeleter<snd_pcm_info_free>>;

PcmInfo makePcmInfo() {
    snd_pcm_info_t* info = nullptr;
    return PcmInfo(snd_pcm_info_malloc(&info) < 0 ? nullptr : info);
}

/// A card's name and its PCM's, without saying the same twice.
std::string joinedName(const std::string& card, const std::string& pcm) {
    return pcm.empty() || card.find(pcm) != std::string::npos ? card : card + ", " + pcm;
}

void addPcm(snd_ctl_t* control, const snd_ctl_card_info_t* card, int number,
            std::vector<AlsaDevices::Device>& devices) {
    const PcmInfo info = makePcmInfo();
    if (info == nullptr) {
        return;
    }
    snd_pcm_info_set_device(info.get(), static_cast<unsigned>(number));
    snd_pcm_info_set_subdevice(info.get(), 0);
    AlsaDevices::Device device;
    snd_pcm_info_set_stream(info.get(), SND_PCM_STREAM_PLAYBACK);
    device.plays = snd_ctl_pcm_info(control, info.get()) == 0;
    if (!device.plays) {
        snd_pcm_info_set_stream(info.get(), SND_PCM_STREAM_CAPTURE);
        if (snd_ctl_pcm_info(control, info.get()) < 0) {
            return;
        }
    }
    const std::string id = snd_ctl_card_info_get_id(card);
    device.uid = alsaUid(id, number);
    device.name = joinedName(snd_ctl_card_info_get_name(card), snd_pcm_info_get_name(info.get()));
    // The library's mixer first: other programs can play on the card at the same time. Where the card cannot
    // be mixed it is taken as it is, and with the library's conversions where it speaks no form of ours.
    device.pcmNames = {"plug:{SLAVE=\"" + alsaPcmName("dmix", id, number) + "\"}",
                       alsaPcmName("hw", id, number), alsaPcmName("plughw", id, number)};
    devices.push_back(std::move(device));
}

std::vector<AlsaDevices::Device> cardDevices() {
    std::vector<AlsaDevices::Device> devices;
    forEachCard([&](snd_ctl_t* control, const snd_ctl_card_info_t* card) {
        for (int pcm = -1; snd_ctl_pcm_next_device(control, &pcm) == 0 && pcm >= 0;) {
            addPcm(control, card, pcm, devices);
        }
    });
    return devices;
}

std::string defaultName(const AlsaConfig& config, snd_pcm_t* pcm) {
    const PcmInfo info = makePcmInfo();
    char* card = nullptr;
    if (info != nullptr && snd_pcm_info(pcm, info.get()) == 0 && snd_pcm_info_get_card(info.get()) >= 0 &&
        snd_card_get_name(snd_pcm_info_get_card(info.get()), &card) == 0) {
        const std::unique_ptr<char, AlsaDeleter<std::free>> owner(card);
        return std::string("Default (") + card + ")";
    }
    const std::string description = config.description("default");
    return description.empty() ? "Default" : description;
}

/// The configuration's "default", where it opens to something that plays in time. A busy one, which cannot be
/// asked, keeps the name that it had.
std::optional<AlsaDevices::Device> defaultPcm(const std::string& earlierName) {
    AlsaDevices::Device device;
    device.uid = alsaDefaultUid;
    device.plays = true;
    device.pcmNames = {"default"};
    try {
        const AlsaConfig config;
        int error = 0;
        const auto pcm = openPcm(config, "default", error);
        if (pcm == nullptr) {
            if (error != -EBUSY) {
                return std::nullopt;
            }
            device.name = earlierName;
        } else {
            if (!isPaced(pcm.get())) {
                return std::nullopt;
            }
            device.name = defaultName(config, pcm.get());
        }
    } catch (const AlsaError& error) {
        log.info("%{public}s", error.what());
        return std::nullopt;
    }
    return device;
}

} // namespace

std::string alsaUid(std::string_view cardId, int device) {
    return std::string(uidPrefix) + std::string(cardId) + "," + std::to_string(device);
}

std::string alsaPcmName(std::string_view kind, std::string_view cardId, int device) {
    return std::string(kind) + ":CARD=" + std::string(cardId) + ",DEV=" + std::to_string(device);
}

bool AlsaDevices::rescan(bool defaultInUse) {
    const auto [listChanged, defaultChanged] = look(defaultInUse);
    if (listChanged) {
        listeners_.tell(DeviceListProperty::devices);
    }
    if (defaultChanged) {
        listeners_.tell(DeviceListProperty::defaultOutputDevice);
    }
    return listChanged || defaultChanged;
}

AlsaDevices::Changes AlsaDevices::look(bool defaultInUse) {
    const MutexLock looking(lookMutex_);
    auto found = cardDevices();
    auto standard = find(alsaDefaultUid);
    if (!standard || !defaultInUse) {
        standard = defaultPcm(standard ? standard->name : "Default");
    }
    if (standard) {
        found.insert(found.begin(), std::move(*standard));
    }
    const MutexLock lock(mutex_);
    for (Device& device : found) {
        auto known = std::find(knownUids_.begin(), knownUids_.end(), device.uid);
        if (known == knownUids_.end()) {
            known = knownUids_.insert(known, device.uid);
        }
        device.id = static_cast<AudioDeviceId>(known - knownUids_.begin()) + 1;
    }
    const Changes changes{found != devices_, defaultOf(found) != defaultOf(devices_)};
    devices_ = std::move(found);
    return changes;
}

void AlsaDevices::setStream(std::optional<Stream> stream) {
    const MutexLock lock(mutex_);
    stream_ = stream;
}

std::optional<AlsaDevices::Device> AlsaDevices::find(AudioDeviceId device) const {
    const MutexLock lock(mutex_);
    const auto found = std::find_if(devices_.begin(), devices_.end(),
                                    [device](const Device& candidate) { return candidate.id == device; });
    return found != devices_.end() ? std::optional(*found) : std::nullopt;
}

std::optional<AlsaDevices::Device> AlsaDevices::find(std::string_view uid) const {
    const MutexLock lock(mutex_);
    const auto found = std::find_if(devices_.begin(), devices_.end(),
                                    [uid](const Device& candidate) { return candidate.uid == uid; });
    return found != devices_.end() ? std::optional(*found) : std::nullopt;
}

std::vector<AudioDeviceId> AlsaDevices::deviceIds() const {
    const MutexLock lock(mutex_);
    std::vector<AudioDeviceId> ids;
    for (const Device& device : devices_) {
        ids.push_back(device.id);
    }
    return ids;
}

std::uint32_t AlsaDevices::outputChannels(AudioDeviceId device) const {
    const auto found = find(device);
    return found && found->plays ? 2 : 0;
}

bool AlsaDevices::isGone(std::string_view uid) const {
    return uid.starts_with(uidPrefix) && !find(uid);
}

std::optional<std::string> AlsaDevices::uid(AudioDeviceId device) const {
    const auto found = find(device);
    return found ? std::optional(found->uid) : std::nullopt;
}

std::optional<std::string> AlsaDevices::name(AudioDeviceId device) const {
    const auto found = find(device);
    return found && !found->name.empty() ? std::optional(found->name) : std::nullopt;
}

std::optional<AlsaDevices::Stream> AlsaDevices::streamOn(AudioDeviceId device) const {
    const MutexLock lock(mutex_);
    return stream_ && stream_->device == device ? stream_ : std::nullopt;
}

std::optional<double> AlsaDevices::nominalSampleRate(AudioDeviceId device) const {
    const auto stream = streamOn(device);
    return stream ? std::optional(stream->rate) : std::nullopt;
}

std::optional<std::uint32_t> AlsaDevices::latencyFrames(AudioDeviceId device) const {
    const auto stream = streamOn(device);
    return stream ? stream->latencyFrames : std::nullopt;
}

std::optional<std::uint32_t> AlsaDevices::safetyOffsetFrames(AudioDeviceId device) const {
    const auto stream = streamOn(device);
    return stream ? std::optional(stream->aheadFrames) : std::nullopt;
}

std::optional<AudioDeviceId> AlsaDevices::defaultOf(const std::vector<Device>& devices) {
    const auto found =
        std::find_if(devices.begin(), devices.end(), [](const Device& candidate) { return candidate.plays; });
    return found != devices.end() ? std::optional(found->id) : std::nullopt;
}

std::optional<AudioDeviceId> AlsaDevices::defaultOutputDevice() const {
    const MutexLock lock(mutex_);
    return defaultOf(devices_);
}

std::int32_t AlsaDevices::addListener(DeviceListProperty property,
                                      std::shared_ptr<const ChangeHandler> handler) {
    return listeners_.add(property, std::move(handler));
}

void AlsaDevices::removeListener(DeviceListProperty property,
                                 const std::shared_ptr<const ChangeHandler>& handler) {
    listeners_.remove(property, handler);
}

} // namespace keysong
