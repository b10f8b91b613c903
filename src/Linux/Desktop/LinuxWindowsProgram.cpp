#include "Linux/Desktop/LinuxWindowsProgram.h"

#include "Linux/System/PacketSocket.h"
#include "Linux/System/SpawnedProcess.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace keysong {

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

class Process final : public WindowsProcess {
  public:
    Process(SpawnedProcess process, FileDescriptor socket)
        : process_(std::move(process)), socket_(std::move(socket)), either_(epoll_create1(EPOLL_CLOEXEC)) {
        watch(process_.descriptor());
        watch(socket_.descriptor());
    }

    [[nodiscard]] int descriptor() const noexcept override { return either_.get(); }
    bool send(std::span<const std::byte> message) override { return socket_.send(message); }
    [[nodiscard]] std::optional<Message> receive() override {
        auto message = socket_.receive();
        if (socket_.isClosed()) {
            close(); // or it would be readable for ever
        }
        return message;
    }
    [[nodiscard]] bool isClosed() const noexcept override { return socket_.isClosed(); }
    [[nodiscard]] std::optional<End> end() override {
        if (!end_) {
            if (const auto status = process_.collect()) {
                end_ = WIFEXITED(*status) ? End{WEXITSTATUS(*status), 0} : End{0, WTERMSIG(*status)};
            }
        }
        return end_;
    }
    void close() noexcept override { socket_.close(); }
    void kill() noexcept override { process_.signal(SIGKILL); }

  private:
    void watch(int descriptor) {
        epoll_event event{EPOLLIN, {}};
        if (epoll_ctl(either_.get(), EPOLL_CTL_ADD, descriptor, &event) != 0) {
            fail("epoll");
        }
    }

    SpawnedProcess process_;
    PacketSocket socket_;
    /// Readable when one of the two is.
    FileDescriptor either_;
    std::optional<End> end_;
};

std::vector<std::string> ownEnvironmentWith(const WindowsProgram::Environment& changes) {
    std::vector<std::string> result;
    for (std::string& entry : SpawnedProcess::ownEnvironment()) {
        if (!changes.contains(entry.substr(0, entry.find('=')))) {
            result.push_back(std::move(entry));
        }
    }
    for (const auto& [name, value] : changes) {
        if (!value.empty()) {
            result.push_back(name + "=" + value);
        }
    }
    return result;
}

} // namespace

std::unique_ptr<WindowsProcess> LinuxWindowsProgram::start(const Environment& changes) {
    try {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
            fail("socketpair");
        }
        FileDescriptor ours(ends[0]);
        const FileDescriptor theirs(ends[1]);
        SpawnedProcess::Setting setting;
        setting.words = {executable_, argument + std::to_string(SpawnedProcess::inheritedDescriptor)};
        setting.environment = ownEnvironmentWith(changes);
        setting.output = STDOUT_FILENO;
        setting.errors = STDERR_FILENO;
        setting.inherited = theirs.get();
        return std::make_unique<Process>(SpawnedProcess(setting), std::move(ours));
    } catch (const std::system_error& error) {
        throw WindowsProgramError(error.what());
    }
}

} // namespace keysong
