#include "soundgen/Random.h"

namespace keysong::soundgen {

Random::Random(std::uint64_t seed, std::string_view name, std::uint64_t number) noexcept : state_(seed) {
    // FNV-1a over the name, then one round for the number.
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const char letter : name) {
        hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001b3U;
    }
    state_ = next() ^ hash;
    state_ = next() + number * 0xd1342543de82ef95U;
    state_ = next();
}

std::uint64_t Random::next() noexcept {
    state_ += 0x9e3779b97f4a7c15U;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30U)) * 0xbf58476d1ce4e5b9U;
    z = (z ^ (z >> 27U)) * 0x94d049bb133111ebU;
    return z ^ (z >> 31U);
}

double Random::unit() noexcept {
    return static_cast<double>(next() >> 11U) * 0x1p-53;
}

double Random::even() noexcept {
    return 2 * unit() - 1;
}

double Random::stray() noexcept {
    const double first = unit();
    return first - unit();
}

double Random::gaussian() noexcept {
    double sum = -6;
    for (int i = 0; i < 12; ++i) {
        sum += unit();
    }
    return sum;
}

} // namespace keysong::soundgen
