#include "Packs/RelaxedJson.h"
#include "Packs/YamlDocument.h"

#include <nlohmann/json.hpp>

#include "PackFixture.h"

namespace keysong::test {
namespace {

using testing::ElementsAre;
using testing::Key;
using testing::Pair;
using testing::UnorderedElementsAre;

SoundEvent down(std::uint16_t code) {
    return SoundEvent::keyDown(code);
}
SoundEvent up(std::uint16_t code) {
    return SoundEvent::keyUp(code);
}

class PackFormatsTest : public PackFixture {};

TEST_F(PackFormatsTest, OneRecordingIsCutWithoutLossAndBrokenEntriesCostOnlyThemselves) {
    write("all.wav", steps(10));
    write("config.json", "\xEF\xBB\xBF"
                         R"({ // made by hand
        "id": "My Pack!", "name": "My // Pack", "key_define_type": "single", "includes_numpad": true,
        "sound": "All.WAV", /* spelled otherwise */
        "defines": {
            "30": [0, 100], "30-up": [100, 50], "28": [200, 100], "3612": [300, 100], "57416": [400, 100],
            "61001": [500, 100], "3655": [600, 100], "31": [900, 5000],
            "32": [5], "33": "x", "34": [5000, 10], "35": [-3, 10], "zz": [0, 10], "9999": [0, 10], "36": null,
        },
    })");
    const ImportResult result = importPack();
    EXPECT_EQ(result.id, "my-pack");
    EXPECT_EQ(result.name, "My // Pack");
    load(result);
    EXPECT_THAT(blocks(down(0)), ElementsAre(0));
    EXPECT_EQ(length(down(0)), 4800U);
    EXPECT_THAT(blocks(up(0)), ElementsAre(1));
    EXPECT_EQ(length(up(0)), 2400U);
    EXPECT_THAT(blocks(down(36)), ElementsAre(2));
    EXPECT_THAT(blocks(down(76)), ElementsAre(3));
    EXPECT_THAT(blocks(down(126)), ElementsAre(4));
    EXPECT_THAT(blocks(down(116)), ElementsAre(5)) << "0xEE00 stands for the same prefix";
    EXPECT_THAT(blocks(down(115)), ElementsAre(6));
    EXPECT_THAT(blocks(down(1)), ElementsAre(9));
    EXPECT_EQ(length(down(1)), 4800U) << "what lies beyond the end is not there";
    EXPECT_THAT(result.report.left(),
                UnorderedElementsAre(Key("a piece of the recording that is no start and length"),
                                     Key("a piece that lies outside the recording"),
                                     Key("a sound file that is not in the pack"),
                                     Key("a key that is no number and no name"),
                                     Key("a key code that no keyboard has")));
    EXPECT_EQ(result.report.left().at("a piece of the recording that is no start and length").count, 2U);
    const auto file = audio.open(result.folder / "all.flac");
    EXPECT_EQ(file->format(), (AudioFormat{48000, 1}));
}

TEST_F(PackFormatsTest, FilesPerKeyShareWhatIsAlikeAndFallBackToThePacksOwnSound) {
    for (int variant = 0; variant < 3; ++variant) {
        write("R" + std::to_string(variant) + ".wav", click(variant));
    }
    write("space.wav", click(10));
    write("shift.wav", click(11));
    write("shift copy.wav", click(11));
    write("release/up.wav", click(20));
    write("config.json", R"({"id": "custom-1", "name": "Per Key", "key_define_type": "multi",
        "sound": "R{0-4}.wav", "soundup": "release\\up.wav",
        "defines": {"57": "space.wav", "57-up": "missing.wav", "42": "shift.wav", "54": "shift copy.wav",
                    "29": "../outside.wav", "30": null, "16": "R1.wav"}})");
    const ImportResult result = importPack();
    load(result);
    EXPECT_THAT(blocks(down(0)), ElementsAre(0, 1, 2));
    EXPECT_THAT(blocks(up(0)), ElementsAre(20));
    EXPECT_THAT(blocks(down(49)), ElementsAre(10));
    EXPECT_THAT(blocks(up(49)), ElementsAre(20));
    EXPECT_THAT(blocks(down(12)), ElementsAre(1));
    EXPECT_THAT(blocks(down(56)), ElementsAre(11));
    EXPECT_THAT(blocks(down(59)), ElementsAre(0, 1, 2)) << "two keys do not speak for all modifiers";
    EXPECT_EQ(result.filesCopied, 6U) << "a copy under another name is the same sound";
    EXPECT_THAT(set->manifest().groups.value(), ElementsAre(Key("space")));
    EXPECT_THAT(set->manifest().keys.value(), ElementsAre(Key("12"), Key("56"), Key("60")));
    EXPECT_EQ(result.report.left().at("a sound file that is not in the pack").count, 4U)
        << "R3, R4, missing.wav and what lies outside";
}

