#include "Linux/Files/LinuxDurableFiles.h"

#include "Linux/System/FileDescriptor.h"
#include "Shared/WholeFile.h"
#include "support/PrivateTmpfs.h"
#include "support/TempFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>

namespace keysong {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

unsigned modeOf(const fs::path& path) {
    return static_cast<unsigned>(fs::status(path).permissions());
}

std::string contentOf(const fs::path& path) {
    return readWholeFile(path, std::size_t{1} << 20U);
}

std::vector<std::string> namesIn(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

class LinuxDurableFilesTest : public testing::Test {
  protected:
    const test::TempFolder folder_;
    const fs::path root_ = folder_.path();
    const LinuxDurableFiles files_{};
};

TEST_F(LinuxDurableFilesTest, ReplacedFilesAndTheirNewFoldersAreTheUsersAlone) {
    const fs::path file = root_ / "a/b/file.json";
    files_.replace(file, "first");
    EXPECT_EQ(contentOf(file), "first");
    EXPECT_EQ(modeOf(file), 0600U);
    EXPECT_EQ(modeOf(root_ / "a"), 0700U);
    EXPECT_EQ(modeOf(root_ / "a/b"), 0700U);

    fs::permissions(file, fs::perms(0644));
    fs::permissions(root_ / "a/b", fs::perms(0755));
    files_.replace(file, "second");
    EXPECT_EQ(contentOf(file), "second");
    EXPECT_EQ(modeOf(file), 0600U);
    EXPECT_EQ(modeOf(root_ / "a/b"), 0755U) << "a folder that was there keeps its mode";
    EXPECT_THAT(namesIn(root_ / "a/b"), ElementsAre("file.json"));
}

TEST_F(LinuxDurableFilesTest, LinksStayLinks) {
    folder_.write("dotfiles/target", "old");
    const auto target = root_ / "dotfiles/target";
    const auto link = folder_.makeFolder("config") / "file";
    fs::create_symlink("../dotfiles/middle", link);
    fs::create_symlink("target", root_ / "dotfiles/middle");
    files_.replace(link, "new");
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(contentOf(target), "new");
    EXPECT_THAT(namesIn(root_ / "config"), ElementsAre("file"));

    EXPECT_EQ(files_.setAside(link), root_ / "config/../dotfiles/target.damaged");
    EXPECT_TRUE(fs::is_symlink(link));
    files_.replace(link, "through a link to nothing");
    EXPECT_EQ(contentOf(target), "through a link to nothing");

    fs::create_symlink("loop", root_ / "loop");
    EXPECT_THROW(files_.replace(root_ / "loop", ""), DurableFileError);
}

TEST_F(LinuxDurableFilesTest, AFailureLeavesEverythingAsItWas) {
    folder_.write("file", "text");
    const auto busy = folder_.makeFolder("busy/inside").parent_path();
    for (const fs::path& path : {root_ / "file/below", busy, fs::path("/proc/no/folder/can/be/made/here"),
                                 fs::path("relative"), fs::path()}) {
        EXPECT_THROW(files_.replace(path, "new"), DurableFileError) << path;
    }
    EXPECT_THROW((void)files_.setAside(root_ / "missing"), DurableFileError);
    EXPECT_THAT(namesIn(root_), ElementsAre("busy", "file"));
}

TEST_F(LinuxDurableFilesTest, AFullDiskLeavesTheOldFile) {
    test::inPrivateTmpfs(root_, "size=64k", [this] {
        const fs::path file = root_ / "domain/file";
        const std::string old(10'000, 'o');
        files_.replace(file, old);
        EXPECT_THAT([&] { files_.replace(file, std::string(60'000, 'n')); },
                    testing::ThrowsMessage<DurableFileError>(testing::HasSubstr("No space left on device")));
        EXPECT_EQ(contentOf(file), old);
        EXPECT_THAT(namesIn(file.parent_path()), ElementsAre("file"));
        files_.replace(file, "fits");
        EXPECT_EQ(contentOf(file), "fits");
    });
}

TEST_F(LinuxDurableFilesTest, RemovesWhatKilledWritersLeftAndNothingElse) {
    const auto working = folder_.write(".file.tmp-222222", "of a writer at work");
    const FileDescriptor writer(::open(working.c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(flock(writer.get(), LOCK_EX), 0);
    for (const char* const name : {".file.tmp-111111", ".other.tmp-111111", "file", "file.tmp-111111"}) {
        folder_.write(name, "");
    }
    files_.removeLeftovers(root_ / "file");
    EXPECT_THAT(namesIn(root_),
                ElementsAre(".file.tmp-222222", ".other.tmp-111111", "file", "file.tmp-111111"));
    files_.removeLeftovers(root_ / "missing/file");
}

TEST_F(LinuxDurableFilesTest, FilesSetAsideDoNotReplaceEachOther) {
    for (const char* const content : {"one", "two", "three"}) {
        EXPECT_EQ(contentOf(files_.setAside(folder_.write("file", content))), content);
    }
    EXPECT_THAT(namesIn(root_), ElementsAre("file.damaged", "file.damaged-2", "file.damaged-3"));
    EXPECT_EQ(contentOf(root_ / "file.damaged"), "one");
}

TEST_F(LinuxDurableFilesTest, DatesAreThoseOfTheContent) {
    EXPECT_EQ(files_.modificationDate(root_ / "missing"), std::nullopt);
    const auto file = folder_.write("file", "");
    fs::create_symlink("file", root_ / "link");
    constexpr std::int64_t billion = 1'000'000'000;
    const std::vector<std::pair<timespec, std::int64_t>> rows = {
        {{1'700'000'000, 123}, 1'700'000'000 * billion + 123},
        {{-5, 250}, -5 * billion + 250},
    };
    for (const auto& [time, nanoseconds] : rows) {
        const timespec times[] = {{0, UTIME_OMIT}, time};
        ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
        for (const char* const name : {"file", "link"}) {
            const auto date = files_.modificationDate(root_ / name);
            ASSERT_TRUE(date);
            EXPECT_EQ(date->time_since_epoch().count(), nanoseconds);
        }
    }
}

} // namespace
} // namespace keysong
