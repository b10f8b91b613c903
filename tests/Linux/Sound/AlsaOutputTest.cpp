// The ALSA output on a card made of software, through the library as on any other card.
#include "Linux/Sound/AlsaOutput.h"

#include "Linux/System/MonotonicClock.h"
#include "support/Eventually.h"
#include "support/LogCapture.h"
#include "support/PacedPcm.h"
#include "support/PlainThreads.h"
#include "support/RealtimeGuard.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <thread>
#include <vector>

namespace keysong {
namespace {

using test::eventually;
using test::PacedCard;
using testing::HasSubstr;
using testing::IsEmpty;

/// Plays a staircase: every frame has a value of its own, the right side its negative.
class Staircase final : public AudioRenderer {
  public:
    static constexpr float step = 1.0F / 32768.0F;
    static constexpr std::size_t mostCycles = 4096;

    Staircase() { cycles_.reserve(mostCycles); }

    void render(const IoCycle& cycle, float* left, float* right) noexcept override {
        if (!guard_) {
            guard_.emplace();
        }
        heapUses_ = guard_->count(test::RealtimeGuard::Operation::heap);
        for (std::uint32_t i = 0; i < cycle.frameCount; ++i) {
            next_ = next_ % 30000 + 1;
            left[i] = static_cast<float>(next_) * step;
            right[i] = -left[i];
        }
        if (cycles_.size() < mostCycles) {
            cycles_.push_back(cycle);
        }
        count_ = cycles_.size();
    }

    [[nodiscard]] bool reaches(std::size_t count) const {
        return eventually([&] { return count_ >= count; });
    }
    [[nodiscard]] std::size_t count() const { return count_; }
    /// Once the output has stopped.
    [[nodiscard]] const std::vector<IoCycle>& cycles() const { return cycles_; }
    /// What the render thread asked of the heap after its first period.
    [[nodiscard]] std::size_t heapUses() const { return heapUses_; }

  private:
    std::optional<test::RealtimeGuard> guard_;
    std::atomic<std::size_t> heapUses_ = 0;
    int next_ = 0;
    std::vector<IoCycle> cycles_;
    std::atomic<std::size_t> count_ = 0;
};

struct AlsaOutputTest : testing::Test {
    AlsaOutputTest() {
        setenv("ALSA_CONFIG_PATH", (folder_.path() / "alsa.conf").c_str(), 1);
        card_.reset();
        std::filesystem::create_directory(folder_.path() / "snd");
        configure("type keysong_paced");
    }

    /// What the configuration's "default" is; nothing when empty.
    void configure(const std::string& definition) {
        folder_.write("alsa.conf", "pcm_type.keysong_paced { lib \"" + PacedCard::library() + "\" }\n" +
                                       (definition.empty() ? "" : "pcm.default { " + definition + " }\n"));
    }
    void touchNodes() { folder_.write("snd/pcmC0D0p", ""); }

    AlsaOutput& output() {
        if (!output_) {
            output_.emplace(threads_, clock_, folder_.path());
            output_->setRenderer(&renderer_);
            output_->setConfigurationChangeHandler([this] {
                handlerThread_ = std::this_thread::get_id();
                ++changes_;
            });
        }
        return *output_;
    }
    [[nodiscard]] std::string startError() {
        try {
            output().start();
        } catch (const AudioOutputError& error) {
            return error.what();
        }
        return "";
    }

