#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace keysong {

/// Where each key sits on a standard board, as a position in the stereo field. Any thread; `pan` is
/// real-time safe.
class KeyPan {
  public:
    /// The share of the whole stereo field that the board spans: the pans of its edges are -0.66 and 0.66.
    static constexpr float stereoWidth = 0.66F;

    KeyPan() = delete;

    /// The stereo pan of a key code, -0.66 (left) to 0.66; 0 for a key that has no place on the board.
    [[nodiscard]] static float pan(std::uint16_t keyCode) noexcept;

    /// Checks telling keys of the table; one text per failure.
    [[nodiscard]] static std::vector<std::string> selfCheck();
};

} // namespace keysong
