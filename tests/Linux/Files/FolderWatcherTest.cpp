#include "Linux/Files/LinuxFolderWatcher.h"
#include "fakes/PumpedQueue.h"
#include "support/LogCapture.h"
#include "support/PlainThreads.h"
#include "support/PrivateTmpfs.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace keysong::test {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using Paths = std::set<fs::path>;

class FolderWatcherTest : public testing::Test {
  protected:
    /// Returns when the watch stands, of which the first report tells.
    void watch(const std::vector<fs::path>& folders) {
        watcher.watch(folders, [this](const auto& changed) {
            reports.push_back(Paths(changed.begin(), changed.end()));
        });
        EXPECT_THAT(next(), IsEmpty());
    }
    /// The next report; what came before is forgotten.
    Paths next() {
        EXPECT_TRUE(queue.runUntil([&] { return !reports.empty(); }));
        return reports.empty() ? Paths() : std::exchange(reports, {}).front();
    }
    /// Waits until what was done is told of and nothing more comes.
    void awaitSilence() {
        const auto end = std::chrono::steady_clock::now() + LinuxFolderWatcher::settleTime * 2;
        ASSERT_TRUE(queue.runUntil([&] { return std::chrono::steady_clock::now() > end; }));
        reports.clear();
    }

    TempFolder folder;
    PlainThreads threads;
    PumpedQueue queue;
    LinuxFolderWatcher watcher{queue, threads};
    std::vector<Paths> reports;
};

TEST_F(FolderWatcherTest, ABurstIsOneReportAndHiddenFoldersAreNone) {
    const auto sounds = folder.makeFolder("sounds");
    folder.write("sounds/old/manifest.json", "{}");
    watch({sounds});
    // What an import does: fill a hidden folder, then rename it.
    folder.write("sounds/.new.import/a.flac", "x");
    folder.write("sounds/.new.import/manifest.json", "x");
    awaitSilence();
    folder.write("sounds/.new.import/b.flac", "x");
    fs::rename(sounds / ".new.import", sounds / "new");
    EXPECT_THAT(next(), ElementsAre(sounds / "new"));
    // The new folder is watched too, and folders in it.
    folder.write("sounds/new/a.flac", "y");
    folder.write("sounds/new/more/b.flac", "y");
    const Paths changes = next();
    EXPECT_THAT(changes, Contains(sounds / "new/a.flac"));
    folder.write("sounds/new/more/b.flac", "z");
    EXPECT_THAT(next(), ElementsAre(sounds / "new/more/b.flac"));
    fs::remove_all(sounds / "old");
    EXPECT_THAT(next(), Contains(sounds / "old"));
    awaitSilence();
    watcher.watch({}, {});
    folder.write("sounds/new/a.flac", "z");
    awaitSilence();
    EXPECT_THAT(reports, IsEmpty());
}

TEST_F(FolderWatcherTest, AFolderThatComesLeavesAndComesAgainIsFollowed) {
    const auto other = folder.makeFolder("other");
    const auto sounds = folder.path() / "data/product/sounds";
    watch({sounds, other});
    folder.write("data/product/sounds/set/manifest.json", "{}");
    EXPECT_THAT(next(), Contains(folder.path() / "data"));
    folder.write("data/product/sounds/set/a.wav", "x");
    EXPECT_THAT(next(), ElementsAre(sounds / "set/a.wav"));
    folder.write("data/neighbour/file", "x");
    awaitSilence();
    // A folder above is moved away with all of it, and something else takes its place.
    fs::rename(folder.path() / "data", folder.path() / "elsewhere");
    EXPECT_THAT(next(), Contains(sounds));
    folder.write("elsewhere/product/sounds/set/a.wav", "y");
    awaitSilence();
    folder.write("data/product/sounds/set/b.wav", "x");
    static_cast<void>(next());
    folder.write("data/product/sounds/set/b.wav", "y");
    EXPECT_THAT(next(), ElementsAre(sounds / "set/b.wav"));
}

TEST(InotifyFoldersTest, GoesOnWithTheFoldersThatCanBeWatched) {
    const TempFolder folder;
    for (int number = 0; number < 20; ++number) {
        folder.write("sounds/" + std::to_string(number) + "/file", "x");
    }
    // Counted for the user in this namespace: ten watches and no more.
    inPrivateTmpfs(folder.makeFolder("mount"), "size=64k", [&] {
        if (unshare(CLONE_NEWUSER) != 0 ||
            !(std::ofstream("/proc/sys/user/max_inotify_watches") << 10 << std::flush)) {
            _exit(notAllowed);
        }
        InotifyFolders folders({folder.path() / "sounds"});
        EXPECT_EQ(LogCapture::shared().takeErrors().size(), 1U) << "said once";
        folder.write("sounds/new/file", "x");
        EXPECT_THAT(folders.takeChanges(), Contains(folder.path() / "sounds/new"));
        EXPECT_THAT(LogCapture::shared().takeErrors(), IsEmpty());
    });
}

} // namespace
} // namespace keysong::test
