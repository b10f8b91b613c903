#include "Audio/ToneStage.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace keysong {

namespace {

// 180 dB below full scale.
constexpr double negligible = 1e-9;

} // namespace

/// The shelving filters of the Audio EQ Cookbook by Robert Bristow-Johnson, with slope 1.
std::array<double, ToneStage::coefficientCount>
ToneStage::designShelf(Shelf shelf, double frequency, double gainDecibels, double sampleRate) noexcept {
    const double a = std::pow(10.0, gainDecibels / 40);
    const double omega = 2 * std::numbers::pi * frequency / sampleRate;
    // The two shelves are each other's mirror image: only the sign of the cosine differs.
    const double cosine = shelf == Shelf::low ? std::cos(omega) : -std::cos(omega);
    const double mirror = shelf == Shelf::low ? 1 : -1;
    const double root = std::sqrt(a) * std::sin(omega) * std::numbers::sqrt2;
    const double a0 = (a + 1) + (a - 1) * cosine + root;
    return {a * ((a + 1) - (a - 1) * cosine + root) / a0, mirror * 2 * a * ((a - 1) - (a + 1) * cosine) / a0,
            a * ((a + 1) - (a - 1) * cosine - root) / a0, mirror * -2 * ((a - 1) + (a + 1) * cosine) / a0,
            ((a + 1) + (a - 1) * cosine - root) / a0};
}

ToneStage::Parameters ToneStage::design(const ToneGains& gains) const noexcept {
    // A shelf at or above half the rate has nothing left to lift.
    const double highest = 0.49 * sampleRate_;
    const auto low = designShelf(Shelf::low, std::min(lowShelfFrequency, highest),
                                 static_cast<double>(gains.lowShelf), sampleRate_);
    const auto high = designShelf(Shelf::high, std::min(highShelfFrequency, highest),
                                  static_cast<double>(gains.highShelf), sampleRate_);
    Parameters parameters;
    std::copy(low.begin(), low.end(), parameters.begin());
    std::copy(high.begin(), high.end(), parameters.begin() + coefficientCount);
    parameters.back() = std::pow(10.0, static_cast<double>(gains.makeup) / 20);
    return parameters;
}

void ToneStage::prepare(double sampleRate) noexcept {
    sampleRate_ = sampleRate;
    target_ = design(gains_);
    settle();
}

void ToneStage::settle() noexcept {
    parameters_ = target_;
    rampFrames_ = 0;
    states_ = {};
}

void ToneStage::setGains(const ToneGains& gains) noexcept {
    if (gains == gains_) {
        return;
    }
    gains_ = gains;
    target_ = design(gains);
    rampFrames_ = static_cast<std::size_t>(rampSeconds * sampleRate_);
    for (std::size_t index = 0; index < parameterCount; ++index) {
        perFrame_[index] = (target_[index] - parameters_[index]) / static_cast<double>(rampFrames_);
    }
}

bool ToneStage::isQuiet() const noexcept {
    return std::all_of(states_.begin(), states_.end(), [](const SectionState& state) {
        return std::max(std::max(std::fabs(state.first[0]), std::fabs(state.first[1])),
                        std::max(std::fabs(state.second[0]), std::fabs(state.second[1]))) < negligible;
    });
}

// The transposed second direct form. Where b and a agree, as they do for a flat shelf, its state runs down
// to nothing while the signal passes: that is what lets the stage fall back to doing nothing unheard.
//
// A frame waits for the one before it, so what counts is how many operations lie between one state and the
// next: the sums are grouped to leave three.
[[gnu::always_inline]] inline ToneStage::Stereo ToneStage::filterSection(const double* c, SectionState& state,
                                                                         Stereo frame) noexcept {
    const Stereo out = c[0] * frame + state.first;
    state.first = (c[1] * frame + state.second) - c[3] * out;
    state.second = c[2] * frame - c[4] * out;
    return out;
}

[[gnu::always_inline]] inline ToneStage::Stereo
ToneStage::filterFrame(const Parameters& parameters, States& states, Stereo frame) noexcept {
    // Written out: in a loop the states would have to be reached through memory.
    const Stereo low = filterSection(parameters.data(), states[0], frame);
    return filterSection(parameters.data() + coefficientCount, states[1], low) * parameters.back();
}

void ToneStage::process(float* left, float* right, std::size_t count) noexcept {
    if (rampFrames_ == 0 && gains_ == ToneGains{} && isQuiet()) {
        states_ = {};
        return;
    }
    // Copies of its own: what may be reached through the channels could not stay in registers.
    States states = states_;
    const auto filter = [&](std::size_t index, const Parameters& parameters) {
        const Stereo frame = {static_cast<double>(left[index]), static_cast<double>(right[index])};
        const Stereo out = filterFrame(parameters, states, frame);
        left[index] = static_cast<float>(out[0]);
        right[index] = static_cast<float>(out[1]);
    };
    std::size_t index = 0;
    for (; index < count && rampFrames_ > 0; ++index) {
        for (std::size_t parameter = 0; parameter < parameterCount; ++parameter) {
            parameters_[parameter] += perFrame_[parameter];
        }
        if (--rampFrames_ == 0) {
            parameters_ = target_;
        }
        filter(index, parameters_);
    }
    const Parameters steady = parameters_;
    for (; index < count; ++index) {
        filter(index, steady);
    }
    states_ = states;
}

} // namespace keysong
