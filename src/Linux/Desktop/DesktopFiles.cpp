#include "Linux/Desktop/DesktopFiles.h"

#include "Linux/Desktop/DesktopEntry.h"
#include "Shared/WholeFile.h"

#include <algorithm>
#include <optional>
#include <system_error>
#include <unordered_set>

namespace keysong {

namespace {

namespace fs = std::filesystem;

/// The largest ones, full of translations, have some 50 KB.
constexpr std::size_t largestFile = std::size_t{512} << 10U;
constexpr std::size_t mostApplications = 8192;
constexpr std::size_t mostFolders = 256;
/// Ends the descent where a link leads back up.
constexpr int deepestFolder = 4;
constexpr std::string_view suffix = ".desktop";

fs::file_time_type modificationTime(const fs::path& path) {
    std::error_code error;
    const auto time = fs::last_write_time(path, error);
    return error ? fs::file_time_type::min() : time;
}

std::vector<fs::path> standardFolders(const Places& places) {
    std::vector<fs::path> folders;
    const auto add = [&](const fs::path& data) {
        const fs::path folder = (data / "applications").lexically_normal();
        if (data.is_absolute() && std::ranges::find(folders, folder) == folders.end()) {
            folders.push_back(folder);
        }
    };
    add(places.userData());
    std::string data = places.environment("XDG_DATA_DIRS").value_or("");
    if (data.empty()) {
        data = "/usr/local/share:/usr/share";
    }
    for (std::size_t begin = 0; begin < data.size();) {
        const std::size_t end = std::min(data.find(':', begin), data.size());
        add(data.substr(begin, end - begin));
        begin = end + 1;
    }
    // A program that systemd starts often misses what the login shell adds for these.
    add(places.userData() / "flatpak/exports/share");
    add("/var/lib/flatpak/exports/share");
    add("/var/lib/snapd/desktop");
    return folders;
}

} // namespace

/// One reading of all folders.
class DesktopFiles::Scan {
  public:
    explicit Scan(const std::vector<std::string>& languages) : languages_(languages) {}

    void folder(const fs::path& path, const std::string& prefix, int depth) {
        if (seen.size() >= mostFolders || depth > deepestFolder) {
            return;
        }
        // Taken before the content, so that what comes in between is noticed the next time.
        seen.push_back({path, modificationTime(path)});
        std::error_code error;
        for (fs::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error)) {
            const std::string name = entry->path().filename().string();
            std::error_code failed;
            if (entry->is_directory(failed)) {
                folder(entry->path(), prefix + name + "-", depth + 1);
            } else if (name.size() > suffix.size() && name.ends_with(suffix)) {
                file(entry->path(), prefix + name.substr(0, name.size() - suffix.size()));
            }
        }
    }

    std::vector<Folder> seen;
    List list;

  private:
    void file(const fs::path& path, const std::string& id) {
        if (ids_.size() >= mostApplications || ids_.contains(id)) {
            return;
        }
        std::optional<DesktopEntry> entry;
        try {
            entry = parseDesktopEntry(readWholeFile(path, largestFile), languages_);
        } catch (const FileReadError&) {
            return; // a link into nothing, or no desktop file at all
        }
        ids_.insert(id);
        if (!entry || entry->hidden) {
            return;
        }
        if (entry->name.empty()) {
            entry->name = id;
        }
        list.push_back({id, std::move(entry->name), std::move(entry->icon), std::move(entry->program),
                        std::move(entry->startupClass), !entry->noDisplay});
    }

    const std::vector<std::string>& languages_;
    std::unordered_set<std::string> ids_;
};

DesktopFiles::DesktopFiles(const Places& places)
    : DesktopFiles(standardFolders(places), desktopLanguages(places)) {
}

DesktopFiles::DesktopFiles(std::vector<fs::path> folders, std::vector<std::string> languages)
    : folders_(std::move(folders)), languages_(std::move(languages)) {
}

bool DesktopFiles::isFresh() const {
    return list_ != nullptr && std::ranges::all_of(seen_, [scanned = scanned_](const Folder& folder) {
               // The clock of the file system ticks in milliseconds: a folder that changed just before it was
               // read may have changed again within the same tick.
               return modificationTime(folder.path) == folder.modified &&
                      (folder.modified == Time::min() ||
                       folder.modified + std::chrono::milliseconds(50) < scanned);
           });
}

std::shared_ptr<const DesktopFiles::List> DesktopFiles::list() {
    const MutexLock lock(mutex_);
    if (!isFresh()) {
        scanned_ = Time::clock::now();
        Scan scan(languages_);
        for (const fs::path& folder : folders_) {
            scan.folder(folder, "", 0);
        }
        seen_ = std::move(scan.seen);
        list_ = std::make_shared<const List>(std::move(scan.list));
    }
    return list_;
}

} // namespace keysong
