#pragma once

#include "Platform/DurableFiles.h"

namespace keysong::test {

/// Real files that count what is written and fail on demand.
class WatchedFiles final : public DurableFiles {
  public:
    explicit WatchedFiles(const DurableFiles& real) : real_(real) {}

    /// Files replaced so far.
    mutable int writes = 0;
    /// Attempts so far, those that failed included.
    mutable int attempts = 0;
    bool diskIsFull = false;
    bool renamingFails = false;

    void replace(const std::filesystem::path& file, std::string_view bytes) const override {
        ++attempts;
        if (diskIsFull) {
            throw DurableFileError(file, "No space left on device");
        }
        real_.replace(file, bytes);
        ++writes;
    }
    void removeLeftovers(const std::filesystem::path& file) const noexcept override {
        real_.removeLeftovers(file);
    }
    [[nodiscard]] std::filesystem::path setAside(const std::filesystem::path& file) const override {
        if (renamingFails) {
            throw DurableFileError(file, "Read-only file system");
        }
        return real_.setAside(file);
    }
    [[nodiscard]] std::optional<Date>
    modificationDate(const std::filesystem::path& file) const noexcept override {
        return real_.modificationDate(file);
    }

  private:
    const DurableFiles& real_;
};

} // namespace keysong::test