TEST_F(PackFormatsTest, TheKernelsNumbersCountWhereThePackUsesThem) {
    const auto keysOf = [&](const std::string& defines) {
        std::filesystem::remove_all(folder.path() / "pack");
        write("all.wav", steps(4));
        write("config.json",
              R"({"name":"N","sound":"all.wav","key_define_type":"single","defines":{)" + defines + "}}");
        load(import(folder.path() / "pack", true));
    };
    keysOf(R"("97":[0,100],"103":[100,100],"125":[200,100],"30":[300,100])");
    EXPECT_THAT(blocks(down(62)), ElementsAre(0));
    EXPECT_THAT(blocks(down(126)), ElementsAre(1));
    EXPECT_THAT(blocks(down(55)), ElementsAre(2));
    EXPECT_THAT(blocks(down(90)), ElementsAre(3));
    keysOf(R"("91":[0,100],"103":[100,100],"30":[300,100])");
    EXPECT_THAT(blocks(down(105)), ElementsAre(0));
    EXPECT_THAT(blocks(down(90)), ElementsAre(1)) << "F20";
    EXPECT_THAT(blocks(down(126)), ElementsAre(3)) << "the arrow is not in this one";
}

TEST_F(PackFormatsTest, KeysByNameComeWithTimesFilesAndALevel) {
    write("all.wav", steps(8));
    write("own.wav", click(30));
    write("config.json", R"({"config_version": 2, "name": "Named", "author": "A", "audio_file": "all.wav",
        "definition_method": "single", "options": {"recommended_volume": 0.5},
        "definitions": {
            "KeyA": {"timing": [[0.0, 100.0], [100.0, 150.0]]}, "KeyB": {"timing": [[200, 300]]},
            "Enter": {"timing": [[299.99999, 400.00001]]}, "ShiftRight": {"timing": [[400, 500]]},
            "MouseLeft": {"timing": [[500, 600], [600, 700]]}, "Space": {"audio_file": "own.wav"},
            "KeyC": {"timing": [[300, 200]]}, "KeyD": 7, "Nonsense": {"timing": [[0, 1]]},
            "AudioVolumeUp": {"timing": [[0, 1]]}, "KeyE": {"audio_file": "gone.wav"}}})");
    const ImportResult result = importPack();
    load(result);
    EXPECT_THAT(blocks(down(0)), ElementsAre(0));
    EXPECT_THAT(blocks(up(0)), ElementsAre(1));
    EXPECT_THAT(blocks(down(11)), ElementsAre(2));
    EXPECT_THAT(blocks(down(36)), ElementsAre(3));
    EXPECT_EQ(length(down(36)), 4800U);
    EXPECT_THAT(blocks(down(60)), ElementsAre(4));
    EXPECT_THAT(blocks(SoundEvent::mouseDown(MouseButton::left)), ElementsAre(5));
    EXPECT_THAT(blocks(SoundEvent::mouseUp(MouseButton::left)), ElementsAre(6));
    EXPECT_THAT(blocks(down(49)), ElementsAre(30));
    EXPECT_THAT(blocks(down(2)), ElementsAre(0, 2))
        << "a key that the pack does not know gets some of its sounds";
    EXPECT_FLOAT_EQ(set->manifest().gain.value(), -6.02F);
    EXPECT_EQ(result.report.left().at("a key name that is not known").count, 2U);
    EXPECT_EQ(result.report.left().at("a sound file that is not in the pack").count, 1U);
}

TEST_F(PackFormatsTest, AProfileNamesSourcesAndTheirKeys) {
    for (int block = 0; block < 6; ++block) {
        write("s" + std::to_string(block) + ".wav", click(block));
    }
    write("profile.yaml", "name: Profiled\n"
                          "sources:\n"
                          "  - {id: one, source: {press: s0.wav, release: s1.wav}}\n"
                          "  - id: two\n    source: s2.wav\n"
                          "  - id: big\n    source: {press: [s3.wav, s4.wav]}\n"
                          "  - id: broken\n    source: nowhere.wav\n"
                          "  - id: [a, b]\n"
                          "keys:\n"
                          "  default: [one, two]\n"
                          "  other:\n"
                          "    - {sound: big, keys: [space, Enter, 'no such key']}\n"
                          "    - {sound: unknown, keys: [tab]}\n");
    const ImportResult result = importPack();
    load(result);
    EXPECT_EQ(result.id, "profiled");
    EXPECT_THAT(blocks(down(0)), ElementsAre(0, 2));
    EXPECT_THAT(blocks(up(0)), ElementsAre(1));
    EXPECT_THAT(blocks(down(49)), ElementsAre(3, 4));
    EXPECT_THAT(blocks(down(36)), ElementsAre(3, 4));
    EXPECT_THAT(blocks(down(48)), ElementsAre(0, 2));
    EXPECT_THAT(result.report.left(),
                UnorderedElementsAre(Pair("a sound file that is not in the pack", testing::_),
                                     Pair("a source without a sound", testing::_),
                                     Pair("a source that is not defined", testing::_),
                                     Pair("a key name that is not known", testing::_)));
}

