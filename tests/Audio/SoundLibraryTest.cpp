#include "Audio/SoundLibrary.h"

#include "Linux/Files/IcuTextOrder.h"
#include "Shared/SoundManifest.h"
#include "fakes/FakePlaces.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>

namespace keysong {
namespace {

namespace fs = std::filesystem;
using test::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

class SoundLibraryTest : public testing::Test {
  protected:
    SoundLibraryTest() {
        places_.homeFolder = folder_.makeFolder("home");
        places_.userDataFolder = folder_.makeFolder("home/data");
        places_.resourcesFolder = folder_.makeFolder("res");
    }

    /// Installs a set; `folder` ends in the set's own folder.
    fs::path install(const fs::path& folder, const std::string& id, const std::string& name) {
        folder_.write(folder / "manifest.json", R"({"id":")" + id + R"(","name":")" + name + R"("})");
        return folder_.path() / folder;
    }

    [[nodiscard]] std::vector<SoundSetInfo> sets() const {
        return SoundLibrary::availableSets(places_, IcuTextOrder(places_));
    }
    [[nodiscard]] std::vector<std::string> names() const {
        std::vector<std::string> result;
        for (const SoundSetInfo& info : sets()) {
            result.push_back(info.name);
        }
        return result;
    }

    test::TempFolder folder_;
    test::FakePlaces places_;
};

TEST_F(SoundLibraryTest, SearchesTheUsersFoldersBeforeTheProgramsOwn) {
    const fs::path data = places_.userDataFolder;
    EXPECT_THAT(SoundLibrary::directories(places_),
                ElementsAre(data / "keysong/Sounds", data / "clikora/Sounds", data / "tolva/Sounds",
                            data / "brume/Sounds", data / "vimp/Sounds", places_.resourcesFolder / "Sounds"));
    EXPECT_EQ(SoundLibrary::directory(places_), places_.resourcesFolder / "Sounds");

    places_.userDataFolder.clear();
    EXPECT_THAT(SoundLibrary::directories(places_), ElementsAre(places_.resourcesFolder / "Sounds"));
    places_.resourcesFolder.clear();
    EXPECT_THAT(SoundLibrary::directories(places_), IsEmpty());
    EXPECT_EQ(SoundLibrary::directory(places_), fs::path());
}

TEST_F(SoundLibraryTest, TheEnvironmentMayNameTheOnlyFolder) {
    const fs::path home = places_.homeFolder;
    const std::vector<std::pair<std::string, fs::path>> rows = {
        {"~/sets", home / "sets"},
        {"~", home},
        {"/abs/sets/", "/abs/sets"},
        {"/", "/"},
        {"rel", fs::current_path() / "rel"},
        {"~other/sets", fs::current_path() / "~other/sets"},
        {"/a/~/b", "/a/~/b"},
    };
    for (const auto& [value, folder] : rows) {
        places_.variables["KEYSONG_SOUNDS_DIR"] = value;
        EXPECT_THAT(SoundLibrary::directories(places_), ElementsAre(folder)) << value;
        EXPECT_EQ(SoundLibrary::directory(places_), folder) << value;
    }
    install("res/Sounds/own", "own", "Own");
    install("home/sets/mine", "mine", "Mine");
    places_.variables["KEYSONG_SOUNDS_DIR"] = "~/sets";
    EXPECT_THAT(names(), ElementsAre("Mine"));
    places_.variables["KEYSONG_SOUNDS_DIR"] = "";
    EXPECT_THAT(names(), ElementsAre("Own"));
}

TEST_F(SoundLibraryTest, TheFirstOfTwoSetsWithOneIdentifierWins) {
    install("res/Sounds/alpha", "alpha", "Program's");
    install("home/data/vimp/Sounds/alpha", "alpha", "Old");
    const fs::path users = install("home/data/keysong/Sounds/alpha", "alpha", "User's");
    EXPECT_THAT(sets(), ElementsAre(SoundSetInfo{"alpha", "User's", users}));
    fs::remove_all(users);
    EXPECT_THAT(names(), ElementsAre("Old"));
}

TEST_F(SoundLibraryTest, SkipsWhatIsNoSetAndReportsBadManifests) {
    const fs::path gamma = install("res/Sounds/beta", "gamma", "Gamma");
    install("res/Sounds/.hidden", "hidden", "Hidden");
    install("home/elsewhere/linked", "linked", "Linked");
    fs::create_directory_symlink(folder_.path() / "home/elsewhere/linked",
                                 folder_.path() / "res/Sounds/linked");
    fs::create_directory_symlink("nowhere", folder_.path() / "res/Sounds/dangling");
    (void)folder_.makeFolder("res/Sounds/without-manifest");
    (void)folder_.makeFolder("res/Sounds/folder-for-manifest/manifest.json");
    folder_.write("res/Sounds/plain-file", "");
    folder_.write("home/data/keysong/Sounds", "a file where a folder is searched");
    const fs::path nameless = folder_.write("res/Sounds/nameless/manifest.json", R"({"id":"nameless"})");
    const fs::path huge =
        folder_.write("res/Sounds/huge/manifest.json", std::string(SoundManifest::largestFileBytes + 1, ' '));

    EXPECT_THAT(sets(), ElementsAre(SoundSetInfo{"gamma", "Gamma", gamma},
                                    SoundSetInfo{"linked", "Linked", folder_.path() / "res/Sounds/linked"}));
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                testing::UnorderedElementsAre("set id \"gamma\" does not match its folder \"beta\"",
                                              "unreadable manifest at " + nameless.string(),
                                              "unreadable manifest at " + huge.string()));
}

TEST_F(SoundLibraryTest, SortsByNameLikeAFileBrowserAndKeepsSearchOrderAmongEquals) {
    install("res/Sounds/a", "a", "Set 10");
    install("res/Sounds/b", "b", "set 2");
    install("res/Sounds/c", "c", "Set 1");
    install("home/data/keysong/Sounds/z", "z", "SET 2");
    EXPECT_THAT(names(), ElementsAre("Set 1", "SET 2", "set 2", "Set 10"));
}

} // namespace
} // namespace keysong
