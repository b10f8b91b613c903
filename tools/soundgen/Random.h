#pragma once

#include <cstdint>
#include <string_view>

namespace keysong::soundgen {

/// A small generator of random numbers (SplitMix64) whose sequence depends on nothing but its seed: the
/// distributions of the standard library may differ from one library to the next. A value type for one
/// thread at a time.
class Random {
  public:
    explicit Random(std::uint64_t seed) noexcept : state_(seed) {}

    /// The generator of one named part of a set: parts with other names or numbers are independent, and a
    /// part keeps its sequence when others are added.
    Random(std::uint64_t seed, std::string_view name, std::uint64_t number) noexcept;

    [[nodiscard]] std::uint64_t next() noexcept;
    /// At least 0 and below 1.
    [[nodiscard]] double unit() noexcept;
    /// At least -1 and below 1, evenly spread.
    [[nodiscard]] double even() noexcept;
    /// Between -1 and 1, mostly near 0 (triangular): how far a hand or a mould strays.
    [[nodiscard]] double stray() noexcept;
    /// About normal, with mean 0 and deviation 1, never beyond 6.
    [[nodiscard]] double gaussian() noexcept;

  private:
    std::uint64_t state_;
};

} // namespace keysong::soundgen
