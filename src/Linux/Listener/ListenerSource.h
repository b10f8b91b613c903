#pragma once

#include "Linux/Listener/ListenerLink.h"
#include "Linux/System/ServiceThread.h"
#include "Platform/InputSource.h"
#include "Platform/Threads.h"
#include "Shared/Mutex.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <optional>
#include <string>

namespace keysong::listener {

/// Input that the listener service reads, for the session of this process and only while the seat shows it.
/// A connection beside the taps' own tells whether the service would send any.
class ListenerSource final : public InputSource {
  public:
    /// How long the first answer may take; the service may have to be started for it.
    static constexpr std::chrono::milliseconds patience{2000};

    /// Asks the service, if there is one at `path`. `threads` outlives this object.
    explicit ListenerSource(Threads& threads, std::string path = servicePath);
    ~ListenerSource() override;
    ListenerSource(const ListenerSource&) = delete;
    ListenerSource& operator=(const ListenerSource&) = delete;

    /// Whether the service would send this process events. Waits for its first answer, until `patience` after
    /// it was first asked, and never again.
    [[nodiscard]] bool hasAccess() const override KEYSONG_EXCLUDES(mutex_);
    [[nodiscard]] bool isRevoked() const override KEYSONG_EXCLUDES(mutex_);
    [[nodiscard]] std::unique_ptr<InputTap> createTap(EventMask mask, RawEventHandler handler) override;

  private:
    /// The link and its thread, once there is a service to ask.
    struct Watch {
        explicit Watch(Threads& threads)
            : thread(threads, {"com.orlen.keysong.listener-link", "listener-link"}) {}

        std::optional<ListenerLink> link;
        ServiceThread thread;
    };

    void watchIfThere() const KEYSONG_REQUIRES(mutex_);
    void keep(std::optional<State> state) const KEYSONG_EXCLUDES(mutex_);

    Threads& threads_;
    const std::string path_;
    mutable Mutex mutex_;
    mutable std::condition_variable_any answered_;
    mutable std::chrono::steady_clock::time_point deadline_ KEYSONG_GUARDED_BY(mutex_);
    mutable bool hasAnswer_ KEYSONG_GUARDED_BY(mutex_) = false;
    /// None while there is no connection.
    mutable std::optional<State> state_ KEYSONG_GUARDED_BY(mutex_);
    bool hasTap_ KEYSONG_GUARDED_BY(mutex_) = false;
    mutable std::unique_ptr<Watch> watch_ KEYSONG_GUARDED_BY(mutex_);
};

} // namespace keysong::listener
