// Packs as they are found in the wild, each in the shape of its maker's program, system and habits.

#include "Packs/SetCheck.h"
#include "support/PackedFile.h"

#include "PackFixture.h"

namespace keysong::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;
using testing::Not;
using testing::Pair;

SoundEvent down(std::uint16_t code) {
    return SoundEvent::keyDown(code);
}
SoundEvent up(std::uint16_t code) {
    return SoundEvent::keyUp(code);
}

/// What `blocks` gives for silence.
constexpr int silence = -1;

class PackShapesTest : public PackFixture {
  protected:
    /// Imports a "config.json" of files for single keys.
    ImportResult multi(const std::string& defines, const std::string& more = {}) {
        return configured(R"({"name":"N","key_define_type":"multi",)" + more + R"("defines":{)" + defines +
                          "}}");
    }
    /// The same with one recording of eight steps.
    ImportResult single(const std::string& defines) {
        write("all.wav", steps(8));
        return configured(R"({"name":"N","key_define_type":"single","sound":"all.wav","defines":{)" +
                          defines + "}}");
    }
    ImportResult configured(const std::string& config) {
        write("config.json", config);
        auto result = import(folder.path() / "pack", true);
        load(result);
        return result;
    }
    void clicks(int count) const {
        for (int block = 0; block < count; ++block) {
            write(std::to_string(block) + ".wav", click(block));
        }
    }
};

TEST_F(PackShapesTest, AFileThatHalfAGroupSharesIsNotTheOthers) {
    clicks(3);
    // Six of ten modifiers, two of four arrows, all of the space bar's group.
    multi(R"("42":"1.wav","54":"1.wav","29":"1.wav","3613":"1.wav","56":"1.wav","58":"1.wav",
             "57416":"2.wav","57424":"2.wav","57":"2.wav")",
          R"("sound":"0.wav",)");
    EXPECT_THAT(blocks(down(56)), ElementsAre(1));
    EXPECT_THAT(blocks(down(55)), ElementsAre(0)) << "Super plays the pack's own sound";
    EXPECT_THAT(blocks(down(126)), ElementsAre(2));
    EXPECT_THAT(blocks(down(123)), ElementsAre(0));
    EXPECT_THAT(blocks(down(49)), ElementsAre(2));
    EXPECT_THAT(set->manifest().groups.value(), ElementsAre(Key("modifier"), Key("space")));
}

TEST_F(PackShapesTest, AReleaseBelongsToItsKeyAlone) {
    clicks(4);
    multi(R"("30":"0.wav","30-up":"3.wav","48":"0.wav","46":"0.wav","57":"1.wav")");
    EXPECT_THAT(blocks(up(0)), ElementsAre(3));
    EXPECT_THAT(blocks(up(11)), IsEmpty());
    EXPECT_THAT(blocks(up(49)), IsEmpty());
    multi(R"("30":"0.wav","30-up":"3.wav","57":"1.wav")", R"("sound":"0.wav",)");
    EXPECT_THAT(blocks(up(11)), IsEmpty()) << "nor where the pack has a sound for all other keys";
    // Three of four have one: it is what keys that the pack does not know get, and not the fourth.
    multi(
        R"("30":"0.wav","30-up":"3.wav","48":"0.wav","48-up":"3.wav","46":"0.wav","46-up":"3.wav","57":"1.wav")");
    EXPECT_THAT(blocks(up(2)), ElementsAre(3));
    EXPECT_THAT(blocks(up(49)), ElementsAre(silence));
}

