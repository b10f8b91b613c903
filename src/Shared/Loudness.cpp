#include "Shared/Loudness.h"

#include "Shared/Biquad.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace keysong {

double loudestMoment(std::span<const double> signal) {
    // The two sections of BS.1770 at 48 kHz: the head's shelf, then a high pass.
    Biquad shelf(
        {1.53512485958697, -2.69169618940638, 1.19839281085285, -1.69065929318241, 0.73248077421585});
    Biquad low({1, -2, 1, -1.99004745483398, 0.99007225036621});
    constexpr std::size_t window = 2400;
    std::vector<double> squares;
    squares.reserve(signal.size());
    double sum = 0;
    double greatest = 0;
    for (std::size_t n = 0; n < signal.size(); ++n) {
        const double weighted = low.step(shelf.step(signal[n]));
        squares.push_back(weighted * weighted);
        sum += squares[n] - (n >= window ? squares[n - window] : 0);
        greatest = std::max(greatest, sum);
    }
    return std::sqrt(greatest / static_cast<double>(window));
}

} // namespace keysong
