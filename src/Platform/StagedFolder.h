#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

namespace keysong {

/// A folder could not be made or put in its place; `what()` names it and says why.
class StagedFolderError : public std::runtime_error {
  public:
    enum class Kind {
        /// Something stands in the place already.
        taken,
        /// The disk or the system refused.
        failed,
    };

    StagedFolderError(Kind kind, const std::filesystem::path& folder, const std::string& reason)
        : std::runtime_error(folder.string() + ": " + reason), kind_(kind) {}

    [[nodiscard]] Kind kind() const noexcept { return kind_; }

  private:
    Kind kind_;
};

/// A hidden folder beside the place that it is made for: filled first, then put there in one step, so that
/// nobody ever sees half of it. Unless it was put there, its destructor removes it. One thread.
class StagedFolder {
  public:
    virtual ~StagedFolder() = default;

    /// Where to put the content.
    [[nodiscard]] virtual const std::filesystem::path& path() const = 0;

    /// Writes everything to the disk and renames the folder to the target. What stands there is refused, or
    /// with `replace` exchanged and removed. Throws `StagedFolderError`; the target is then as it was.
    virtual void commit(bool replace) = 0;

  protected:
    StagedFolder() = default;
    StagedFolder(const StagedFolder&) = default;
    StagedFolder& operator=(const StagedFolder&) = default;
};

/// Makes staged folders. Any thread but the render and event-tap threads.
class StagedFolders {
  public:
    virtual ~StagedFolders() = default;

    /// Begins a folder for `target`, whose parents are made if need be. What killed programs left beside it
    /// is removed, nothing of one at work. Throws `StagedFolderError`.
    [[nodiscard]] virtual std::unique_ptr<StagedFolder> begin(const std::filesystem::path& target) const = 0;

  protected:
    StagedFolders() = default;
    StagedFolders(const StagedFolders&) = default;
    StagedFolders& operator=(const StagedFolders&) = default;
};

} // namespace keysong
