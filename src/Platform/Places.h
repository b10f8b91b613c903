#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace keysong {

/// Where things are on this machine, and the process environment. Any thread but the render thread.
class Places {
  public:
    virtual ~Places() = default;

    /// The value of an environment variable; none when it is not set. An empty value is a value.
    [[nodiscard]] virtual std::optional<std::string> environment(const std::string& name) const = 0;

    /// The user's home folder; empty where there is none.
    [[nodiscard]] virtual std::filesystem::path home() const = 0;

    /// The folder below which each product keeps its own data folder, by product name. Empty where there
    /// is none.
    [[nodiscard]] virtual std::filesystem::path userData() const = 0;

    /// The folder below which each product keeps its preferences. Empty where there is none.
    [[nodiscard]] virtual std::filesystem::path userConfig() const = 0;

    /// The folder of the resources that came with the program, found from the executable, so that it also
    /// works in a build tree.
    [[nodiscard]] virtual std::filesystem::path resources() const = 0;

  protected:
    Places() = default;
    Places(const Places&) = default;
    Places& operator=(const Places&) = default;
};

} // namespace keysong
