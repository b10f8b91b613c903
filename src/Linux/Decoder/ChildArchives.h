#pragma once

#include "Linux/Decoder/DecodingChild.h"
#include "Platform/Archive.h"

namespace keysong {

/// Archives, unpacked by a child.
class ChildArchives final : public Archives {
  public:
    /// `child` outlives the archives.
    explicit ChildArchives(const DecodingChild& child) : child_(child) {}

    [[nodiscard]] std::unique_ptr<Archive> open(const std::filesystem::path& path,
                                                const ArchiveLimits& limits) const override;

  private:
    const DecodingChild& child_;
};

} // namespace keysong
