// Where the sound goes: the engine's start, the list of devices, and the chosen one.

#include "App/AppModel.h"
#include "Shared/Log.h"

#include <algorithm>

namespace keysong {

void AppModel::startEngine() {
    try {
        services_.engine.start();
    } catch (const AudioOutputError& error) {
        log.error("audio engine did not start: %s", error.what());
    }
}

void AppModel::applyOutputDevice() {
    try {
        services_.engine.setOutputDevice(outputDeviceUid(), false);
    } catch (const std::runtime_error& error) {
        log.error("output device unavailable, using the system default: %s", error.what());
        if (outputDeviceUid()) {
            setOutputDeviceUid(std::nullopt);
        }
    }
}

void AppModel::listOutputDevices() {
    store(live_.outputDevices, OutputDevices::all(services_.devices), &AppState::outputDeviceListChanged);
}

void AppModel::observeDevices() {
    deviceObserver_ = std::make_unique<ListenerToken>(
        services_.devices, services_.threads,
        std::vector{DeviceListProperty::defaultOutputDevice, DeviceListProperty::devices},
        [&mainQueue = services_.mainQueue, task = lifetime_.guarded([this] { outputDevicesChanged(); })] {
            mainQueue.async(task);
        });
}

void AppModel::outputDevicesChanged() {
    listOutputDevices();
    const bool present = std::ranges::any_of(
        outputDevices(), [this](const AudioOutputDevice& device) { return device.uid == outputDeviceUid(); });
    if (!outputDeviceUid() || present) {
        applyOutputDevice();
    } else {
        setOutputDeviceUid(std::nullopt);
    }
}

} // namespace keysong
