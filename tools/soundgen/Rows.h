#pragma once

#include <cstddef>

#include "soundgen/Description.h"

namespace keysong::soundgen {

/// Puts a sound for every row in the place of each sound of `main`, when the set has rows. Any thread.
void spreadOverRows(SetDescription& set);

/// The first of the hits that a key of a row is given: the sound's `near` hits from there on lie nearest to
/// the key. `key` counts from 0 on the left, of `keyCount` keys. 0 where every key is given all. Any thread.
[[nodiscard]] int firstNearHit(const Sound& sound, std::size_t key, std::size_t keyCount) noexcept;

} // namespace keysong::soundgen
