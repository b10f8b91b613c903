#include "Audio/Mixer.h"
#include "support/WaveFile.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace keysong {
namespace {

constexpr std::size_t blockFrames = 128;
constexpr std::size_t soundFrames = 24'000;

using test::sine;

/// A mixer whose voices are started anew whenever they run out, so that all of them sound all the time.
void renderBlocks(benchmark::State& state, SincInterpolator::Instructions limit, float rate) {
    const auto voices = static_cast<std::uint32_t>(state.range(0));
    Mixer mixer({}, limit);
    mixer.setLowShelfGain(state.range(1) != 0 ? 4.2F : 0);
    mixer.prepare(Mixer::bufferSampleRate);
    const SampleBuffer buffer(sine(440, soundFrames, Mixer::bufferSampleRate, 0.03));
    IoCycle cycle;
    cycle.frameCount = blockFrames;
    const auto blocksPerSound =
        static_cast<std::size_t>(static_cast<float>(soundFrames) / rate) / blockFrames;
    std::vector<float> left(blockFrames);
    std::vector<float> right(blockFrames);
    std::size_t block = 0;
    for (auto _ : state) {
        if (block++ % blocksPerSound == 0) {
            for (std::uint32_t voice = 0; voice < voices; ++voice) {
                benchmark::DoNotOptimize(
                    mixer.schedule({cycle.startNanoseconds, voice, &buffer, rate, 1, nullptr}));
            }
        }
        mixer.render(cycle, left.data(), right.data());
        benchmark::ClobberMemory();
        cycle.startNanoseconds += std::llround(blockFrames * cycle.nanosecondsPerFrame);
    }
}

void renderFastest(benchmark::State& state) {
    renderBlocks(state, SincInterpolator::fastest, 1.07F);
}
void renderPortable(benchmark::State& state) {
    renderBlocks(state, SincInterpolator::Instructions::portable, 1.07F);
}
void renderAvx2(benchmark::State& state) {
    renderBlocks(state, SincInterpolator::Instructions::avx2, 1.07F);
}
void renderUnchangedRate(benchmark::State& state) {
    renderBlocks(state, SincInterpolator::fastest, 1);
}

BENCHMARK(renderFastest)->ArgNames({"voices", "tone"})->ArgsProduct({{0, 1, 2, 16}, {0, 1}});
BENCHMARK(renderAvx2)->ArgNames({"voices", "tone"})->ArgsProduct({{1, 16}, {0, 1}});
BENCHMARK(renderPortable)->ArgNames({"voices", "tone"})->ArgsProduct({{1, 16}, {0}});
BENCHMARK(renderUnchangedRate)->ArgNames({"voices", "tone"})->ArgsProduct({{1, 16}, {0}});

/// How far below a sine the interpolator's error lies, in dB, beside its cost for a block.
void interpolate(benchmark::State& state) {
    const double frequency = static_cast<double>(state.range(0));
    const double rate = static_cast<double>(state.range(1)) / 100;
    const SincInterpolator interpolator;
    const std::uint64_t step = SincInterpolator::step(rate);
    const SincInterpolator::Phase* filter = interpolator.filter(step);
    const std::vector<float> source = sine(frequency, 8192, Mixer::bufferSampleRate, 1);
    std::vector<float> out(4096);
    for (auto _ : state) {
        std::uint64_t position = 64 * SincInterpolator::oneFrame;
        interpolator.read(source.data(), filter, position, step, out.data(), blockFrames);
        benchmark::ClobberMemory();
    }
    std::uint64_t position = 64 * SincInterpolator::oneFrame;
    interpolator.read(source.data(), filter, position, step, out.data(), out.size());
    double error = 0;
    const double perFrame = 2 * std::numbers::pi * frequency / Mixer::bufferSampleRate;
    for (std::size_t index = 0; index < out.size(); ++index) {
        const double at = 64 + static_cast<double>(index) * static_cast<double>(step) * 0x1p-32;
        const double difference = static_cast<double>(out[index]) - std::sin(perFrame * at);
        error += difference * difference;
    }
    state.counters["residual_dB"] = 10 * std::log10(error / static_cast<double>(out.size()) * 2);
}

BENCHMARK(interpolate)->ArgNames({"Hz", "percent"})->ArgsProduct({{1000, 10000}, {71, 84, 109, 119, 137}});

} // namespace
} // namespace keysong
