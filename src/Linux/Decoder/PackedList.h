#pragma once

#include "Linux/System/FileDescriptor.h"
#include "Platform/Archive.h"

#include <functional>
#include <memory>
#include <string_view>

namespace keysong {

/// Gives `sink` all of an archive's entries, piece by piece, as a row of bytes for another process.
void writePackedList(const Archive& archive, const std::function<void(std::string_view)>& sink);

/// The archive that such a row of bytes stands for, read from a file that nobody changes. It is not believed:
/// throws `ArchiveError` where a length leads beyond the end.
[[nodiscard]] std::unique_ptr<Archive> archiveOfPackedList(const FileDescriptor& file, std::size_t bytes,
                                                           std::size_t mostEntries);

} // namespace keysong
