#pragma once

#include <cstdint>
#include <vector>

#include "soundgen/Description.h"
#include "soundgen/Filter.h"
#include "soundgen/Random.h"

namespace keysong::soundgen {

/// Time that the room takes to fall by 60 dB at a frequency: Eyring's, with the absorption rising evenly over
/// the octaves. The room has a size.
[[nodiscard]] double reverberationMs(const Room& room, double frequencyHz);

/// What a board's sounds meet in the room around it: some early reflections of desk, screen and walls, then
/// noise that builds up until the reflections are too many to tell, and dies away in every octave by itself.
/// Any thread.
class RoomResponse {
  public:
    /// The same things stand around the board for every sound of the set, as the seed has them.
    RoomResponse(const Room& room, std::uint64_t seed);

    /// What is heard of a click at a place of the board: the click itself at the first sample, the
    /// reflections, whose ways differ from place to place by the board's size at most, and late noise of its
    /// own. At most 0.4 s; the click alone when the room has no size.
    [[nodiscard]] Signal at(const Place& place, Random& random) const;

  private:
    struct Reflection {
        double delayMs;
        /// Against the click; negative when it comes back the other way round.
        double gain;
        /// Share of it that is a sample late: how much of the highest was swallowed.
        double dark;
        /// How much longer it is under way from the right end of the board and from its front.
        double acrossMs, downMs;
    };

    void addReflections(Signal& response, const Place& place, Random& random) const;
    void addReverberation(Signal& response, Random& random) const;

    Room room_;
    std::vector<Reflection> reflections_;
};

} // namespace keysong::soundgen
