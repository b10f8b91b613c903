#pragma once

#include "Packs/PackSounds.h"
#include "Shared/SoundManifest.h"

#include <string>

namespace keysong {

/// A plan that says the same as one with sounds for single keys, in fewer entries: what most keys of a group
/// share becomes the group's, what most main keys share the default where the plan has none, and a key that
/// sounds like its group needs no entry. No key that the plan knows changes its sound by that. Where nothing
/// is common and the plan has no default, some of the keys' sounds are the default for keys that it does not
/// know. `plan` names files of the set.
[[nodiscard]] SoundPlan<std::string> grouped(SoundPlan<std::string> plan);

/// Where most of a plan's keys have a sound for coming up and it has no default, gives silence to those that
/// have none: the others' sound then becomes the default for keys that the plan does not know.
void completeReleases(SoundPlan<Clip>& plan);

/// The manifest that says what a plan says. It has no identifier and name yet, and no default when the plan
/// has none for a key going down.
[[nodiscard]] SoundManifest manifestOf(const SoundPlan<std::string>& plan);

} // namespace keysong
