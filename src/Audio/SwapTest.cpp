#include "Audio/AudioDevTest.h"
#include "Shared/Mutex.h"
#include "Shared/NumberText.h"
#include "Shared/PrintableText.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <thread>

namespace keysong {

namespace {

using std::chrono::milliseconds;

/// How long each `play` kept its caller, in nanoseconds. Any thread.
class Samples {
  public:
    Samples() {
        const MutexLock lock(mutex_);
        timings_.reserve(100'000);
    }

    void add(std::chrono::nanoseconds timing) KEYSONG_EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        timings_.push_back(static_cast<std::uint64_t>(timing.count()));
    }

    [[nodiscard]] std::vector<std::uint64_t> sorted() KEYSONG_EXCLUDES(mutex_) {
        const MutexLock lock(mutex_);
        std::vector<std::uint64_t> result = timings_;
        std::sort(result.begin(), result.end());
        return result;
    }

  private:
    Mutex mutex_;
    std::vector<std::uint64_t> timings_ KEYSONG_GUARDED_BY(mutex_);
};

/// Plays and times a key every millisecond on a thread of its own until it is stopped or destroyed.
class Player {
  public:
    Player(const AudioDevTestServices& services, SoundEngine& engine, Samples& samples)
        : thread_(services.threads.start(
              {"swap-test-play", "swap-test-play", ThreadPriority::userInteractive},
              [this, &services, &engine, &samples] { playUntilStopped(services, engine, samples); })) {}
    ~Player() {
        stop();
        thread_.join();
    }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    void stop() noexcept { stopped_.store(true, std::memory_order_relaxed); }

  private:
    void playUntilStopped(const AudioDevTestServices& services, SoundEngine& engine, Samples& samples) {
        while (!stopped_.load(std::memory_order_relaxed)) {
            const auto before = services.clock.now();
            engine.play(SoundEvent::keyDown(0));
            samples.add(services.clock.now() - before);
            services.sleep(milliseconds(1));
        }
    }

    std::atomic<bool> stopped_{false};
    std::thread thread_;
};

std::string microsecondsAt(const std::vector<std::uint64_t>& sorted, double percentile) {
    const auto index = static_cast<std::size_t>(static_cast<double>(sorted.size()) * percentile);
    return fixedText(static_cast<double>(sorted[std::min(sorted.size() - 1, index)]) / 1000.0, 1);
}

} // namespace

void AudioDevTest::runSwapTest(const std::optional<std::string>& setId, std::int64_t swaps) const {
    const Bench bench = setUp(setId);
    bench.engine->setVolume(0);
    checkTone();
    applyTone(*bench.engine);
    Samples samples;
    {
        Player player(services_, *bench.engine, samples);
        std::fprintf(stdout, "swap-test %s swaps=%s\n", printable(bench.setId).c_str(),
                     std::to_string(swaps).c_str());
        swapSets(bench, swaps);
        services_.sleep(milliseconds(500));
        player.stop();
        services_.sleep(milliseconds(50));
    }
    const std::vector<std::uint64_t> sorted = samples.sorted();
    if (sorted.empty()) {
        fail("no samples");
    }
    std::fprintf(stdout, "play() n=%zu median=%s p99=%s max=%s microseconds\n", sorted.size(),
                 microsecondsAt(sorted, 0.5).c_str(), microsecondsAt(sorted, 0.99).c_str(),
                 microsecondsAt(sorted, 1.0).c_str());
}

void AudioDevTest::swapSets(const Bench& bench, std::int64_t swaps) const {
    for (std::int64_t i = 0; i < swaps; ++i) {
        try {
            bench.engine->load(SoundSet::load(bench.directory, SoundEngine::renderFormat, services_.files));
        } catch (const std::runtime_error&) { // the set's own log lines say why
            fail("could not load " + bench.setId);
        }
        if (i == swaps / 2) {
            try {
                bench.engine->setOutputDevice(bench.engine->currentOutputDeviceUid(), false);
            } catch (const std::runtime_error&) { // the timings count, not the device
            }
            bench.engine->recover();
        }
        services_.sleep(milliseconds(120));
    }
}

} // namespace keysong
