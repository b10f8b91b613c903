#pragma once

#include <span>
#include <string_view>

namespace keysong::fuzz {

/// A reader of hostile input, and what must hold whatever the input is: a broken promise ends the process.
struct Entry {
    /// The name of the fuzz target, and of its folder in the corpus.
    std::string_view name;
    void (*run)(std::string_view input);
};

/// All of them: the manifest, the configurations of packs, archives, audio files and the messages of the
/// listener service.
[[nodiscard]] std::span<const Entry> entries();

} // namespace keysong::fuzz
