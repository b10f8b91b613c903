#include "Audio/SoundLibrary.h"
#include "Shared/WholeFile.h"
#include "fakes/ByteOrder.h"
#include "fakes/FakePlaces.h"
#include "support/PackedFile.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "PackFixture.h"

namespace keysong::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;
using testing::UnorderedElementsAre;

const std::string config =
    R"({"id":"zipped","name":"Zipped","key_define_type":"multi","sound":"a.wav","defines":{}})";

class PackImporterTest : public PackFixture {
  protected:
    std::filesystem::path zip(const std::vector<PackedEntry>& entries) const {
        const auto path = folder.path() / "pack.zip";
        writePacked(path, entries);
        return path;
    }
};

TEST_F(PackImporterTest, AnArchiveIsReadWhereverItsConfigurationLies) {
    const auto result = import(zip({{"__MACOSX/._config.json", "x"},
                                    {"Deep/Pack/config.json", config},
                                    {"Deep/Pack/a.wav", click(3)},
                                    {"Deep/Pack/old/config.json", "{}"}}));
    load(result);
    EXPECT_THAT(blocks(SoundEvent::keyDown(0)), ElementsAre(3));
    EXPECT_THAT(installed(), ElementsAre("zipped"));
    EXPECT_EQ(result.folder.filename(), set->manifest().id);
}

TEST_F(PackImporterTest, NothingOutsideThePackIsReadOrWritten) {
    const auto outside = folder.write("outside.wav", click(60));
    const auto result = import(zip({{"config.json", config},
                                    {"a.wav", click(3)},
                                    {"../escape.wav", click(4)},
                                    {"/tmp/absolute.wav", click(4)},
                                    {"C:\\windows.wav", click(4)},
                                    {"link.wav", outside.string(), true}}));
    EXPECT_THAT(result.report.left(), UnorderedElementsAre(Key("a name that leads out of the pack"),
                                                           Key("a link or special file in the archive")));
    EXPECT_EQ(result.report.left().at("a name that leads out of the pack").count, 3U);
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "escape.wav"));

    write("inside.wav", click(5));
    std::filesystem::create_symlink(outside, folder.path() / "pack/leak.wav");
    std::filesystem::create_symlink("inside.wav", folder.path() / "pack/alias.wav");
    std::filesystem::create_directory_symlink("/", folder.path() / "pack/root");
    const auto second = importPack();
    EXPECT_EQ(second.filesCopied, 1U) << "the link within the pack is the same sound";
    EXPECT_THAT(second.report.left(), ElementsAre(Key("a link that leads out of the pack")));
}

TEST_F(PackImporterTest, ThePackThatWouldTakeTheMachineIsRefused) {
    const std::string zeros(PackFiles::largestFileBytes + 1, '\0');
    const auto result = import(zip({{"config.json", config}, {"a.wav", click(3)}, {"bomb.wav", zeros}}));
    EXPECT_THAT(result.report.left(), ElementsAre(Key("a file that is too large")));
    EXPECT_LT(std::filesystem::file_size(folder.path() / "pack.zip"), 1'000'000U);

    EXPECT_THAT(refusal(zip({{"config.json", std::string(5U << 20U, ' ') + config}})),
                HasSubstr("too large"));
    EXPECT_THAT(refusal(zip(std::vector<PackedEntry>())), testing::Not(IsEmpty()));
    std::vector<PackedEntry> many;
    for (std::size_t number = 0; number <= PackFiles::mostEntries; ++number) {
        many.push_back({std::to_string(number) + ".wav", "", false});
    }
    EXPECT_THAT(refusal(zip(many)), HasSubstr("too many entries"));
    EXPECT_THAT(refusal(folder.write("text.zip", "this is no archive")), testing::Not(IsEmpty()));
    EXPECT_THAT(refusal(folder.path() / "nowhere"), HasSubstr("is not there"));
}

TEST_F(PackImporterTest, ADamagedFileCostsItselfAlone) {
    const auto path = zip({{"config.json", config.substr(0, config.size() - 2) + R"("57":"space.wav"}})"},
                           {"a.wav", click(3)},
                           {"space.wav", click(4)}});
    std::string bytes = readWholeFile(path, 100000);
    const std::size_t entry = bytes.rfind("space.wav") - 46; // in the directory at the end
    ASSERT_EQ(bytes.substr(entry, 4), "PK\x01\x02");
    bytes[entry + 16] = static_cast<char>(bytes[entry + 16] ^ 1); // its checksum
    folder.write("pack.zip", bytes);
    const auto result = import(path);
    EXPECT_THAT(result.report.left(), ElementsAre(Key("a file that cannot be unpacked")));
    load(result);
    EXPECT_THAT(blocks(SoundEvent::keyDown(49)), ElementsAre(3));
}

TEST_F(PackImporterTest, LengthsThatLieAndPiecesWithoutEndAreLeft) {
    const std::vector<float> frames(4800, level(3));
    write("lie.wav", waveBytes(frames, {48000, 1, 0x7FFFFF00U}));
    write("config.json",
          R"({"name":"Lie","sound":"lie.wav","key_define_type":"single","defines":{"30":[0,50]}})");
    load(importPack());
    EXPECT_THAT(blocks(SoundEvent::keyDown(0)), ElementsAre(3));

    // Each piece a little longer than the last, each nearly two minutes: in all far more than is allowed.
    write("lie.wav", waveBytes(std::vector<float>(8000 * 119, level(3)), {8000, 1, {}}));
    std::string defines;
    for (int code = 1; code <= 83; ++code) {
        defines += (code > 1 ? "," : "") +
                   ("\"" + std::to_string(code) + "\":[0," + std::to_string(118000 + code) + "]");
    }
    write("config.json",
          R"({"name":"Long","sound":"lie.wav","key_define_type":"single","defines":{)" + defines + "}}");
    const auto result = importPack();
    EXPECT_THAT(result.report.left(), ElementsAre(Key("a piece that is too long for a sound")));
}