TEST_F(PackFormatsTest, ASetOfOurOwnComesThroughUnchanged) {
    for (int block = 0; block < 5; ++block) {
        write("s" + std::to_string(block) + ".wav", click(block));
    }
    const std::string text =
        R"({"schema":1,"id":"own","name":"Own","gain":-2.5,"pitchVariation":0.01,"gainVariation":0,)"
        R"("defaults":{"down":["s0.wav","s1.wav"],"up":["s2.wav"]},"groups":{"space":{"down":["s3.wav"]}},)"
        R"("keys":{"36":{"up":["s4.wav"]}},"mouse":{"right":{"down":["s0.wav"]},"scroll":["s1.wav"]}})";
    write("manifest.json", text);
    load(importPack());
    EXPECT_EQ(set->manifest(), SoundManifest::decode(text));
}

TEST_F(PackFormatsTest, NamesInAPlainFolderSayWhatTheSoundsAreFor) {
    const std::vector<std::pair<const char*, int>> files = {
        {"thock-1.wav", 0},          {"thock-2.wav", 1},    {"keyup.wav", 2},
        {"Space_Down.wav", 3},       {"space up.wav", 4},   {"enter-release.wav", 5},
        {"press/GENERIC_R7.wav", 6}, {"modifier 2.wav", 7}, {"MouseLeft.wav", 8},
        {"scroll.wav", 9},           {"backup.wav", 10},    {"F12.wav", 11},
        {"sub/Backspace.wav", 12}};
    for (const auto& [name, block] : files) {
        write(name, click(block));
    }
    write("notes.txt", "not a sound");
    write("broken.wav", "RIFF but not really");
    write(".hidden.wav", click(40));
    const ImportResult result = importPack();
    EXPECT_EQ(result.name, "pack");
    load(result);
    EXPECT_THAT(blocks(down(0)), UnorderedElementsAre(0, 1, 6, 10));
    EXPECT_THAT(blocks(up(0)), ElementsAre(2));
    EXPECT_THAT(blocks(down(49)), ElementsAre(3));
    EXPECT_THAT(blocks(up(49)), ElementsAre(4));
    EXPECT_THAT(blocks(up(36)), ElementsAre(5));
    EXPECT_THAT(blocks(down(56)), ElementsAre(7));
    EXPECT_THAT(blocks(SoundEvent::mouseDown(MouseButton::left)), ElementsAre(8));
    EXPECT_THAT(blocks(SoundEvent::scrollTick()), ElementsAre(9));
    EXPECT_THAT(blocks(down(111)), ElementsAre(11));
    EXPECT_THAT(blocks(down(51)), ElementsAre(12));
    EXPECT_THAT(result.report.left(), UnorderedElementsAre(Key("a file that is no sound"),
                                                           Key("a file that cannot be read as sound")));
}

TEST(RelaxedJsonTest, ForgivesWhatPeopleWriteAndLeavesStringsAlone) {
    const auto strict = parseRelaxedJson("{\"a\": [1, 2, /* , ] */ ], // end }\n"
                                         "\"b\": \"// no, ] comment \\\" ,}\", }",
                                         1000);
    EXPECT_EQ(strict.dump(), R"({"a":[1,2],"b":"// no, ] comment \" ,}"})");
    for (const char* bad : {"", "{", "[1,]", "{\"a\": 1,, }", "{\"a\": \"open", "{\"a\" /* open"}) {
        EXPECT_THROW(static_cast<void>(parseRelaxedJson(bad, 1000)), std::runtime_error) << bad;
    }
    EXPECT_THROW(static_cast<void>(parseRelaxedJson(std::string(100, ' ') + "{}", 50)), std::runtime_error);
}

TEST(YamlDocumentTest, RefusesWhatCouldGrowWithoutEnd) {
    EXPECT_EQ(parseYamlObject("a: [1, x]\nb: {c: ~}\n? {d: e}\n: f\n", 1000).dump(),
              R"({"":"f","a":["1","x"],"b":{"c":null}})");
    EXPECT_THROW(static_cast<void>(parseYamlObject("a: &x [1]\nb: *x\n", 1000)), YamlDocumentError);
    EXPECT_THROW(static_cast<void>(parseYamlObject("a: " + std::string(5000, '['), 100000)),
                 YamlDocumentError);
    EXPECT_THROW(static_cast<void>(parseYamlObject("- a\n", 1000)), YamlDocumentError);
    EXPECT_THROW(static_cast<void>(parseYamlObject("a: \"b", 1000)), YamlDocumentError);
}

} // namespace
} // namespace keysong::test
