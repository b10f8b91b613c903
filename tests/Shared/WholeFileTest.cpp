#include "Shared/WholeFile.h"

#include "support/TempFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdio>
#include <thread>

namespace keysong {
namespace {

FileReadError::Kind failureOf(const std::filesystem::path& path, std::size_t largestBytes) {
    try {
        (void)readWholeFile(path, largestBytes);
    } catch (const FileReadError& error) {
        EXPECT_NE(std::string(error.what()).find(path.string()), std::string::npos) << error.what();
        return error.kind();
    }
    throw std::logic_error("read " + path.string());
}

TEST(WholeFile, ReadsUpToTheLimit) {
    const test::TempFolder folder;
    const std::string bytes = std::string(100'000, 'x') + '\0' + "end";
    const auto file = folder.write("file", bytes);
    EXPECT_EQ(readWholeFile(file, bytes.size()), bytes);
    EXPECT_EQ(failureOf(file, bytes.size() - 1), FileReadError::Kind::tooLarge);
    EXPECT_EQ(readWholeFile(folder.write("empty", ""), 0), "");
    std::filesystem::create_symlink("file", folder.path() / "link");
    EXPECT_EQ(readWholeFile(folder.path() / "link", bytes.size()), bytes);
}

TEST(WholeFile, RefusesWhatIsNoRegularFileWithoutWaiting) {
    const test::TempFolder folder;
    const auto pipe = folder.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::filesystem::path& path : {pipe, folder.path(), std::filesystem::path("/dev/zero")}) {
        EXPECT_EQ(failureOf(path, 10), FileReadError::Kind::unreadable) << path;
    }
}

TEST(WholeFile, TellsAMissingFileFromOneThatCannotBeRead) {
    const test::TempFolder folder;
    std::filesystem::create_symlink("nowhere", folder.path() / "dangling");
    std::filesystem::create_symlink("loop", folder.path() / "loop");
    for (const char* const name : {"missing", "missing/file", "dangling"}) {
        EXPECT_EQ(failureOf(folder.path() / name, 10), FileReadError::Kind::missing) << name;
    }
    EXPECT_EQ(failureOf(folder.path() / "loop", 10), FileReadError::Kind::unreadable);
}

TEST(WholeFile, APipeThatTakesAFilesPlaceMeanwhileIsNotWaitedFor) {
    const test::TempFolder folder;
    const auto file = folder.write("file", "content");
    const auto pipe = folder.path() / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::atomic<bool> isOver = false;
    std::thread swapping([&] {
        while (!isOver) {
            renameat2(AT_FDCWD, file.c_str(), AT_FDCWD, pipe.c_str(), RENAME_EXCHANGE);
        }
    });
    int files = 0;
    int pipes = 0;
    while (files < 500 || pipes < 500) {
        try {
            EXPECT_EQ(readWholeFile(file, 100), "content");
            ++files;
        } catch (const FileReadError&) {
            ++pipes;
        }
    }
    isOver = true;
    swapping.join();
}

} // namespace
} // namespace keysong
