#include "Audio/SoundSet.h"

#include "Audio/SampleDecoder.h"
#include "Audio/SoundSetLoader.h"
#include "Shared/WholeFile.h"
#include "fakes/FakeAudioFiles.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <stop_token>

namespace keysong {
namespace {

using test::FakeAudioFiles;
using test::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr AudioFormat renderFormat{48000, 1};

std::string droppingLine(const std::string& name) {
    return "set s: dropping " + name + ": no such file";
}

class SoundSetTest : public testing::Test {
  protected:
    /// Files of these names are there and decode.
    void provide(std::initializer_list<const char*> names) {
        for (const char* const name : names) {
            files_.files[pathOf(name)] = {};
        }
    }

    [[nodiscard]] std::string pathOf(const std::string& name) const {
        return folder_.path().string() + "/" + name;
    }

    /// Loads a set whose manifest has this text behind its head.
    std::shared_ptr<const SoundSet> load(const std::string& rest) {
        folder_.write("manifest.json", R"({"schema":1,"id":"s","name":"S",)" + rest + "}");
        return SoundSet::load(folder_.path(), renderFormat, files_);
    }

    /// The file names of an event's candidates.
    static std::vector<std::string> names(const SoundSet& set, const SoundEvent& event) {
        std::vector<std::string> result;
        for (const SampleRef& sample : set.candidates(event)) {
            result.emplace_back(set.fileName(sample.get()));
        }
        return result;
    }
    static std::vector<std::string> down(const SoundSet& set, std::uint16_t code) {
        return names(set, SoundEvent::keyDown(code));
    }
    static std::vector<std::string> up(const SoundSet& set, std::uint16_t code) {
        return names(set, SoundEvent::keyUp(code));
    }

    test::TempFolder folder_;
    FakeAudioFiles files_;
};

TEST_F(SoundSetTest, ResolvesEachDirectionByKeyThenGroupThenDefaults) {
    provide({"d1", "d2", "u", "sd", "su", "ed", "x", "cd", "cu", "n"});
    const auto set = load(R"("gain":-2,"defaults":{"down":["d1","d2","d1"],"up":["u"]},
        "groups":{"space":{"down":["sd"],"up":["su"]},"modifier":{"up":[]},"enter":{"down":["sd"],"up":["su"]},
                  "tab":{"down":["gone"]},"Arrow":{"down":["x"]}},
        "keys":{"36":{"down":["ed"]},"300":{"down":["d1"]},"049":{"up":["gone"]},"52":{"up":["cu"]}},
        "mouse":{"left":{"down":["cd"],"up":["cu"]},"other":{"up":["gone"]},"scroll":["n"]})");
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                ElementsAre(droppingLine("gone"), "set s: ignoring key \"300\""));

