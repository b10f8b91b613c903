#pragma once

#include <vector>

#include "soundgen/Description.h"
#include "soundgen/Filter.h"

namespace keysong::soundgen {

/// Makes the sounds of one set from its description. The same description gives the same samples everywhere,
/// and a variant does not depend on which others are made. For one thread at a time; takes milliseconds a
/// variant.
class SoundRenderer {
  public:
    /// The description must outlive the renderer.
    explicit SoundRenderer(const SetDescription& set);

    /// One variant (from 0) of one sound of the set, levelled and faded, within full scale less 1 dB. Throws
    /// `DescriptionError` when the level asked for cannot be had without clipping or the sound is silent.
    [[nodiscard]] Signal render(const Sound& sound, int variant) const;

  private:
    const SetDescription& set_;
    /// By bank.
    std::vector<std::vector<Mode>> modes_;
};

} // namespace keysong::soundgen
