// The program's side, against the service as a process of its own.

#include "Linux/Listener/ListenerSource.h"

#include "Input/EventTap.h"
#include "Linux/Listener/ListenerAccess.h"
#include "Linux/Listener/ListenerCall.h"
#include "Linux/System/SpawnedProcess.h"
#include "fakes/FakeKeyboardAccess.h"
#include "fakes/PumpedQueue.h"
#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/LogCapture.h"
#include "support/PlainThreads.h"
#include "support/TempFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <csignal>
#include <string>
#include <vector>

namespace keysong::test {
namespace {

using namespace listener;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ListenerSourceTest : public testing::Test {
  protected:
    ListenerSourceTest() {
        EXPECT_EQ(mkfifo((folder.path() / "commands").c_str(), 0600), 0);
        pipe.reset(open((folder.path() / "commands").c_str(), O_RDWR | O_CLOEXEC));
        grantIf(true);
    }

    void grantIf(bool isGranted) {
        folder.write("permissions",
                     "keysong-listener permissions 1\n" + std::string(isGranted ? "1000 tester\n" : ""));
    }
    void startService() {
        std::filesystem::remove(path);
        service.start({KEYSONG_LISTENER_STAND_IN, folder.path()}, {});
        ASSERT_TRUE(eventually([&] { return connectTo(path).isOpen(); }));
    }
    void tell(const std::string& line) {
        const std::string bytes = line + "\n";
        ASSERT_EQ(write(pipe.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    /// Waits until as many events have come, then takes them.
    std::vector<std::string> heard(std::size_t count) {
        std::vector<std::string> result;
        EXPECT_TRUE(eventually([&] {
            const MutexLock lock(mutex);
            return events.size() >= count;
        }));
        const MutexLock lock(mutex);
        std::swap(result, events);
        return result;
    }
    std::unique_ptr<EventTap> startTap() {
        auto tap =
            std::make_unique<EventTap>(source(), threads, [this](SoundEvent event, std::chrono::nanoseconds) {
                const MutexLock lock(mutex);
                events.push_back((event.kind() == SoundEvent::Kind::keyDown ? "down " : "up ") +
                                 std::to_string(event.keyCode()));
            });
        tap->start();
        return tap;
    }
    ListenerSource& source() {
        if (!made) {
            made.emplace(threads, path);
        }
        return *made;
    }
    /// Presses a key until the tap, which may still be connecting, hears it.
    void untilHeard() {
        ASSERT_TRUE(eventually([&] {
            tell("up 99");
            const MutexLock lock(mutex);
            return !events.empty();
        }));
        ASSERT_TRUE(eventually([&] { // all of them
            tell("down 98");
            const MutexLock lock(mutex);
            return events.back() == "down 98";
        }));
        tell("up 98");
        ASSERT_TRUE(eventually([&] {
            const MutexLock lock(mutex);
            return events.back() == "up 98";
        }));
        const MutexLock lock(mutex);
        events.clear();
    }

    TempFolder folder;
    const std::string path = folder.path() / "socket";
    FileDescriptor pipe;
    ChildProcess service;
    PlainThreads threads;
    Mutex mutex;
    std::vector<std::string> events KEYSONG_GUARDED_BY(mutex);
    std::optional<ListenerSource> made;
};

TEST_F(ListenerSourceTest, AccessIsWhatTheServiceSaysAndWithoutOneThereIsNone) {
    EXPECT_FALSE(source().hasAccess());
    EXPECT_EQ(source().createTap(~EventMask{0}, [](const RawEvent&) {}), nullptr);
    grantIf(false);
    startService();
    EXPECT_FALSE(source().hasAccess()) << "asked, and answered";
    service.kill();
    grantIf(true);
    startService();
    EXPECT_TRUE(eventually([&] { return source().hasAccess(); })) << "it asks again by itself";
}

TEST_F(ListenerSourceTest, TheFirstQuestionIsWaitedForSoThatNoWindowAsksInVain) {
    startService();
    EXPECT_TRUE(source().hasAccess());
    made.reset();
    service.pause();
    EXPECT_FALSE(source().hasAccess()) << "one that hangs is given up";
    service.resume();
}

TEST_F(ListenerSourceTest, KeysArriveAndNothingStaysHeldWhenTheScreenIsLockedOrTheServiceIsKilled) {
    startService();
    const auto tap = startTap();
    untilHeard();
    tell("down 1\nup 1\ndown 2\ndown 3");
    EXPECT_THAT(heard(4), ElementsAre("down 1", "up 1", "down 2", "down 3"));
    tell("locked\ndown 4");
    EXPECT_THAT(heard(2), ElementsAre("up 2", "up 3"));
    tell("front\ndown 5");
    EXPECT_THAT(heard(1), ElementsAre("down 5"));

    service.kill();
    EXPECT_THAT(heard(1), ElementsAre("up 5"));
    startService();
    untilHeard();
    tell("down 6\nup 6");
    EXPECT_THAT(heard(2), ElementsAre("down 6", "up 6"));
    EXPECT_THAT(LogCapture::shared().takeErrors(),
                testing::Contains(HasSubstr("has gone; connecting again")));
}

TEST_F(ListenerSourceTest, TakenBackWhileTypingItFallsSilentAndGoesOnWhenItIsGiven) {
    startService();
    const auto tap = startTap();
    untilHeard();
    tell("down 1");
    heard(1);
    EXPECT_FALSE(source().isRevoked());
    PumpedQueue queue;
    FakeKeyboardAccess other;
    ListenerAccess access(queue, threads, other, path);
    const auto answer = [&](bool grant) {
        std::vector<KeyboardAccess::Outcome> outcomes;
        const auto keep = [&](const KeyboardAccess::Result& result) { outcomes.push_back(result.outcome); };
        EXPECT_TRUE(grant ? access.grant(keep) : access.revoke(keep));
        EXPECT_TRUE(queue.runUntil([&] { return !outcomes.empty(); }, [&] { tell("yes"); }));
        return outcomes.front();
    };
    EXPECT_EQ(answer(false), KeyboardAccess::Outcome::granted);
    EXPECT_THAT(heard(1), ElementsAre("up 1"));
    EXPECT_TRUE(eventually([&] { return source().isRevoked(); }));
    tell("down 2");
    {
        ListenerAccess withdrawn(queue, threads, other, path);
        EXPECT_TRUE(withdrawn.grant([](const auto&) { FAIL() << "called after its end"; }));
    }
    EXPECT_EQ(answer(true), KeyboardAccess::Outcome::granted);
    EXPECT_TRUE(eventually([&] { return !source().isRevoked() && source().hasAccess(); }));
    untilHeard();
    EXPECT_EQ(other.questions, 0);
}

TEST_F(ListenerSourceTest, WhoIsRefusedBesideAnotherSeesWhoListensAndTheOtherWhoAsked) {
    startService();
    const auto tap = startTap();
    untilHeard();
    const auto second = fork();
    if (second == 0) {
        ListenerSource mine(threads, path);
        const bool refused = eventually([&] { return !mine.hasAccess(); });
        PacketSocket channel{connectTo(path)};
        channel.send(encoded(Request(Hello())).bytes());
        channel.send(encoded(Request(Listen())).bytes());
        const bool told = eventually([&] {
            const auto message = channel.receive();
            const auto report = message ? decodedReport(*message) : std::nullopt;
            return report && std::holds_alternative<State>(*report) &&
                   std::get<State>(*report).phase == State::Phase::held &&
                   std::get<State>(*report).holder.id == static_cast<std::uint32_t>(getppid());
        });
        _exit(refused && told ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(second, &status, 0), second);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(eventually([&] {
        return testing::Value(LogCapture::shared().lines(LogLevel::notice),
                              testing::Contains(HasSubstr("(process " + std::to_string(second) +
                                                          " of user 1000) wanted to hear")));
    }));
}

TEST_F(ListenerSourceTest, WithoutAServiceTheRightIsAskedForInTheOtherWay) {
    PumpedQueue queue;
    FakeKeyboardAccess other;
    ListenerAccess access(queue, threads, other, path);
    EXPECT_EQ(access.way(), KeyboardAccess::Way::devices);
    EXPECT_TRUE(access.grant([](const auto&) {}));
    EXPECT_EQ(other.questions, 1);
    EXPECT_EQ(access.command(), other.line);
    startService();
    EXPECT_EQ(access.way(), KeyboardAccess::Way::service);
    EXPECT_THAT(access.command(), HasSubstr("keysongctl access grant"));
}

/// The program that is installed, started as the service manager does, by somebody who would like it to
/// believe in a session of theirs.
TEST(ListenerProgramTest, TheInstalledServiceKnowsSessionsFromTheLoginManagerAloneAndCannotBeLookedInto) {
    const TempFolder folder;
    const std::string path = folder.path() / "socket";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    ASSERT_EQ(bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(socket.get(), 8), 0);
    SpawnedProcess::Setting setting;
    setting.words = {"/bin/sh", "-c", "echo $$ >" + path + ".id; LISTEN_PID=$$ exec " KEYSONG_LISTENER};
    setting.environment = {"PATH=/usr/bin:/bin",
                           "LISTEN_FDS=1",
                           "STATE_DIRECTORY=" + folder.path().string(),
                           "XDG_SESSION_ID=1",
                           "XDG_SEAT=seat0",
                           "KEYSONG_SESSION=1",
                           "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + path};
    setting.inherited = socket.get();
    folder.write("permissions", "keysong-listener permissions 1\n1 daemon\n");
    const SpawnedProcess program(setting);
    PacketSocket channel{connectTo(path)};
    channel.send(encoded(Request(Hello())).bytes());
    channel.send(encoded(Request(Listen())).bytes());
    std::optional<State> state;
    EXPECT_TRUE(eventually([&] {
        const auto message = channel.receive();
        const auto report = message ? decodedReport(*message) : std::nullopt;
        if (report && std::holds_alternative<State>(*report)) {
            state = std::get<State>(*report);
        }
        return state.has_value();
    }));
    ASSERT_TRUE(state);
    EXPECT_EQ(state->phase, State::Phase::notGranted);
    std::ifstream idFile(path + ".id");
    std::string id;
    idFile >> id;
    struct stat owner {};
    EXPECT_EQ(stat(("/proc/" + id + "/environ").c_str(), &owner), 0);
    EXPECT_EQ(owner.st_uid, 0U) << "what cannot be dumped belongs to root";
    program.signal(SIGTERM);
    std::optional<int> status;
    EXPECT_TRUE(eventually([&] { return (status = program.collect()).has_value(); }));
    EXPECT_EQ(status, 0) << "it ends as it is asked to";
}

TEST(ListenerProgramTest, TheInstalledServiceLinksNothingButWhatReadsDevicesAndAsksTheBus) {
    const TempFolder folder;
    ChildProcess::Setting setting;
    setting.output = folder.path() / "needed";
    ASSERT_EQ(ChildProcess::run({"objdump", "-p", KEYSONG_LISTENER}, setting), 0);
    std::ifstream file(setting.output);
    std::vector<std::string> needed;
    for (std::string word, before; file >> word; before = word) {
        if (before == "NEEDED") {
            needed.push_back(word.substr(0, word.find(".so")));
        }
    }
    EXPECT_FALSE(needed.empty());
    const std::vector<std::string> allowed{"libinput", "libudev",  "libsystemd", "libstdc++",
                                           "libgcc_s", "libc",     "libm",       "ld-linux-x86-64",
                                           "libasan",  "libubsan", "libtsan"};
    for (const std::string& library : needed) {
        EXPECT_THAT(allowed, testing::Contains(library));
    }
}

} // namespace
} // namespace keysong::test