    EXPECT_EQ(set->manifest().gain, -2.0F);
    EXPECT_THAT(down(*set, 0), ElementsAre("d1", "d2", "d1"));
    EXPECT_THAT(up(*set, 0), ElementsAre("u"));
    EXPECT_THAT(down(*set, 49), ElementsAre("sd"));
    EXPECT_THAT(up(*set, 49), ElementsAre("su")) << "the key's list has no playable file";
    EXPECT_THAT(up(*set, 56), ElementsAre("u")) << "the group's list is empty";
    EXPECT_THAT(down(*set, 36), ElementsAre("ed"));
    EXPECT_THAT(up(*set, 36), ElementsAre("su")) << "the key has no list, its group has";
    EXPECT_THAT(down(*set, 52), ElementsAre("sd"));
    EXPECT_THAT(up(*set, 52), ElementsAre("cu")) << "the key's own comes before its group's";
    EXPECT_THAT(down(*set, 56), ElementsAre("d1", "d2", "d1")) << "the group has no list";
    EXPECT_THAT(down(*set, 48), ElementsAre("d1", "d2", "d1")) << "the group's only file is missing";
    EXPECT_THAT(down(*set, 123), ElementsAre("d1", "d2", "d1")) << "no group is called Arrow";
    EXPECT_THAT(down(*set, 255), ElementsAre("d1", "d2", "d1"));
    for (const std::uint16_t code : std::vector<std::uint16_t>{256, 65535}) {
        EXPECT_THAT(down(*set, code), IsEmpty());
        EXPECT_THAT(up(*set, code), IsEmpty());
    }
    EXPECT_THAT(names(*set, SoundEvent::mouseDown(MouseButton::left)), ElementsAre("cd"));
    EXPECT_THAT(names(*set, SoundEvent::mouseUp(MouseButton::left)), ElementsAre("cu"));
    EXPECT_THAT(names(*set, SoundEvent::mouseDown(MouseButton::right)), IsEmpty());
    EXPECT_THAT(names(*set, SoundEvent::mouseUp(MouseButton::other)), IsEmpty());
    EXPECT_THAT(names(*set, SoundEvent::scrollTick()), ElementsAre("n"));
    EXPECT_THAT(LogCapture::shared().lines(LogLevel::notice),
                ElementsAre("loaded set s files=9 missing=1 keyUp=yes"));
}

TEST_F(SoundSetTest, AGroupHasTheSamplesOfAllItsKeysOnceEach) {
    provide({"q", "a", "b", "d", "ru", "u", "s", "l"});
    const auto set = load(R"("defaults":{"down":["d","d"],"up":["u"]},"groups":{"space":{"down":["s","s"]}},
        "keys":{"0":{"down":["a","b"]},"12":{"down":["q","a"],"up":["ru"]},"123":{"down":["l"]}},
        "mouse":{"left":{"down":["s"]}})");
    const auto ofGroup = [&](const SoundEvent& event) {
        std::vector<std::string> result;
        for (const SampleRef& sample : set->candidatesOfGroup(event)) {
            result.emplace_back(set->fileName(sample.get()));
        }
        return result;
    };
    for (const std::uint16_t letter : std::vector<std::uint16_t>{0, 12, 1, 200}) {
        EXPECT_THAT(ofGroup(SoundEvent::keyDown(letter)), ElementsAre("a", "b", "d", "q")) << letter;
        EXPECT_THAT(ofGroup(SoundEvent::keyUp(letter)), ElementsAre("u", "ru")) << letter;
    }
    EXPECT_THAT(ofGroup(SoundEvent::keyDown(124)), ElementsAre("l", "d")) << "an arrow has no letter's sound";
    EXPECT_THAT(ofGroup(SoundEvent::keyDown(49)), ElementsAre("s", "s")) << "as the set weighs them";
    EXPECT_THAT(ofGroup(SoundEvent::keyDown(256)), IsEmpty());
    EXPECT_THAT(ofGroup(SoundEvent::mouseDown(MouseButton::left)), ElementsAre("s"));
}

TEST_F(SoundSetTest, VisitsFilesInOrderAndDecodesEachOnce) {
    provide({"d", "d2", "u", "m", "sp", "k", "ld", "rd", "ou", "n"});
    const auto set = load(R"("mouse":{"scroll":["n","gone"],"other":{"up":["ou"]},"right":{"down":["rd"]},
        "left":{"down":["ld","d"]}},"keys":{"9":{"down":["k"],"up":["gone"]}},
        "groups":{"space":{"down":["sp","d"]},"main":{"up":["m","gone"]}},
        "defaults":{"up":["u"],"down":["d","gone","d2"]})");
    std::vector<std::string> expected;
    for (const char* const name :
         {"d", "gone", "d2", "u", "m", "gone", "sp", "k", "gone", "ld", "rd", "ou", "n", "gone"}) {
        expected.push_back(pathOf(name));
    }
    // A file that failed is tried again by each list that names it.
    EXPECT_EQ(files_.opened, expected);
    EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre(droppingLine("gone")));

    const auto first = set->candidates(SoundEvent::keyDown(0))[0];
    EXPECT_EQ(set->candidates(SoundEvent::keyDown(49))[1], first);
    EXPECT_EQ(set->candidates(SoundEvent::mouseDown(MouseButton::left))[1], first);
    // Keys that resolve to one source share its list.
    EXPECT_EQ(set->candidates(SoundEvent::keyDown(0)).data(),
              set->candidates(SoundEvent::keyDown(255)).data());
    EXPECT_EQ(set->fileName(nullptr), "");
}

