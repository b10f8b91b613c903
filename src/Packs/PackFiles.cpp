#include "Packs/PackFiles.h"

#include "Shared/WholeFile.h"

#include <algorithm>
#include <memory>
#include <system_error>
#include <utility>

namespace keysong {

namespace fs = std::filesystem;

namespace {

/// What file managers and archivers leave behind, and nobody misses.
bool isHidden(const std::string& name) {
    return name.starts_with('.') || name.find("/.") != std::string::npos || name.starts_with("__MACOSX/");
}

bool isBelow(const fs::path& path, const fs::path& root) {
    return std::mismatch(root.begin(), root.end(), path.begin(), path.end()).first == root.end();
}

} // namespace

std::string lowerCase(std::string_view text) {
    std::string result(text);
    for (char& character : result) {
        if (character >= 'A' && character <= 'Z') {
            character = static_cast<char>(character - 'A' + 'a');
        }
    }
    return result;
}

std::optional<std::string> safeName(std::string_view name) {
    std::string slashed(name);
    std::replace(slashed.begin(), slashed.end(), '\\', '/');
    if (slashed.starts_with('/') || slashed.find('\0') != std::string::npos) {
        return std::nullopt;
    }
    std::string result;
    for (std::size_t at = 0; at < slashed.size();) {
        const std::size_t end = std::min(slashed.find('/', at), slashed.size());
        const std::string part = slashed.substr(at, end - at);
        at = end + 1;
        const bool isDrive = part.size() > 1 && part[1] == ':'; // even where it would not count as one
        if (part == ".." || isDrive) {
            return std::nullopt;
        }
        if (!part.empty() && part != ".") {
            result += (result.empty() ? "" : "/") + part;
        }
    }
    return result.empty() ? std::nullopt : std::optional(result);
}

void PackFiles::add(const std::string& name, Reader reader, PackReport& report) {
    const auto safe = safeName(name);
    if (!safe) {
        report.leave("a name that leads out of the pack", name);
    } else if (isHidden(*safe)) {
        return;
    } else if (files_.emplace(*safe, std::move(reader)).second) {
        smallNames_.emplace(lowerCase(*safe), *safe);
    } else {
        report.leave("a name that is there twice", *safe);
    }
}

PackFiles PackFiles::fromFolder(const fs::path& folder, PackReport& report) {
    PackFiles files;
    std::error_code error;
    const fs::path root = fs::canonical(folder, error);
    fs::recursive_directory_iterator entries(root, fs::directory_options::skip_permission_denied, error);
    if (error) {
        throw PackError("cannot read " + folder.string() + ": " + error.message());
    }
    std::size_t seen = 0;
    for (; !error && entries != fs::recursive_directory_iterator(); entries.increment(error)) {
        if (++seen > mostEntries) {
            throw PackError("the folder holds too many files for a pack");
        }
        if (entries.depth() >= deepestFolder) {
            entries.disable_recursion_pending();
        }
        std::error_code kindError;
        if (!entries->is_regular_file(kindError) || kindError) {
            continue;
        }
        const std::string name = entries->path().lexically_relative(root).generic_string();
        const fs::path real = fs::canonical(entries->path(), kindError);
        if (kindError || !isBelow(real, root)) {
            report.leave("a link that leads out of the pack", name);
            continue;
        }
        files.add(
            name, [real](std::size_t largest) { return readWholeFile(real, largest); }, report);
    }
    return files;
}

PackFiles PackFiles::fromArchive(std::unique_ptr<Archive> archive, PackReport& report) {
    PackFiles files;
    const std::shared_ptr<Archive> shared = std::move(archive);
    const auto& entries = shared->entries();
    for (std::size_t index = 0; index < entries.size(); ++index) {
        const ArchiveEntry& entry = entries[index];
        if (entry.kind == ArchiveEntry::Kind::folder) {
            continue;
        }
        if (entry.kind == ArchiveEntry::Kind::special) {
            report.leave("a link or special file in the archive", entry.name);
        } else if (entry.isEncrypted) {
            report.leave("an encrypted file in the archive", entry.name);
        } else if (entry.bytes > largestFileBytes) {
            report.leave("a file that is too large", entry.name);
        } else {
            files.add(
                entry.name, [shared, index](std::size_t largest) { return shared->read(index, largest); },
                report);
        }
    }
    return files;
}

std::vector<std::string> PackFiles::names() const {
    std::vector<std::string> names;
    for (const auto& [name, reader] : files_) {
        names.push_back(name);
    }
    return names;
}

std::optional<std::string> PackFiles::find(std::string_view mentioned) const {
    const auto safe = safeName(mentioned);
    if (!safe) {
        return std::nullopt;
    }
    if (files_.contains(*safe)) {
        return safe;
    }
    // Made on a system where letter case does not matter.
    const auto found = smallNames_.find(lowerCase(*safe));
    return found == smallNames_.end() ? std::nullopt : std::optional(found->second);
}

std::string PackFiles::read(const std::string& name) const {
    const auto file = files_.find(name);
    if (file == files_.end()) {
        throw PackFileError(printable(name) + ": is not in the pack");
    }
    try {
        std::string bytes = file->second(std::min(largestFileBytes, bytesLeft_));
        bytesLeft_ -= bytes.size();
        return bytes;
    } catch (const std::runtime_error& error) {
        throw PackFileError(printable(name) + ": " + error.what());
    }
}

void PackFiles::enter(const std::string& folder) {
    if (folder.empty()) {
        return;
    }
    const auto all = std::exchange(files_, {});
    smallNames_.clear();
    for (const auto& [name, reader] : all) {
        if (name.starts_with(folder + "/")) {
            const std::string inside = name.substr(folder.size() + 1);
            files_.emplace(inside, reader);
            smallNames_.emplace(lowerCase(inside), inside);
        }
    }
}

} // namespace keysong