TEST_F(PackImporterTest, AnInstalledSetIsReplacedOnlyWhenAsked) {
    write("config.json", config);
    write("a.wav", click(3));
    static_cast<void>(importPack());
    write("a.wav", click(4));
    EXPECT_THAT(refusal(folder.path() / "pack"), HasSubstr("installed already"));
    load(import(folder.path() / "pack/config.json", true));
    EXPECT_THAT(blocks(SoundEvent::keyDown(0)), ElementsAre(4));
    write("a.wav", "broken");
    EXPECT_THROW(static_cast<void>(import(folder.path() / "pack", true)), PackError);
    EXPECT_THAT(installed(), ElementsAre("zipped")) << "what failed left nothing, and not even a trace";
    std::filesystem::rename(sets() / "zipped", sets() / "other name");
    EXPECT_THAT(refusal(folder.path() / "pack"), HasSubstr("other name"));
    EXPECT_EQ(LogCapture::shared().takeErrors().size(), 1U) << "the library wonders, too";
    std::filesystem::rename(sets() / "other name", sets() / "zipped");
    load(import(folder.write("pack/../pack2/b.wav", click(9)).parent_path()));
    EXPECT_THAT(installed(), ElementsAre("pack2", "zipped"));
}

TEST_F(PackImporterTest, AKilledImportLeavesNothingThatIsListedAndTheNextOneCleansUp) {
    const auto target = sets() / "alpha";
    const pid_t child = fork();
    if (child == 0) {
        const auto staged = folders.begin(target);
        std::ofstream(staged->path() / "manifest.json") << R"({"id":"alpha","name":"Alpha"})";
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_EQ(installed().size(), 1U) << "the child left its folder";
    FakePlaces places;
    places.variables["KEYSONG_SOUNDS_DIR"] = sets().string();
    EXPECT_THAT(SoundLibrary::availableSets(places, ByteOrder()), IsEmpty());

    const auto working = folders.begin(target);
    EXPECT_EQ(installed().size(), 1U) << "the child's is gone";
    std::ofstream(working->path() / "file") << "x";
    const auto other = folders.begin(target);
    EXPECT_EQ(installed().size(), 2U) << "one at work stays";
    other->commit(false);
    EXPECT_THROW(working->commit(false), StagedFolderError);
    working->commit(true);
    EXPECT_TRUE(std::filesystem::exists(target / "file"));
}

TEST_F(PackImporterTest, ImportsOfOneSetAtTheSameTimeLeaveEachOthersFoldersAlone) {
    const auto work = [this](std::atomic<int>& lost) {
        for (int round = 0; round < 1000; ++round) {
            const auto staged = folders.begin(sets() / "alpha");
            std::ofstream(staged->path() / "file") << "x";
            lost += std::filesystem::exists(staged->path() / "file") ? 0 : 1;
        }
    };
    std::atomic<int> lost = 0;
    std::thread other([&] { work(lost); });
    work(lost);
    other.join();
    EXPECT_EQ(lost, 0);
}

TEST_F(PackImporterTest, WhereverAnImportIsKilledASetIsWholeOrNotThere) {
    write("all.wav", steps(50));
    std::string defines;
    for (int code = 1; code <= 50; ++code) {
        defines += (code > 1 ? "," : "") +
                   ("\"" + std::to_string(code) + "\":[" + std::to_string(100 * (code - 1)) + ",100]");
    }
    write("config.json",
          R"({"name":"Sprite","sound":"all.wav","key_define_type":"single","defines":{)" + defines + "}}");
    const auto began = std::chrono::steady_clock::now();
    static_cast<void>(importPack());
    const auto whole = std::chrono::steady_clock::now() - began;
    std::filesystem::remove_all(sets());
    constexpr int kills = 24;
    int wholeSets = 0;
    for (int round = 0; round <= kills; ++round) {
        const pid_t child = fork();
        if (child == 0) {
            static_cast<void>(import(folder.path() / "pack", true));
            _exit(0);
        }
        // At other points of the work each time; the last one is left to end.
        if (round < kills) {
            const auto end = std::chrono::steady_clock::now() + whole * 3 / 2 * round / kills;
            while (std::chrono::steady_clock::now() < end) {
            }
            kill(child, SIGKILL);
        }
        int status = 0;
        waitpid(child, &status, 0);
        for (const std::string& name : installed()) {
            if (!name.starts_with('.')) {
                ++wholeSets;
                EXPECT_EQ(name, "sprite");
                set = SoundSet::load(sets() / name, SoundEngine::renderFormat, audio);
                EXPECT_THAT(blocks(SoundEvent::keyDown(0)), ElementsAre(29));
            }
        }
        EXPECT_LE(installed().size(), 2U) << "each begins by removing what the last one left";
    }
    EXPECT_GT(wholeSets, 0) << "one at least came to its end";
    static_cast<void>(import(folder.path() / "pack", true));
    EXPECT_THAT(installed(), ElementsAre("sprite"));
}

TEST(IdentifierTest, IsSafeWhateverTheNameWas) {
    EXPECT_EQ(identifierFrom("  Cherry MX (Brown)  "), "cherry-mx-brown");
    EXPECT_EQ(identifierFrom("../../etc/passwd"), "etc-passwd");
    EXPECT_EQ(identifierFrom("\xE9\x9D\x92"), "imported-set");
    EXPECT_EQ(identifierFrom(std::string(500, 'a')).size(), 64U);
}

} // namespace
} // namespace keysong::test
