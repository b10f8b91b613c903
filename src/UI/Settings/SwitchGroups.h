#pragma once

#include "Audio/SoundLibrary.h"

#include <span>
#include <string_view>
#include <vector>

namespace keysong {

/// Sorts the installed sound sets into the groups of the set picker. Any thread.
class SwitchGroups {
  public:
    struct Group {
        std::string_view name;
        /// In the order in which they were given.
        std::vector<SoundSetInfo> sets;
    };

    /// The groups in the order to show them.
    [[nodiscard]] static std::span<const std::string_view> order();

    /// The group of a set: "Yours" for one that did not come with the program.
    [[nodiscard]] static std::string_view groupOf(std::string_view setId);

    /// The groups that hold a set, in the order to show them.
    [[nodiscard]] static std::vector<Group> grouped(std::span<const SoundSetInfo> sets);
};

} // namespace keysong
