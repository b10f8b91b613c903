#include "Audio/AudioDevTest.h"

#include "Audio/SoundLibrary.h"
#include "fakes/ByteOrder.h"
#include "fakes/FakePlaces.h"
#include "support/EngineFixture.h"
#include "support/Eventually.h"
#include "support/PlainThreads.h"

#include <atomic>
#include <thread>

namespace keysong::test {
namespace {

class AudioDevTestTest : public testing::Test {
  public:
    AudioDevTestTest() { places.resourcesFolder = folder.path(); }

    /// Runs one mode: its status, what it prints, and behind a bar what it says of errors.
    template <typename Mode>
    std::string run(Mode mode, std::vector<std::string_view> arguments = {}) {
        const AudioDevTestServices services{
            [this] {
                auto control = std::make_unique<ManualQueue>();
                queue = control.get();
                return std::make_unique<SoundEngine>(
                    output, SoundEngineServices{clock, std::move(control), [](std::chrono::nanoseconds) {}},
                    RandomSource(1));
            },
            clock,
            threads,
            places,
            order,
            files,
            [this](std::chrono::nanoseconds time) { wait(time); }};
        const AudioDevTest diagnostics(services, arguments);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = mode(diagnostics);
        const std::string printed = testing::internal::GetCapturedStdout();
        return std::to_string(status) + " " + printed + "|" + testing::internal::GetCapturedStderr();
    }

    std::string play(const std::optional<std::string>& id, std::vector<std::string_view> arguments = {}) {
        return run([&](const AudioDevTest& test) { return test.playTest(id); }, std::move(arguments));
    }

    /// A wait moves the time on; in the swap test the main thread's lets the player's thread play, which ends
    /// with the last of them.
    void wait(std::chrono::nanoseconds time) {
        if (!swaps) {
            waited += time;
            clock.advance(time);
            queue->advance(time);
        } else if (time == std::chrono::milliseconds(1)) {
            ++played;
            std::this_thread::yield();
        } else {
            EXPECT_TRUE(eventually([&, before = std::min(played.load(), 3)] { return played > before; }));
        }
    }

    /// The folder that the sets come from.
    [[nodiscard]] std::filesystem::path sounds() const { return SoundLibrary::directory(places); }

