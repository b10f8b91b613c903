#pragma once

#include "Linux/Listener/ListenerFacts.h"
#include "Linux/Listener/SystemBus.h"

#include <cstdint>

namespace keysong::listener {

/// Has polkit ask for an administrator's password, on behalf of the process that wants the permission. The
/// service's own user must own the action, or polkit answers it nothing about others.
class PolkitAuthority final : public Authority {
  public:
    static constexpr const char* action = "com.orlen.keysong.listen";

    /// The bus outlives this object and its questions.
    explicit PolkitAuthority(SystemBus& bus) : bus_(bus) {}

    [[nodiscard]] std::unique_ptr<Question> ask(const Peer& peer, Handler handler) override;

  private:
    SystemBus& bus_;
    std::uint64_t asked_ = 0;
};

} // namespace keysong::listener
