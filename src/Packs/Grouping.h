#pragma once

#include "Packs/PackSounds.h"
#include "Shared/SoundManifest.h"

#include <string>

namespace keysong {

/// The manifest that says the same as a plan with sounds for single keys, in as few entries as it takes: what
/// most keys of a group share becomes the group's, what most main keys share the default where the plan has
/// none, and a key that sounds like its group needs no entry. Without anything common, some of the keys'
/// sounds are the default. `plan` names files of the set. The manifest has no identifier and name yet, and no
/// default when the plan holds no sound for a key going down.
[[nodiscard]] SoundManifest groupedManifest(SoundPlan<std::string> plan);

} // namespace keysong
