#include "support/PrivateXServer.h"

#include "Platform/linux/FileDescriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <vector>

namespace keysong::test {

namespace {

/// What the server writes when it is ready: its display number and the end of the line.
std::string readLine(int descriptor) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    std::string line;
    while (!line.ends_with('\n')) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd readable{descriptor, POLLIN, 0};
        char letter = 0;
        if (left.count() <= 0 || poll(&readable, 1, static_cast<int>(left.count())) <= 0 ||
            read(descriptor, &letter, 1) != 1) {
            return {};
        }
        line += letter;
    }
    line.pop_back();
    return line;
}

} // namespace

PrivateXServer::~PrivateXServer() {
    kill();
    if (!display_.empty()) {
        const std::string number = display_.substr(1);
        std::error_code ignored;
        std::filesystem::remove("/tmp/.X11-unix/X" + number, ignored);
        std::filesystem::remove("/tmp/.X" + number + "-lock", ignored);
    }
}

bool PrivateXServer::isInstalled() {
    const char* path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (access((folder + "/Xvfb").c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

bool PrivateXServer::start() {
    std::array<int, 2> pipe{};
    if (pipe2(pipe.data(), O_CLOEXEC) != 0) {
        return false;
    }
    const FileDescriptor readEnd(pipe[0]);
    FileDescriptor writeEnd(pipe[1]);
    std::vector<const char*> arguments{"Xvfb",     "-displayfd",  "1", "-nolisten",     "tcp",
                                       "-noreset", "-screen",     "0", screen_.c_str(), "-ardelay",
                                       "20",       "-arinterval", "10"};
    if (!display_.empty()) {
        arguments.push_back(display_.c_str());
    }
    arguments.push_back(nullptr);
    const pid_t test = getpid();
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(writeEnd.get(), 1);
        dup2(open("/dev/null", O_WRONLY), 2);
        if (getppid() == test) {
            execvp(arguments[0], const_cast<char**>(arguments.data()));
        }
        _exit(127);
    }
    writeEnd.reset();
    const std::string number = readLine(readEnd.get());
    display_ = ":" + number;
    return !number.empty();
}

void PrivateXServer::kill() {
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        process_ = -1;
    }
}

} // namespace keysong::test
