#pragma once

#include "Linux/System/FileDescriptor.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace keysong {

/// Folders watched through inotify, with the visible folders in them to some depth. A folder that is not
/// there is waited for at the nearest one above it that is.
///
/// One thread at a time.
class InotifyFolders {
  public:
    /// Folders this deep below a watched one are still watched: those of sets, and folders in them.
    static constexpr int deepest = 3;
    /// No more folders than these are watched.
    static constexpr std::size_t mostWatches = 1024;

    /// Watches these folders. Throws std::system_error when the machine has no inotify for the program.
    explicit InotifyFolders(std::vector<std::filesystem::path> folders);

    /// Readable when something has happened.
    [[nodiscard]] int descriptor() const noexcept { return inotify_.get(); }

    /// The files and folders that something happened to since the last time, and watches what is new.
    [[nodiscard]] std::set<std::filesystem::path> takeChanges();

  private:
    /// What a watched folder is watched for.
    struct Wish {
        std::uint32_t mask = 0;
        /// All that happens in it counts, unless it is hidden.
        bool content = false;
        /// Of what happens in it only this counts.
        std::set<std::string> names;

        friend bool operator==(const Wish&, const Wish&) = default;
    };
    struct Watch {
        std::filesystem::path folder;
        Wish wish;
    };
    using Wishes = std::map<std::filesystem::path, Wish>;

    [[nodiscard]] Wishes wishes() const;
    static void wishForContent(const std::filesystem::path& folder, int depth, Wishes& wishes);
    void watchAll();
    void apply(const Wishes& wishes);
    void addFoldersBelow(const std::filesystem::path& folder, std::set<std::filesystem::path>& changes) const;

    std::vector<std::filesystem::path> folders_;
    FileDescriptor inotify_;
    std::map<int, Watch> watches_;
    bool saidFull_ = false;
};

} // namespace keysong
