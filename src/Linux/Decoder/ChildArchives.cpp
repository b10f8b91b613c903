#include "Linux/Decoder/ChildArchives.h"

#include "Linux/Decoder/PackedList.h"
#include "Linux/Files/PackedArchives.h"

#include <chrono>
#include <cstdint>

namespace keysong {

namespace {

/// How much later than the child's own limit it is given up.
constexpr std::chrono::seconds allowance{5};

} // namespace

std::unique_ptr<Archive> ChildArchives::open(const std::filesystem::path& path,
                                             const ArchiveLimits& limits) const {
    const FileDescriptor file = PackedArchives::openRegularFile(path, limits);
    const DecoderRequest request{DecoderRequest::Kind::unpackArchive, limits.mostBytesInAll,
                                 limits.largestEntryBytes, limits.mostEntries,
                                 static_cast<std::uint64_t>(limits.longest.count())};
    try {
        const auto result = child_.ask(request, file, limits.longest + allowance);
        return archiveOfPackedList(result.file, static_cast<std::size_t>(result.answer.bytes),
                                   limits.mostEntries);
    } catch (const DecodingError& error) {
        throw ArchiveError(error.what());
    }
}

} // namespace keysong
