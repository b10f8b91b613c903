#pragma once

#include "soundgen/Description.h"
#include "soundgen/DescriptionText.h"

namespace keysong::soundgen {

/// The section of the whole board's tuning, which is kept with the set itself.
struct Board {
    SetDescription& set;
};

/// Reads one key of a section into the part of the set that the section describes. `set` is what has been
/// read so far: banks, strikes and rubs are found in it by name. Throws `DescriptionError` for a key that the
/// section does not have and for values that are not as the key takes them. Defined for `SetDescription`
/// itself, `Damping`, `Stroke`, `Room`, `Board`, `Bank`, `Strike`, `Rub`, `Row` and `Sound`.
template <typename Part>
void readKey(Part& part, LineValues& values, const SetDescription& set);

} // namespace keysong::soundgen
