#include "Packs/SetCheck.h"

#include "Linux/Sound/SndfileAudio.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"
#include "support/WaveFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace keysong::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

class SetCheckTest : public testing::Test {
  protected:
    SetCheck check(const std::string& manifest) {
        folder.write("set/manifest.json", R"({"schema":1,"id":"set","name":"Set",)" + manifest + "}");
        auto result = checkSet(folder.path() / "set/", SndfileAudio());
        static_cast<void>(LogCapture::shared().takeErrors());
        return result;
    }
    /// A sine of 1 kHz that begins after so many frames of silence.
    void tone(const std::string& name, double amplitude, std::size_t silence = 0, double limit = 1) const {
        std::vector<float> frames = sine(1000, 9600, 48000, amplitude);
        for (float& frame : frames) {
            frame = std::clamp(frame, static_cast<float>(-limit), static_cast<float>(limit));
        }
        frames.insert(frames.begin(), silence, 0.0F);
        folder.write("set/" + name, waveBytes(frames));
    }

    TempFolder folder;
};

TEST_F(SetCheckTest, AGoodSetHasNotesAndNoProblems) {
    tone("a.wav", 0.1);
    tone("space.wav", 0.2, 200);
    folder.write("set/readme.txt", "hello");
    const SetCheck result = check(
        R"("defaults":{"down":["a.wav"]},"groups":{"space":{"down":["space.wav"]}},"keys":{"12":{"up":["a.wav"]}})");
    EXPECT_THAT(result.problems, ElementsAre());
    EXPECT_THAT(result.notes, Contains("keys going down, space: space.wav"));
    EXPECT_THAT(result.notes,
                Contains(AllOf(HasSubstr("going down, main, enter"), HasSubstr("the usual sound"))));
    EXPECT_THAT(result.notes, Contains("keys going up with a sound of their own: 1 (codes 12)"));
    EXPECT_THAT(result.notes, Contains("mouse, silent: left button, right button, other buttons, scrolling"));
    EXPECT_THAT(result.notes, Contains("files that the set does not use: readme.txt"));
    // A full-scale sine of 1 kHz measures -3.01 LUFS, and these last four times 50 ms.
    EXPECT_THAT(result.notes, Contains(HasSubstr("-17.0 to -11.0 LUFS")));
}

TEST_F(SetCheckTest, EveryFaultIsSaidOnce) {
    tone("good.wav", 0.5);
    tone("late.wav", 0.5, 480);
    tone("loud.wav", 2, 0, 1);
    tone("faint.wav", 0.01);
    tone("silent.wav", 0);
    const SetCheck result = check(
        R"("gain":40,"defaults":{"down":["good.wav","late.wav","loud.wav","faint.wav","gone.wav","silent.wav"]},)"
        R"("groups":{"Space":{"down":["good.wav"]}},"keys":{"300":{"down":["gone.wav"]}})");
    EXPECT_THAT(result.problems,
                testing::UnorderedElementsAre(
                    HasSubstr("gone.wav"), HasSubstr("\"300\" is no number"), HasSubstr("called \"Space\""),
                    HasSubstr("gain is 40.0 dB, which counts as 6.0 dB"), HasSubstr("late.wav begins 10."),
                    HasSubstr("loud.wav is recorded too loud"), "silent.wav is silent",
                    HasSubstr("stand for each other")));
}

TEST_F(SetCheckTest, ASetThatCannotBeLoadedSaysWhy) {
    EXPECT_THAT(check(R"("defaults":{"down":["gone.wav"]})").problems,
                ElementsAre(HasSubstr("gone.wav"), HasSubstr("no usable defaults.down")));
    EXPECT_THAT(check(R"("defaults":[])").problems, ElementsAre("\"defaults\" is not an object"));
    EXPECT_THAT(checkSet(folder.path() / "nowhere", SndfileAudio()).problems,
                ElementsAre(HasSubstr("cannot read")));
}

} // namespace
} // namespace keysong::test
