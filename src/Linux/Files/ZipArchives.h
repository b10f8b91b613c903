#pragma once

#include "Platform/Archive.h"

#include <string_view>

namespace keysong {

/// Zip archives, read by libzip. Stateless.
class ZipArchives final : public Archives {
  public:
    [[nodiscard]] std::unique_ptr<Archive> open(const std::filesystem::path& path, std::uint64_t largestBytes,
                                                std::size_t mostEntries) const override;

    /// The same for an archive in memory, which outlives what is returned.
    [[nodiscard]] static std::unique_ptr<Archive> openBytes(std::string_view bytes, std::size_t mostEntries);
};

} // namespace keysong