TEST_F(PackShapesTest, ACertainCodeBeatsAGuessedOne) {
    clicks(6);
    // The kernel's 103 is the arrow that the pack names without doubt as well: as a scan code it is F20.
    multi(
        R"("57416":"0.wav","103":"1.wav","96":"2.wav","97":"2.wav","100":"2.wav","108":"3.wav","30":"5.wav")");
    EXPECT_THAT(blocks(down(126)), ElementsAre(0));
    EXPECT_THAT(blocks(down(90)), ElementsAre(1));
    EXPECT_THAT(blocks(down(125)), ElementsAre(3)) << "the arrow down has no other code here";
    // Keys of JIS boards and F16 are scan codes.
    multi(R"("125":"0.wav","115":"1.wav","99":"2.wav","103":"3.wav","3666":"4.wav","30":"5.wav")");
    EXPECT_THAT(blocks(down(93)), ElementsAre(0)) << "Yen";
    EXPECT_THAT(blocks(down(94)), ElementsAre(1)) << "Ro";
    EXPECT_THAT(blocks(down(106)), ElementsAre(2)) << "F16";
    EXPECT_THAT(blocks(down(90)), ElementsAre(3)) << "F20";
    EXPECT_THAT(blocks(down(114)), ElementsAre(4)) << "Insert";
}

TEST_F(PackShapesTest, NullIsSilenceUnlessThePackHasASoundForAllKeys) {
    clicks(2);
    const auto result = multi(R"("30":"0.wav","48":"1.wav","57":null,"28":null,"46-up":null)");
    EXPECT_THAT(blocks(down(49)), ElementsAre(silence));
    EXPECT_THAT(blocks(down(36)), ElementsAre(silence));
    EXPECT_THAT(blocks(down(2)), ElementsAre(0, 1)) << "a key that the pack does not know";
    EXPECT_THAT(checkSet(result.folder, audio).problems, Not(Contains(HasSubstr("silen"))));
    single(R"("30":[0,100],"57":null)");
    EXPECT_THAT(blocks(down(49)), ElementsAre(silence));
    multi(R"("57":null)", R"("sound":"0.wav",)");
    EXPECT_THAT(blocks(down(49)), ElementsAre(0));
}

TEST_F(PackShapesTest, ConfigurationsAreReadAsPeopleWriteThem) {
    clicks(2);
    const std::string text = "{ # by hand\n\"name\": \"Caf\xC3\xA9\tKeys\", \"key_define_type\": \"Multi\",\n"
                             "\"volume\": NaN, \"gain\": -Infinity, // none\n"
                             "\"defines\": {\"30\": \"0.wav\", \"space\": \"1.wav\",},}";
    EXPECT_EQ(configured(text).name, "Caf\xC3\xA9?Keys");
    EXPECT_THAT(blocks(down(0)), ElementsAre(0));
    EXPECT_THAT(blocks(down(49)), ElementsAre(1)) << "a key by its name";

    std::string wide = "\xFF\xFE";
    for (const char character :
         std::string(R"({"name":"Wide","key_define_type":"multi","defines":{"30":"1.wav"}})")) {
        wide += {character, '\0'};
    }
    EXPECT_EQ(configured(wide).name, "Wide");
    EXPECT_EQ(configured(wide.substr(2)).name, "Wide") << "without its mark";
    EXPECT_EQ(
        configured("{\"name\":\"Caf\xE9\",\"key_define_type\":\"multi\",\"defines\":{\"30\":\"1.wav\"}}")
            .name,
        "Caf\xC3\xA9");
    EXPECT_EQ(
        configured(R"({"config_version":2,"name":"Two","key_define_type":"multi","defines":{"30":"1.wav"}})")
            .format,
        "config.json, keys by scan code");
    EXPECT_THAT(blocks(down(0)), ElementsAre(1));
}

TEST_F(PackShapesTest, FilesAreFoundUnderTheNamesThatOtherSystemsGiveThem) {
    write("Cafe\xCC\x81.wav", click(0));            // an accent apart, as one system stores it
    write("sounds/\xB0\xB4\xBC\xFC.wav", click(1)); // in the encoding GBK
    write("press.wav", click(2));
    write("sub/enter.wav", click(3));
    const auto result = multi("\"30\":\"caf\xC3\xA9.WAV\",\"48\":\"sounds\\\\\xE6\x8C\x89\xE9\x94\xAE.wav\","
                              "\"46\":\"press.ogg\",\"28\":\"C:\\\\Users\\\\me\\\\pack\\\\sub\\\\enter.wav\","
                              "\"57\":\"D:\\\\other\\\\gone.wav\"");
    EXPECT_THAT(blocks(down(0)), ElementsAre(0));
    EXPECT_THAT(blocks(down(11)), ElementsAre(1));
    EXPECT_THAT(blocks(down(8)), ElementsAre(2)) << "another format than the name says";
    EXPECT_THAT(blocks(down(36)), ElementsAre(3));
    EXPECT_THAT(result.report.left(), ElementsAre(Key("a sound file that is not in the pack")));
    EXPECT_EQ(result.report.left().begin()->second.examples, "57: D:\\other\\gone.wav");
}

