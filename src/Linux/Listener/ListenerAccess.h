#pragma once

#include "Linux/Listener/ListenerCall.h"
#include "Linux/Listener/ListenerLink.h"
#include "Platform/KeyboardAccess.h"
#include "Platform/Threads.h"
#include "Shared/Lifetime.h"
#include "Shared/TaskQueue.h"

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace keysong::listener {

/// The right to hear the keyboards through the listener service, which asks for a password itself; where
/// there is no service, by another way.
class ListenerAccess final : public KeyboardAccess {
  public:
    /// `mainQueue` runs its tasks on the main thread. All outlive this object.
    ListenerAccess(TaskQueue& mainQueue, Threads& threads, KeyboardAccess& withoutService,
                   std::string path = servicePath);
    /// Withdraws a question that is still being asked.
    ~ListenerAccess() override;
    ListenerAccess(const ListenerAccess&) = delete;
    ListenerAccess& operator=(const ListenerAccess&) = delete;

    [[nodiscard]] Way way() const override;
    [[nodiscard]] bool canGrant() const override;
    bool grant(Handler handler) override;
    bool revoke(Handler handler) override;
    [[nodiscard]] std::string command() const override;

  private:
    bool start(Change::Kind kind, Handler handler);
    /// On a thread of its own.
    [[nodiscard]] static Result resultOf(ListenerCall& call, Change::Kind kind);
    void finish(const Result& result);

    TaskQueue& mainQueue_;
    Threads& threads_;
    KeyboardAccess& withoutService_;
    const std::string path_;
    /// Set while the service is asked.
    Handler handler_;
    std::shared_ptr<ListenerCall> call_;
    std::thread thread_;
    Lifetime lifetime_;
};

} // namespace keysong::listener
