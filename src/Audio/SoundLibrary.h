#pragma once

#include "Platform/Places.h"
#include "Platform/TextOrder.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace keysong {

/// An installed sound set, as a list of sets shows it. Identified by `id`.
struct SoundSetInfo {
    std::string id;
    std::string name;
    /// The set's folder, as `SoundSet::load` takes it.
    std::filesystem::path directory;

    friend bool operator==(const SoundSetInfo&, const SoundSetInfo&) = default;
};

/// Which folders may hold sound sets, and which sets are installed. Nothing is kept between calls: every
/// call looks at the disk afresh. Any thread but the event-tap and render threads.
class SoundLibrary {
  public:
    /// The folders to search, the one that wins first: the user's, those of older product names, the
    /// program's own. `KEYSONG_SOUNDS_DIR`, unless empty, names the only one instead; a leading "~" stands
    /// for the home folder. They need not exist. A folder that the machine has no place for is left out.
    [[nodiscard]] static std::vector<std::filesystem::path> directories(const Places& places);

    /// The last of `directories`: the one to name when there is no set at all.
    [[nodiscard]] static std::filesystem::path directory(const Places& places);

    /// The sets' folders of older product names, the newest first.
    [[nodiscard]] static std::vector<std::filesystem::path> legacyUserDirectories(const Places& places);

    /// The sets that lie directly in one folder, in the file system's order; otherwise as `availableSets`.
    [[nodiscard]] static std::vector<SoundSetInfo> setsIn(const std::filesystem::path& folder);

    /// The installed sets, at most one per identifier, in the order to show them. Never fails: a folder
    /// that is no set is skipped, one with a bad manifest is logged and skipped.
    [[nodiscard]] static std::vector<SoundSetInfo> availableSets(const Places& places,
                                                                 const TextOrder& order);
};

} // namespace keysong

template <>
struct std::hash<keysong::SoundSetInfo> {
    std::size_t operator()(const keysong::SoundSetInfo& info) const noexcept;
};
