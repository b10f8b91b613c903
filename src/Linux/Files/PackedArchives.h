#pragma once

#include "Linux/System/FileDescriptor.h"
#include "Platform/Archive.h"

#include <string_view>

namespace keysong {

/// Archives read by libarchive: zip, 7z, and tar with the usual compressions. Stateless.
///
/// Everything is unpacked in one pass while it is opened, in the archive's own order, and charged: entries
/// that share their packed bytes, that cannot be read or that nobody wants cost as much as others.
class PackedArchives final : public Archives {
  public:
    [[nodiscard]] std::unique_ptr<Archive> open(const std::filesystem::path& path,
                                                const ArchiveLimits& limits) const override;

    /// Opens the file of an archive, if it is a regular one of a bearable size, without ever waiting for a
    /// pipe's writer or a device. Throws `ArchiveError`.
    [[nodiscard]] static FileDescriptor openRegularFile(const std::filesystem::path& path,
                                                        const ArchiveLimits& limits);
    /// As `open`, for a file that is open and stands at its beginning; its own size is not looked at.
    [[nodiscard]] static std::unique_ptr<Archive> openDescriptor(const FileDescriptor& file,
                                                                 const ArchiveLimits& limits);

    /// The same for an archive in memory, which is needed no longer than for the call.
    [[nodiscard]] static std::unique_ptr<Archive> openBytes(std::string_view bytes,
                                                            const ArchiveLimits& limits);
};

} // namespace keysong
