#pragma once

#include "Platform/InstalledApplications.h"
#include "Platform/Places.h"
#include "Shared/Mutex.h"

#include <filesystem>
#include <string>
#include <vector>

namespace keysong {

/// The applications that this machine's desktop files describe, by the rules of the freedesktop menu and base
/// directory specifications: the user's own folder first, then the system's; of two files with the same id
/// the first counts. Folders below count into the id: "kde/ark.desktop" is "kde-ark".
///
/// What was read is kept until the modification time of one of the folders changes. Any thread but the render
/// and the event-tap thread; calls wait for each other.
class DesktopFiles final : public InstalledApplications {
  public:
    /// Looks in the folders that the environment names, and in those to which Flatpak and Snap export, named
    /// there or not.
    explicit DesktopFiles(const Places& places);

    /// Looks in these folders only, in this order; `languages` as `desktopLanguages` gives them.
    DesktopFiles(std::vector<std::filesystem::path> folders, std::vector<std::string> languages);

    [[nodiscard]] std::shared_ptr<const List> list() override KEYSONG_EXCLUDES(mutex_);

    /// The folders looked in, in order.
    [[nodiscard]] const std::vector<std::filesystem::path>& folders() const noexcept { return folders_; }

  private:
    using Time = std::filesystem::file_time_type;
    struct Folder {
        std::filesystem::path path;
        /// The least time where there is no such folder.
        Time modified;
    };
    class Scan;

    [[nodiscard]] bool isFresh() const KEYSONG_REQUIRES(mutex_);

    const std::vector<std::filesystem::path> folders_;
    const std::vector<std::string> languages_;
    mutable Mutex mutex_;
    std::vector<Folder> seen_ KEYSONG_GUARDED_BY(mutex_);
    Time scanned_ KEYSONG_GUARDED_BY(mutex_) = Time::min();
    std::shared_ptr<const List> list_ KEYSONG_GUARDED_BY(mutex_);
};

} // namespace keysong
