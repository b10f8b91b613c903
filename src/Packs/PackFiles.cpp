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

bool hasSoundEnding(std::string_view name) {
    static constexpr std::string_view endings[] = {".wav",  ".mp3", ".ogg", ".oga", ".flac", ".opus", ".aif",
                                                   ".aiff", ".m4a", ".mp4", ".aac", ".webm", ".wma"};
    const std::string lower = lowerCase(name);
    return std::any_of(std::begin(endings), std::end(endings),
                       [&lower](std::string_view ending) { return lower.ends_with(ending); });
}

void PackFiles::add(const std::string& name, Reader reader, PackReport& report) {
    auto readings = forms_->readings(name);
    const auto safe = safeName(readings.front());
    if (!safe) {
        report.leave("a name that leads out of the pack", name);
        return;
    }
    if (isHidden(*safe)) {
        return;
    }
    readings.erase(readings.begin());
    const auto [file, isNew] = files_.emplace(*safe, File{std::move(reader), std::move(readings)});
    if (isNew) {
        index(*safe, file->second);
    } else {
        report.leave("a name that is there twice", *safe);
    }
}

void PackFiles::refuse(const std::string& name, const char* reason, PackReport& report) {
    const std::string readable = forms_->readings(name).front();
    report.leave(reason, readable);
    if (const auto safe = safeName(readable)) {
        refused_.emplace(forms_->folded(*safe), reason);
    }
}

void PackFiles::index(const std::string& name, const File& file) {
    const auto add = [&](const std::string& reading) {
        const std::string folded = forms_->folded(reading);
        foldedNames_.emplace(folded, name);
        if (hasSoundEnding(folded)) {
            foldedStems_.emplace(folded.substr(0, folded.rfind('.')), name);
        }
    };
    add(name);
    for (const std::string& alias : file.aliases) {
        add(alias);
    }
}

PackFiles PackFiles::fromFolder(const fs::path& folder, const TextForms& forms, PackReport& report) {
    PackFiles files(forms);
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

PackFiles PackFiles::fromArchive(std::unique_ptr<Archive> archive, const TextForms& forms,
                                 PackReport& report) {
    PackFiles files(forms);
    const std::shared_ptr<Archive> shared = std::move(archive);
    const auto& entries = shared->entries();
    for (std::size_t index = 0; index < entries.size(); ++index) {
        const ArchiveEntry& entry = entries[index];
        if (entry.kind == ArchiveEntry::Kind::folder) {
            continue;
        }
        if (entry.kind == ArchiveEntry::Kind::special) {
            files.refuse(entry.name, "a link or special file in the archive", report);
        } else if (entry.isEncrypted) {
            files.refuse(entry.name, "an encrypted file in the archive", report);
        } else if (entry.bytes > largestFileBytes) {
            files.refuse(entry.name, "a file that is too large", report);
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
    for (const auto& [name, file] : files_) {
        names.push_back(name);
    }
    return names;
}

std::optional<std::string> PackFiles::lookUp(const std::map<std::string, std::string>& index,
                                             const std::string& key) const {
    const auto found = index.find(key);
    return found == index.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::string> PackFiles::find(std::string_view mentioned) const {
    const auto safe = safeName(mentioned);
    if (!safe || files_.contains(*safe)) {
        return safe;
    }
    // Made on a system where letter case does not matter, or where letters and their accents are apart.
    return lookUp(foldedNames_, forms_->folded(*safe));
}

std::optional<std::string> PackFiles::findSound(std::string_view mentioned) const {
    if (auto found = find(mentioned)) {
        return found;
    }
    std::string rest(mentioned);
    std::replace(rest.begin(), rest.end(), '\\', '/');
    const bool isAbsolute = rest.starts_with('/') || (rest.size() > 2 && rest[1] == ':' && rest[2] == '/');
    if (!isAbsolute) {
        const auto safe = safeName(rest);
        if (!safe || !hasSoundEnding(*safe)) {
            return std::nullopt;
        }
        return lookUp(foldedStems_, forms_->folded(safe->substr(0, safe->rfind('.'))));
    }
    for (std::size_t slash = rest.find('/'); slash != std::string::npos; slash = rest.find('/', slash + 1)) {
        if (const auto found = find(std::string_view(rest).substr(slash + 1))) {
            return found;
        }
    }
    return std::nullopt;
}

std::string PackFiles::whyMissing(std::string_view mentioned) const {
    if (const auto safe = safeName(mentioned)) {
        if (const auto reason = lookUp(refused_, forms_->folded(*safe))) {
            return "was left out: " + *reason;
        }
    }
    return "is not in the pack";
}

std::string PackFiles::read(const std::string& name) const {
    const auto file = files_.find(name);
    if (file == files_.end()) {
        throw PackFileError(printable(name) + ": is not in the pack");
    }
    try {
        std::string bytes = file->second.read(std::min(largestFileBytes, bytesLeft_));
        bytesLeft_ -= bytes.size();
        return bytes;
    } catch (const std::runtime_error& error) {
        throw PackFileError(printable(name) + ": " + error.what());
    }
}

PackFiles PackFiles::below(const std::string& folder) const {
    if (folder.empty()) {
        return *this;
    }
    const std::string prefix = folder + "/";
    const auto inside = [&prefix](const std::string& name) { return name.substr(prefix.size()); };
    PackFiles result(*forms_);
    for (const auto& [name, file] : files_) {
        if (name.starts_with(prefix)) {
            File& moved = result.files_[inside(name)] = {file.read, {}};
            for (const std::string& alias : file.aliases) {
                // A folder's own name may have other readings, too: its depth is what counts.
                std::size_t at = 0;
                for (auto depth = std::count(prefix.begin(), prefix.end(), '/'); depth > 0; --depth) {
                    at = std::min(alias.find('/', at), alias.size() - 1) + 1;
                }
                moved.aliases.push_back(alias.substr(at));
            }
            result.index(inside(name), moved);
        }
    }
    const std::string foldedPrefix = forms_->folded(prefix);
    for (const auto& [name, reason] : refused_) {
        if (name.starts_with(foldedPrefix)) {
            result.refused_.emplace(name.substr(foldedPrefix.size()), reason);
        }
    }
    result.bytesLeft_ = bytesLeft_;
    return result;
}

} // namespace keysong
