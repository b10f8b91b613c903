#include "Linux/Files/InotifyFolders.h"

#include "Linux/System/InotifyEvents.h"
#include "Shared/Log.h"

#include <cerrno>
#include <system_error>

namespace keysong {

namespace fs = std::filesystem;

namespace {

constexpr std::uint32_t selfMask = IN_DELETE_SELF | IN_MOVE_SELF;
constexpr std::uint32_t arrivalMask = IN_CREATE | IN_MOVED_TO;
constexpr std::uint32_t contentMask =
    arrivalMask | IN_MOVED_FROM | IN_DELETE | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB;

bool isFolder(const fs::path& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

bool isHidden(std::string_view name) {
    return name.starts_with('.');
}

} // namespace

InotifyFolders::InotifyFolders(std::vector<fs::path> folders)
    : folders_(std::move(folders)), inotify_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (!inotify_.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "inotify");
    }
    watchAll();
}

void InotifyFolders::wishForContent(const fs::path& folder, int depth, Wishes& wishes) {
    if (wishes.size() >= mostWatches) {
        return;
    }
    Wish& wish = wishes[folder];
    wish.mask |= contentMask | selfMask;
    wish.content = true;
    if (depth == deepest) {
        return;
    }
    std::error_code error;
    fs::directory_iterator entries(folder, error);
    for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
        std::error_code kindError;
        if (!isHidden(entries->path().filename().native()) && entries->is_directory(kindError)) {
            wishForContent(entries->path(), depth + 1, wishes);
        }
    }
}

InotifyFolders::Wishes InotifyFolders::wishes() const {
    Wishes wishes;
    for (const fs::path& folder : folders_) {
        if (isFolder(folder)) {
            wishForContent(folder, 0, wishes);
        }
        // Those above tell when they are moved or removed, and the nearest one that is there when a missing
        // one arrives.
        bool isThere = isFolder(folder);
        for (fs::path below = folder; below.has_relative_path(); below = below.parent_path()) {
            const fs::path above = below.parent_path();
            if (!isFolder(above)) {
                continue;
            }
            Wish& wish = wishes[above];
            wish.mask |= selfMask;
            if (!isThere) {
                wish.mask |= arrivalMask;
                wish.names.insert(below.filename().native());
                isThere = true;
            }
        }
    }
    return wishes;
}

void InotifyFolders::watchAll() {
    // What came between looking and watching would go unnoticed: look again until nothing did.
    constexpr int mostLooks = 5;
    Wishes current = wishes();
    for (int look = 0; look < mostLooks; ++look) {
        apply(current);
        Wishes next = wishes();
        if (next == current) {
            return;
        }
        current = std::move(next);
    }
}

void InotifyFolders::apply(const Wishes& wishes) {
    std::map<int, Watch> watches;
    for (const auto& [folder, wish] : wishes) {
        const int watch =
            inotify_add_watch(inotify_.get(), folder.c_str(), wish.mask | IN_ONLYDIR | IN_EXCL_UNLINK);
        if (watch >= 0) {
            watches.insert_or_assign(watch, Watch{folder, wish});
        } else if (errno == ENOSPC && !saidFull_) {
            saidFull_ = true;
            log.error("no more folders can be watched for sound sets: %{public}s is not", folder.string());
        }
    }
    for (const auto& [watch, old] : watches_) {
        if (!watches.contains(watch)) {
            inotify_rm_watch(inotify_.get(), watch);
        }
    }
    watches_ = std::move(watches);
}

std::set<fs::path> InotifyFolders::takeChanges() {
    std::set<fs::path> changes;
    bool foldersChanged = false;
    takeInotifyEvents(inotify_.get(), [&](int watch, std::uint32_t mask, std::string_view name) {
        if ((mask & IN_Q_OVERFLOW) != 0) {
            changes.insert(folders_.begin(), folders_.end());
            foldersChanged = true;
            return;
        }
        const auto found = watches_.find(watch);
        if (found == watches_.end()) {
            return;
        }
        const Watch& watched = found->second;
        if ((mask & (selfMask | IN_IGNORED | IN_UNMOUNT)) != 0) {
            addFoldersBelow(watched.folder, changes);
            foldersChanged = true;
        } else if ((watched.wish.content && !isHidden(name)) ||
                   watched.wish.names.contains(std::string(name))) {
            changes.insert(name.empty() ? watched.folder : watched.folder / name);
            foldersChanged = foldersChanged || (mask & IN_ISDIR) != 0;
        }
    });
    if (foldersChanged) {
        watchAll();
    }
    return changes;
}

void InotifyFolders::addFoldersBelow(const fs::path& folder, std::set<fs::path>& changes) const {
    changes.insert(folder);
    for (const fs::path& watched : folders_) {
        if (watched.native().starts_with(folder.native() + "/")) {
            changes.insert(watched);
        }
    }
}

} // namespace keysong
