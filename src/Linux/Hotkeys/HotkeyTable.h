#pragma once

#include "Platform/HotkeyRegistrar.h"

#include <algorithm>
#include <vector>

namespace keysong {

/// One registered hotkey.
struct HotkeyEntry {
    HotkeyCombination combination;
    HotkeyIdentity identity;
};

/// The registered hotkeys of one way of serving them. Not thread-safe.
class HotkeyTable {
  public:
    /// Refuses a combination without a modifier, which would take a key away from typing, and one that is
    /// already here.
    [[nodiscard]] HotkeyStatus add(const HotkeyEntry& entry) {
        if (entry.combination.modifiers == 0) {
            return eventHotKeyInvalidErr;
        }
        const bool taken = std::any_of(entries_.begin(), entries_.end(), [&](const HotkeyEntry& other) {
            return other.combination == entry.combination;
        });
        if (taken) {
            return eventHotKeyExistsErr;
        }
        entries_.push_back(entry);
        return noErr;
    }

    /// False for an identity that is not here.
    bool remove(HotkeyIdentity identity) {
        return std::erase_if(entries_, [&](const HotkeyEntry& entry) { return entry.identity == identity; }) >
               0;
    }

    [[nodiscard]] const std::vector<HotkeyEntry>& entries() const noexcept { return entries_; }

  private:
    std::vector<HotkeyEntry> entries_;
};

} // namespace keysong
