#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "soundgen/Description.h"
#include "soundgen/Filter.h"

namespace keysong::soundgen {

/// The bytes of every file of a folder, by name.
[[nodiscard]] std::map<std::string, std::string> bytesOfFolder(const std::filesystem::path& folder);

/// The description of the built-in set of this identifier, with its parts.
[[nodiscard]] SetDescription builtInDescription(const std::string& id);

/// The samples of a mono file at 48 kHz; fails the test for any other.
[[nodiscard]] Signal readSound(const std::filesystem::path& path);

/// Root mean square, as a level.
[[nodiscard]] double levelOf(const Signal& signal, std::size_t from, std::size_t to);

/// Power of one line of the spectrum, by Goertzel's recursion.
[[nodiscard]] double lineOf(const Signal& signal, double frequencyHz);

/// Mean frequency weighted with the energy.
[[nodiscard]] double centroidOf(const Signal& signal);

} // namespace keysong::soundgen
