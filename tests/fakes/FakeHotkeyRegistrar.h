#pragma once

#include "Platform/HotkeyRegistrar.h"

#include <string>
#include <utility>
#include <vector>

namespace keysong::test {

/// A registrar whose presses and refusals the test makes.
class FakeHotkeyRegistrar final : public HotkeyRegistrar {
  public:
    struct Registration {
        HotkeyCombination combination;
        HotkeyIdentity identity;
    };

    /// What the next registrations are answered.
    HotkeyStatus answer = noErr;
    std::string currentWay = "fake";
    int handlersInstalled = 0;
    Handlers handlers;
    std::vector<Registration> asked;
    std::vector<HotkeyIdentity> unregistered;

    void installHandlers(Handlers given) override {
        ++handlersInstalled;
        handlers = std::move(given);
    }
    [[nodiscard]] HotkeyStatus registerHotkey(HotkeyCombination combination,
                                              HotkeyIdentity identity) override {
        asked.push_back({combination, identity});
        return answer;
    }
    void unregisterHotkey(HotkeyIdentity identity) override { unregistered.push_back(identity); }
    [[nodiscard]] std::string_view way() const override { return currentWay; }

    HotkeyStatus press(std::uint32_t id) const {
        const HotkeyEvent event{noErr, {asked.front().identity.signature, id}};
        return handlers.pressed(&event);
    }
};

} // namespace keysong::test
