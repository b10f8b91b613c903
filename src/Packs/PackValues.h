#pragma once

#include "Packs/PackSounds.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace keysong {

/// Tolerant looks into a pack's configuration: what has the wrong type is as good as absent.

/// The value under a key; null when there is none.
[[nodiscard]] const nlohmann::json& valueAt(const nlohmann::json& object, const char* key);
/// The text under a key, or a number as text; empty when there is neither.
[[nodiscard]] std::string textAt(const nlohmann::json& object, const char* key);

/// The clips of a value that names a whole file, or lists several. "NAME{0-4}.mp3" stands for five files.
/// What is not in the pack is left and reported under `entry`, the pack's own name for what the value belongs
/// to, and so is what comes after the first few dozen.
[[nodiscard]] std::vector<Clip> namedFiles(const nlohmann::json& value, const PackReading& reading,
                                           const std::string& entry);

/// The clip of one file, by its name; none and a report as with `namedFiles`.
[[nodiscard]] std::optional<Clip> namedFile(const std::string& name, const PackReading& reading,
                                            const std::string& entry);

/// No more keys than these are read from a pack: several times what all keyboards together have.
inline constexpr std::size_t mostPackKeys = 2048;

/// A list of a start and a length; none when it is no such list, or they are no usable times.
[[nodiscard]] std::optional<ClipRange> rangeFromLength(const nlohmann::json& value);
/// The same from a list of a start and an end.
[[nodiscard]] std::optional<ClipRange> rangeFromEnd(const nlohmann::json& value);

} // namespace keysong
