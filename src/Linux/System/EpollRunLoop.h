#pragma once

#include "Linux/System/FileDescriptor.h"
#include "Platform/InputSource.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace keysong {

/// A run loop over epoll: descriptors, timers, and a way to stop it from outside.
class EpollRunLoop final : public RunLoop {
  public:
    /// Null when the machine refuses the descriptors.
    [[nodiscard]] static std::unique_ptr<EpollRunLoop> make();

    /// Calls `handler` on the serving thread while the descriptor, which the caller owns, is readable or
    /// has failed. False when it cannot be watched.
    bool watch(int descriptor, std::function<void()> handler);
    /// The same, but only when the descriptor has failed or its other end is gone: until then somebody else
    /// reads it.
    bool watchHangUp(int descriptor, std::function<void()> handler);
    /// Ends the watch; the descriptor is still open. Serving thread, or before `run`.
    void unwatch(int descriptor);

    bool addTimer(std::chrono::nanoseconds first, std::chrono::nanoseconds interval,
                  std::function<void()> handler) override;
    void run() override;
    void stop() noexcept override;

  private:
    struct Watch {
        int descriptor;
        std::shared_ptr<const std::function<void()>> handler;
    };

    bool add(int descriptor, std::uint32_t events, std::function<void()> handler);

    EpollRunLoop(FileDescriptor epoll, FileDescriptor wake)
        : epoll_(std::move(epoll)), wake_(std::move(wake)) {}

    FileDescriptor epoll_;
    FileDescriptor wake_;
    std::vector<Watch> watches_;
    std::vector<FileDescriptor> timers_;
};

} // namespace keysong
