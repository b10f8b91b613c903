// How long a user waits for sound sets: decoding one, and listing many.

#include "Audio/SoundLibrary.h"
#include "Audio/SoundSet.h"
#include "Linux/Files/IcuTextOrder.h"
#include "Linux/Sound/SndfileAudio.h"
#include "fakes/FakePlaces.h"
#include "support/TempFolder.h"
#include "support/WaveFile.h"

#include <benchmark/benchmark.h>

#include <string>

namespace keysong {
namespace {

/// A set of 60 recordings of 0.3 seconds each, stereo at `rate`.
void writeSet(const test::TempFolder& folder, std::uint32_t rate) {
    constexpr int fileCount = 60;
    const std::vector<float> samples = test::sine(440, rate * 3 / 10 * 2, rate);
    const std::string bytes = test::waveBytes(samples, {rate, 2, std::nullopt});
    std::string list;
    for (int index = 0; index < fileCount; ++index) {
        const std::string name = std::to_string(index) + ".wav";
        folder.write(name, bytes);
        list += (index == 0 ? "\"" : ",\"") + name + "\"";
    }
    folder.write("manifest.json", R"({"schema":1,"id":"s","name":"S","defaults":{"down":[)" + list + "]}}");
}

void loadSet(benchmark::State& state) {
    const test::TempFolder folder;
    writeSet(folder, static_cast<std::uint32_t>(state.range(0)));
    const SndfileAudio files;
    for (auto _ : state) {
        benchmark::DoNotOptimize(SoundSet::load(folder.path(), {48000, 1}, files));
    }
}
BENCHMARK(loadSet)->Arg(44100)->Arg(48000)->ArgName("rate")->Unit(benchmark::kMillisecond);

void listSets(benchmark::State& state) {
    const test::TempFolder folder;
    for (std::int64_t index = 0; index < state.range(0); ++index) {
        const std::string id = "set-" + std::to_string(index);
        folder.write("Sounds/" + id + "/manifest.json", R"({"schema":1,"id":")" + id + R"(","name":"Set )" +
                                                            std::to_string(index * 7919 % 1000) +
                                                            R"(","defaults":{"down":["a.wav"]}})");
    }
    test::FakePlaces places;
    places.resourcesFolder = folder.path();
    const IcuTextOrder order(places);
    for (auto _ : state) {
        benchmark::DoNotOptimize(SoundLibrary::availableSets(places, order));
    }
}
BENCHMARK(listSets)->Arg(10)->Arg(1000)->ArgName("sets")->Unit(benchmark::kMillisecond);

void findCandidates(benchmark::State& state) {
    const test::TempFolder folder;
    writeSet(folder, 48000);
    const auto set = SoundSet::load(folder.path(), {48000, 1}, SndfileAudio());
    std::uint16_t code = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(set->candidates(SoundEvent::keyDown(code)));
        code = (code + 1) & 0x7FU;
    }
}
BENCHMARK(findCandidates);

} // namespace
} // namespace keysong
