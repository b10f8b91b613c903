// The device list of the PipeWire output, read from the server's registry.
#include "Linux/Sound/PipeWireOutput.h"

#include <algorithm>

namespace keysong {

std::vector<AudioDeviceId> PipeWireOutput::deviceIds() const {
    const PipeWireLock lock(session_->loop());
    std::vector<AudioDeviceId> ids;
    for (const auto& [id, candidate] : session_->nodes()) {
        ids.push_back(candidate.serial);
    }
    // Serial numbers rise as devices come; registry ids are used again.
    std::sort(ids.begin(), ids.end());
    return ids;
}

std::optional<PipeWireSession::Node> PipeWireOutput::node(AudioDeviceId device) const {
    const PipeWireLock lock(session_->loop());
    for (const auto& [id, candidate] : session_->nodes()) {
        if (candidate.serial == device) {
            return candidate;
        }
    }
    return std::nullopt;
}

std::uint32_t PipeWireOutput::outputChannels(AudioDeviceId device) const {
    const auto found = node(device);
    // The server mixes our two channels to whatever the device has.
    return found && found->isSink() ? 2 : 0;
}

std::optional<std::string> PipeWireOutput::uid(AudioDeviceId device) const {
    const auto found = node(device);
    return found && !found->name.empty() ? std::optional(found->name) : std::nullopt;
}

std::optional<std::string> PipeWireOutput::name(AudioDeviceId device) const {
    const auto found = node(device);
    return found && !found->description.empty() ? std::optional(found->description) : std::nullopt;
}

std::optional<double> PipeWireOutput::nominalSampleRate(AudioDeviceId device) const {
    const std::uint32_t rate = timeline_.graphRate();
    return rate != 0 && node(device) ? std::optional<double>(rate) : std::nullopt;
}

std::optional<std::uint32_t> PipeWireOutput::latencyFrames(AudioDeviceId device) const {
    const PipeWireLock lock(session_->loop());
    pw_time time{};
    if (!running_ || stream_ == nullptr || currentDevice() != device ||
        pw_stream_get_time_n(stream_, &time, sizeof time) < 0 || time.rate.denom == 0) {
        return std::nullopt;
    }
    const double seconds = static_cast<double>(time.delay) * time.rate.num / time.rate.denom;
    return static_cast<std::uint32_t>(std::clamp(seconds, 0.0, 10.0) * timeline_.graphRate());
}

std::optional<std::uint32_t> PipeWireOutput::safetyOffsetFrames(AudioDeviceId) const {
    return std::nullopt;
}

std::optional<AudioDeviceId> PipeWireOutput::defaultOutputDevice() const {
    const PipeWireLock lock(session_->loop());
    for (const auto& [id, candidate] : session_->nodes()) {
        if (candidate.isSink() && candidate.name == session_->defaultSink()) {
            return candidate.serial;
        }
    }
    return std::nullopt;
}

bool PipeWireOutput::isGone(std::string_view uid) const {
    const PipeWireLock lock(session_->loop());
    const auto& nodes = session_->nodes();
    return readinessNow() == Readiness::ready &&
           std::none_of(nodes.begin(), nodes.end(),
                        [uid](const auto& entry) { return entry.second.name == uid; });
}

std::int32_t PipeWireOutput::addListener(DeviceListProperty property,
                                         std::shared_ptr<const ChangeHandler> handler) {
    return listeners_.add(property, std::move(handler));
}

void PipeWireOutput::removeListener(DeviceListProperty property,
                                    const std::shared_ptr<const ChangeHandler>& handler) {
    listeners_.remove(property, handler);
}

} // namespace keysong
