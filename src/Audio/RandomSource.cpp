#include "Audio/RandomSource.h"

#include <random>

namespace keysong {

namespace {

/// Output n of the splitmix64 generator: a counter times the golden ratio, then mixed. Being a function
/// of n it needs no shared state but a counter.
std::uint64_t splitmix(std::uint64_t seed, std::uint64_t n) noexcept {
    std::uint64_t z = seed + (n + 1) * 0x9E3779B97F4A7C15U;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
}

/// 53 bits, all that a double holds, so that 1 is never reached by rounding.
double halfOpenUnit(std::uint64_t bits) noexcept {
    return static_cast<double>(bits >> 11) * 0x1p-53;
}

/// One of the 2^24 + 1 equally spaced values from -1 to 1; a float holds each exactly.
float closedUnit(std::uint64_t bits) noexcept {
    constexpr std::uint64_t values = (1U << 24) + 1;
    const std::uint64_t step = (bits >> 32) * values >> 32;
    return static_cast<float>(step) * 0x1p-23F - 1.0F;
}

std::uint64_t machineSeed() {
    std::random_device device;
    return static_cast<std::uint64_t>(device()) << 32 | device();
}

} // namespace

RandomSource::RandomSource() : seed_(machineSeed()) {
}

Draws RandomSource::next() noexcept {
    const std::uint64_t first = events_.fetch_add(1, std::memory_order_relaxed) * 3;
    return {halfOpenUnit(splitmix(seed_, first)), closedUnit(splitmix(seed_, first + 1)),
            closedUnit(splitmix(seed_, first + 2))};
}

} // namespace keysong
