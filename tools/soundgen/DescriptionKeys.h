#pragma once

#include "soundgen/Description.h"
#include "soundgen/DescriptionText.h"

namespace keysong::soundgen {

/// Reads one key of a section into the part of the set that the section describes. `set` is what has been
/// read so far: banks, strikes and rubs are found in it by name. Throws `DescriptionError` for a key that the
/// section does not have and for values that are not as the key takes them.
void readKey(SetDescription& part, LineValues& values, const SetDescription& set);
void readKey(Damping& part, LineValues& values, const SetDescription& set);
void readKey(Room& part, LineValues& values, const SetDescription& set);
void readKey(Bank& part, LineValues& values, const SetDescription& set);
void readKey(Strike& part, LineValues& values, const SetDescription& set);
void readKey(Rub& part, LineValues& values, const SetDescription& set);
void readKey(Sound& part, LineValues& values, const SetDescription& set);

} // namespace keysong::soundgen
