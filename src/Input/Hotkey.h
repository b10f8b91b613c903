#pragma once

#include "Platform/HotkeyRegistrar.h"
#include "Shared/Lifetime.h"
#include "Shared/TaskQueue.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>

namespace keysong {

/// What all hotkeys share: the next number, the one handler, and the action of every registered hotkey.
/// The program has one; it outlives its hotkeys.
///
/// Main thread only.
class HotkeyRegistry {
  public:
    /// Both outlive the registry. `mainQueue` runs its tasks on the main thread.
    HotkeyRegistry(HotkeyRegistrar& registrar, TaskQueue& mainQueue);
    HotkeyRegistry(const HotkeyRegistry&) = delete;
    HotkeyRegistry& operator=(const HotkeyRegistry&) = delete;

  private:
    friend class Hotkey;

    void installHandlersOnce();
    HotkeyStatus hotKeyHandler(const HotkeyEvent* event) const;

    HotkeyRegistrar& registrar_;
    TaskQueue& mainQueue_;
    std::map<std::uint32_t, std::function<void()>> actions_;
    std::uint32_t nextID_ = 1;
    bool handlersInstalled_ = false;
    /// A press may be delivered after the end.
    Lifetime lifetime_;
};

/// A system-wide key combination and what it does. Registered as long as it lives, or without effect when the
/// system refused it; a refusal is logged.
///
/// Made and destroyed on the main thread. The action runs there, inside the delivery of the press, and must
/// be short; it may destroy its own hotkey.
class Hotkey {
  public:
    using Action = std::function<void()>;

    /// Registers the combination. Never throws for a refusal.
    Hotkey(HotkeyRegistry& registry, HotkeyCombination combination, Action action);
    /// Unregisters. The action does not run any more, even for a press that is already under way.
    ~Hotkey();
    Hotkey(const Hotkey&) = delete;
    Hotkey& operator=(const Hotkey&) = delete;

    /// This hotkey's number: 1 for the first of the registry, never used again.
    [[nodiscard]] std::uint32_t id() const noexcept { return id_; }

  private:
    HotkeyRegistry& registry_;
    const std::uint32_t id_;
    /// Set by a successful registration.
    std::optional<HotkeyIdentity> hotKeyRef_;
    Lifetime lifetime_;
};

} // namespace keysong
