#include "Linux/Log/LogSinks.h"

#include "Linux/Log/FileLogSink.h"
#include "Linux/Log/JournalLogSink.h"
#include "Linux/System/FileDescriptor.h"
#include "Shared/WholeFile.h"
#include "fakes/FakePlaces.h"
#include "support/PrivateTmpfs.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cstring>
#include <sstream>
#include <thread>

namespace keysong {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

constexpr std::size_t generous = std::size_t{10} << 20U;

LogRecord record(LogLevel level, std::string_view message, std::string_view whole) {
    return {"com.orlen.keysong", "app", level, message, whole};
}

std::vector<std::string> linesOf(const fs::path& file) {
    std::istringstream text(readWholeFile(file, generous));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

unsigned modeOf(const fs::path& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 0777U : 0;
}

TEST(LogLine, IsOneLineWhateverTheMessage) {
    const auto hostile = record(LogLevel::error, "a\nb\x1B[2J\x7F", "whole");
    const std::string line = logLine(hostile, LogPrivacy::redacted);
    EXPECT_THAT(line,
                testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z "
                                      "error com.orlen.keysong/app a\\\\nb\\\\x1b\\[2J\\\\x7f\n"));
    EXPECT_THAT(logLine(hostile, LogPrivacy::whole), HasSubstr("/app whole\n"));
    const std::string endless(1'000'000, 'x');
    EXPECT_LT(logLine(record(LogLevel::info, endless, endless), LogPrivacy::whole).size(), 20'000U);
}

TEST(FileLogSink, KeepsTheLogToTheUserAndPrivateTextOut) {
    const test::TempFolder folder;
    const fs::path path = folder.path() / "state/keysong/keysong.log";
    FileLogSink sink(path, LogPrivacy::redacted);
    EXPECT_FALSE(fs::exists(folder.path() / "state")) << "nothing is made before the first message";
    sink.write(record(LogLevel::notice, "frontmost <private>", "frontmost secret"));
    sink.write(record(LogLevel::info, "second", "second"));
    ASSERT_EQ(linesOf(path).size(), 2U);
    EXPECT_THAT(linesOf(path)[0], HasSubstr("notice com.orlen.keysong/app frontmost <private>"));
    EXPECT_EQ(modeOf(path), 0600U);
    EXPECT_EQ(modeOf(path.parent_path()), 0700U);
}

TEST(FileLogSink, RotatesOnceFullAlsoUnderAnotherWriter) {
    const test::TempFolder folder;
    const fs::path path = folder.path() / "keysong.log";
    constexpr std::int64_t limit = 4000;
    FileLogSink first(path, LogPrivacy::redacted, limit);
    FileLogSink second(path, LogPrivacy::redacted, limit);
    for (int index = 0; index < 100; ++index) {
        const std::string message = "message " + std::to_string(index);
        (index % 2 == 0 ? first : second).write(record(LogLevel::info, message, message));
    }
    const fs::path previous = folder.path() / "keysong.log.1";
    EXPECT_LE(fs::file_size(path), static_cast<std::uintmax_t>(limit));
    EXPECT_LE(fs::file_size(previous), static_cast<std::uintmax_t>(limit));
    // The two files together hold the newest messages, in order and without a gap.
    auto lines = linesOf(previous);
    const auto newest = linesOf(path);
    lines.insert(lines.end(), newest.begin(), newest.end());
    ASSERT_GT(lines.size(), 50U);
    for (std::size_t back = 0; back < lines.size(); ++back) {
        EXPECT_TRUE(lines[lines.size() - 1 - back].ends_with("message " + std::to_string(99 - back)));
    }
    fs::remove(path);
    first.write(record(LogLevel::info, "after removal", "after removal"));
    EXPECT_EQ(linesOf(path).size(), 1U);
}

TEST(FileLogSink, SeveralWritersRotateAFullFileOnlyOnce) {
    constexpr int writers = 4;
    constexpr int messages = 300;
    const std::string text(100, 'x');
    const auto line =
        static_cast<std::int64_t>(logLine(record(LogLevel::info, text, text), LogPrivacy::redacted).size());
    for (int round = 0; round < 20; ++round) {
        const test::TempFolder folder;
        const fs::path path = folder.path() / "keysong.log";
        std::vector<std::thread> threads;
        for (int writer = 0; writer < writers; ++writer) {
            threads.emplace_back([&] {
                // Room for two thirds of all messages: one rotation is due, a second would lose some.
                FileLogSink sink(path, LogPrivacy::redacted, line * writers * messages * 2 / 3);
                for (int index = 0; index < messages; ++index) {
                    sink.write(record(LogLevel::info, text, text));
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        const std::size_t kept = linesOf(path).size() + linesOf(folder.path() / "keysong.log.1").size();
        ASSERT_EQ(kept, static_cast<std::size_t>(writers * messages));
    }
}

TEST(FileLogSink, DropsMessagesWhereThereIsNoPlaceForThem) {
    const test::TempFolder folder;
    folder.write("file", "");
    FileLogSink(folder.path() / "file/keysong/keysong.log", LogPrivacy::redacted)
        .write(record(LogLevel::error, "lost", "lost"));
    ASSERT_EQ(mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
    FileLogSink(folder.path() / "pipe", LogPrivacy::redacted).write(record(LogLevel::error, "lost", "lost"));
    fs::create_symlink(folder.path() / "victim", folder.path() / "link");
    FileLogSink(folder.path() / "link", LogPrivacy::redacted).write(record(LogLevel::error, "lost", "lost"));
    EXPECT_FALSE(fs::exists(folder.path() / "victim"));
}

TEST(LogSinks, StandardErrorOnlyWhenAskedFor) {
    test::FakePlaces places;
    places.variables = {{"KEYSONG_LOG_SINK", "stderr"}, {"KEYSONG_LOG_PRIVATE", "1"}};
    testing::internal::CaptureStderr();
    makeLogSink(places)->write(record(LogLevel::info, "hello <private>", "hello you"));
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::EndsWith("/app hello you\n"));
    places.variables["KEYSONG_LOG_PRIVATE"] = "yes";
    testing::internal::CaptureStderr();
    makeLogSink(places)->write(record(LogLevel::info, "hello <private>", "hello you"));
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::EndsWith("/app hello <private>\n"));
}

/// Takes the journal's place and returns what `write` sends it.
template <typename Write>
std::string receivedByJournal(Write write) {
    fs::create_directories("/run/systemd/journal");
    const FileDescriptor journal(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/run/systemd/journal/socket");
    if (bind(journal.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return {};
    }
    write();
    std::string datagram(65536, '\0');
    const ssize_t size = recv(journal.get(), datagram.data(), datagram.size(), MSG_DONTWAIT);
    datagram.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return datagram;
}

TEST(LogSinks, AJournalGetsEveryField) {
    for (const auto& [privacy, showsPrivate] : {std::pair{"", false}, {"1", true}}) {
        test::inPrivateTmpfs("/run", "", [setting = privacy, shown = showsPrivate] {
            const std::string datagram = receivedByJournal([setting] {
                test::FakePlaces places;
                places.homeFolder = "/run";
                places.variables["KEYSONG_LOG_PRIVATE"] = setting;
                makeLogSink(places)->write(record(LogLevel::error, "no <private>", "no secret"));
            });
            EXPECT_EQ(datagram.find("\nMESSAGE_PRIVATE=no secret\n") != std::string::npos, shown);
            for (const char* const field :
                 {"MESSAGE=no <private>\n", "PRIORITY=3\n", "SYSLOG_IDENTIFIER=keysong\n",
                  "SUBSYSTEM=com.orlen.keysong\n", "CATEGORY=app\n", "LEVEL=error\n"}) {
                EXPECT_THAT(datagram, HasSubstr(field));
            }
            EXPECT_THAT(datagram, testing::Not(HasSubstr("CODE_FILE")));
            EXPECT_FALSE(fs::exists("/run/.local"));
        });
    }
}

TEST(LogSinks, WithoutAJournalMessagesGoToAFileOrNowhere) {
    test::inPrivateTmpfs("/run", "", [] {
        test::FakePlaces places;
        EXPECT_EQ(makeLogSink(places), nullptr);
        places.homeFolder = "/run/home";
        makeLogSink(places)->write(record(LogLevel::info, "one", "one"));
        places.variables["XDG_STATE_HOME"] = "/run/state";
        makeLogSink(places)->write(record(LogLevel::info, "two", "two"));
        EXPECT_EQ(linesOf("/run/home/.local/state/keysong/keysong.log").size(), 1U);
        EXPECT_EQ(linesOf("/run/state/keysong/keysong.log").size(), 1U);
    });
}

} // namespace
} // namespace keysong
