#include "Audio/OutputDevices.h"
#include "Linux/Sound/SndfileAudio.h"
#include "support/PipeWireFixture.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <mutex>
#include <random>
#include <thread>

namespace keysong::test {
namespace {

using std::chrono::milliseconds;

class PipeWireOutputTest : public PipeWireFixture {
  protected:
    /// Plays 300 hits at random distances and notes the time that each carried.
    void playAtRandom(SoundEngine& engine, std::vector<std::int64_t>& times) {
        std::mt19937 random(7);
        for (int i = 0; i < 300; ++i) {
            engine.play(SoundEvent::keyDown(0));
            times.push_back(clock.last());
            std::this_thread::sleep_for(std::chrono::microseconds(8'000 + random() % 7'000));
        }
        std::this_thread::sleep_for(milliseconds(300));
    }
};

TEST_F(PipeWireOutputTest, HitsStartAfterAConstantDelayOnTheirSample) {
    PipeWireOutput output(threads);
    SoundEngine engine(output, clock, threads, RandomSource(1));
    engine.setSpatial(false);
    engine.load(clickSet());
    engine.start();
    EXPECT_EQ(output.bufferFrames(), 128U);

    // A recorder that starves loses clicks, and then nothing tells which: another attempt.
    std::vector<std::int64_t> times;
    std::vector<std::int64_t> positions;
    for (int attempt = 0; attempt < 4 && (times.empty() || positions.size() != times.size()); ++attempt) {
        times.clear();
        const std::string name = "monitor" + std::to_string(attempt) + ".wav";
        ChildProcess recorder = startRecording("test.sink.a", name);
        playAtRandom(engine, times);
        recorder.interrupt();
        positions = clicksIn(folder.path() / name);
    }
    ASSERT_EQ(positions.size(), times.size()) << "the recorder starved";
    std::vector<double> delays;
    for (std::size_t i = 0; i < times.size(); ++i) {
        delays.push_back(static_cast<double>(positions[i]) -
                         static_cast<double>(times[i] - times[0]) * 48e-6);
    }
    // On a busy machine the recorder loses whole periods, and a period that the server skipped brings its
    // hits late: a few hits may stand elsewhere, the others keep their distance to a sample.
    constexpr double period = 128;
    auto sorted = delays;
    std::nth_element(sorted.begin(), sorted.begin() + 150, sorted.end());
    const double median = sorted[150];
    int astray = 0;
    double least = 0;
    double most = 0;
    for (const double delay : delays) {
        const double offset = std::remainder(delay - median, period);
        if (std::abs(offset) > 1.25) {
            ++astray;
            continue;
        }
        least = std::min(least, offset);
        most = std::max(most, offset);
    }
    std::printf("start times of %zu hits spread over %.3f samples, %d astray\n", times.size(), most - least,
                astray);
    EXPECT_LE(most - least, 1.25);
    EXPECT_LE(astray, 9);
}

/// Notes which threads were raised, and to what.
class RaisedThreads final : public Threads {
  public:
    std::thread start(ThreadAttributes, std::function<void()> body) override { return std::thread(body); }
    void raiseThisThread(const ThreadAttributes& attributes) override {
        const std::lock_guard lock(mutex_);
        raised_.emplace_back(std::this_thread::get_id(), attributes.priority);
    }
    [[nodiscard]] auto raised() const {
        const std::lock_guard lock(mutex_);
        return raised_;
    }