TEST_F(SoundSetTest, WithoutADefaultDownSampleThereIsNoSet) {
    provide({"good"});
    for (const char* text :
         {R"("defaults":{},"groups":{"space":{"down":["good"]}})", R"("defaults":{"down":[]})",
          R"("defaults":{"down":["a","b"]},"keys":{"1":{"down":["good"]}})"}) {
        EXPECT_THAT([&] { (void)load(text); }, testing::ThrowsMessage<SoundSetError>(
                                                   "sound set \"s\" has no usable defaults.down samples"))
            << text;
    }
    EXPECT_THAT(LogCapture::shared().takeErrors(), ElementsAre(droppingLine("a"), droppingLine("b")));
}

TEST_F(SoundSetTest, ReleaseMaySoundForOneGroupOnlyAndTheMouseNotAtAll) {
    provide({"sub/d", "/sub/su"});
    const auto set = load(R"("defaults":{"down":["sub/d"]},"groups":{"space":{"up":["/sub/su"]}})");
    EXPECT_THAT(down(*set, 0), ElementsAre("sub/d"));
    EXPECT_THAT(up(*set, 49), ElementsAre("/sub/su")) << "every name is appended to the folder";
    EXPECT_THAT(up(*set, 0), IsEmpty());
    EXPECT_THAT(names(*set, SoundEvent::mouseDown(MouseButton::left)), IsEmpty());
    EXPECT_THAT(names(*set, SoundEvent::mouseUp(MouseButton::other)), IsEmpty());
    EXPECT_THAT(names(*set, SoundEvent::scrollTick()), IsEmpty());
    EXPECT_THAT(LogCapture::shared().lines(LogLevel::notice),
                ElementsAre("loaded set s files=2 missing=0 keyUp=group/key only"));
}

TEST_F(SoundSetTest, AnUnreadableManifestIsAnError) {
    EXPECT_THROW((void)SoundSet::load(folder_.path(), renderFormat, files_), FileReadError);
    EXPECT_THROW((void)load(R"("defaults":3)"), SoundManifestError);
    std::filesystem::remove(folder_.path() / "manifest.json");
    (void)folder_.makeFolder("manifest.json");
    EXPECT_THROW((void)SoundSet::load(folder_.path(), renderFormat, files_), FileReadError);
}

TEST_F(SoundSetTest, FilesInTheTargetFormatAreKeptAndOthersConverted) {
    files_.files[pathOf("as-is")] = {renderFormat, {0.25F, -0.5F}, std::nullopt};
    files_.files[pathOf("stereo")] = {{44100, 2}, std::vector<float>(2000, NAN), std::nullopt};
    files_.files[pathOf("claims-much")] = {renderFormat, {0.1F, 0.2F, 0.3F}, 1'000'000};
    const auto set = load(R"("defaults":{"down":["as-is","stereo","claims-much"]})");
    const auto samples = set->candidates(SoundEvent::keyDown(0));
    ASSERT_EQ(samples.size(), 3U);
    EXPECT_THAT(samples[0]->frames(), ElementsAre(0.25F, -0.5F));
    EXPECT_THAT(samples[1]->frames(), ElementsAre(0.5F));
    EXPECT_THAT(samples[2]->frames(), ElementsAre(0.1F, 0.2F, 0.3F)) << "what it holds, not what it claims";
    EXPECT_THAT(files_.capacities, ElementsAre(1088U + 4096U));
    EXPECT_THAT(files_.convertedFrom, testing::Each(0.0F)) << "values that are no number stay out";
}

TEST_F(SoundSetTest, FilesThatCannotBeDecodedAreDropped) {
    const std::vector<std::pair<const char*, FakeAudioFiles::File>> rows = {
        {"empty", {renderFormat, {}, std::nullopt}},
        {"negative", {renderFormat, {0.1F}, -1}},
        {"claims-much", {renderFormat, {}, 100}},
        {"too-long", {renderFormat, {0.1F}, 120 * 48000 + 1}},
        {"too-slow", {{1, 1}, {0.1F, 0.2F}, 121}},
        {"beyond-32-bits", {renderFormat, {0.1F}, INT64_MAX}},
        {"no-channels", {{48000, 0}, {0.1F}, std::nullopt}},
        {"many-channels", {{48000, 65535}, {0.1F}, 1}},
        {"no-rate", {{0, 1}, {0.1F}, std::nullopt}},
        {"rate-is-no-number", {{NAN, 1}, {0.1F}, std::nullopt}},
        {"converts-to-nothing", {{44100, 1}, {0.1F}, std::nullopt}},
    };
    files_.converted.clear();
    provide({"d"});
    std::string list = R"("d")";
    std::vector<std::string> errors;
    for (const auto& [name, file] : rows) {
        files_.files[pathOf(std::string("sub/") + name)] = file;
        list += std::string(",\"sub/") + name + "\"";
        errors.push_back(std::string("set s: dropping sub/") + name + ": could not build a converter for " +
                         name);
    }
    const auto set = load(R"("defaults":{"down":[)" + list + "]}");
    EXPECT_THAT(down(*set, 0), ElementsAre("d"));
    EXPECT_EQ(LogCapture::shared().takeErrors(), errors);

    files_.convertible = false;
    files_.converted = {0.5F};
    (void)load(R"("defaults":{"down":["d","sub/converts-to-nothing"]})");
    EXPECT_EQ(LogCapture::shared().takeErrors(), std::vector{errors.back()});
}

