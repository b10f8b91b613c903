#pragma once

#include "Platform/DurableFiles.h"
#include "Platform/LoginItem.h"
#include "Platform/Places.h"

#include <filesystem>

namespace keysong {

/// The login item as a desktop entry in the user's autostart folder.
class AutostartItem final : public LoginItem {
  public:
    /// `executable` is the program's own file. The references outlive the item.
    AutostartItem(const Places& places, const DurableFiles& files, std::filesystem::path executable);

    /// In the bin folder of /usr, /usr/local, something in /opt, or the user's ~/.local.
    [[nodiscard]] bool isInstalled() const override;
    [[nodiscard]] Status status() const override;
    void registerItem() override;
    void unregisterItem() override;

    /// The command as it stands in a desktop entry: quoted where it must be. Pure.
    [[nodiscard]] static std::string execLine(const std::filesystem::path& executable);

  private:
    const Places& places_;
    const DurableFiles& files_;
    const std::filesystem::path executable_;
    /// Empty where the user has no place for it.
    const std::filesystem::path entry_;
};

} // namespace keysong
