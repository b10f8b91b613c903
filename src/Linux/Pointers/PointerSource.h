#pragma once

#include "Linux/Input/PointerSettings.h"
#include "Platform/Threads.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace keysong {

/// Follows what a desktop's users choose of their pointers, on a thread of its own, which waits without ever
/// looking by itself. It ends with the object.
class PointerSource {
  public:
    virtual ~PointerSource() = default;

  protected:
    PointerSource() = default;
    PointerSource(const PointerSource&) = default;
    PointerSource& operator=(const PointerSource&) = default;
};

/// Called with all rules, first soon and then after each change, on the source's thread.
using PublishRules = std::function<void(PointerRules)>;

/// The sources. Where one cannot be had, or ends, it publishes nothing more. `threads` outlives them. Throw
/// std::system_error when there can be no thread.

/// What the drivers of an X server have, whoever has set it. `display` is a name such as ":0".
[[nodiscard]] std::unique_ptr<PointerSource> followX11Pointers(std::string display, Threads& threads,
                                                               PublishRules publish);
/// Sway's list of inputs; `socket` is where it listens.
[[nodiscard]] std::unique_ptr<PointerSource> followSwayPointers(std::string socket, Threads& threads,
                                                                PublishRules publish);
/// KDE's file `kcminputrc` in the folder of the user's settings.
[[nodiscard]] std::unique_ptr<PointerSource> followKdePointers(std::filesystem::path folder, Threads& threads,
                                                               PublishRules publish);
/// GNOME's settings, which others have taken over.
[[nodiscard]] std::unique_ptr<PointerSource> followGnomePointers(Threads& threads, PublishRules publish);

} // namespace keysong
