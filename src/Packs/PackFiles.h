#pragma once

#include "Packs/PackReport.h"
#include "Platform/Archive.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace keysong {

/// One file of a pack cannot be read: it is damaged or too large.
class PackFileError : public PackError {
  public:
    using PackError::PackError;
};

/// The files of a pack, from a folder or an archive, under names that are safe: relative, with slashes,
/// and never out of the pack. One thread.
class PackFiles {
  public:
    /// No archive beyond this size is opened.
    static constexpr std::uint64_t largestArchiveBytes = std::uint64_t{512} << 20U;
    /// No file of a pack beyond this size is read.
    static constexpr std::size_t largestFileBytes = std::size_t{128} << 20U;
    /// Reading stops with an error once so much was read in all.
    static constexpr std::size_t mostBytesInAll = std::size_t{1} << 30U;
    static constexpr std::size_t mostEntries = 10'000;
    static constexpr int deepestFolder = 8;

    /// The files below a folder. Links that lead out of it are left and reported. Throws `PackError`.
    [[nodiscard]] static PackFiles fromFolder(const std::filesystem::path& folder, PackReport& report);
    /// The files of an archive. Entries with unsafe names, links and encrypted ones are left and reported.
    [[nodiscard]] static PackFiles fromArchive(std::unique_ptr<Archive> archive, PackReport& report);

    /// All names, in order.
    [[nodiscard]] std::vector<std::string> names() const;
    /// The pack's own spelling of a name that one of its files mentions: exact, or else but for case. The
    /// separator may be a backslash. None for an unsafe name or one that is not there.
    [[nodiscard]] std::optional<std::string> find(std::string_view mentioned) const;
    /// The content of a file under one of `names`. Throws `PackFileError`.
    [[nodiscard]] std::string read(const std::string& name) const;
    /// From now on only what lies below this folder, named from there.
    void enter(const std::string& folder);

  private:
    using Reader = std::function<std::string(std::size_t largestBytes)>;

    void add(const std::string& name, Reader reader, PackReport& report);

    std::map<std::string, Reader> files_;
    /// The first name with each spelling in small letters.
    std::map<std::string, std::string> smallNames_;
    mutable std::size_t bytesLeft_ = mostBytesInAll;
};

/// A name with slashes, without "." and empty parts; none when it is absolute or leads outward, holds a zero
/// byte, or names nothing.
[[nodiscard]] std::optional<std::string> safeName(std::string_view name);

/// ASCII letters made small.
[[nodiscard]] std::string lowerCase(std::string_view text);

} // namespace keysong
