// The helper as root runs it, on users, groups, devices and udev rules of its own.

#include "Shared/WholeFile.h"
#include "support/ChildProcess.h"
#include "support/PrivateTmpfs.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace keysong::test {
namespace {

constexpr const char* output = "/run/output";

/// A machine below /run, bound over the real one: two keyboards and what only looks like one.
constexpr const char* machine = R"(set -e
mkdir -p /run/dev/input /run/etc
mknod -m 666 /run/dev/null c 1 3
cd /run/dev/input
mknod -m 660 event0 c 13 64
mknod -m 660 event1 c 13 65
mknod -m 660 event2 c 1 5
mknod -m 660 mouse0 c 13 32
touch event3
chmod 660 event3
ln -s /run/etc/secret event4
cd /run/etc
for file in passwd group shadow gshadow login.defs nsswitch.conf; do cp -p /etc/$file . || true; done
sed -i '/^input:/d' group gshadow
echo input:x:4300: >>group
echo 'someone:x:4321:4321::/:/bin/sh' >>passwd
echo 'other:x:4322:4322::/:/bin/sh' >>passwd
echo secret >secret
chmod 600 secret
mount --bind /run/dev /dev
mount --bind /run/etc /etc
)";

int shell(const std::string& line) {
    ChildProcess::Setting setting;
    setting.output = output;
    return WEXITSTATUS(ChildProcess::run({"/bin/sh", "-c", line}, setting));
}

std::string textOf(const std::string& path) {
    return readWholeFile(path, 100'000);
}

/// Runs the helper with these variables, a hostile `PATH` among them, and returns its exit code.
int grant(std::map<std::string, std::string> environment, std::vector<std::string> arguments = {}) {
    std::filesystem::remove(output);
    arguments.insert(arguments.begin(), KEYSONG_GRANT_ACCESS);
    ChildProcess::Setting setting;
    setting.output = output;
    setting.environment = {{"PKEXEC_UID", ""}, {"SUDO_UID", ""}, {"PATH", "/run/nothing"}, {"IFS", "0123"}};
    for (auto& [name, value] : environment) {
        setting.environment[name] = value;
    }
    return WEXITSTATUS(ChildProcess::run(arguments, setting));
}

bool canRead(int user, const std::string& file) {
    const std::string as = "setpriv --reuid " + std::to_string(user) + " --regid 65534 --clear-groups test ";
    EXPECT_NE(shell(as + "-w " + file), 0) << "the right to read is enough";
    return shell(as + "-r " + file) == 0;
}

/// Nothing was given to anybody.
bool isUntouched() {
    return shell("getfacl -cp /dev/input/* /etc/secret | grep -q ^user:[^:]") != 0 &&
           shell("grep '^input:' /etc/group | grep -q :$") == 0 && !std::filesystem::exists("/run/udev");
}

/// Runs `body` where only it sees what the helper does.
template <typename Body>
void onOwnMachine(Body body) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    inPrivateTmpfs("/run", "size=1m", [&] {
        if (shell(machine) != 0) {
            std::fputs(textOf(output).c_str(), stderr);
            _exit(notAllowed); // where device nodes cannot be made
        }
        body();
    });
}

