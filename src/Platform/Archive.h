#pragma once

#include <chrono>
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

/// What reading an archive may take; what goes beyond is an error.
struct ArchiveLimits {
    /// The archive itself.
    std::uint64_t largestArchiveBytes = 0;
    /// One entry, unpacked: a larger one is listed and can't be read.
    std::size_t largestEntryBytes = 0;
    /// All entries, unpacked, readable or not.
    std::size_t mostBytesInAll = 0;
    std::size_t mostEntries = 0;
    /// For opening.
    std::chrono::seconds longest{0};
};

/// One archive opened for reading. One thread at a time.
class Archive {
  public:
    virtual ~Archive() = default;

    /// In the archive's order; positions in the list are what `read` takes.
    [[nodiscard]] virtual const std::vector<ArchiveEntry>& entries() const = 0;

    /// The content of an entry, unpacked. Throws `ArchiveError` for one larger than `largestBytes` or than
    /// the archive's limit, a damaged or an encrypted one.
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

    /// Opens and unpacks an archive within limits. Throws `ArchiveError`.
    [[nodiscard]] virtual std::unique_ptr<Archive> open(const std::filesystem::path& path,
                                                        const ArchiveLimits& limits) const = 0;

  protected:
    Archives() = default;
    Archives(const Archives&) = default;
    Archives& operator=(const Archives&) = default;
};

} // namespace keysong
