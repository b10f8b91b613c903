#include "support/PrivateBus.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

namespace keysong::test {

namespace {

bool busAnswers() {
    sd_bus* bus = nullptr;
    const char* name = nullptr;
    const bool answers = sd_bus_open_user(&bus) >= 0 && sd_bus_get_unique_name(bus, &name) >= 0;
    sd_bus_close_unref(bus);
    return answers;
}

} // namespace

PrivateBus::PrivateBus() : address_("unix:path=" + (folder_.path() / "bus").string()) {
    setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
}

PrivateBus::~PrivateBus() {
    kill();
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

bool PrivateBus::start() {
    const pid_t test = getpid();
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(open("/dev/null", O_WRONLY), 2); // it complains of limits that do not matter here
        if (getppid() == test) {
            execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile", "--nosyslog",
                   ("--address=" + address_).c_str(), nullptr);
        }
        _exit(127);
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    while (!busAnswers()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

void PrivateBus::kill() {
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        process_ = -1;
    }
    std::error_code ignored;
    std::filesystem::remove(folder_.path() / "bus", ignored);
}

} // namespace keysong::test
