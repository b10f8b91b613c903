#pragma once

#include "Platform/DurableFiles.h"

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

namespace keysong {

/// The user's preferences on the disk: one JSON file for each domain, "<root>/<domain>/
/// preferences.json", in a folder that every program of the user shares.
///
/// Keeps nothing in memory. Every operation blocks on the disk: any thread but the render and event-tap
/// threads; calls may overlap.
class PreferenceDomains {
  public:
    /// The largest file that is read or written: thousands of times the size of the program's settings.
    static constexpr std::size_t largestFileBytes = std::size_t{1} << 20U;

    /// `root` is empty where the user has no place for preferences; then every domain is empty and nothing
    /// can be stored. `files` outlives the domains.
    PreferenceDomains(std::filesystem::path root, const DurableFiles& files);

    /// Where a domain is stored; empty where there is no place for it.
    [[nodiscard]] std::filesystem::path fileOf(const std::string& domain) const;

    /// The domain's whole content, a dictionary. Throws `FileReadError` when there is no file or it cannot be
    /// read, and `JsonDocumentError` when it does not hold preferences.
    [[nodiscard]] nlohmann::json read(const std::string& domain) const;

    /// Stores the domain's whole content. Throws `DurableFileError`; the old content then stays.
    void write(const std::string& domain, const nlohmann::json& values) const;

    /// Like `read`, but none when there is nothing usable, for whatever reason. Changes nothing.
    [[nodiscard]] std::optional<nlohmann::json> persistentDomain(const std::string& domain) const;

    /// Removes the domain and its folder, unless something else lies in it. A failure may leave a part of it.
    void removePersistentDomain(const std::string& domain) const noexcept;

    /// When the domain was last written; none where it is not stored.
    [[nodiscard]] std::optional<DurableFiles::Date> modificationDate(const std::string& domain) const;

    [[nodiscard]] const DurableFiles& files() const noexcept { return files_; }

  private:
    std::filesystem::path root_;
    const DurableFiles& files_;
};

} // namespace keysong
