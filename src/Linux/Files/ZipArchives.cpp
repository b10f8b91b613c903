#include "Linux/Files/ZipArchives.h"

#include <sys/stat.h>
#include <zip.h>

#include <algorithm>

namespace keysong {

namespace {

struct ZipCloser {
    void operator()(zip_t* archive) const noexcept { zip_discard(archive); }
};
using Zip = std::unique_ptr<zip_t, ZipCloser>;

struct ZipFileCloser {
    void operator()(zip_file_t* file) const noexcept { zip_fclose(file); }
};

/// The library's account of an error, released with it.
class ZipError {
  public:
    ZipError() { zip_error_init(&error_); }
    explicit ZipError(int code) { zip_error_init_with_code(&error_, code); }
    ~ZipError() { zip_error_fini(&error_); }
    ZipError(const ZipError&) = delete;
    ZipError& operator=(const ZipError&) = delete;

    [[nodiscard]] zip_error_t* get() noexcept { return &error_; }
    [[noreturn]] void raise() { throw ArchiveError(zip_error_strerror(&error_)); }

  private:
    zip_error_t error_{};
};

ArchiveEntry::Kind kindOf(zip_t* archive, zip_uint64_t index, const std::string& name) {
    zip_uint8_t system = 0;
    zip_uint32_t attributes = 0;
    if (name.ends_with('/')) {
        return ArchiveEntry::Kind::folder;
    }
    if (zip_file_get_external_attributes(archive, index, 0, &system, &attributes) == 0 &&
        system == ZIP_OPSYS_UNIX) {
        const mode_t type = (attributes >> 16U) & static_cast<mode_t>(S_IFMT);
        if (type == S_IFDIR) {
            return ArchiveEntry::Kind::folder;
        }
        if (type != 0 && type != S_IFREG) {
            return ArchiveEntry::Kind::special;
        }
    }
    return ArchiveEntry::Kind::file;
}

class ZipArchive final : public Archive {
  public:
    ZipArchive(Zip zip, std::size_t mostEntries) : zip_(std::move(zip)) {
        const zip_int64_t count = zip_get_num_entries(zip_.get(), 0);
        if (count < 0 || static_cast<std::uint64_t>(count) > mostEntries) {
            throw ArchiveError("the archive has too many entries");
        }
        for (zip_uint64_t index = 0; index < static_cast<zip_uint64_t>(count); ++index) {
            entries_.push_back(describe(index));
        }
    }

    [[nodiscard]] const std::vector<ArchiveEntry>& entries() const override { return entries_; }

    [[nodiscard]] std::string read(std::size_t entry, std::size_t largestBytes) const override {
        const std::unique_ptr<zip_file_t, ZipFileCloser> file(zip_fopen_index(zip_.get(), entry, 0));
        if (!file) {
            throw ArchiveError(zip_strerror(zip_.get()));
        }
        std::string bytes;
        constexpr std::size_t step = std::size_t{64} << 10U;
        for (;;) {
            const std::size_t before = bytes.size();
            // One byte more than allowed is enough to know that there is too much.
            const std::size_t wanted = std::min(step, largestBytes - before + 1);
            bytes.resize(before + wanted);
            const zip_int64_t got = zip_fread(file.get(), bytes.data() + before, wanted);
            if (got < 0) {
                throw ArchiveError(zip_file_strerror(file.get()));
            }
            bytes.resize(before + static_cast<std::size_t>(got));
            if (bytes.size() > largestBytes) {
                throw ArchiveError("the file is too large");
            }
            if (got == 0) {
                return bytes;
            }
        }
    }

  private:
    [[nodiscard]] ArchiveEntry describe(zip_uint64_t index) const {
        zip_stat_t status;
        zip_stat_init(&status);
        ArchiveEntry entry;
        if (zip_stat_index(zip_.get(), index, 0, &status) != 0 || (status.valid & ZIP_STAT_NAME) == 0) {
            entry.kind = ArchiveEntry::Kind::special;
            return entry;
        }
        entry.name = status.name;
        entry.kind = kindOf(zip_.get(), index, entry.name);
        entry.bytes = (status.valid & ZIP_STAT_SIZE) != 0 ? status.size : 0;
        entry.isEncrypted =
            (status.valid & ZIP_STAT_ENCRYPTION_METHOD) != 0 && status.encryption_method != ZIP_EM_NONE;
        return entry;
    }

    Zip zip_;
    std::vector<ArchiveEntry> entries_;
};

} // namespace

std::unique_ptr<Archive> ZipArchives::open(const std::filesystem::path& path, std::uint64_t largestBytes,
                                           std::size_t mostEntries) const {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        throw ArchiveError("not a regular file");
    }
    if (static_cast<std::uint64_t>(status.st_size) > largestBytes) {
        throw ArchiveError("the archive is too large");
    }
    int code = 0;
    Zip zip(zip_open(path.c_str(), ZIP_RDONLY, &code));
    if (!zip) {
        ZipError(code).raise();
    }
    return std::make_unique<ZipArchive>(std::move(zip), mostEntries);
}

std::unique_ptr<Archive> ZipArchives::openBytes(std::string_view bytes, std::size_t mostEntries) {
    ZipError error;
    zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, error.get());
    if (source == nullptr) {
        error.raise();
    }
    Zip zip(zip_open_from_source(source, ZIP_RDONLY, error.get()));
    if (!zip) {
        zip_source_free(source);
        error.raise();
    }
    return std::make_unique<ZipArchive>(std::move(zip), mostEntries);
}

} // namespace keysong
