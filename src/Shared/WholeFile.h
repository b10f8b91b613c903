#pragma once

#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace keysong {

/// A file could not be read as a whole; `what()` names the file and says why.
class FileReadError : public std::runtime_error {
  public:
    enum class Kind {
        /// There is nothing at the path, or behind the symbolic link at it.
        missing,
        /// Not a regular file, no permission, or a failing disk.
        unreadable,
        /// There, but larger than the reader was told to take.
        tooLarge,
    };

    FileReadError(Kind kind, const std::filesystem::path& path, const std::string& reason);

    [[nodiscard]] Kind kind() const noexcept { return kind_; }

  private:
    Kind kind_;
};

/// The bytes of a regular file (or of one behind a symbolic link) of at most `largestBytes`. Folders,
/// pipes and devices are refused without waiting for anybody. Blocks on the disk: not on the event-tap or
/// render thread. Throws `FileReadError`.
[[nodiscard]] std::string readWholeFile(const std::filesystem::path& path, std::size_t largestBytes);

} // namespace keysong
