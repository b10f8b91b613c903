#pragma once

#include "Platform/Places.h"

#include <map>

namespace keysong::test {

/// Folders and an environment that a test sets as it likes.
class FakePlaces final : public Places {
  public:
    std::map<std::string, std::string> variables;
    std::filesystem::path homeFolder;
    std::filesystem::path userDataFolder;
    std::filesystem::path userConfigFolder;
    std::filesystem::path resourcesFolder;

    [[nodiscard]] std::optional<std::string> environment(const std::string& name) const override {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    }
    [[nodiscard]] std::filesystem::path home() const override { return homeFolder; }
    [[nodiscard]] std::filesystem::path userData() const override { return userDataFolder; }
    [[nodiscard]] std::filesystem::path userConfig() const override { return userConfigFolder; }
    [[nodiscard]] std::filesystem::path resources() const override { return resourcesFolder; }
};

} // namespace keysong::test
