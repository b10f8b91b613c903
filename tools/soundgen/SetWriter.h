#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include "soundgen/Description.h"

namespace keysong::soundgen {

/// A folder or file that cannot be written. `what()` names it.
class WriteError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The manifest of a set as JSON text.
[[nodiscard]] std::string manifestText(const SetDescription& set);

/// Makes every sound of a set and writes the folder: 16-bit mono FLAC at 48 kHz, then "manifest.json" last,
/// so that a folder with a manifest is whole. The folder is made if need be; files of other names in it stay.
/// Throws `WriteError` and `DescriptionError`.
void writeSet(const SetDescription& set, const std::filesystem::path& folder);

} // namespace keysong::soundgen
