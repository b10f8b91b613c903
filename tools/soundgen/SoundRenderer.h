#pragma once

#include <vector>

#include "soundgen/Colour.h"
#include "soundgen/Convolver.h"
#include "soundgen/Description.h"
#include "soundgen/Filter.h"
#include "soundgen/RoomResponse.h"

namespace keysong::soundgen {

/// Makes the sounds of one set from its description. The same description gives the same samples everywhere,
/// and a sound does not depend on the others. For one thread at a time; takes some ten milliseconds a
/// variant.
class SoundRenderer {
  public:
    /// The description must outlive the renderer.
    explicit SoundRenderer(const SetDescription& set);

    /// All variants of one sound of the set, faded, within full scale less 1 dB. They are levelled together:
    /// a hard hit stays louder than a soft one. Throws `DescriptionError` when the level asked for cannot be
    /// had without clipping or the sound is silent.
    [[nodiscard]] std::vector<Signal> render(const Sound& sound);

  private:
    [[nodiscard]] Signal hit(const Sound& sound, int variant);

    const SetDescription& set_;
    /// By bank.
    std::vector<std::vector<Mode>> modes_;
    Colour colour_;
    RoomResponse room_;
    Convolver convolver_;
};

} // namespace keysong::soundgen
