// How long `SoundEngine::play` keeps its caller while sets are swapped and the output renders, on an
// output without a device. Usage: engine_bench [hits]

#include "Audio/SoundEngine.h"
#include "Linux/System/LinuxThreads.h"
#include "Linux/System/MonotonicClock.h"
#include "Shared/NumberText.h"
#include "fakes/FakeAudioOutput.h"
#include "support/TestSets.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <thread>

using namespace keysong;

int main(int argc, char** argv) {
    const auto hits = parseInteger<std::size_t>(argc > 1 ? argv[1] : "").value_or(3000);
    MonotonicClock clock;
    LinuxThreads threads;
    test::FakeAudioOutput output;
    SoundEngine engine(output, clock, threads, RandomSource(1));
    engine.start();
    engine.load(test::makeSet("bench", {}, 24000));
    std::atomic<bool> stop{false};
    std::thread renderer([&] {
        while (!stop) {
            output.step(clock.now());
            std::this_thread::sleep_for(std::chrono::microseconds(2667));
        }
    });
    std::size_t swaps = 0;
    std::thread swapper([&] {
        while (!stop) {
            engine.load(test::makeSet("bench", {}, 24000));
            ++swaps;
        }
    });
    std::vector<std::int64_t> timings;
    timings.reserve(hits);
    for (std::size_t i = 0; i < hits; ++i) {
        const auto before = clock.now();
        engine.play(SoundEvent::keyDown(static_cast<std::uint16_t>(i % 48)));
        timings.push_back((clock.now() - before).count());
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    stop = true;
    renderer.join();
    swapper.join();
    std::sort(timings.begin(), timings.end());
    const auto at = [&](double share) {
        const auto index = static_cast<std::size_t>(static_cast<double>(timings.size()) * share);
        return fixedText(static_cast<double>(timings[std::min(index, timings.size() - 1)]) / 1000.0, 1);
    };
    if (!timings.empty()) {
        std::printf("play() n=%zu swaps=%zu median=%s p99=%s max=%s microseconds\n", timings.size(), swaps,
                    at(0.5).c_str(), at(0.99).c_str(), at(1).c_str());
    }
    return 0;
}
