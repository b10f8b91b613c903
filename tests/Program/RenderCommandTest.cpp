#include "Program/RenderCommand.h"

#include "Linux/Sound/SndfileAudio.h"
#include "Shared/WholeFile.h"
#include "fakes/ByteOrder.h"
#include "fakes/FakePlaces.h"
#include "support/PlainThreads.h"
#include "support/TempFolder.h"
#include "support/WaveFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace keysong {
namespace {

class RenderCommandTest : public testing::Test {
  protected:
    void SetUp() override {
        std::vector<float> click(8, 0.0F);
        click[0] = 0.9F;
        folder.write("sets/click/click.wav", test::waveBytes(click, {}));
        folder.write("sets/click/manifest.json",
                     R"({"schema":1,"id":"click","name":"Click","pitchVariation":0,"gainVariation":3,)"
                     R"("defaults":{"down":["click.wav"]},"mouse":{"left":{"down":["click.wav"]},)"
                     R"("scroll":["click.wav"]}})");
        places.variables["KEYSONG_SOUNDS_DIR"] = (folder.path() / "sets").string();
        options.output = folder.path() / "out.wav";
    }

    void render(const std::string& eventLog) {
        options.eventLog = folder.write("typing.evemu", eventLog);
        RenderCommand(threads, places, order, files).run(options);
    }

    std::string bytes() const { return readWholeFile(options.output, std::size_t{1} << 24); }

    std::vector<float> left() const {
        const auto reader = files.open(options.output);
        std::vector<float> frames(static_cast<std::size_t>(reader->lengthFrames()) * 2);
        frames.resize(reader->read(frames) * 2);
        std::vector<float> channel;
        for (std::size_t i = 0; i < frames.size(); i += 2) {
            channel.push_back(frames[i]);
        }
        return channel;
    }

    std::vector<std::size_t> clicks() const {
        std::vector<std::size_t> positions;
        const std::vector<float> frames = left();
        for (std::size_t i = 0; i < frames.size(); ++i) {
            if (std::abs(frames[i]) > 0.1F) {
                positions.push_back(i);
            }
        }
        return positions;
    }

    test::TempFolder folder;
    test::FakePlaces places;
    test::PlainThreads threads;
    test::ByteOrder order;
    SndfileAudio files;
    RenderOptions options;
};

TEST_F(RenderCommandTest, AHitStartsOnePeriodAfterItsEventOnItsSample) {
    render("E: 0.000000 0001 001e 0001\n"
           "E: 0.002666 0001 001e 0000\n" // no release sound
           "E: 0.002667 0001 001e 0001\n" // the second period begins
           "E: 0.100000 0001 0110 0001\n"
           "E: 0.100010 0001 001e 0002\n" // autorepeat
           "E: 1.234567 0002 0008 -001\nE: 1.234567 0000 0000 0000\n");
    EXPECT_THAT(clicks(), testing::ElementsAre(128, 256, 4928, 59'387));
}

TEST_F(RenderCommandTest, EveryOptionIsHeardAndTheSameOnesGiveTheSameBytes) {
    const std::string eventLog = "E: 0.010000 0001 001e 0001\nE: 0.020000 0001 0020 0001\n";
    const RenderOptions plain = options;
    render(eventLog);
    const std::string first = bytes();
    render(eventLog);
    EXPECT_EQ(bytes(), first);
    for (const auto change : std::initializer_list<void (*)(RenderOptions&)>{
             [](RenderOptions& other) { other.seed = 2; },
             [](RenderOptions& other) { other.tone = -0.5F; },
             [](RenderOptions& other) { other.body = -0.5F; },
             [](RenderOptions& other) { other.spatial = !other.spatial; },
         }) {
        options = plain;
        change(options);
        render(eventLog);
        EXPECT_NE(bytes(), first);
    }
    options = plain;
    const auto loudest = [&](float volume) {
        options.volume = volume;
        render(eventLog);
        return std::ranges::max(left());
    };
    EXPECT_FLOAT_EQ(loudest(0.5F), 2 * loudest(0.25F));
}

TEST_F(RenderCommandTest, AnEventLogThatIsNoneLeavesNoFile) {
    EXPECT_THROW(render("E: nonsense"), std::runtime_error);
    options.set = "absent";
    EXPECT_THROW(render("E: 0.010000 0001 001e 0001\n"), std::runtime_error);
    options.set = (folder.path() / "sets/click").string(); // a folder will do
    EXPECT_FALSE(std::filesystem::exists(options.output));
    render("");
    EXPECT_TRUE(clicks().empty());
}

} // namespace
} // namespace keysong
