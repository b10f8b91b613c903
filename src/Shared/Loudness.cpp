#include "Shared/Loudness.h"

#include "Shared/Biquad.h"

#include <cmath>

namespace keysong {

double loudness(std::span<const double> signal) noexcept {
    // The two sections of BS.1770 at 48 kHz: the head's shelf, then a high pass.
    Biquad shelf(
        {1.53512485958697, -2.69169618940638, 1.19839281085285, -1.69065929318241, 0.73248077421585});
    Biquad low({1, -2, 1, -1.99004745483398, 0.99007225036621});
    constexpr double window = 2400; // 50 ms
    double energy = 0;
    for (const double sample : signal) {
        const double weighted = low.step(shelf.step(sample));
        energy += weighted * weighted;
    }
    return std::sqrt(energy / window);
}

} // namespace keysong
