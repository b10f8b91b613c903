#include "Platform/linux/PipeWireOutput.h"

#include "Audio/OutputDevices.h"
#include "Audio/SoundEngine.h"
#include "Platform/linux/ChooseAudioOutput.h"
#include "Platform/linux/LinuxThreads.h"
#include "Platform/linux/MonotonicClock.h"
#include "Platform/linux/SndfileAudio.h"
#include "fakes/FakePlaces.h"
#include "support/LogCapture.h"
#include "support/PrivatePipeWire.h"
#include "support/WaveFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <fstream>
#include <random>
#include <thread>

namespace keysong {
namespace {

using std::chrono::milliseconds;

/// The machine's clock, remembering what it answered last: the time that a hit carries.
class RememberingClock final : public Clock {
  public:
    [[nodiscard]] std::chrono::nanoseconds now() const noexcept override {
        const auto time = clock_.now();
        last_ = time.count();
        return time;
    }
    [[nodiscard]] std::int64_t last() const { return last_; }

  private:
    MonotonicClock clock_;
    mutable std::atomic<std::int64_t> last_ = 0;
};

bool eventually(const std::function<bool()>& condition, milliseconds limit = milliseconds(10'000)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(milliseconds(10));
    }
    return true;
}

/// The positions of single clicks in a recording.
std::vector<std::int64_t> clicksIn(const std::filesystem::path& file) {
    const auto reader = SndfileAudio().open(file);
    std::vector<float> frames(static_cast<std::size_t>(reader->lengthFrames()) * reader->format().channels);
    frames.resize(reader->read(frames) * reader->format().channels);
    std::vector<std::int64_t> positions;
    for (std::size_t i = 0; i < frames.size() / 2; ++i) {
        if (std::abs(frames[2 * i]) > 0.1F) {
            positions.push_back(static_cast<std::int64_t>(i));
        }
    }
    return positions;
}

class PipeWireOutputTest : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(server.start()) << "no private PipeWire server"; }

    /// A set whose every sound is one click, without variation.
    std::shared_ptr<const SoundSet> clickSet() {
        std::vector<float> click(8, 0.0F);
        click[0] = 0.9F;
        folder.write("click/click.wav", test::waveBytes(click, {}));
        folder.write("click/manifest.json",
                     R"({"schema":1,"id":"click","name":"Click","pitchVariation":0,"gainVariation":0,)"
                     R"("defaults":{"down":["click.wav"]}})");
        return SoundSet::load(folder.path() / "click", SoundEngine::renderFormat, SndfileAudio());
    }

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

    test::TempFolder folder;
    test::PrivatePipeWire server;
    LinuxThreads threads;
    RememberingClock clock;
};

TEST_F(PipeWireOutputTest, HitsStartAfterAConstantDelayOnTheirSample) {
    PipeWireOutput output;
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
        const auto file = (folder.path() / ("monitor" + std::to_string(attempt) + ".wav")).string();
        const pid_t recorder = server.record("test.sink.a", file);
        ASSERT_TRUE(eventually(
            [&] { return std::filesystem::exists(file) && std::filesystem::file_size(file) > 20'000; }));
        playAtRandom(engine, times);
        test::PrivatePipeWire::stop(recorder);
        positions = clicksIn(file);
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

TEST_F(PipeWireOutputTest, ListsSinksAndFollowsTheChosenOne) {
    PipeWireOutput output;
    SoundEngine engine(output, clock, threads, RandomSource(1));
    engine.load(clickSet());
    engine.start();
    const auto devices = OutputDevices::all(output.devices());
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(devices[0].uid, "test.sink.a");
    EXPECT_EQ(devices[0].name, "Test Speakers A");
    EXPECT_EQ(output.devices().defaultOutputDevice(), devices[0].id);

    engine.setOutputDevice("test.sink.b", false);
    EXPECT_TRUE(eventually([&] { return output.currentDevice() == devices[1].id; }));
    const auto file = (folder.path() / "b.wav").string();
    const pid_t recorder = server.record("test.sink.b", file);
    ASSERT_TRUE(eventually(
        [&] { return std::filesystem::exists(file) && std::filesystem::file_size(file) > 20'000; }));
    engine.play(SoundEvent::keyDown(0));
    std::this_thread::sleep_for(milliseconds(300));
    test::PrivatePipeWire::stop(recorder);
    EXPECT_EQ(clicksIn(file).size(), 1U);
}

TEST_F(PipeWireOutputTest, TheServersDeathIsNoticedAndItsReturnToo) {
    PipeWireOutput output;
    SoundEngine engine(output, clock, threads, RandomSource(1));
    engine.load(clickSet());
    engine.start();
    server.kill();
    EXPECT_TRUE(eventually([&] { return !output.isRunning(); }));
    engine.play(SoundEvent::keyDown(0)); // harmless
    ASSERT_TRUE(server.start());
    EXPECT_TRUE(eventually([&] { return output.isRunning(); }));
    static_cast<void>(test::LogCapture::shared().takeErrors()); // the recovery tells what it met on the way
}

TEST_F(PipeWireOutputTest, AStreamTakenOutOfTheGraphComesBack) {
    PipeWireOutput output;
    SoundEngine engine(output, clock, threads, RandomSource(1));
    engine.start();
    ASSERT_EQ(std::system("pw-cli destroy keysong >/dev/null 2>&1"), 0);
    EXPECT_TRUE(eventually([&] { return !output.isRunning(); }));
    EXPECT_TRUE(eventually([&] { return output.isRunning(); }));
}

TEST_F(PipeWireOutputTest, TheEnvironmentForcesAnOutput) {
    const auto chosen = [&](const char* wish) {
        test::FakePlaces places;
        if (wish != nullptr) {
            places.variables["KEYSONG_OUTPUT"] = wish;
        }
        return std::string(chooseAudioOutput(places, threads, clock)->backendName());
    };
    EXPECT_EQ(chosen(nullptr), "pipewire");
    EXPECT_EQ(chosen("virtual"), "virtual");
    EXPECT_EQ(chosen("speaker"), "pipewire");
    EXPECT_EQ(test::LogCapture::shared().takeErrors().size(), 1U);
    server.kill();
    EXPECT_EQ(chosen(nullptr), "virtual");
    EXPECT_EQ(chosen("pipewire"), "pipewire");
}

} // namespace
} // namespace keysong
