// Where the sound goes: the engine's start, the list of devices, and the chosen one.

#include "App/AppModel.h"
#include "Shared/Log.h"

#include <algorithm>
#include <utility>

namespace keysong {

OutputReport AppModel::onFailure(std::function<void(const std::string&)> tell) {
    return lifetime_.guarded([this, tell = std::move(tell)](const std::optional<std::string>& failure) {
        if (failure) {
            services_.mainQueue.async(lifetime_.guarded([tell, failure = *failure] { tell(failure); }));
        }
    });
}

void AppModel::startEngine() {
    services_.engine.requestStart(
        onFailure([](const std::string& failure) { log.error("audio engine did not start: %s", failure); }));
}

void AppModel::applyOutputDevice() {
    services_.engine.requestOutputDevice(
        outputDeviceUid(), onFailure([this, asked = outputDeviceUid()](const std::string& failure) {
            log.error("output device unavailable, using the system default: %s", failure);
            // The user may have chosen another one since.
            if (asked && outputDeviceUid() == asked) {
                setOutputDeviceUid(std::nullopt);
            }
        }));
}

void AppModel::observeDevices() {
    // The list is read on the token's queue, for as long as the sound server takes to answer.
    const auto list = [this](void (AppModel::*take)(const std::vector<AudioOutputDevice>&)) {
        return [this, take] {
            services_.mainQueue.async(lifetime_.guarded(
                [this, take, devices = OutputDevices::all(services_.devices)] { (this->*take)(devices); }));
        };
    };
    deviceObserver_ = std::make_unique<ListenerToken>(
        services_.devices, services_.threads,
        std::vector{DeviceListProperty::defaultOutputDevice, DeviceListProperty::devices},
        list(&AppModel::outputDevicesChanged));
    deviceObserver_->look(list(&AppModel::listOutputDevices));
}

void AppModel::listOutputDevices(const std::vector<AudioOutputDevice>& devices) {
    store(live_.outputDevices, devices, &AppState::outputDeviceListChanged);
}

void AppModel::outputDevicesChanged(const std::vector<AudioOutputDevice>& devices) {
    listOutputDevices(devices);
    // Where the sound goes after a change of the devices is the engine's business alone. A choice that is
    // gone is given up here.
    const bool present = std::ranges::any_of(
        devices, [this](const AudioOutputDevice& device) { return device.uid == outputDeviceUid(); });
    if (outputDeviceUid() && !present) {
        setOutputDeviceUid(std::nullopt);
    }
}

} // namespace keysong
