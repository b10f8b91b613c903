// One program for each user, through quick restarts, hung processes and buses that come, go and hang.

#include "Program/ProgramFixture.h"
#include "support/WaveFile.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>

namespace keysong::test {
namespace {

class LifecycleTest : public ProgramFixture {
  public:
    void SetUp() override {
        ProgramFixture::SetUp();
        setting.environment["DISPLAY"] = "";
    }
    /// Starts a program without waiting for anything.
    void begin(ChildProcess& program, const std::string& log = "log") {
        program.start({executable}, loggingTo(log));
    }
    [[nodiscard]] bool answers() const { return !control({"status"}).empty(); }
};

TEST_F(LifecycleTest, AfterAnEndAndAStartAtOnceExactlyOneRuns) {
    ChildProcess programs[2];
    begin(programs[0]);
    ASSERT_TRUE(eventually([&] { return answers(); }));
    for (int round = 0; round < 12; ++round) {
        ChildProcess& program = programs[round % 2];
        ChildProcess& next = programs[1 - round % 2];
        if (round % 4 < 2) {
            ASSERT_EQ(control({"quit"}), "");
        } else {
            program.signal(SIGTERM);
        }
        begin(next);
        ASSERT_EQ(program.wait(), 0);
        ASSERT_TRUE(eventually([&] { return answers(); })) << "round " << round << "\n" << textOf("log");
    }
}

TEST_F(LifecycleTest, AHungProgramIsNamedAndNothingIsStoredOverIt) {
    ChildProcess program;
    begin(program);
    ASSERT_TRUE(eventually([&] { return answers(); }));
    program.signal(SIGSTOP);
    ChildProcess second;
    begin(second, "second");
    EXPECT_EQ(WEXITSTATUS(second.wait()), 1);
    const std::string name = "process " + std::to_string(program.id());
    EXPECT_NE(textOf("second").find("keysong: Keysong runs already as " + name), std::string::npos)
        << textOf("second");
    program.signal(SIGCONT);
    // One that cannot see the first on its own bus finds the settings in use.
    setting.environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=" + (home.path() / "none").string();
    ChildProcess elsewhere;
    begin(elsewhere, "elsewhere");
    EXPECT_EQ(WEXITSTATUS(elsewhere.wait()), 1);
    EXPECT_NE(textOf("elsewhere").find(name), std::string::npos) << textOf("elsewhere");
    EXPECT_EQ(textOf("elsewhere").find("engine started"), std::string::npos);
}

TEST_F(LifecycleTest, TakesItsNameAgainWhenTheBusComesBack) {
    ChildProcess program;
    begin(program);
    ASSERT_TRUE(eventually([&] { return answers(); }));
    bus.kill();
    EXPECT_FALSE(answers());
    ASSERT_TRUE(bus.start());
    EXPECT_TRUE(eventually([&] { return answers(); })) << textOf("log");
    EXPECT_EQ(control({"quit"}), "");
    EXPECT_EQ(program.wait(), 0);
}

TEST_F(LifecycleTest, StartsAndEndsWithABusThatNeverAnswers) {
    const std::string path = home.path() / "silent";
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path);
    std::memcpy(address.sun_path, path.c_str(), path.size());
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener, 8), 0);
    setting.environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=" + path;
    ChildProcess program;
    begin(program);
    EXPECT_TRUE(eventually([&] { return textOf("log").find("engine started") != std::string::npos; }))
        << textOf("log");
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    ::close(listener);
}

TEST_F(LifecycleTest, StrangersFilesAreReadByAnotherProgramAndNothingOfKeysIsLeft) {
    const auto sounds = home.path() / ".local/share/keysong/Sounds";
    for (const char* const name : {"one", "two"}) {
        const auto set = sounds / name;
        std::filesystem::create_directories(set);
        std::ofstream(set / "a.wav") << waveBytes(sine(1000, 4800, 48000));
        std::ofstream(set / "manifest.json")
            << R"({"schema":1,"id":")" << name << R"(","name":"Name","defaults":{"down":["a.wav"]}})";
    }
    ChildProcess program;
    begin(program);
    ASSERT_TRUE(eventually([&] { return answers(); }));
    const auto logs = [&](const char* words) { return textOf("log").find(words) != std::string::npos; };
    static_cast<void>(control({"set", "one"}));
    EXPECT_TRUE(eventually([&] { return logs("loaded sound set one"); })) << textOf("log");
    const std::string folder = "/proc/" + std::to_string(program.id());
    // What it was started for is done.
    EXPECT_TRUE(eventually([&] {
        std::string children;
        std::getline(std::ifstream(folder + "/task/" + std::to_string(program.id()) + "/children"), children);
        return children.empty();
    }));
    std::ifstream limits(folder + "/limits");
    const std::string all{std::istreambuf_iterator<char>(limits), {}};
    EXPECT_NE(all.find("Max core file size        0 "), std::string::npos) << all;
    EXPECT_EQ(control({"quit"}), "");
    ASSERT_EQ(program.wait(), 0);
    EXPECT_FALSE(logs("this log shows each key"));
    // Without the other program nobody reads them.
    setting.environment["KEYSONG_LOG"] = "1";
    executable = home.path() / "bin/keysong";
    std::filesystem::create_directories(home.path() / "bin");
    std::filesystem::copy_file(KEYSONG_PROGRAM, executable);
    std::filesystem::remove(home.path() / "log");
    begin(program);
    ASSERT_TRUE(eventually([&] { return answers(); }));
    static_cast<void>(control({"set", "two"}));
    EXPECT_TRUE(eventually([&] { return logs("sound set two failed to load"); })) << textOf("log");
    EXPECT_TRUE(logs("this log shows each key"));
    EXPECT_TRUE(logs("cannot read a.wav: the decoder does not start")) << textOf("log");
}

} // namespace
} // namespace keysong::test
