#pragma once

#include "Packs/PackReport.h"
#include "Platform/Archive.h"
#include "Platform/TextForms.h"

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

/// The files of a pack, from a folder or an archive, under names that are safe: relative, with slashes, in
/// UTF-8, and never out of the pack. One thread.
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
    /// What an archive may take of the machine.
    static constexpr ArchiveLimits archiveLimits{largestArchiveBytes, largestFileBytes,
                                                 std::size_t{512} << 20U, mostEntries,
                                                 std::chrono::seconds(60)};

    /// The files below a folder. Links that lead out of it are left and reported. `forms` outlives the files.
    /// Throws `PackError`.
    [[nodiscard]] static PackFiles fromFolder(const std::filesystem::path& folder, const TextForms& forms,
                                              PackReport& report);
    /// The files of an archive. Entries with unsafe names, links and encrypted ones are left and reported.
    [[nodiscard]] static PackFiles fromArchive(std::unique_ptr<Archive> archive, const TextForms& forms,
                                               PackReport& report);

    /// All names, in order.
    [[nodiscard]] std::vector<std::string> names() const;
    /// The pack's own spelling of a name that one of its files mentions: exact, or else another that looks
    /// alike. The separator may be a backslash. None for an unsafe name or one that is not there.
    [[nodiscard]] std::optional<std::string> find(std::string_view mentioned) const;
    /// The same for a sound, more liberal: it may lie there in another format, with another ending, and of an
    /// absolute path as another machine has them the last parts count.
    [[nodiscard]] std::optional<std::string> findSound(std::string_view mentioned) const;
    /// Why `findSound` has nothing, to follow the name in a sentence: it was refused, or is not there.
    [[nodiscard]] std::string whyMissing(std::string_view mentioned) const;
    /// The content of a file under one of `names`. Throws `PackFileError`.
    [[nodiscard]] std::string read(const std::string& name) const;
    /// These files without all that does not lie below a folder, named from there.
    [[nodiscard]] PackFiles below(const std::string& folder) const;
    [[nodiscard]] const TextForms& forms() const noexcept { return *forms_; }

  private:
    using Reader = std::function<std::string(std::size_t largestBytes)>;

    struct File {
        Reader read;
        /// Other readings of its name.
        std::vector<std::string> aliases;
    };

    explicit PackFiles(const TextForms& forms) : forms_(&forms) {}

    void add(const std::string& name, Reader reader, PackReport& report);
    void refuse(const std::string& name, const char* reason, PackReport& report);
    void index(const std::string& name, const File& file);
    [[nodiscard]] std::optional<std::string> lookUp(const std::map<std::string, std::string>& index,
                                                    const std::string& key) const;

    const TextForms* forms_;
    std::map<std::string, File> files_;
    /// The first name with each folded spelling, and with each of these without the ending of a sound file.
    std::map<std::string, std::string> foldedNames_;
    std::map<std::string, std::string> foldedStems_;
    /// Folded names of files that are not taken, and why.
    std::map<std::string, std::string> refused_;
    mutable std::size_t bytesLeft_ = mostBytesInAll;
};

/// A name with slashes, without "." and empty parts; none when it is absolute or leads outward, holds a zero
/// byte, or names nothing.
[[nodiscard]] std::optional<std::string> safeName(std::string_view name);

/// Whether a name has the ending of a sound file, of a format that is read always or with a decoder's help.
[[nodiscard]] bool hasSoundEnding(std::string_view name);

/// ASCII letters made small.
[[nodiscard]] std::string lowerCase(std::string_view text);

} // namespace keysong
