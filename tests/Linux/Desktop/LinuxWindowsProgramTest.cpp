#include "Linux/Desktop/LinuxWindowsProgram.h"

#include "Linux/System/FileDescriptor.h"
#include "support/Eventually.h"
#include "support/ScopedVariable.h"
#include "support/TempFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <span>

namespace keysong::test {
namespace {

using testing::HasSubstr;

/// A script stands in for the program.
class LinuxWindowsProgramTest : public testing::Test {
  public:
    std::unique_ptr<WindowsProcess> start(const std::string& script,
                                          const WindowsProgram::Environment& changes = {}) {
        const auto file = folder.write("windows", "#!/bin/sh\n" + script + "\n");
        EXPECT_EQ(chmod(file.c_str(), 0755), 0);
        return LinuxWindowsProgram(file).start(changes);
    }
    [[nodiscard]] std::string textOf(const std::string& name) const {
        std::ifstream file(folder.path() / name);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// Waits for its end as an event loop does.
    static WindowsProcess::End endOf(WindowsProcess& process) {
        std::optional<WindowsProcess::End> end;
        while (!(end = process.end())) {
            pollfd readable{process.descriptor(), POLLIN, 0};
            if (poll(&readable, 1, 20'000) != 1) {
                ADD_FAILURE() << "it does not end";
                break;
            }
            static_cast<void>(process.receive());
        }
        return end.value_or(WindowsProcess::End());
    }
    static std::vector<std::byte> bytes(const std::string& text) {
        const auto view = std::as_bytes(std::span(text));
        return {view.begin(), view.end()};
    }

    TempFolder folder;
};

TEST_F(LinuxWindowsProgramTest, GivesTheProgramAChannelAndTheDisplayAndNothingElse) {
    const ScopedVariable kept("KEYSONG_TEST_KEPT", "kept");
    const ScopedVariable gone("KEYSONG_TEST_GONE", "gone");
    const FileDescriptor leaked(open("/dev/null", O_RDONLY)); // not closed by itself in a child
    const std::string out = folder.path() / "out";
    const auto process = start("exec >" + out +
                                   "; echo \"$1 $KEYSONG_TEST_KEPT $KEYSONG_TEST_GONE $DISPLAY\"; "
                                   "for each in /proc/$$/fd/*; do readlink $each; done; "
                                   // in place of the shell, which blocks signals while it starts others
                                   "exec grep SigBlk /proc/self/status",
                               {{"KEYSONG_TEST_GONE", ""}, {"DISPLAY", ":7"}});
    EXPECT_EQ(endOf(*process).status, 0);
    const std::string text = textOf("out");
    EXPECT_THAT(text, testing::StartsWith("--resident=3 kept  :7\n"));
    EXPECT_THAT(text, HasSubstr("socket:"));
    EXPECT_EQ(std::ranges::count(text, '\n'), 7) << text; // 0, 1, 2, the channel and the script itself
    EXPECT_THAT(text, HasSubstr("SigBlk:\t0000000000000000"));
}

TEST_F(LinuxWindowsProgramTest, MessagesKeepTheirBoundsAndAClosedChannelEndsTheProgram) {
    const auto process = start("exec cat <&3 >&3");
    EXPECT_TRUE(process->send(bytes("one")));
    EXPECT_TRUE(process->send(bytes("another")));
    EXPECT_FALSE(process->send(std::vector<std::byte>(MessageChannel::longestMessage + 1)));
    std::vector<MessageChannel::Message> heard;
    EXPECT_TRUE(eventually([&] {
        if (auto message = process->receive()) {
            heard.push_back(*message);
        }
        return heard.size() == 2;
    }));
    EXPECT_THAT(heard, testing::ElementsAre(bytes("one"), bytes("another")));
    EXPECT_EQ(process->end(), std::nullopt);
    process->close();
    EXPECT_EQ(endOf(*process).status, 0);
    EXPECT_FALSE(process->send(bytes("late")));
}

TEST_F(LinuxWindowsProgramTest, TellsHowTheProgramEnded) {
    EXPECT_EQ(endOf(*start("exit 3")).status, 3);
    const auto stubborn = start("exec sleep 1000");
    stubborn->close();
    stubborn->kill();
    EXPECT_EQ(endOf(*stubborn).signal, SIGKILL);
    const auto talker = start("head -c 3000 /dev/zero >&3");
    std::optional<MessageChannel::Message> message;
    EXPECT_TRUE(eventually([&] { return (message = talker->receive()).has_value(); }));
    EXPECT_TRUE(message->empty()) << "too long";
    EXPECT_EQ(endOf(*talker).status, 0);
    EXPECT_EQ(talker->receive(), std::nullopt);
    EXPECT_TRUE(talker->isClosed());
    EXPECT_THROW(static_cast<void>(LinuxWindowsProgram("/nowhere/windows").start({})), WindowsProgramError);
}

} // namespace
} // namespace keysong::test