    test::TempFolder folder_;
    test::PlainThreads threads_;
    MonotonicClock clock_;
    PacedCard& card_ = PacedCard::shared();
    Staircase renderer_;
    std::atomic<int> changes_ = 0;
    std::atomic<std::thread::id> handlerThread_;
    std::optional<AlsaOutput> output_;
};

/// For each row of a table.
struct FreshOutput : AlsaOutputTest {
    void TestBody() override {}
};

TEST_F(AlsaOutputTest, DefaultsThatDoNotPlayInTimeAreNoDevices) {
    for (const char* definition :
         {"", "type null", "type plug slave.pcm { type null }",
          "type file file /dev/null slave.pcm { type null }", "type hw card 77", "type nonsense"}) {
        configure(definition);
        output_.reset();
        EXPECT_FALSE(output().canPlay()) << definition;
        EXPECT_THAT(output().devices().deviceIds(), IsEmpty()) << definition;
        EXPECT_THAT(startError(), HasSubstr("no sound device")) << definition;
    }
}

TEST_F(AlsaOutputTest, TheDefaultIsADeviceLikeAnyOther) {
    configure("type keysong_paced hint.description \"Somewhere\"");
    AudioDevices& devices = output().devices();
    const auto device = devices.defaultOutputDevice();
    ASSERT_TRUE(device);
    EXPECT_EQ(devices.deviceIds(), std::vector<AudioDeviceId>{*device});
    EXPECT_EQ(devices.uid(*device), alsaDefaultUid);
    EXPECT_EQ(devices.name(*device), "Somewhere");
    EXPECT_EQ(devices.outputChannels(*device), 2U);
    EXPECT_EQ(devices.nominalSampleRate(*device), std::nullopt);
    EXPECT_EQ(devices.outputChannels(*device + 1), 0U);
    EXPECT_EQ(devices.uid(*device + 1), std::nullopt);
    EXPECT_EQ(output().currentDevice(), device);
    EXPECT_EQ(output().setDevice(*device + 1), ENODEV);
    EXPECT_EQ(output().setDevice(*device), 0);
    output().start();
    EXPECT_EQ(output().setDevice(*device), 0) << "it plays there";
    EXPECT_EQ(output().setDevice(*device + 1), EBUSY);
    EXPECT_EQ(devices.nominalSampleRate(*device), 48000.0);
    EXPECT_EQ(devices.latencyFrames(*device), 0U);
    // A period ahead, and one more for every time that a busy machine was late while it started.
    const std::uint32_t ahead = devices.safetyOffsetFrames(*device).value_or(0);
    EXPECT_GE(ahead, 128U);
    EXPECT_EQ(ahead % 128, 0U);
}

TEST_F(AlsaOutputTest, EveryFrameIsPlayedOnceAndOnTime) {
    EXPECT_EQ(output().requestBufferFrames(0), EINVAL);
    EXPECT_EQ(output().requestBufferFrames(1U << 20U), EINVAL);
    EXPECT_EQ(output().bufferFrames(), 128U);
    constexpr double cardRate = 48240;
    card_.rate = cardRate;
    output().start();
    output().start();
    EXPECT_TRUE(output().isRunning());
    ASSERT_TRUE(renderer_.reaches(600));
    output().stop();
    EXPECT_FALSE(output().isRunning());
    EXPECT_EQ(renderer_.heapUses(), 0U);

    const auto& cycles = renderer_.cycles();
    std::vector<double> paces;
    for (std::size_t i = 1; i < cycles.size(); ++i) {
        ASSERT_EQ(cycles[i].frameCount, 128U);
        ASSERT_GT(cycles[i].startNanoseconds, cycles[i - 1].startNanoseconds);
        if (i > 500) {
            paces.push_back(cycles[i].nanosecondsPerFrame);
        }
    }
    const auto middle = paces.begin() + static_cast<std::ptrdiff_t>(paces.size() / 2);
    std::nth_element(paces.begin(), middle, paces.end());
    EXPECT_NEAR(*middle * cardRate, 1e9, 2e6);

    // Silence to begin with, and wherever a busy machine let the card run dry; else the staircase, whole.
    auto played = card_.played();
    EXPECT_EQ(std::count(played.begin(), played.begin() + 512, 0.0F), 512);
    std::erase(played, 0.0F);
    ASSERT_GE(played.size() / 2, (cycles.size() - 1) * 128);
    for (std::size_t frame = 0; frame < played.size() / 2; ++frame) {
        ASSERT_EQ(played[2 * frame], static_cast<float>(frame % 30000 + 1) * Staircase::step) << frame;
        ASSERT_EQ(played[2 * frame + 1], -played[2 * frame]) << frame;
    }
}

struct CardCase {
    const char* name;
    snd_pcm_format_t format;
    unsigned channels;
    /// The channel of the left side; that of the right one follows.
    unsigned left;
    unsigned smallestPeriod;
};

TEST(AlsaOutputCards, CardsOfEveryKindPlayTheTwoSides) {
    for (const CardCase& row : {CardCase{"floats", SND_PCM_FORMAT_FLOAT, 2, 0, 64},
                                CardCase{"wide whole numbers", SND_PCM_FORMAT_S32, 2, 0, 64},
                                CardCase{"narrow ones, of six", SND_PCM_FORMAT_S16, 6, 0, 64},
                                CardCase{"the front last", SND_PCM_FORMAT_S32, 4, 2, 64},
                                CardCase{"long periods", SND_PCM_FORMAT_S16, 2, 0, 512}}) {
        SCOPED_TRACE(row.name);
        FreshOutput test;
        test.card_.format = row.format;
        test.card_.channels = row.channels;
        test.card_.frontChannelsLast = row.left == 2;
        test.card_.smallestPeriod = row.smallestPeriod;
        test.output().start();
        EXPECT_EQ(test.output().bufferFrames(), std::max(128U, row.smallestPeriod));
        ASSERT_TRUE(test.renderer_.reaches(20));
        test.output().stop();
        const auto played = test.card_.played();
        const auto firstHeard =
            std::find_if(played.begin(), played.end(), [](float sample) { return sample != 0; }) -
            played.begin();
        const std::size_t frame = static_cast<std::size_t>(firstHeard) / row.channels + 64;
        ASSERT_LT(row.channels * (frame + 1), played.size());
        std::vector<float> expected(row.channels, 0.0F);
        expected[row.left] = 65 * Staircase::step;
        expected[row.left + 1] = -expected[row.left];
        const auto* samples = &played[frame * row.channels];
        EXPECT_EQ(std::vector(samples, samples + row.channels), expected);
    }
}

TEST_F(AlsaOutputTest, ACardThatRanDryOrSleptPlaysOn) {
    output().start();
    ASSERT_TRUE(renderer_.reaches(5));
    const auto unprovoked = output().xruns();
    card_.pendingXruns = 1;
    ASSERT_TRUE(eventually([&] { return output().xruns() > unprovoked; }));
    ASSERT_TRUE(renderer_.reaches(renderer_.count() + 5));
    const int prepared = card_.timesPrepared();
    card_.pendingSleeps = 1;
    ASSERT_TRUE(eventually([&] { return card_.timesPrepared() > prepared; }));
    ASSERT_TRUE(renderer_.reaches(renderer_.count() + 5));
    EXPECT_TRUE(output().isRunning());
    EXPECT_EQ(changes_, 0);
    output().stop();
    EXPECT_THAT(test::LogCapture::shared().lines(LogLevel::notice), testing::Contains(HasSubstr("ran dry")));
}

TEST_F(AlsaOutputTest, AtRestTheCardIsClosed) {
    output().start();
    ASSERT_TRUE(renderer_.reaches(5));
    for (int round = 0; round < 3; ++round) {
        output().setResting(true);
        ASSERT_TRUE(eventually([&] { return !card_.isOpen(); }));
        EXPECT_TRUE(output().isRunning());
        EXPECT_EQ(output().currentDevice(), output().devices().defaultOutputDevice());
        output().start(); // runs already
        const std::size_t asleep = renderer_.count();
        output().setResting(false);
        ASSERT_TRUE(renderer_.reaches(asleep + 5));
    }
    output().setResting(true);
    ASSERT_TRUE(eventually([&] { return !card_.isOpen(); }));
    output().stop();
    EXPECT_FALSE(output().isRunning());
    output().setResting(false);
    output().start();
    EXPECT_EQ(changes_, 0);
    output().stop();
    EXPECT_EQ(std::ranges::count_if(renderer_.cycles(), &IoCycle::isFirstAfterRest), 3);
}

TEST_F(AlsaOutputTest, ACardThatGoesWhileItRestsIsMissedWhenItWakes) {
    output().start();
    ASSERT_TRUE(renderer_.reaches(5));
    output().setResting(true);
    ASSERT_TRUE(eventually([&] { return !card_.isOpen(); }));
    card_.openError = -ENODEV;
    output().setResting(false);
    EXPECT_TRUE(eventually([&] { return changes_ > 0 && !output().isRunning(); }));
}

TEST(AlsaOutputLosses, TheOutputStopsByItselfSaysSoAndStartsAgain) {
    struct Row {
        const char* name;
        void (*befall)(PacedCard&);
    };
    for (const Row& row : {Row{"unplugged", [](PacedCard& card) { card.attached = false; }},
                           Row{"stands still", [](PacedCard& card) { card.stalled = true; }},
                           Row{"its clock runs wild", [](PacedCard& card) { card.rate = 48e6; }},
                           Row{"always dry", [](PacedCard& card) { card.pendingXruns = 1 << 30; }}}) {
        SCOPED_TRACE(row.name);
        FreshOutput test;
        test.output().start();
        ASSERT_TRUE(test.renderer_.reaches(5));
        row.befall(test.card_);
        ASSERT_TRUE(eventually([&] { return test.changes_ > 0; }));
        EXPECT_FALSE(test.output().isRunning());
        EXPECT_NE(test.handlerThread_.load(), std::this_thread::get_id());
        test.card_.reset();
        test.touchNodes();
        ASSERT_TRUE(eventually([&] { return test.output().canPlay(); }));
        const std::size_t before = test.renderer_.count();
        test.output().start();
        EXPECT_TRUE(test.renderer_.reaches(before + 5));
    }
}

TEST_F(AlsaOutputTest, ARefusalIsToldInWordsAndTellsNobodyElse) {
    const std::vector<std::pair<int, std::string>> cases{{-EBUSY, "in use by another program"},
                                                         {-EACCES, "no permission"},
                                                         {-ENODEV, "gone"},
                                                         {-ECONNREFUSED, "no sound server"}};
    for (const auto& [error, words] : cases) {
        card_.openError = 0;
        output_.reset();
        ASSERT_TRUE(output().canPlay());
        card_.openError = error;
        EXPECT_THAT(startError(), HasSubstr(words));
        EXPECT_FALSE(output().isRunning());
    }
    // A busy device is still a device.
    card_.openError = -EBUSY;
    output_.reset();
    EXPECT_TRUE(output().canPlay());
    // One that takes its fill and then nothing did not start.
    card_.openError = 0;
    card_.stalled = true;
    EXPECT_THAT(startError(), HasSubstr("stands still"));
    EXPECT_EQ(changes_, 0);
}

TEST_F(AlsaOutputTest, ACardThatTakesMuchAtOnceGetsLongerPeriods) {
    card_.gulp = 1500;
    output().start();
    ASSERT_TRUE(renderer_.reaches(10));
    EXPECT_GT(output().bufferFrames(), 128U);
    EXPECT_TRUE(output().isRunning());
}

TEST_F(AlsaOutputTest, ASoundServerThatComesLaterIsFound) {
    card_.openError = -ECONNREFUSED;
    EXPECT_FALSE(output().canPlay());
    card_.openError = 0;
    ASSERT_TRUE(eventually([&] { return changes_ > 0; }));
    EXPECT_EQ(startError(), "");
}

TEST_F(AlsaOutputTest, ListenersHearOfDevicesThatComeAndGo) {
    configure("");
    std::filesystem::remove(folder_.path() / "snd");
    AudioDevices& devices = output().devices();
    std::atomic<int> lists = 0;
    std::atomic<int> defaults = 0;
    const auto onList = std::make_shared<const AudioDevices::ChangeHandler>([&] { ++lists; });
    const auto onDefault = std::make_shared<const AudioDevices::ChangeHandler>([&] { ++defaults; });
    EXPECT_NE(devices.addListener(DeviceListProperty::devices, nullptr), 0);
    EXPECT_EQ(devices.addListener(DeviceListProperty::devices, onList), 0);
    EXPECT_EQ(devices.addListener(DeviceListProperty::defaultOutputDevice, onDefault), 0);

    // The first card brings the folder of the nodes along.
    configure("type keysong_paced");
    std::filesystem::create_directory(folder_.path() / "snd");
    ASSERT_TRUE(eventually([&] { return defaults == 1 && changes_ > 0; }));
    EXPECT_EQ(lists, 1);
    const auto first = devices.defaultOutputDevice();

    devices.removeListener(DeviceListProperty::devices, onList);
    card_.attached = false;
    touchNodes();
    ASSERT_TRUE(eventually([&] { return defaults == 2; }));
    EXPECT_FALSE(output().canPlay());

    // The right to a node comes later than the node.
    card_.attached = true;
    std::filesystem::permissions(folder_.path() / "snd/pcmC0D0p", std::filesystem::perms::owner_all);
    ASSERT_TRUE(eventually([&] { return defaults == 3; }));
    EXPECT_EQ(devices.defaultOutputDevice(), first);
    EXPECT_EQ(lists, 1);
}

} // namespace
} // namespace keysong
