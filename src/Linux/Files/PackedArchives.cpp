#include "Linux/Files/PackedArchives.h"

#include "Linux/System/FileDescriptor.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <system_error>

namespace keysong {

namespace {

using Clock = std::chrono::steady_clock;

struct ReaderCloser {
    void operator()(archive* reader) const noexcept { archive_read_free(reader); }
};
using Reader = std::unique_ptr<archive, ReaderCloser>;

/// How often the signature of an entry in a zip's directory occurs, in pieces of a file that follow each
/// other. The library keeps a record of each entry before it tells of the first.
class SignatureCounter {
  public:
    void look(std::string_view bytes) {
        constexpr std::string_view signature("PK\x01\x02");
        const std::string joined = tail_ + std::string(bytes.substr(0, signature.size() - 1));
        count_ += countIn(joined, signature) + countIn(bytes, signature);
        tail_ = bytes.substr(bytes.size() - std::min(bytes.size(), signature.size() - 1));
    }
    [[nodiscard]] std::size_t count() const noexcept { return count_; }

  private:
    static std::size_t countIn(std::string_view bytes, std::string_view signature) {
        std::size_t count = 0;
        for (auto at = bytes.find(signature); at != std::string_view::npos;
             at = bytes.find(signature, at + 1)) {
            ++count;
        }
        return count;
    }

    std::string tail_;
    std::size_t count_ = 0;
};

void requireFewEntries(const SignatureCounter& counter, const ArchiveLimits& limits) {
    // An archive within the archive has entries, too, and bytes may look like one by chance.
    constexpr std::size_t allowance = 4;
    if (counter.count() > limits.mostEntries * allowance) {
        throw ArchiveError("the archive has too many entries");
    }
}

Reader makeReader() {
    Reader reader(archive_read_new());
    if (reader == nullptr) {
        throw ArchiveError("no memory for an archive");
    }
    archive_read_support_format_zip_seekable(reader.get());
    archive_read_support_format_7zip(reader.get());
    archive_read_support_format_tar(reader.get());
    archive_read_support_filter_gzip(reader.get());
    archive_read_support_filter_bzip2(reader.get());
    archive_read_support_filter_xz(reader.get());
    archive_read_support_filter_zstd(reader.get());
    return reader;
}

[[noreturn]] void raise(archive* reader) {
    const char* const text = archive_error_string(reader);
    throw ArchiveError(text != nullptr ? std::string("it cannot be unpacked: ") + text
                                       : std::string("it is no zip, 7z or tar archive"));
}

struct Content {
    std::string bytes;
    /// Why there is none; empty for one that is whole.
    std::string problem;
};

class UnpackedArchive final : public Archive {
  public:
    UnpackedArchive(archive* reader, const ArchiveLimits& limits)
        : limits_(limits), bytesLeft_(limits.mostBytesInAll), end_(Clock::now() + limits.longest) {
        while (archive_entry* const entry = next(reader)) {
            entries_.push_back(describe(entry));
            contents_.push_back(entries_.back().kind == ArchiveEntry::Kind::file
                                    ? unpack(reader, entries_.back())
                                    : Content());
        }
    }

    [[nodiscard]] const std::vector<ArchiveEntry>& entries() const override { return entries_; }

    [[nodiscard]] std::string read(std::size_t entry, std::size_t largestBytes) const override {
        const Content& content = contents_.at(entry);
        if (!content.problem.empty()) {
            throw ArchiveError(content.problem);
        }
        if (content.bytes.size() > largestBytes) {
            throw ArchiveError("the file is too large");
        }
        return content.bytes;
    }

  private:
    archive_entry* next(archive* reader) {
        archive_entry* entry = nullptr;
        const int result = archive_read_next_header(reader, &entry);
        if (result == ARCHIVE_EOF) {
            return nullptr;
        }
        if (result < ARCHIVE_WARN) {
            // What came before a damaged place is worth having.
            if (entries_.empty()) {
                raise(reader);
            }
            return nullptr;
        }
        if (entries_.size() >= limits_.mostEntries) {
            throw ArchiveError("the archive has too many entries");
        }
        requireTime();
        return entry;
    }

