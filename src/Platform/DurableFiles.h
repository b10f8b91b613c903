#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace keysong {

/// A file could not be replaced or renamed; `what()` names the file and says why. The file is as it was.
class DurableFileError : public std::runtime_error {
  public:
    DurableFileError(const std::filesystem::path& file, const std::string& reason)
        : std::runtime_error("cannot write " + file.string() + ": " + reason) {}
};

/// Small files that outlive a killed program, a full disk and a loss of power.
///
/// A symbolic link stays one: what is done is done to the file that it leads to. Every operation blocks on
/// the disk: any thread but the render and event-tap threads.
class DurableFiles {
  public:
    /// When a file's content was last written, to the nanosecond.
    using Date = std::chrono::sys_time<std::chrono::nanoseconds>;

    virtual ~DurableFiles() = default;

    /// Gives the file this content and makes it the user's alone, with the folders that it lacks. Whatever
    /// happens meanwhile, the path leads to the whole old file or to the whole new one; on return the new
    /// one is on the disk. Throws `DurableFileError`.
    virtual void replace(const std::filesystem::path& file, std::string_view bytes) const = 0;

    /// Removes what writers of this file left when they were killed, and nothing of one at work.
    virtual void removeLeftovers(const std::filesystem::path& file) const noexcept = 0;

    /// Renames the file to its name with a suffix that nothing else bears, and returns where it is now.
    /// Throws `DurableFileError`.
    [[nodiscard]] virtual std::filesystem::path setAside(const std::filesystem::path& file) const = 0;

    /// The date of the content; none where there is no file or its date cannot be read.
    [[nodiscard]] virtual std::optional<Date>
    modificationDate(const std::filesystem::path& file) const noexcept = 0;

  protected:
    DurableFiles() = default;
    DurableFiles(const DurableFiles&) = default;
    DurableFiles& operator=(const DurableFiles&) = default;
};

} // namespace keysong
