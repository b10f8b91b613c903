#pragma once

#include "Platform/DurableFiles.h"

namespace keysong {

/// Temporary file in the same folder, fsync, rename, fsync of the folder. Files get mode 0600 and new
/// folders 0700. Stateless.
class LinuxDurableFiles final : public DurableFiles {
  public:
    void replace(const std::filesystem::path& file, std::string_view bytes) const override;
    void removeLeftovers(const std::filesystem::path& file) const noexcept override;
    [[nodiscard]] std::filesystem::path setAside(const std::filesystem::path& file) const override;
    [[nodiscard]] std::optional<Date>
    modificationDate(const std::filesystem::path& file) const noexcept override;
};

} // namespace keysong
