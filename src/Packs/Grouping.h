#pragma once

#include "Packs/PackSounds.h"
#include "Shared/SoundManifest.h"

#include <string>

namespace keysong {

/// A plan that says the same as one with sounds for single keys, in as few entries as it takes: what most
/// keys of a group share becomes the group's, what most main keys share the default where the plan has none,
/// and a key that sounds like its group needs no entry. Without anything common, some of the keys' sounds are
/// the default. `plan` names files of the set.
[[nodiscard]] SoundPlan<std::string> grouped(SoundPlan<std::string> plan);

/// The manifest that says what a plan says. It has no identifier and name yet, and no default when the plan
/// has none for a key going down.
[[nodiscard]] SoundManifest manifestOf(const SoundPlan<std::string>& plan);

} // namespace keysong
