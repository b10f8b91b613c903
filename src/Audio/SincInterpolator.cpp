#include "Audio/SincInterpolator.h"

#include "Audio/FloatVector.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

namespace keysong {

namespace {

using Phase = SincInterpolator::Phase;

constexpr std::size_t taps = SincInterpolator::taps;
constexpr std::size_t phases = SincInterpolator::phases;
constexpr std::size_t filterLength = phases + 1;
constexpr int filtersPerOctave = 12;
constexpr int filterCount = 3 * filtersPerOctave + 1;

/// The zeroth modified Bessel function of the first kind, by its power series.
double besselI0(double x) {
    double sum = 1;
    double term = 1;
    for (int k = 1; term > sum * 1e-17; ++k) {
        term *= (x / (2 * k)) * (x / (2 * k));
        sum += term;
    }
    return sum;
}

/// A Kaiser window for about 100 dB, lowered to end in exactly 0: a tap that enters or leaves the kernel
/// as the position moves does so without a step.
double window(double distance) {
    constexpr double beta = 10.06;
    const double x = distance / (taps / 2);
    const double inside = 1 - x * x;
    return inside <= 0 ? 0 : (besselI0(beta * std::sqrt(inside)) - 1) / (besselI0(beta) - 1);
}

double sinc(double x) {
    // The zeros must be exact, for whole positions to come out bit for bit.
    if (x == std::round(x)) {
        return x == 0 ? 1 : 0;
    }
    return std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
}

/// From a position in a phase to the frame under a tap, in frames.
double distanceTo(std::size_t tap, std::size_t phase) {
    return static_cast<double>(tap) - static_cast<double>(SincInterpolator::before) -
           static_cast<double>(phase) / phases;
}

void fillFilter(Phase* filter, double cutoff, const std::vector<double>& windows) {
    for (std::size_t phase = 0; phase < filterLength; ++phase) {
        std::array<double, taps> row;
        double sum = 0;
        for (std::size_t tap = 0; tap < taps; ++tap) {
            row[tap] = sinc(distanceTo(tap, phase) * cutoff) * windows[phase * taps + tap];
            sum += row[tap];
        }
        // Equal sums keep a constant a constant, whatever the phase.
        std::transform(row.begin(), row.end(), filter[phase].factors.begin(),
                       [sum](double factor) { return static_cast<float>(factor / sum); });
    }
}

std::vector<Phase> computeFilters() {
    std::vector<double> windows(filterLength * taps);
    for (std::size_t index = 0; index < windows.size(); ++index) {
        windows[index] = window(distanceTo(index % taps, index / taps));
    }
    std::vector<Phase> filters(filterLength * filterCount);
    for (std::size_t index = 0; index < filterCount; ++index) {
        const double cutoff = std::exp2(-static_cast<double>(index) / filtersPerOctave);
        fillFilter(filters.data() + index * filterLength, cutoff, windows);
    }
    return filters;
}

// The kernel proper is written once, for vectors of `width` floats, and inlined into one function for each
// set of instructions. Vector types stay inside, where their size cannot matter to a calling convention.

template <std::size_t width>
struct Register;

template <>
struct Register<4> {
    using Vector = FloatVector;
};

template <>
struct Register<8> {
    using Vector [[gnu::vector_size(32)]] = float;
};

template <>
struct Register<16> {
    using Vector [[gnu::vector_size(64)]] = float;
};

/// The sums of a register's quarters or halves.
template <std::size_t width>
[[gnu::always_inline]] inline FloatVector folded(typename Register<width>::Vector sums) noexcept {
    if constexpr (width == 16) {
        return folded<8>(__builtin_shufflevector(sums, sums, 0, 1, 2, 3, 4, 5, 6, 7) +
                         __builtin_shufflevector(sums, sums, 8, 9, 10, 11, 12, 13, 14, 15));
    } else if constexpr (width == 8) {
        return __builtin_shufflevector(sums, sums, 0, 1, 2, 3) +
               __builtin_shufflevector(sums, sums, 4, 5, 6, 7);
    } else {
        return sums;
    }
}

template <std::size_t width>
[[gnu::always_inline]] inline FloatVector partialSums(const float* source, const Phase* filter,
                                                      std::uint64_t position) noexcept {
    using Vector = typename Register<width>::Vector;
    const auto fraction = static_cast<std::uint32_t>(position);
    const float* x = source + static_cast<std::ptrdiff_t>(position >> 32) -
                     static_cast<std::ptrdiff_t>(SincInterpolator::before);
    const Phase* phase = filter + (fraction >> 24);
    const float between = static_cast<float>(static_cast<std::int32_t>(fraction & 0xFFFFFFU)) * 0x1p-24F;
    Vector here = {};
    Vector next = {};
    for (std::size_t tap = 0; tap < taps; tap += width) {
        Vector frames;
        Vector first;
        Vector second;
        std::memcpy(&frames, x + tap, sizeof frames);
        std::memcpy(&first, phase[0].factors.data() + tap, sizeof first);
        std::memcpy(&second, phase[1].factors.data() + tap, sizeof second);
        here += frames * first;
        next += frames * second;
    }
    return folded<width>(here + (next - here) * between);
}

/// Four output frames at the positions `position + offset[i]`.
template <std::size_t width>
[[gnu::always_inline]] inline FloatVector fourFrames(const float* source, const Phase* filter,
                                                     std::uint64_t position,
                                                     const std::array<std::uint64_t, 4>& offsets) noexcept {
    const FloatVector a = partialSums<width>(source, filter, position + offsets[0]);
    const FloatVector b = partialSums<width>(source, filter, position + offsets[1]);
    const FloatVector c = partialSums<width>(source, filter, position + offsets[2]);
    const FloatVector d = partialSums<width>(source, filter, position + offsets[3]);
    // Sums across all four at once: a transposition and additions.
    const FloatVector ab =
        __builtin_shufflevector(a, b, 0, 4, 1, 5) + __builtin_shufflevector(a, b, 2, 6, 3, 7);
    const FloatVector cd =
        __builtin_shufflevector(c, d, 0, 4, 1, 5) + __builtin_shufflevector(c, d, 2, 6, 3, 7);
    return __builtin_shufflevector(ab, cd, 0, 1, 4, 5) + __builtin_shufflevector(ab, cd, 2, 3, 6, 7);
}

template <std::size_t width>
[[gnu::always_inline]] inline void interpolate(const float* source, const Phase* filter,
                                               std::uint64_t position, std::uint64_t step, float* out,
                                               std::size_t count) noexcept {
    std::size_t done = 0;
    const std::array<std::uint64_t, 4> offsets = {0, step, 2 * step, 3 * step};
    for (; done + floatVectorSize <= count; done += floatVectorSize) {
        storeVector(out + done, fourFrames<width>(source, filter, position, offsets));
        position += floatVectorSize * step;
    }
    if (const std::size_t left = count - done; left > 0) {
        // Positions behind the last may not be readable: the last one is computed again instead.
        const std::array<std::uint64_t, 4> rest = {0, std::min<std::uint64_t>(1, left - 1) * step,
                                                   (left - 1) * step, (left - 1) * step};
        const FloatVector frames = fourFrames<width>(source, filter, position, rest);
        std::memcpy(out + done, &frames, left * sizeof(float));
    }
}

void interpolatePortable(const float* source, const Phase* filter, std::uint64_t position, std::uint64_t step,
                         float* out, std::size_t count) noexcept {
    interpolate<floatVectorSize>(source, filter, position, step, out, count);
}

#if defined(__x86_64__)
[[gnu::target("avx2,fma")]] void interpolateAvx2(const float* source, const Phase* filter,
                                                 std::uint64_t position, std::uint64_t step, float* out,
                                                 std::size_t count) noexcept {
    interpolate<8>(source, filter, position, step, out, count);
}

[[gnu::target("avx512f,avx512dq,avx512vl,fma")]] void
interpolateAvx512(const float* source, const Phase* filter, std::uint64_t position, std::uint64_t step,
                  float* out, std::size_t count) noexcept {
    interpolate<16>(source, filter, position, step, out, count);
}
#endif

} // namespace

SincInterpolator::SincInterpolator(Instructions limit) : kernel_(chooseKernel(limit)) {
    static const std::vector<Phase> filters = computeFilters();
    filters_ = filters.data();
}

SincInterpolator::Kernel SincInterpolator::chooseKernel(Instructions limit) noexcept {
#if defined(__x86_64__)
    // The first processors with AVX-512 lower their clock for it. Those that no longer do have VBMI2 too.
    const bool avx512 = __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512dq") != 0 &&
                        __builtin_cpu_supports("avx512vl") != 0 && __builtin_cpu_supports("avx512vbmi2") != 0;
    const bool avx2 = __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
    if (avx512 && avx2 && limit >= Instructions::avx512) {
        return interpolateAvx512;
    }
    if (avx2 && limit >= Instructions::avx2) {
        return interpolateAvx2;
    }
#else
    static_cast<void>(limit);
#endif
    return interpolatePortable;
}

std::uint64_t SincInterpolator::step(double ratio) noexcept {
    return static_cast<std::uint64_t>(std::llround(std::clamp(ratio, 1.0 / 256, highestRatio) * 0x1p32));
}

const SincInterpolator::Phase* SincInterpolator::filter(std::uint64_t step) const noexcept {
    // A hair above a semitone still counts as that semitone: the difference is below what can be heard,
    // and rounding must not send rate 1 to the second filter.
    const double semitones = std::log2(static_cast<double>(step) * 0x1p-32) * filtersPerOctave;
    const int index = std::clamp(static_cast<int>(std::ceil(semitones - 1e-6)), 0, filterCount - 1);
    return filters_ + static_cast<std::size_t>(index) * filterLength;
}

void SincInterpolator::read(const float* source, const Phase* filter, std::uint64_t& position,
                            std::uint64_t step, float* out, std::size_t count) const noexcept {
    if (step == oneFrame && static_cast<std::uint32_t>(position) == 0) {
        std::copy_n(source + (position >> 32), count, out);
    } else {
        kernel_(source, filter, position, step, out, count);
    }
    position += count * step;
}

} // namespace keysong