TEST_F(PackShapesTest, EveryArchiveIsReadAlike) {
    const std::string config = R"({"name":"N","key_define_type":"multi","sound":"a.wav","defines":{}})";
    const std::vector<PackedEntry> entries = {{"P/config.json", config},
                                              {"P/a.wav", click(3)},
                                              {"../out.wav", click(4)},
                                              {"P/l.wav", "/etc", true}};
    for (const auto& [packing, name] :
         {std::pair(Packing::zip, "p.zip"), std::pair(Packing::sevenZip, "p.7z"),
          std::pair(Packing::tarGzip, "p.tar.gz")}) {
        writePacked(folder.path() / name, entries, packing);
        const auto result = import(folder.path() / name, true);
        load(result);
        EXPECT_THAT(blocks(down(0)), ElementsAre(3)) << name;
        EXPECT_THAT(result.report.left(), ElementsAre(Key("a link or special file in the archive"),
                                                      Key("a name that leads out of the pack")))
            << name;
    }
}

TEST_F(PackShapesTest, AllPacksOfOneFolderAreImported) {
    clicks(0);
    const std::string config =
        R"({"id":"same","name":"N","key_define_type":"multi","sound":"a.wav","defines":{}})";
    write("config.json", R"({"theme":"dark"})");
    write("one/config.json", config);
    write("one/a.wav", click(1));
    write("two/config.json", config);
    write("two/a.wav", click(2));
    write("three/config.json", config);
    const auto outcome = importAll(folder.path() / "pack");
    EXPECT_THAT(installed(), ElementsAre("same", "same-2"));
    ASSERT_EQ(outcome.sets.size(), 2U);
    EXPECT_THAT(outcome.refused, ElementsAre(AllOf(HasSubstr("three"), HasSubstr("none of its sounds"))));
    EXPECT_THAT(outcome.sets[0].report.left(),
                ElementsAre(Pair("a configuration that is not used", testing::_)));
    load(outcome.sets[1]);
    EXPECT_THAT(blocks(down(0)), ElementsAre(2));
    EXPECT_EQ(set->manifest().id, "same-2");
}

TEST_F(PackShapesTest, ABuiltInSetKeepsItsIdentifier) {
    clicks(1);
    taken = {"n", "n-2"};
    const auto result = multi(R"("30":"0.wav")");
    EXPECT_EQ(result.id, "n-3");
    EXPECT_EQ(result.report.noted().begin()->second.examples, "n is now n-3");
}

TEST_F(PackShapesTest, APackThatIsNotUnderstoodIsRefusedAndSaysWhatItHas) {
    write("all.wav", steps(3));
    write("soundpack.json", R"({"sprites":{"a":[0,100]}})");
    EXPECT_THAT(refusal(folder.path() / "pack"),
                AllOf(HasSubstr("soundpack.json"), HasSubstr("import a folder")));
    write("config.json", "{\"defines\": {\"30\": [0, 100],\n \"31\": [100 100]}}");
    EXPECT_THAT(refusal(folder.path() / "pack"),
                AllOf(HasSubstr("config.json"), HasSubstr("line 2"), Not(HasSubstr("json.exception"))));
    EXPECT_THAT(installed(), IsEmpty());
}