    TempFolder folder;
    FakePlaces places;
    ByteOrder order;
    PlainThreads threads;
    ConstantAudioFiles files;
    ManualClock clock;
    FakeAudioOutput output;
    ManualQueue* queue = nullptr;
    bool swaps = false;
    std::atomic<int> played = 0;
    std::chrono::nanoseconds waited{0};
};

const std::string toneLines =
    "tone ok  neutral rate=1.0 low=-0.0dB high=0.0dB makeup=-0.0dB\n"
    "tone ok  thock low=6.0dB high=-6.0dB makeup=2.0dB | clack low=-6.0dB high=6.0dB makeup=-2.0dB\n"
    "tone ok  body rate -1=0.8408964 +1=1.1892071 clamped body 9=1.1892071 clamped tone -9 low=6.0dB\n";

TEST_F(AudioDevTestTest, ListsTheSetsOrSaysThereAreNone) {
    const auto list = [](const AudioDevTest& test) { return test.listSets(); };
    EXPECT_EQ(run(list), "1 |no sets in " + sounds().string() + "\n");
    writeSet(sounds(), "one");
    EXPECT_EQ(run(list), "0 one\tName\n|");
}

TEST_F(AudioDevTestTest, PlaysItsWholeScriptAndPrintsItsLines) {
    writeSet(sounds(), "one");
    places.variables = {{"KEYSONG_TONE", "-0.7"}, {"KEYSONG_BODY", "7"}, {"KEYSONG_SILENT", "1"}};
    EXPECT_EQ(play(std::nullopt, {"keysong", "--play-test", "one", "0", "300", "x", "1"}),
              "0 key-pan ok  Q=-0.506 space=-0.054560002 P=0.286\n" + toneLines +
                  "tone set  tone=-0.7 body=1.0\nplay-test one keys=0 burst=10x0\ndone\n|");
    EXPECT_EQ(waited, std::chrono::milliseconds(300 + 300 + 200 + 600 + 240 + 600 + 400));
}

TEST_F(AudioDevTestTest, KeyCodesStandFourthAndLater) {
    writeSet(sounds(), "one");
    const auto keys = [&](std::vector<std::string_view> codes) {
        codes.insert(codes.begin(), {"keysong", "--play-test", "one"});
        const std::string out = play("one", std::move(codes));
        return out.substr(out.find("keys="), out.rfind("done") - out.find("keys="));
    };
    for (const auto& codes :
         std::vector<std::vector<std::string_view>>{{}, {"x", "1"}, {"-1"}, {"65536", "1"}}) {
        EXPECT_EQ(keys(codes), "keys=53,48,0,1,2,3,49,36,51,124 burst=10x53\n");
    }
    EXPECT_EQ(keys({"+7", "255", "256", "", "3"}), "keys=7,255 burst=10x7\n");
}

TEST_F(AudioDevTestTest, FailuresPrintOneLineAndNothingElse) {
    const std::string place = sounds().string();
    EXPECT_EQ(play(std::nullopt), "1 |play-test failed: no set \"\" in " + place + "\n");
    writeSet(sounds(), "one");
    EXPECT_EQ(play("two"), "1 |play-test failed: no set \"two\" in " + place + "\n");
    EXPECT_EQ(play(""), "1 |play-test failed: no set \"\" in " + place + "\n");
    output.failures.starts = {"no server"};
    EXPECT_EQ(play("one"), "1 |play-test failed: no server\n");
}

TEST_F(AudioDevTestTest, AnOutputThatCannotBeChosenIsNotFatal) {
    writeSet(sounds(), "one");
    output.knowsCurrent = false;
    output.devices().setDefault(0);
    const std::string outcome = play("one");
    EXPECT_THAT(outcome, testing::StartsWith("0 "));
    EXPECT_THAT(outcome, testing::EndsWith("|setOutputDevice: no audio output device is available\n"));
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                testing::ElementsAre("configuration change: no output device available"));
}

TEST_F(AudioDevTestTest, OnlyACountOfAtLeastOneMakesItTheSwapTest) {
    writeSet(sounds(), "one");
    for (const char* count : {"0", "-3", "letters", "", "9223372036854775808"}) {
        places.variables["KEYSONG_SWAP_TEST"] = count;
        EXPECT_THAT(play("one"), testing::EndsWith("done\n|")) << count;
    }
    swaps = true;
    places.variables["KEYSONG_SWAP_TEST"] = "3";
    const std::string outcome = play("one");
    EXPECT_THAT(outcome, testing::StartsWith("0 " + toneLines + "tone set  tone=0.0 body=0.0\n" +
                                             "swap-test one swaps=3\nplay() n="));
    EXPECT_THAT(outcome, testing::EndsWith(" median=0.0 p99=0.0 max=0.0 microseconds\n|"));
    EXPECT_EQ(EngineFixture::notices("engine loaded set one").size(), 5U + 4U);
}

TEST_F(AudioDevTestTest, TheDeviceTestRebuildsAsOftenAsAskedAndAtLeastOnce) {
    const auto devices = [&](std::int64_t rounds) {
        output.operations.clear();
        return run([&](const AudioDevTest& test) { return test.deviceTest(rounds); });
    };
    EXPECT_EQ(devices(1), "1 |play-test failed: no sets in " + sounds().string() + "\n");
    writeSet(sounds(), "one");
    for (const auto& [rounds, count] : {std::pair{3, 3}, {0, 1}, {-2, 1}}) {
        EXPECT_EQ(devices(rounds),
                  "0 device ok  " + std::to_string(count) +
                      " graph rebuilds, engine audible, shelves held at low=4.2dB high=-4.2dB\n|");
        EXPECT_EQ(std::count(output.operations.begin(), output.operations.end(), "start"), count + 1);
        EXPECT_EQ(std::count(output.operations.begin(), output.operations.end(), "device 1"), count);
    }
    output.failures.starts = {std::nullopt, std::nullopt, "E1", "E2"};
    EXPECT_EQ(devices(8), "1 |play-test failed: rebuild 2 failed: E1\n");
    EXPECT_EQ(LogCapture::shared().takeErrors().size(), 1U);
}

} // namespace
} // namespace keysong::test
