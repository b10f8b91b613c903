#include "support/EngineFixture.h"

#include <cstdio>
#include <cstdlib>

namespace keysong::test {
namespace {

// Whether the log is verbose is decided once in a process: a program of its own, in which the tests ask for
// it, and children where another answer is wanted.
class PlayLogTest : public EngineFixture {
  protected:
    PlayLogTest() {
        setenv("KEYSONG_LOG", "1", 1);
        const TempFolder folder;
        const auto set = writeSet(folder.path(), "one");
        std::ofstream(set / "manifest.json")
            << R"({"schema":1,"id":"one","name":"One","gain":-3,"pitchVariation":0.1,
                   "defaults":{"down":["a.wav","b.wav","c.wav"],"up":["up.wav"]},
                   "mouse":{"left":{"down":["left.wav"]},"other":{"up":["b.wav"]},"scroll":["scroll.wav"]}})";
        engine->load(SoundSet::load(set, {48000, 1}, ConstantAudioFiles()));
        engine->setScrollEnabled(true);
        engine->start();
    }
};

TEST_F(PlayLogTest, EverySoundHasALineWithItsNumbers) {
    struct Row {
        SoundEvent event;
        const char* label;
        std::vector<const char*> files;
        int voice;
    };
    // A key without a place, the mouse and the wheel alternate between the two voices of one lane.
    const Row rows[] = {
        {SoundEvent::keyDown(0), "keyDown(0)", {"a.wav", "b.wav", "c.wav"}, 2},
        {SoundEvent::keyUp(0), "keyUp(0)", {"up.wav"}, 3},
        {SoundEvent::keyDown(200), "keyDown(200)", {"a.wav", "b.wav", "c.wav"}, 8},
        {SoundEvent::mouseDown(MouseButton::left), "mouseDown(left)", {"left.wav"}, 9},
        {SoundEvent::mouseDown(MouseButton::right), nullptr, {}, 0}, // the set has no sound for it
        {SoundEvent::mouseUp(MouseButton::other), "mouseUp(other)", {"b.wav"}, 8},
        {SoundEvent::scrollTick(), "scrollTick", {"scroll.wav"}, 9},
    };
    RandomSource random(7);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.label);
        const Draws draws = random.next();
        LogCapture::shared().clear();
        engine->play(row.event);
        if (row.label == nullptr) {
            EXPECT_THAT(LogCapture::shared().all(), testing::IsEmpty());
            continue;
        }
        const auto drawn = static_cast<std::size_t>(draws.pick * static_cast<double>(row.files.size()));
        char line[200];
        std::snprintf(line, sizeof line, "play %s file=%s rate=%.4f gainDB=%+.2f voice=%d", row.label,
                      row.files[drawn], static_cast<double>(1 + 0.1F * draws.pitch),
                      static_cast<double>(-3 + draws.gain), row.voice);
        EXPECT_THAT(notices(""), testing::ElementsAre(line));
        EXPECT_EQ(LogCapture::shared().all().at(0).message, line) << "nothing of it is private";
    }
}

TEST_F(PlayLogTest, OnlyTheVariableAtExactlyOneAsksForIt) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const char* value : {"", "0", "true", "01", "1 ", "2", "1"}) {
        const int lines = std::string_view(value) == "1" ? 1 : 0;
        EXPECT_EXIT(
            {
                setenv("KEYSONG_LOG", value, 1);
                engine->play(SoundEvent::keyDown(0));
                std::_Exit(static_cast<int>(notices("play").size()));
            },
            testing::ExitedWithCode(lines), "")
            << '"' << value << '"';
    }
}

} // namespace
} // namespace keysong::test
