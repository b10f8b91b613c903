#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace keysong {

/// An archive could not be opened, or one of its files not read; `what()` says why in words for the user.
class ArchiveError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// One entry of an archive, as the archive describes it: true or not.
struct ArchiveEntry {
    enum class Kind : std::uint8_t {
        file,
        folder,
        /// A symbolic link or another special file.
        special,
    };

    /// The whole name within the archive, unchecked.
    std::string name;
    Kind kind = Kind::file;
    /// The size once unpacked.
    std::uint64_t bytes = 0;
    bool isEncrypted = false;
};

/// One archive opened for reading. One thread at a time.
class Archive {
  public:
    virtual ~Archive() = default;

    /// In the archive's order; positions in the list are what `read` takes.
    [[nodiscard]] virtual const std::vector<ArchiveEntry>& entries() const = 0;

    /// The content of an entry, unpacked. Memory grows with what is really there, and never beyond
    /// `largestBytes`. Throws `ArchiveError` for a larger, damaged or encrypted one.
    [[nodiscard]] virtual std::string read(std::size_t entry, std::size_t largestBytes) const = 0;

  protected:
    Archive() = default;
    Archive(const Archive&) = default;
    Archive& operator=(const Archive&) = default;
};

/// The machine's reader of archives. Any thread but the render thread.
class Archives {
  public:
    virtual ~Archives() = default;

    /// Opens an archive of at most `largestBytes` with at most `mostEntries`. Throws `ArchiveError`.
    [[nodiscard]] virtual std::unique_ptr<Archive>
    open(const std::filesystem::path& path, std::uint64_t largestBytes, std::size_t mostEntries) const = 0;

  protected:
    Archives() = default;
    Archives(const Archives&) = default;
    Archives& operator=(const Archives&) = default;
};

} // namespace keysong
