#pragma once

#include "Platform/AudioFile.h"

#include <cstddef>
#include <span>
#include <vector>

namespace keysong {

/// A piece of a recording, cut out.
struct Cut {
    /// Interleaved, in the recording's format.
    std::vector<float> frames;
    /// The sound had begun before the piece: what comes before it is as loud as the piece's own beginning and
    /// its peak.
    bool beginsLate = false;
    /// The sound still rang at the end of the piece, and was faded out there.
    bool isFaded = false;
};

/// Cuts the frames from `first` to `end`, which lies behind it and not beyond the recording. A piece that
/// ends while it rings is faded out over `fadeSeconds`, or a quarter of its own length where that is less, so
/// that it does not end with a tick. Any thread but the render thread.
[[nodiscard]] Cut cutFrom(std::span<const float> recording, const AudioFormat& format, std::size_t first,
                          std::size_t end);

inline constexpr double fadeSeconds = 0.025;

} // namespace keysong
