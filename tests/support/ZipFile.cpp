#include "support/ZipFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zip.h>

namespace keysong::test {

void writeZip(const std::filesystem::path& path, const std::vector<ZipEntry>& entries) {
    int error = 0;
    zip_t* archive = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    ASSERT_NE(archive, nullptr) << path;
    for (const ZipEntry& entry : entries) {
        zip_source_t* source = zip_source_buffer(archive, entry.content.data(), entry.content.size(), 0);
        const zip_int64_t index = zip_file_add(archive, entry.name.c_str(), source, ZIP_FL_ENC_UTF_8);
        ASSERT_GE(index, 0) << zip_strerror(archive);
        if (entry.isLink) {
            zip_file_set_external_attributes(archive, static_cast<zip_uint64_t>(index), 0, ZIP_OPSYS_UNIX,
                                             static_cast<zip_uint32_t>(S_IFLNK | 0777) << 16U);
        }
    }
    ASSERT_EQ(zip_close(archive), 0) << zip_strerror(archive);
}

} // namespace keysong::test
