// What the listener service adds between a device and the program's event tap: events that a pipe carries,
// stamped as they are written, read by a run loop in this process, and by the service in a process of its
// own. In microseconds.

#include "Input/EventTap.h"
#include "Linux/Listener/ListenerProgram.h"
#include "Linux/Listener/ListenerSource.h"
#include "Linux/Listener/SocketPeers.h"
#include "Linux/System/LinuxThreads.h"
#include "Linux/System/MonotonicClock.h"
#include "fakes/FakeListenerFacts.h"
#include "support/Eventually.h"
#include "support/TempFolder.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include "Spread.h"

namespace keysong::bench {
namespace {

using namespace listener;

constexpr int events = 3000;
constexpr std::chrono::milliseconds pause{3};

struct Pipe {
    Pipe() {
        std::array<int, 2> both{-1, -1};
        if (pipe2(both.data(), O_CLOEXEC) == 0) {
            out.reset(both[0]);
            in.reset(both[1]);
        }
    }
    FileDescriptor out;
    FileDescriptor in;
};

/// An event for each one that a pipe carries, as a device's descriptor would.
bool deliverFrom(EpollRunLoop& loop, int pipe, const RawEventHandler& handler) {
    return loop.watch(pipe, [pipe, handler] {
        RawEvent event;
        std::int64_t time = 0;
        if (read(pipe, &time, sizeof time) == sizeof time) {
            event.type = RawEventType::keyDown;
            event.time = std::chrono::nanoseconds(time);
            handler(event);
        }
    });
}

class PipeTap final : public InputTap {
  public:
    PipeTap(int pipe, RawEventHandler handler) : pipe_(pipe), handler_(std::move(handler)) {}
    std::unique_ptr<RunLoop> makeRunLoop() override {
        auto loop = EpollRunLoop::make();
        return deliverFrom(*loop, pipe_, handler_) ? std::move(loop) : nullptr;
    }
    void enable() override {}
    [[nodiscard]] bool isEnabled() const override { return true; }

  private:
    const int pipe_;
    const RawEventHandler handler_;
};

class PipeSource final : public InputSource {
  public:
    explicit PipeSource(int pipe) : pipe_(pipe) {}
    [[nodiscard]] bool hasAccess() const override { return true; }
    std::unique_ptr<InputTap> createTap(EventMask, RawEventHandler handler) override {
        return std::make_unique<PipeTap>(pipe_, std::move(handler));
    }

  private:
    const int pipe_;
};

/// Opened, its pipe is read on a thread as devices are.
class PipeDevices final : public Devices {
  public:
    PipeDevices(LinuxThreads& threads, int pipe) : threads_(threads), pipe_(pipe) {}
    std::unique_ptr<OpenDevices> open(const std::string&, RawEventHandler handler,
                                      std::function<void()>) override {
        return std::make_unique<Opened>(threads_, pipe_, handler);
    }
    [[nodiscard]] std::size_t keyboards() const override { return 1; }

  private:
    class Opened final : public OpenDevices {
      public:
        Opened(LinuxThreads& threads, int pipe, const RawEventHandler& handler)
            : loop_(EpollRunLoop::make()) {
            deliverFrom(*loop_, pipe, handler);
            thread_ = threads.start({"listener", "listener", ThreadPriority::userInteractive},
                                    [this] { loop_->run(); });
        }
        ~Opened() override {
            loop_->stop();
            thread_.join();
        }

      private:
        std::unique_ptr<EpollRunLoop> loop_;
        std::thread thread_;
    };

    LinuxThreads& threads_;
    const int pipe_;
};

/// The service, as a process of its own that ends with this one.
void serve(const std::string& path, int pipe) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const auto loop = EpollRunLoop::make();
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(socket.get(), 8) != 0) {
        return;
    }
    LinuxThreads threads;
    SocketPeers peers;
    test::FakeSessions sessions;
    sessions.all = {{"a", {getuid(), "seat0", true, false}}};
    sessions.processes = {{static_cast<std::uint32_t>(getppid()), "a"}};
    test::FakeAuthority authority;
    test::FakePermissions permissions;
    permissions.users = {getuid()};
    PipeDevices devices(threads, pipe);
    serveListeners(*loop, socket.get(), {peers, sessions, authority, permissions, devices},
                   std::chrono::hours(1));
}

void measure(const char* what, InputSource& source, LinuxThreads& threads, int pipe) {
    const MonotonicClock clock;
    std::vector<double> delays;
    delays.reserve(events);
    std::atomic<int> heard = 0;
    EventTap tap(source, threads, [&](SoundEvent, std::chrono::nanoseconds time) {
        if (delays.size() < events) {
            delays.push_back(static_cast<double>((clock.now() - time).count()) / 1e3);
        }
        ++heard;
    });
    tap.start();
    std::this_thread::sleep_for(std::chrono::milliseconds(300)); // the priority comes a moment later
    for (int i = 0; i < events; ++i) {
        const std::int64_t now = clock.now().count();
        if (write(pipe, &now, sizeof now) != sizeof now) {
            break;
        }
        std::this_thread::sleep_for(pause);
    }
    if (!test::eventually([&] { return heard >= events; })) {
        std::printf("%d of %d events were heard\n", heard.load(), events);
    }
    printSpread(what, delays);
}

int run() {
    const test::TempFolder folder;
    const std::string path = folder.path() / "socket";
    const Pipe direct;
    const Pipe served;
    const pid_t service = fork();
    if (service == 0) {
        serve(path, served.out.get());
        _exit(0);
    }
    LinuxThreads threads;
    for (int round = 0; round < 2; ++round) {
        PipeSource own(direct.out.get());
        measure("direct, us", own, threads, direct.in.get());
        ListenerSource through(threads, path);
        if (!test::eventually([&] { return through.hasAccess(); })) {
            std::puts("the service does not answer");
            break;
        }
        measure("through the service, us", through, threads, served.in.get());
    }
    kill(service, SIGKILL);
    waitpid(service, nullptr, 0);
    return 0;
}

} // namespace
} // namespace keysong::bench

int main() {
    return keysong::bench::run();
}
