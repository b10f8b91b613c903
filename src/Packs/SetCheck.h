#pragma once

#include "Platform/AudioFile.h"

#include <filesystem>
#include <string>
#include <vector>

namespace keysong {

/// What is to be said about a sound set, in sentences for the one who makes it.
struct SetCheck {
    /// What should be mended.
    std::vector<std::string> problems;
    /// What is good to know: which keys sound like which, how loud, what is not used.
    std::vector<std::string> notes;
};

/// Loads the set in a folder as the program does, and looks at what came of it and at every file that it
/// uses. Blocks on files and conversion: never on the main, event-tap or render thread. Throws nothing for a
/// bad set: that is a problem like others.
[[nodiscard]] SetCheck checkSet(const std::filesystem::path& folder, const AudioFiles& files);

} // namespace keysong
