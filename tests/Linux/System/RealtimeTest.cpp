#include "Linux/System/LinuxThreads.h"
#include "Linux/System/RealtimeKit.h"
#include "Linux/System/RealtimeLimit.h"
#include "fakes/FakeRealtimeKit.h"
#include "support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <future>
#include <optional>

namespace keysong::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

/// Long enough for a bus that answers, on any machine.
constexpr auto patience = 1h;

/// The private bus stands for the system's and the session's.
class RealtimeTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(bus.start());
        kit.emplace("org.freedesktop.RealtimeKit1", "/org/freedesktop/RealtimeKit1",
                    "org.freedesktop.RealtimeKit1");
    }

    [[nodiscard]] std::string ask(std::chrono::milliseconds limit = patience) const {
        return askForRealtime({77, 19}, limit, cancelled);
    }

    PrivateBus bus;
    const ScopedVariable systemBus{"DBUS_SYSTEM_BUS_ADDRESS", std::getenv("DBUS_SESSION_BUS_ADDRESS")};
    std::atomic<bool> cancelled = false;
    std::optional<FakeRealtimeKit> kit;
};

TEST_F(RealtimeTest, AsksForThisThreadWithALimitThatWarns) {
    kit->serve();
    EXPECT_EQ(ask(), "real-time priority 19 from RealtimeKit");
    ASSERT_EQ(kit->requests.size(), 1U);
    EXPECT_EQ(kit->requests[0].member, "MakeThreadRealtimeWithPID");
    EXPECT_EQ(kit->requests[0].process, static_cast<std::uint64_t>(getpid()));
    EXPECT_EQ(kit->requests[0].thread, 77U);
    EXPECT_EQ(kit->requests[0].value, 19);
    EXPECT_LE(kit->limitThen.rlim_max, 200'000U);
    EXPECT_LT(kit->limitThen.rlim_cur, kit->limitThen.rlim_max) << "the program would end without a warning";
    kit->limits.highestPriority = 5;
    EXPECT_EQ(ask(), "real-time priority 5 from RealtimeKit");
}

TEST_F(RealtimeTest, WhereThatIsRefusedItTakesLessOrAsksThePortal) {
    FakeRealtimeKit portal("org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
                           "org.freedesktop.portal.Realtime");
    portal.serve();
    kit->grantsRealtime = false;
    kit->serve();
    EXPECT_EQ(ask(), "nice level -11 from RealtimeKit (not you)");
    kit->grantsNice = false;
    EXPECT_EQ(ask(), "real-time priority 19 from the portal");
    portal.grantsRealtime = portal.grantsNice = false;
    EXPECT_EQ(ask(), "no real-time priority (RealtimeKit: not you, the portal: not you)");
}

TEST_F(RealtimeTest, NobodyWaitsForWhoNeverAnswers) {
    // The service, which has its name and no more.
    EXPECT_THAT(ask(100ms),
                testing::StartsWith("no real-time priority (RealtimeKit: no answer, the portal: "));
    // The bus, which lets clients in and no more.
    const std::string path = bus.runtimeFolder() / "mute";
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 5), 0);
    const ScopedVariable mute("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + path).c_str());
    EXPECT_THAT(ask(100ms), testing::StartsWith("no real-time priority (RealtimeKit: no bus, "));
    close(listener);
    const ScopedVariable nowhere("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere");
    EXPECT_THAT(ask(100ms), testing::StartsWith("no real-time priority (RealtimeKit: no bus, "));
}

TEST_F(RealtimeTest, AThreadRunsBeforeItIsRaisedAndTheEndWaitsForNobody) {
    {
        LinuxThreads threads({[](int) { return 0; }, patience});
        std::promise<void> ran;
        std::thread thread =
            threads.start({"long name", "short", ThreadPriority::render}, [&] { ran.set_value(); });
        ran.get_future().wait(); // although RealtimeKit has not answered
        thread.join();
    }
    LogCapture::shared().clear();
    kit->serve();
    LinuxThreads threads({[](int) { return 0; }, patience});
    pid_t number = 0;
    std::thread thread = threads.start({"long name", "tap", ThreadPriority::userInteractive}, [&] {
        number = gettid();
        while (LogCapture::shared().lines(LogLevel::notice).empty()) {
            std::this_thread::yield();
        }
    });
    thread.join();
    EXPECT_THAT(LogCapture::shared().lines(LogLevel::notice),
                ElementsAre("tap: real-time priority 19 from RealtimeKit"));
    EXPECT_EQ(kit->requests.back().thread, static_cast<std::uint64_t>(number));
}

TEST(RealtimeLimit, AThreadThatComputesForTooLongLosesItsPriorityAndTheProgramGoesOn) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer holds signals back while a thread computes";
#endif
    ASSERT_TRUE(limitRealtime(200ms));
    LinuxThreads threads;
    for (int round = 0; round < 2; ++round) {
        int before = 0;
        // It would go on for ever, or end the program.
        threads
            .start({"spin", "spin", ThreadPriority::userInteractive},
                   [&] {
                       before = sched_getscheduler(0) & ~SCHED_RESET_ON_FORK;
                       while ((sched_getscheduler(0) & ~SCHED_RESET_ON_FORK) != SCHED_OTHER) {
                       }
                   })
            .join();
        if (before == SCHED_OTHER) {
            GTEST_SKIP() << "this user's threads may not run in real time";
        }
    }
}

} // namespace
} // namespace keysong::test
