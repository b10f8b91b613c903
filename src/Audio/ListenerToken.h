#pragma once

#include "Platform/AudioOutput.h"
#include "Platform/Threads.h"
#include "Shared/Lifetime.h"
#include "Shared/TaskQueue.h"

#include <functional>
#include <memory>
#include <vector>

namespace keysong {

/// A subscription to changes of the device list, for as long as it lives.
///
/// The handler runs on the token's own queue, one call at a time; it must not assume any other thread. A
/// burst of changes of one property may be one call: at most one notice of a property waits at a time. Every
/// change is followed by the beginning of a call. The token must not be destroyed by its own handler. Once
/// the destructor has returned no call is under way and none will come.
class ListenerToken {
  public:
    using ChangeHandler = AudioDevices::ChangeHandler;

    /// Listens to each property in turn; one that is refused is logged and left out. `devices` outlives
    /// the token. Not on the render or event-tap thread.
    ListenerToken(AudioDevices& devices, Threads& threads, const std::vector<DeviceListProperty>& selectors,
                  const ChangeHandler& onChange);
    /// With another queue than one of its own.
    ListenerToken(AudioDevices& devices, std::unique_ptr<TaskQueue> queue,
                  const std::vector<DeviceListProperty>& selectors, const ChangeHandler& onChange);
    /// Waits for a call under way.
    ~ListenerToken();
    /// Calls a handler once on the token's queue, for a first look at the devices. Returns at once.
    void look(const ChangeHandler& handler);
    ListenerToken(const ListenerToken&) = delete;
    ListenerToken& operator=(const ListenerToken&) = delete;

  private:
    struct News;
    struct Registration {
        DeviceListProperty selector{};
        std::shared_ptr<const ChangeHandler> block;
    };

    /// A thread of the devices.
    void pass(const std::shared_ptr<News>& news);

    AudioDevices& devices_;
    std::vector<Registration> registrations_;
    std::unique_ptr<TaskQueue> queue_;
    Lifetime lifetime_;
};

} // namespace keysong
