#include "support/PackedFile.h"

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>

#include <memory>

namespace keysong::test {

void writePacked(const std::filesystem::path& path, const std::vector<PackedEntry>& entries,
                 Packing packing) {
    const std::unique_ptr<archive, int (*)(archive*)> file(archive_write_new(), archive_write_free);
    switch (packing) {
    case Packing::zip:
        archive_write_set_format_zip(file.get());
        break;
    case Packing::sevenZip:
        archive_write_set_format_7zip(file.get());
        break;
    case Packing::tarGzip:
        archive_write_set_format_gnutar(file.get());
        archive_write_add_filter_gzip(file.get());
        break;
    }
    ASSERT_EQ(archive_write_open_filename(file.get(), path.c_str()), ARCHIVE_OK) << path;
    const std::unique_ptr<archive_entry, void (*)(archive_entry*)> entry(archive_entry_new(),
                                                                         archive_entry_free);
    for (const PackedEntry& one : entries) {
        archive_entry_clear(entry.get());
        archive_entry_set_pathname(entry.get(), one.name.c_str());
        archive_entry_set_perm(entry.get(), 0644);
        archive_entry_set_filetype(entry.get(), one.isLink ? AE_IFLNK : AE_IFREG);
        if (one.isLink) {
            archive_entry_set_symlink(entry.get(), one.content.c_str());
        } else {
            archive_entry_set_size(entry.get(), static_cast<la_int64_t>(one.content.size()));
        }
        ASSERT_EQ(archive_write_header(file.get(), entry.get()), ARCHIVE_OK)
            << archive_error_string(file.get());
        if (!one.isLink) {
            ASSERT_EQ(archive_write_data(file.get(), one.content.data(), one.content.size()),
                      static_cast<la_ssize_t>(one.content.size()));
        }
    }
    ASSERT_EQ(archive_write_close(file.get()), ARCHIVE_OK);
}

} // namespace keysong::test