TEST(GrantAccessTest, GivesTheCallerAloneTheRightToReadTheInputDevicesAlone) {
    onOwnMachine([] {
        ASSERT_TRUE(isUntouched());
        ASSERT_FALSE(canRead(4321, "/dev/input/event0"));
        for (int round = 0; round < 2; ++round) { // the second time changes nothing
            ASSERT_EQ(grant({{"PKEXEC_UID", "4321"}, {"SUDO_UID", "4322"}}), 0) << textOf(output);
            EXPECT_EQ(textOf(output), "");
            EXPECT_EQ(shell("grep -qx 'input:x:4300:' /etc/group"), 0) << "nobody joins a group";
            EXPECT_TRUE(canRead(4321, "/dev/input/event0"));
            EXPECT_TRUE(canRead(4321, "/dev/input/event1"));
            EXPECT_FALSE(canRead(4322, "/dev/input/event0"));
            for (const char* node : {"event2", "event3", "event4", "mouse0"}) {
                EXPECT_FALSE(canRead(4321, std::string("/dev/input/") + node)) << node;
            }
            EXPECT_EQ(textOf("/run/udev/rules.d/90-keysong-4321.rules"),
                      "ACTION!=\"remove\", SUBSYSTEM==\"input\", KERNEL==\"event*\", "
                      "RUN+=\"/usr/bin/setfacl -m u:4321:r $env{DEVNAME}\"\n");
        }
        ASSERT_EQ(grant({{"SUDO_UID", "4322"}}), 0);
        EXPECT_TRUE(canRead(4322, "/dev/input/event1"));
        EXPECT_TRUE(canRead(4321, "/dev/input/event1"));
    });
}

TEST(GrantAccessTest, RefusesWhomItCannotNameAndChangesNothing) {
    onOwnMachine([] {
        for (const char* user :
             {"", "0", "00", "someone", "-1", "4321 4322", "4321;id", "4323", "99999999999"}) {
            EXPECT_EQ(grant({{"PKEXEC_UID", user}}), 1) << user;
            EXPECT_NE(textOf(output), "") << user;
        }
        EXPECT_EQ(grant({{"PKEXEC_UID", "4321"}}, {"4322"}), 1);
        EXPECT_EQ(grant({{"PKEXEC_UID", "4321"}}, {"--revoke", "4322"}), 1);
        EXPECT_EQ(textOf(output), "keysong-grant-access takes --revoke, --remove or nothing\n");
        ASSERT_TRUE(isUntouched());
    });
}

TEST(GrantAccessTest, TakesBackWhatItGaveTheCallerOrEverybodyAndNothingElse) {
    onOwnMachine([] {
        ASSERT_EQ(shell("setfacl -m u:4323:r /dev/input/event0"), 0); // somebody else's doing
        ASSERT_EQ(grant({{"PKEXEC_UID", "4321"}}), 0) << textOf(output);
        ASSERT_EQ(grant({{"PKEXEC_UID", "4322"}}), 0) << textOf(output);
        for (int round = 0; round < 2; ++round) { // the second time there is nothing to take
            EXPECT_EQ(grant({{"PKEXEC_UID", "4321"}}, {"--revoke"}), 0) << textOf(output);
            EXPECT_EQ(textOf(output), "");
            EXPECT_FALSE(canRead(4321, "/dev/input/event0"));
            EXPECT_FALSE(std::filesystem::exists("/run/udev/rules.d/90-keysong-4321.rules"));
            EXPECT_TRUE(canRead(4322, "/dev/input/event1"));
        }
        // What an earlier version gave stays until an administrator takes it.
        ASSERT_EQ(shell("sed -i 's/^input:.*/input:x:4300:someone/' /etc/group"), 0);
        EXPECT_EQ(grant({{"PKEXEC_UID", "4321"}}, {"--revoke"}), 0);
        EXPECT_NE(textOf(output).find("gpasswd -d someone input"), std::string::npos) << textOf(output);
        EXPECT_EQ(grant({}, {"--remove"}), 0) << textOf(output);
        EXPECT_FALSE(canRead(4322, "/dev/input/event1"));
        EXPECT_TRUE(std::filesystem::is_empty("/run/udev/rules.d"));
        EXPECT_TRUE(canRead(4323, "/dev/input/event0"));
    });
}

TEST(GrantAccessTest, SaysWhatIsMissingAndGivesNothingByHalves) {
    onOwnMachine([] {
        ASSERT_EQ(shell("touch /run/empty; mount --bind /run/empty /usr/bin/setfacl"), 0);
        EXPECT_EQ(grant({{"PKEXEC_UID", "4321"}}), 1);
        EXPECT_EQ(textOf(output), "the program setfacl is missing; install the package acl\n");
        EXPECT_TRUE(isUntouched());
    });
}

} // namespace
} // namespace keysong::test
