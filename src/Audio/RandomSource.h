#pragma once

#include <atomic>
#include <cstdint>

namespace keysong {

/// The random numbers of one event.
struct Draws {
    /// Which candidate: uniform in [0, 1).
    double pick = 0;
    /// Uniform in [-1, 1], both ends included.
    float pitch = 0;
    /// Uniform in [-1, 1], both ends included.
    float gain = 0;
};

/// Draws random numbers: the numbers of event n depend on the seed and n alone. Any thread; lock-free and
/// real-time safe.
class RandomSource {
  public:
    /// Seeded by the machine. Not real-time safe.
    RandomSource();
    explicit RandomSource(std::uint64_t seed) noexcept : seed_(seed) {}
    /// The copy goes on from where `other` stands.
    RandomSource(const RandomSource& other) noexcept : seed_(other.seed_), events_(other.events_.load()) {}
    RandomSource& operator=(const RandomSource&) = delete;

    /// The numbers of the next event.
    [[nodiscard]] Draws next() noexcept;

  private:
    std::uint64_t seed_;
    std::atomic<std::uint64_t> events_{0};
};

} // namespace keysong
