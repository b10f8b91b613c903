#pragma once

#include "Platform/Places.h"

namespace keysong {

/// Folders by the XDG base directory rules, and the environment of the process. Stateless.
class LinuxPlaces final : public Places {
  public:
    [[nodiscard]] std::optional<std::string> environment(const std::string& name) const override;

    /// `HOME`, or the user database's folder where that is unset, empty or not absolute.
    [[nodiscard]] std::filesystem::path home() const override;

    /// `XDG_DATA_HOME`, or ".local/share" in the home folder.
    [[nodiscard]] std::filesystem::path userData() const override;

    /// `XDG_CONFIG_HOME`, or ".config" in the home folder.
    [[nodiscard]] std::filesystem::path userConfig() const override;

    /// "share/keysong" beside the folder of the executable.
    [[nodiscard]] std::filesystem::path resources() const override;
};

/// The user's base folder that `variable` names, or `fallback` below the home folder where the variable is
/// unset or not an absolute path. Empty when there is no home folder either. Any thread.
[[nodiscard]] std::filesystem::path userBaseFolder(const Places& places, const std::string& variable,
                                                   const std::filesystem::path& fallback);

} // namespace keysong
