#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>

namespace keysong {

/// How long the periods of an output should be: as short as was asked for, and longer for a while on a
/// machine that comes too late for them again and again. A crackle that comes back after the periods were
/// shortened makes the next try wait twice as long.
///
/// Pure. One thread at a time.
class PeriodLength {
  public:
    using Time = std::chrono::nanoseconds;

    static constexpr std::uint32_t longest = 512;
    /// So many xruns within this time double the period.
    static constexpr std::size_t tooMany = 3;
    static constexpr std::chrono::seconds window{10};
    /// After so long without one it is halved again, at first.
    static constexpr std::chrono::seconds calmTime{30};
    static constexpr std::chrono::minutes longestCalmTime{30};

    /// Asks for periods of this many frames; what was learned of longer ones is forgotten.
    void request(std::uint32_t frames) noexcept;
    [[nodiscard]] std::uint32_t frames() const noexcept { return frames_; }

    /// An xrun happened; true when the period shall be longer from now on.
    bool noteXrun(Time now);
    /// Time went by; true when the period shall be shorter from now on.
    bool noteCalm(Time now);
    /// When `noteCalm` should be told next; none while the period is as asked for.
    [[nodiscard]] std::optional<Time> nextCalm() const noexcept;

  private:
    std::uint32_t requested_ = 128;
    std::uint32_t frames_ = 128;
    /// Those within the window.
    std::deque<Time> xruns_;
    /// The last xrun or change of the period.
    Time lastTrouble_{0};
    Time calmTime_ = calmTime;
    /// A shorter period was tried after a longer one.
    bool wasShortened_ = false;
};

} // namespace keysong
