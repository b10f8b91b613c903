// Where the sound goes: the engine's start, the list of devices, and the chosen one.

#include "App/AppModel.h"
#include "Shared/Log.h"

#include <utility>

namespace keysong {

namespace {

/// How long the devices must stay as they are before a chosen one that is not among them counts as gone.
constexpr std::chrono::seconds settlingTime{2};

} // namespace

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
        outputDeviceUid(), onFailure([](const std::string& failure) {
            log.error("output device unavailable, using the system default: %s", failure);
        }));
    reviewChoice();
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
    reviewChoice();
}

void AppModel::listOutputDevices(const std::vector<AudioOutputDevice>& devices) {
    store(live_.outputDevices, devices, &AppState::outputDeviceListChanged);
}

void AppModel::outputDevicesChanged(const std::vector<AudioOutputDevice>& devices) {
    listOutputDevices(devices);
    // Where the sound goes after a change of the devices is the engine's business alone. A choice that is
    // gone is given up here.
    reviewChoice();
}

void AppModel::reviewChoice() {
    const std::uint64_t review = ++choiceReviews_;
    // A server that was restarted finds its devices one by one.
    ifChoiceIsGone(review, [this, review] {
        services_.mainQueue.asyncAfter(settlingTime, lifetime_.guarded([this, review] {
            ifChoiceIsGone(review, [this] {
                log.notice("the chosen output device is gone, following the system default");
                setOutputDeviceUid(std::nullopt);
            });
        }));
    });
}

void AppModel::ifChoiceIsGone(std::uint64_t review, std::function<void()> act) {
    const auto chosen = outputDeviceUid();
    if (review != choiceReviews_ || !chosen || deviceObserver_ == nullptr) {
        return;
    }
    deviceObserver_->look([this, review, uid = *chosen, act = std::move(act)] {
        if (services_.devices.isGone(uid)) {
            services_.mainQueue.async(lifetime_.guarded([this, review, act] {
                if (review == choiceReviews_) {
                    act();
                }
            }));
        }
    });
}

} // namespace keysong
