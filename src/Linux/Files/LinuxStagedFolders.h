#pragma once

#include "Platform/StagedFolder.h"

namespace keysong {

/// A temporary folder whose name begins with a dot, fsync of every file and folder, rename, fsync of the
/// parent. Files get mode 0600 less the user's mask, folders 0700. Stateless.
class LinuxStagedFolders final : public StagedFolders {
  public:
    [[nodiscard]] std::unique_ptr<StagedFolder> begin(const std::filesystem::path& target) const override;
};

} // namespace keysong
