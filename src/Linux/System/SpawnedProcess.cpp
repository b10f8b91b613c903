#include "Linux/System/SpawnedProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
extern "C" { // which the header leaves to its users
#include <sys/pidfd.h>
}

#include <cerrno>
#include <csignal>
#include <system_error>

namespace keysong {

namespace {

/// How the child is to begin.
class Beginning {
  public:
    explicit Beginning(const SpawnedProcess::Setting& setting) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        give(setting.output, STDOUT_FILENO);
        give(setting.errors, STDERR_FILENO);
        int next = SpawnedProcess::inheritedDescriptor;
        if (setting.inherited >= 0) {
            give(setting.inherited, next);
            ++next;
        }
        posix_spawn_file_actions_addclosefrom_np(&actions_, next);
        posix_spawnattr_init(&attributes_);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes_, &signals);
        sigaddset(&signals, SIGPIPE);
        posix_spawnattr_setsigdefault(&attributes_, &signals);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~Beginning() {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&actions_);
    }
    Beginning(const Beginning&) = delete;
    Beginning& operator=(const Beginning&) = delete;

    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};

  private:
    void give(int descriptor, int number) {
        if (descriptor >= 0) {
            // The same number stays open as well.
            posix_spawn_file_actions_adddup2(&actions_, descriptor, number);
        } else {
            posix_spawn_file_actions_addopen(&actions_, number, "/dev/null", O_WRONLY, 0);
        }
    }
};

/// As the functions of C take them: they change nothing of it.
std::vector<char*> pointers(const std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
        result.push_back(const_cast<char*>(text.c_str())); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    }
    result.push_back(nullptr);
    return result;
}

} // namespace

std::vector<std::string> SpawnedProcess::ownEnvironment() {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        result.emplace_back(*entry);
    }
    return result;
}

std::filesystem::path SpawnedProcess::ownProgram(const char* name, const std::filesystem::path& folder) {
    std::error_code error;
    auto beside = std::filesystem::read_symlink("/proc/self/exe", error).parent_path() / name;
    return access(beside.c_str(), X_OK) == 0 ? beside : folder / name;
}

SpawnedProcess::SpawnedProcess(const Setting& setting) {
    const Beginning beginning(setting);
    const auto words = pointers(setting.words);
    const auto environment = pointers(setting.environment);
    pid_t process = 0;
    const int failure = posix_spawn(&process, words.front(), &beginning.actions_, &beginning.attributes_,
                                    words.data(), environment.data());
    if (failure != 0) {
        throw std::system_error(failure, std::generic_category(), setting.words.front());
    }
    process_.reset(pidfd_open(process, 0));
    if (!process_.isOpen()) {
        const int error = errno;
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
        throw std::system_error(error, std::generic_category(), "pidfd_open");
    }
}

std::optional<int> SpawnedProcess::collect() const {
    siginfo_t end{};
    if (waitid(P_PIDFD, static_cast<id_t>(process_.get()), &end, WEXITED | WNOHANG) != 0 || end.si_pid == 0) {
        return std::nullopt;
    }
    return end.si_code == CLD_EXITED ? W_EXITCODE(end.si_status, 0) : W_EXITCODE(0, end.si_status);
}

void SpawnedProcess::signal(int number) const noexcept {
    pidfd_send_signal(process_.get(), number, nullptr, 0);
}

} // namespace keysong
