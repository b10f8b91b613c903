#include "Audio/SoundLibrary.h"

#include "Shared/Log.h"
#include "Shared/SoundManifest.h"
#include "Shared/WholeFile.h"

#include <algorithm>
#include <optional>
#include <system_error>
#include <unordered_set>

namespace keysong {

namespace fs = std::filesystem;

namespace {

constexpr const char* soundsFolder = "Sounds";

/// The folder that the environment names instead of all others.
std::optional<fs::path> overrideDirectory(const Places& places) {
    auto value = places.environment("KEYSONG_SOUNDS_DIR");
    if (!value || value->empty()) {
        return std::nullopt;
    }
    const bool inHome = *value == "~" || value->starts_with("~/");
    if (inHome && !places.home().empty()) {
        value->replace(0, 1, places.home().native());
    }
    // A message must name a folder that can be found from anywhere.
    std::error_code error;
    const fs::path absolute = fs::absolute(*value, error);
    const fs::path folder = (error ? fs::path(*value) : absolute).lexically_normal();
    return folder.has_filename() || !folder.has_relative_path() ? folder : folder.parent_path();
}

std::vector<fs::path> userDirectories(const Places& places, std::initializer_list<const char*> products) {
    const fs::path data = places.userData();
    std::vector<fs::path> folders;
    if (!data.empty()) {
        for (const char* const product : products) {
            folders.push_back(data / product / soundsFolder);
        }
    }
    return folders;
}

bool isHidden(const fs::path& entry) {
    return entry.filename().native().starts_with('.');
}

/// The visible folders in `folder`, links to folders included, in the file system's order. Empty for a
/// folder that cannot be listed.
std::vector<fs::path> visibleFolders(const fs::path& folder) {
    std::vector<fs::path> found;
    std::error_code error;
    fs::directory_iterator entries(folder, error);
    for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
        std::error_code kindError;
        if (!isHidden(entries->path()) && entries->is_directory(kindError) && !kindError) {
            found.push_back(entries->path());
        }
    }
    return found;
}

void logUnreadable(const fs::path& manifest) {
    log.error("unreadable manifest at %{public}s", manifest.native());
}

/// The record of the set in `folder`; none when it is no set.
std::optional<SoundSetInfo> describeSet(const fs::path& folder) {
    const fs::path manifest = folder / SoundManifest::fileName;
    try {
        const auto head = SoundManifestHead::decode(readWholeFile(manifest, SoundManifest::largestFileBytes));
        const std::string folderName = folder.filename().string();
        if (head.id != folderName) {
            log.error("set id \"%{public}s\" does not match its folder \"%{public}s\"", head.id, folderName);
        }
        return SoundSetInfo{head.id, head.name, folder};
    } catch (const FileReadError& error) {
        if (error.kind() == FileReadError::Kind::tooLarge) {
            logUnreadable(manifest);
        }
    } catch (const SoundManifestError&) {
        logUnreadable(manifest);
    }
    return std::nullopt;
}

} // namespace

std::vector<fs::path> SoundLibrary::directories(const Places& places) {
    if (auto only = overrideDirectory(places)) {
        return {std::move(*only)};
    }
    std::vector<fs::path> folders = userDirectories(places, {"keysong"});
    for (fs::path& folder : legacyUserDirectories(places)) {
        folders.push_back(std::move(folder));
    }
    if (const fs::path resources = places.resources(); !resources.empty()) {
        folders.push_back(resources / soundsFolder);
    }
    return folders;
}

fs::path SoundLibrary::directory(const Places& places) {
    const auto folders = directories(places);
    return folders.empty() ? fs::path() : folders.back();
}

std::vector<fs::path> SoundLibrary::legacyUserDirectories(const Places& places) {
    return userDirectories(places, {"clikora", "tolva", "brume", "vimp"});
}

std::vector<SoundSetInfo> SoundLibrary::setsIn(const fs::path& folder) {
    std::vector<SoundSetInfo> sets;
    for (const fs::path& candidate : visibleFolders(folder)) {
        if (auto info = describeSet(candidate)) {
            sets.push_back(std::move(*info));
        }
    }
    return sets;
}

std::vector<SoundSetInfo> SoundLibrary::availableSets(const Places& places, const TextOrder& order) {
    // Every folder is listed before the first manifest is read, so that messages come in search order.
    std::vector<fs::path> candidates;
    for (const fs::path& folder : directories(places)) {
        const auto found = visibleFolders(folder);
        candidates.insert(candidates.end(), found.begin(), found.end());
    }
    std::vector<SoundSetInfo> sets;
    std::unordered_set<std::string> known;
    for (const fs::path& candidate : candidates) {
        auto info = describeSet(candidate);
        if (info && known.insert(info->id).second) {
            sets.push_back(std::move(*info));
        }
    }
    std::stable_sort(sets.begin(), sets.end(), [&order](const SoundSetInfo& a, const SoundSetInfo& b) {
        return order.compare(a.name, b.name) < 0;
    });
    return sets;
}

} // namespace keysong

std::size_t std::hash<keysong::SoundSetInfo>::operator()(const keysong::SoundSetInfo& info) const noexcept {
    std::size_t seed = std::hash<std::string>{}(info.id);
    for (const std::size_t part :
         {std::hash<std::string>{}(info.name), std::filesystem::hash_value(info.directory)}) {
        seed ^= part + 0x9E3779B9U + (seed << 6U) + (seed >> 2U);
    }
    return seed;
}
