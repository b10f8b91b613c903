#pragma once

#include "Platform/WindowsProgram.h"

#include <filesystem>

namespace keysong {

/// Starts an executable that finds its end of the channel under the descriptor that its only argument names:
/// "--resident=3". Its output is this process's own.
class LinuxWindowsProgram final : public WindowsProgram {
  public:
    /// The argument, up to the number.
    static constexpr const char* argument = "--resident=";

    explicit LinuxWindowsProgram(std::filesystem::path executable) : executable_(std::move(executable)) {}

    [[nodiscard]] std::unique_ptr<WindowsProcess> start(const Environment& changes) override;

  private:
    const std::filesystem::path executable_;
};

} // namespace keysong
