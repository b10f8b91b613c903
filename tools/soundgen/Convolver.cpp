#include "soundgen/Convolver.h"

#include <algorithm>
#include <utility>

#include "soundgen/ExactMath.h"

namespace keysong::soundgen {

void Convolver::prepare(std::size_t size) {
    if (real_.size() != size) {
        cosines_.resize(size / 2);
        sines_.resize(size / 2);
        for (std::size_t n = 0; n < size / 2; ++n) {
            const double angle = 2 * pi * static_cast<double>(n) / static_cast<double>(size);
            cosines_[n] = exactCosine(angle);
            sines_[n] = exactSine(angle);
        }
    }
    real_.assign(size, 0);
    imaginary_.assign(size, 0);
}

/// In place; radix 2, decimation in time.
void Convolver::transform() {
    const std::size_t size = real_.size();
    for (std::size_t n = 1, reversed = 0; n < size; ++n) {
        std::size_t bit = size >> 1U;
        for (; (reversed & bit) != 0; bit >>= 1U) {
            reversed ^= bit;
        }
        reversed ^= bit;
        if (n < reversed) {
            std::swap(real_[n], real_[reversed]);
            std::swap(imaginary_[n], imaginary_[reversed]);
        }
    }
    for (std::size_t half = 1; half < size; half *= 2) {
        const std::size_t stride = size / (2 * half);
        for (std::size_t start = 0; start < size; start += 2 * half) {
            for (std::size_t n = 0; n < half; ++n) {
                const double cosine = cosines_[n * stride];
                const double sine = -sines_[n * stride];
                const std::size_t even = start + n;
                const std::size_t odd = even + half;
                const double re = real_[odd] * cosine - imaginary_[odd] * sine;
                const double im = real_[odd] * sine + imaginary_[odd] * cosine;
                real_[odd] = real_[even] - re;
                imaginary_[odd] = imaginary_[even] - im;
                real_[even] += re;
                imaginary_[even] += im;
            }
        }
    }
}

Signal Convolver::convolve(const Signal& a, const Signal& b, std::size_t greatestLength) {
    const std::size_t length = a.size() + b.size() - 1;
    std::size_t size = 2;
    while (size < length) {
        size *= 2;
    }
    prepare(size);
    std::copy(a.begin(), a.end(), real_.begin());
    std::copy(b.begin(), b.end(), imaginary_.begin());
    transform();
    // With a in the real and b in the imaginary part, the square of the spectrum is that of a * a - b * b in
    // the real and of twice a * b in the imaginary part. Conjugated, the same transform goes back.
    for (std::size_t n = 0; n < size; ++n) {
        const double re = real_[n];
        const double im = imaginary_[n];
        real_[n] = re * re - im * im;
        imaginary_[n] = -2 * re * im;
    }
    transform();
    Signal out(std::min(length, greatestLength));
    for (std::size_t n = 0; n < out.size(); ++n) {
        out[n] = -imaginary_[n] / (2 * static_cast<double>(size));
    }
    return out;
}

} // namespace keysong::soundgen
