#include "support/ChildProcess.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <sstream>
#include <string_view>

namespace keysong::test {

namespace {

std::vector<char*> pointers(const std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (const std::string& text : texts) {
        result.push_back(const_cast<char*>(text.c_str()));
    }
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> environmentWith(const std::map<std::string, std::string>& changes) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        if (!changes.contains(std::string(text.substr(0, text.find('='))))) {
            result.emplace_back(text);
        }
    }
    for (const auto& [name, value] : changes) {
        if (!value.empty()) {
            result.push_back(name + "=" + value);
        }
    }
    return result;
}

bool becomeUser(uid_t user) {
    // The group and the groups of root would be rights of root.
    return setgroups(0, nullptr) == 0 && setresgid(user, user, user) == 0 && setresuid(user, user, user) == 0;
}

} // namespace

bool ChildProcess::isInstalled(const std::string& program) {
    if (program.find('/') != std::string::npos) {
        return access(program.c_str(), X_OK) == 0;
    }
    const char* path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (access((folder + "/" + program).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

uid_t ChildProcess::ordinaryUser() {
    constexpr uid_t nobody = 65534;
    return geteuid() == 0 ? nobody : geteuid();
}

void ChildProcess::start(const std::vector<std::string>& words, const Setting& setting) {
    kill();
    const auto arguments = pointers(words);
    const auto texts = environmentWith(setting.environment);
    const auto environment = pointers(texts);
    const uid_t user = setting.dropRoot ? ordinaryUser() : geteuid();
    const pid_t test = getpid();
    process_ = fork();
    if (process_ == 0) {
        const int in = open("/dev/null", O_RDONLY);
        const int out = open(setting.output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        dup2(in, 0);
        dup2(out, 1);
        dup2(out, 2);
        const bool ready = user == geteuid() || becomeUser(user);
        prctl(PR_SET_PDEATHSIG, SIGKILL); // after the change of user, which resets it
        if (ready && getppid() == test) {
            execvpe(arguments[0], arguments.data(), environment.data());
        }
        _exit(127);
    }
}

void ChildProcess::signal(int number) const {
    if (process_ > 0) {
        ::kill(process_, number);
    }
}

void ChildProcess::kill() {
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        wait();
    }
}

void ChildProcess::pause() const {
    if (process_ > 0) {
        ::kill(process_, SIGSTOP);
    }
}

void ChildProcess::resume() const {
    if (process_ > 0) {
        ::kill(process_, SIGCONT);
    }
}

void ChildProcess::interrupt() {
    if (process_ > 0) {
        ::kill(process_, SIGINT);
        wait();
    }
}

bool ChildProcess::hasEnded() const {
    siginfo_t info{};
    return process_ <= 0 ||
           (waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
            info.si_pid == process_);
}

int ChildProcess::wait() {
    int status = -1;
    if (process_ > 0) {
        waitpid(process_, &status, 0);
        process_ = -1;
    }
    return status;
}

int ChildProcess::run(const std::vector<std::string>& words, const Setting& setting) {
    ChildProcess process;
    process.start(words, setting);
    return process.wait();
}

} // namespace keysong::test