TEST_F(PackShapesTest, MessagesNameThePacksOwnKeyAndFile) {
    write("all.wav", steps(2));
    const auto result = single(R"("30":[0,100],"3640":[5],"57392":[0,50],"31":[900,10],"57390":[0,100])");
    EXPECT_EQ(result.report.left().at("a piece of the recording that is no start and length").examples,
              "3640");
    EXPECT_EQ(result.report.left().at("a key code that no keyboard has").examples, "57390, 57392");
    std::filesystem::remove(folder.path() / "pack/config.json");
    write("more.zip", "PK");
    EXPECT_THAT(importPack().report.left(), ElementsAre(Key("a pack within the pack")));
    const std::string zeros(PackFiles::largestFileBytes + 1, '\0');
    writePacked(folder.path() / "p.zip",
                {{"config.json",
                  R"({"name":"Z","key_define_type":"multi","sound":"a.wav","defines":{"30":"big.wav"}})"},
                 {"a.wav", click(3)},
                 {"big.wav", zeros}});
    EXPECT_THAT(import(folder.path() / "p.zip").report.left(),
                Contains(Pair("a sound file that was left out: a file that is too large", testing::_)));
}

TEST_F(PackShapesTest, TheRecommendedVolumeIsAFactorOrPerCent) {
    write("own.wav", click(30));
    const auto gain = [this](const std::string& volume) {
        configured(R"({"config_version":2,"name":"N","options":{"recommended_volume":)" + volume +
                   R"(},"definitions":{"KeyA":{"audio_file":"own.wav"}}})");
        return set->manifest().effectiveGain();
    };
    EXPECT_FLOAT_EQ(gain("50"), -6.02F);
    EXPECT_FLOAT_EQ(gain("100"), 0);
    EXPECT_FLOAT_EQ(gain("0.5"), -6.02F);
    EXPECT_FLOAT_EQ(gain("\"0.5\""), -6.02F);
    EXPECT_FLOAT_EQ(gain("\"50 %\""), -6.02F);
    EXPECT_FLOAT_EQ(gain("\"loud\""), 0);
}

TEST_F(PackShapesTest, ARecordingAboveFullScaleKeepsItsShapeAndItsLevel) {
    std::vector<float> frames = sine(1000, 4800, 48000, 1.5);
    write("all.wav", waveBytes(frames));
    configured(
        R"({"name":"N","key_define_type":"single","sound":"all.wav","defines":{"30":[0,100],"48":[0,50]}})");
    const auto cut = set->candidates(down(0)).front()->frames();
    EXPECT_NEAR(set->manifest().effectiveGain(), 3.52F, 0.01F);
    for (std::size_t frame = 0; frame < 2400; ++frame) {
        ASSERT_NEAR(cut[frame] * 1.5F, frames[frame], 1e-4F);
    }
}

TEST_F(PackShapesTest, APieceThatStillRingsIsFadedAndOneThatLostItsAttackIsReported) {
    // A blow that dies away over 200 ms.
    std::vector<float> frames = sine(500, 9600, 48000, 0.5);
    for (std::size_t frame = 0; frame < frames.size(); ++frame) {
        frames[frame] *= std::exp(-static_cast<float>(frame) / 1600);
    }
    write("all.wav", waveBytes(frames));
    const auto result = configured(R"({"name":"N","key_define_type":"single","sound":"all.wav",
        "defines":{"30":[0,100],"48":[0,200],"46":[20,180]}})");
    const auto cut = set->candidates(down(0)).front()->frames();
    const auto at = [](double milliseconds) { return static_cast<std::ptrdiff_t>(milliseconds * 48); };
    EXPECT_TRUE(std::equal(cut.begin(), cut.begin() + at(74), frames.begin(),
                           [](float a, float b) { return std::abs(a - b) < 1e-6F; }));
    EXPECT_LT(std::abs(*std::max_element(cut.end() - at(2), cut.end())), 0.002F);
    EXPECT_GT(*std::max_element(cut.begin() + at(76), cut.begin() + at(82)), 0.03F) << "not cut off at once";
    EXPECT_EQ(result.report.noted().at("a piece that ends while its sound rings").count, 1U);
    EXPECT_EQ(result.report.noted().at("a piece that begins after its sound did").examples,
              "all.wav from 20.0 ms for 180.0 ms");
}

} // namespace
} // namespace keysong::test