  private:
    mutable std::mutex mutex_;
    std::vector<std::pair<std::thread::id, ThreadPriority>> raised_;
};

TEST_F(PipeWireOutputTest, TheThreadThatRendersIsRaisedOnce) {
    struct Renderer final : AudioRenderer {
        void render(const IoCycle&, float*, float*) noexcept override { thread = std::this_thread::get_id(); }
        std::atomic<std::thread::id> thread;
    } renderer;
    RaisedThreads raising;
    PipeWireOutput output(raising);
    output.setRenderer(&renderer);
    for (int round = 0; round < 2; ++round) {
        output.start();
        ASSERT_TRUE(
            eventually([&] { return !raising.raised().empty() && renderer.thread != std::thread::id(); }));
        output.stop();
    }
    EXPECT_THAT(raising.raised(),
                testing::ElementsAre(testing::Pair(renderer.thread.load(), ThreadPriority::render)));
}

TEST_F(PipeWireOutputTest, ListsSinksAndPlaysOnTheDefault) {
    PipeWireOutput output(threads);
    SoundEngine engine(output, clock, threads, RandomSource(1));
    engine.load(clickSet());
    engine.start();
    const auto devices = OutputDevices::all(output.devices());
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(devices[0].uid, "test.sink.a");
    EXPECT_EQ(devices[0].name, "Test Speakers A");
    EXPECT_EQ(output.devices().defaultOutputDevice(), devices[0].id);
    EXPECT_TRUE(output.devices().latencyFrames(devices[0].id));
    EXPECT_FALSE(output.devices().latencyFrames(devices[1].id)) << "nobody plays there";
    EXPECT_EQ(output.currentDevice(), devices[0].id);
    EXPECT_TRUE(isHeardOn("test.sink.a", engine));
}

TEST_F(PipeWireOutputTest, AsksForPeriodsOfOneSizeAtTheUsualRates) {
    for (const char* const rate : {"44100", "96000"}) {
        server.kill();
        server.configure(std::string("context.properties = { default.clock.rate = ") + rate + " }");
        ASSERT_TRUE(server.start());
        PipeWireOutput output(threads);
        SoundEngine engine(output, clock, threads, RandomSource(1));
        engine.start();
        EXPECT_EQ(output.bufferFrames(), rate == std::string("44100") ? 128U : 256U) << rate;
    }
}

TEST_F(PipeWireOutputTest, PlaysOnTheFrontPairOfManySpeakers) {
    ASSERT_TRUE(PrivatePipeWire::plug("surround", "FL FR FC LFE RL RR"));
    PipeWireOutput output(threads);
    SoundEngine engine(output, clock, threads, RandomSource(1));
    engine.load(clickSet());
    ASSERT_TRUE(eventually([&] { return OutputDevices::all(output.devices()).size() == 3; }));
    engine.setOutputDevice("surround", false);
    const auto file = folder.path() / "surround.wav";
    ChildProcess recorder = PrivatePipeWire::record("surround", file.string(), "FL,FR,FC,LFE,RL,RR");
    ASSERT_TRUE(eventually(
        [&] { return std::filesystem::exists(file) && std::filesystem::file_size(file) > 100'000; }));
    for (int i = 0; i < 6; ++i) {
        engine.play(SoundEvent::keyDown(0));
        std::this_thread::sleep_for(milliseconds(50));
    }
    std::this_thread::sleep_for(milliseconds(150));
    recorder.interrupt();
    const auto reader = SndfileAudio().open(file);
    ASSERT_EQ(reader->format().channels, 6U);
    std::vector<float> frames(static_cast<std::size_t>(reader->lengthFrames()) * 6);
    frames.resize(reader->read(frames) * 6);
    std::array<float, 6> peaks{};
    for (std::size_t i = 0; i < frames.size(); ++i) {
        peaks[i % 6] = std::max(peaks[i % 6], std::abs(frames[i]));
    }
    EXPECT_GT(peaks[0], 0.1F);
    EXPECT_GT(peaks[1], 0.1F);
    EXPECT_THAT(std::vector(peaks.begin() + 2, peaks.end()), testing::Each(0.0F));
}

TEST_F(PipeWireOutputTest, AtRestTheSinkIsLetGoAndTheFirstHitIsHeardWhole) {
    PipeWireOutput output(threads);
    SoundEngine engine(output, clock, threads, RandomSource(1));
    engine.setSpatial(false);
    engine.load(clickSet());
    engine.start();
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(PrivatePipeWire::stateOf("test.sink.a"), "running");
        output.setResting(true);
        ASSERT_TRUE(eventually([] { return PrivatePipeWire::stateOf("test.sink.a") != "running"; }));
        EXPECT_TRUE(output.isRunning());
        EXPECT_EQ(output.currentDevice(), output.devices().defaultOutputDevice());
        output.setResting(false);
        ASSERT_TRUE(eventually([] { return PrivatePipeWire::stateOf("test.sink.a") == "running"; }));
        EXPECT_TRUE(output.isRendering());
    }
    // A recorder that starves on a busy machine loses clicks: another attempt.
    std::size_t heard = 0;
    engine.setListening(false);
    for (int attempt = 0; attempt < 5 && heard != 1; ++attempt) {
        ChildProcess recorder = startRecording("test.sink.a", "first.wav");
        ASSERT_TRUE(eventually([&] {
            engine.restIfUnused();
            return engine.snapshot().resting;
        }));
        std::this_thread::sleep_for(milliseconds(50));
        engine.play(SoundEvent::keyDown(0));
        std::this_thread::sleep_for(milliseconds(300));
        recorder.interrupt();
        heard = clicksIn(folder.path() / "first.wav").size();
        std::filesystem::remove(folder.path() / "first.wav");
    }
    EXPECT_EQ(heard, 1U);
    EXPECT_EQ(engine.lateHits(), 0U);
}

TEST_F(PipeWireOutputTest, AStreamTakenOutOfTheGraphComesBack) {
    PipeWireOutput output(threads);
    SoundEngine engine(output, clock, threads, RandomSource(1));
    engine.start();
    ASSERT_EQ(std::system("pw-cli destroy keysong >/dev/null 2>&1"), 0);
    EXPECT_TRUE(eventually([&] { return !output.isRunning(); }));
    EXPECT_TRUE(eventually([&] { return output.isRunning(); }));
}

} // namespace
} // namespace keysong::test
