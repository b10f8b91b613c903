#pragma once

#include "Platform/HotkeyRegistrar.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace keysong::test {

/// What a registrar told: the ids of the pressed hotkeys, and the refused ones with their status.
struct HotkeyPresses {
    std::vector<std::uint32_t> pressed;
    std::vector<std::pair<std::uint32_t, HotkeyStatus>> refused;

    /// The ids pressed so far but for the last one, which told that there are no more; they are then
    /// forgotten.
    std::vector<std::uint32_t> takeAllButLast() {
        auto ids = std::exchange(pressed, {});
        ids.resize(std::max<std::size_t>(ids.size(), 1) - 1);
        return ids;
    }

    /// Outlives the registrar.
    void listenTo(HotkeyRegistrar& registrar) {
        registrar.installHandlers({[this](const HotkeyEvent* event) {
                                       pressed.push_back(event->identity.id);
                                       return noErr;
                                   },
                                   [this](HotkeyIdentity identity, HotkeyStatus status) {
                                       refused.emplace_back(identity.id, status);
                                   }});
    }
};

inline constexpr HotkeyCombination toggleCombination{40, controlKey | optionKey};
inline constexpr HotkeyCombination settingsCombination{8, controlKey | optionKey};

/// An identity as the program gives them.
[[nodiscard]] inline HotkeyIdentity hotkey(std::uint32_t id) {
    return {0x76696D70, id};
}

} // namespace keysong::test