TEST_F(SoundSetTest, AFileIsDecodedOnceHoweverItIsSpelled) {
    provide({"a", "sub/b"});
    const auto set =
        load(R"("defaults":{"down":["a","./a",".//a","sub/../a","/a"],"up":["sub/b","sub//./b"]})");
    EXPECT_THAT(files_.opened, ElementsAre(pathOf("a"), pathOf("sub/b")));
    EXPECT_THAT(down(*set, 0), ElementsAre("a", "a", "a", "a", "a"));
}

TEST_F(SoundSetTest, ASetHasSoManyFilesAndNoMore) {
    std::string names;
    for (std::size_t number = 0; number < SoundSetLoader::mostFiles + 500; ++number) {
        names += (number > 0 ? ",\"f" : "\"f") + std::to_string(number) + "\"";
    }
    files_.others = FakeAudioFiles::File();
    const auto set = load(R"("defaults":{"down":[)" + names + "]}");
    EXPECT_EQ(set->candidates(SoundEvent::keyDown(0)).size(), SoundSetLoader::mostFiles);
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                ElementsAre(testing::HasSubstr("no more files than 4096")));
}

/// Nearly two minutes each, which fail at their very end.
struct FailingFiles final : FakeAudioFiles {
    struct Reader final : AudioFileReader {
        explicit Reader(const FailingFiles& owner) : files(owner) {}
        [[nodiscard]] AudioFormat format() const override { return {48000, 1}; }
        [[nodiscard]] std::int64_t lengthFrames() const override { return 119 * 48000; }
        std::size_t read(std::span<float> frames) override {
            read_ += frames.size();
            files.framesRead += frames.size();
            if (files.onRead) {
                files.onRead();
            }
            if (read_ >= 119 * 48000) {
                throw AudioFileError("broken");
            }
            return frames.size();
        }
        const FailingFiles& files;
        std::size_t read_ = 0;
    };
    [[nodiscard]] std::unique_ptr<AudioFileReader> open(const std::filesystem::path&) const override {
        return std::make_unique<Reader>(*this);
    }
    mutable std::size_t framesRead = 0;
    std::function<void()> onRead;
};

TEST(SampleDecoderTest, FilesThatFailCostWhatTheyClaim) {
    const FailingFiles files;
    SampleDecoder decoder({48000, 1}, files);
    for (int file = 0; file < 100; ++file) {
        EXPECT_THROW(static_cast<void>(decoder.decode("x")), std::runtime_error);
    }
    EXPECT_GT(files.framesRead, SampleDecoder::mostFramesInAll / 2);
    EXPECT_LE(files.framesRead, SampleDecoder::mostFramesInAll);
}

TEST_F(SoundSetTest, ALoadThatIsStoppedEndsInTheMiddleOfAFile) {
    std::stop_source stop;
    FailingFiles files;
    files.onRead = [&stop] { stop.request_stop(); };
    folder_.write("manifest.json", R"({"schema":1,"id":"s","name":"S","defaults":{"down":["a","b"]}})");
    try {
        static_cast<void>(SoundSet::load(folder_.path(), renderFormat, files, stop.get_token()));
        ADD_FAILURE() << "loaded";
    } catch (const SoundSetError& error) {
        EXPECT_EQ(error.kind(), SoundSetError::Kind::stopped);
    }
    EXPECT_LT(files.framesRead, 48000U);
}

} // namespace
} // namespace keysong
