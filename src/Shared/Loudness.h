#pragma once

#include <span>

namespace keysong {

/// Root mean square of the loudest 50 ms after the K weighting of ITU-R BS.1770: how loud a click is to an
/// ear, as an amplitude. One channel at 48 kHz; a shorter signal counts as followed by silence. Any thread.
[[nodiscard]] double loudestMoment(std::span<const double> signal);

} // namespace keysong