    static ArchiveEntry describe(archive_entry* entry) {
        ArchiveEntry result;
        // As UTF-8 where the archive says that it is, or else its bytes.
        const char* const name = archive_entry_pathname_utf8(entry);
        const char* const raw = name != nullptr ? name : archive_entry_pathname(entry);
        result.name = raw != nullptr ? raw : "";
        const auto type = archive_entry_filetype(entry);
        const bool isLink =
            archive_entry_hardlink(entry) != nullptr || archive_entry_symlink(entry) != nullptr;
        result.kind = type == AE_IFDIR              ? ArchiveEntry::Kind::folder
                      : type == AE_IFREG && !isLink ? ArchiveEntry::Kind::file
                                                    : ArchiveEntry::Kind::special;
        result.isEncrypted = archive_entry_is_encrypted(entry) != 0;
        return result;
    }

    /// Takes an entry's bytes out, and counts them even where they are not kept.
    Content unpack(archive* reader, ArchiveEntry& entry) {
        Content content;
        std::array<char, std::size_t{64} << 10U> step;
        for (;;) {
            requireTime();
            const la_ssize_t got = archive_read_data(reader, step.data(), step.size());
            if (got < 0) {
                const char* const text = archive_error_string(reader);
                content = {{}, text != nullptr ? text : "damaged"};
                return content;
            }
            if (got == 0) {
                return content;
            }
            const auto count = static_cast<std::size_t>(got);
            if (count > bytesLeft_) {
                throw ArchiveError("it holds too much once unpacked");
            }
            bytesLeft_ -= count;
            entry.bytes += count;
            if (entry.bytes > limits_.largestEntryBytes) {
                content = {{}, "the file is too large"};
            } else {
                content.bytes.append(step.data(), count);
            }
        }
    }

    void requireTime() const {
        if (Clock::now() > end_) {
            throw ArchiveError("it takes too long to unpack");
        }
    }

    const ArchiveLimits limits_;
    std::size_t bytesLeft_;
    const Clock::time_point end_;
    std::vector<ArchiveEntry> entries_;
    std::vector<Content> contents_;
};

void countEntries(const FileDescriptor& file, const ArchiveLimits& limits) {
    SignatureCounter counter;
    std::string step(std::size_t{1} << 20U, '\0');
    for (;;) {
        const ssize_t got = read(file.get(), step.data(), step.size());
        if (got < 0) {
            throw ArchiveError(std::generic_category().message(errno));
        }
        if (got == 0) {
            break;
        }
        counter.look(std::string_view(step).substr(0, static_cast<std::size_t>(got)));
        requireFewEntries(counter, limits);
    }
    lseek(file.get(), 0, SEEK_SET);
}

} // namespace

std::unique_ptr<Archive> PackedArchives::open(const std::filesystem::path& path,
                                              const ArchiveLimits& limits) const {
    return openDescriptor(openRegularFile(path, limits), limits);
}

FileDescriptor PackedArchives::openRegularFile(const std::filesystem::path& path,
                                               const ArchiveLimits& limits) {
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!file.isOpen() || fstat(file.get(), &status) != 0) {
        throw ArchiveError(std::generic_category().message(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        throw ArchiveError("not a regular file");
    }
    if (static_cast<std::uint64_t>(status.st_size) > limits.largestArchiveBytes) {
        throw ArchiveError("the archive is too large");
    }
    return file;
}

std::unique_ptr<Archive> PackedArchives::openDescriptor(const FileDescriptor& file,
                                                        const ArchiveLimits& limits) {
    countEntries(file, limits);
    constexpr std::size_t blockBytes = std::size_t{64} << 10U;
    const Reader reader = makeReader();
    if (archive_read_open_fd(reader.get(), file.get(), blockBytes) != ARCHIVE_OK) {
        raise(reader.get());
    }
    return std::make_unique<UnpackedArchive>(reader.get(), limits);
}

std::unique_ptr<Archive> PackedArchives::openBytes(std::string_view bytes, const ArchiveLimits& limits) {
    SignatureCounter counter;
    counter.look(bytes);
    requireFewEntries(counter, limits);
    const Reader reader = makeReader();
    if (archive_read_open_memory(reader.get(), bytes.data(), bytes.size()) != ARCHIVE_OK) {
        raise(reader.get());
    }
    return std::make_unique<UnpackedArchive>(reader.get(), limits);
}

} // namespace keysong
