// keysong-lateness [BUSY [PRESSES [USER]]]: which of the program's threads is late, and by how much, while
// BUSY other threads compute. A timer stands for the keyboard: like a key it is an interrupt whose time the
// kernel knows. The thread that waits for it is started as the event tap's, hits go through the mixer, and
// the output is PipeWire's in a world of its own. Every other hit is placed by the timer's time, the rest by
// the arrival. With a USER (a number) the program's side runs as that one, with its rights; the sound server
// keeps those of the caller.

#include "Audio/Mixer.h"
#include "Linux/Sound/AudioOutputFactories.h"
#include "Linux/System/FileDescriptor.h"
#include "Linux/System/LinuxThreads.h"
#include "Linux/System/MonotonicClock.h"
#include "Shared/Log.h"
#include "support/Eventually.h"
#include "support/PrivatePipeWire.h"

#include <poll.h>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <stdexcept>
#include <vector>

#include "Spread.h"

namespace keysong::bench {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

/// Shows what the program logs of its threads.
struct StdoutSink final : LogSink {
    void write(const LogRecord& record) noexcept override {
        std::printf("  %.*s\n", static_cast<int>(record.message.size()), record.message.data());
    }
};

/// The mixer, with notes of when it was called and when something sounded. Room is made before.
class Watched final : public AudioRenderer {
  public:
    explicit Watched(std::size_t cycles) : wakeUps(cycles), sounds(cycles) {}

    void render(const IoCycle& cycle, float* left, float* right) noexcept override {
        const nanoseconds now = clock.now();
        mixer.render(cycle, left, right);
        const auto* const first =
            std::find_if(left, left + cycle.frameCount, [](float frame) { return frame != 0; });
        if (noted < wakeUps.size() && listens) {
            wakeUps[noted++] = milliseconds(now - nanoseconds(cycle.startNanoseconds));
        }
        if (const std::size_t at = heard; first != left + cycle.frameCount && at < sounds.size()) {
            sounds[at] = nanoseconds(cycle.startNanoseconds + std::llround(static_cast<double>(first - left) *
                                                                           cycle.nanosecondsPerFrame));
            heard = at + 1;
        }
    }

    Mixer mixer{{}};
    MonotonicClock clock;
    std::atomic<bool> listens = false;
    std::vector<double> wakeUps;
    std::vector<nanoseconds> sounds;
    std::atomic<std::size_t> noted = 0;
    std::atomic<std::size_t> heard = 0;
};

/// A timer as keyboard: returns after it went off; the time at which it did is the kernel's.
class Keyboard {
  public:
    nanoseconds pressAfter(nanoseconds pause) {
        const nanoseconds time = clock_.now() + pause;
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
        itimerspec times{};
        times.it_value = {seconds.count(), (time - seconds).count()};
        timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &times, nullptr);
        pollfd waiting{timer_.get(), POLLIN, 0};
        while (poll(&waiting, 1, -1) != 1) {
        }
        std::uint64_t count = 0;
        [[maybe_unused]] const auto size = read(timer_.get(), &count, sizeof count);
        return time;
    }

  private:
    MonotonicClock clock_;
    FileDescriptor timer_{timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC)};
};

void become(uid_t user, const std::filesystem::path& runtime) {
    std::filesystem::permissions(runtime.parent_path(), std::filesystem::perms::all);
    for (const auto& entry : std::filesystem::directory_iterator(runtime)) {
        std::filesystem::permissions(entry.path(), std::filesystem::perms::all);
    }
    std::filesystem::permissions(runtime, std::filesystem::perms::all);
    if (setresgid(user, user, user) != 0 || setresuid(user, user, user) != 0) {
        throw std::runtime_error("may not become that user");
    }
}

void measure(int busy, std::size_t presses) {
    LinuxThreads threads;
    MonotonicClock clock;
    auto output = audioOutputFactories(threads, clock).front().make();
    Watched watched(presses * 40);
    output->setRenderer(&watched);
    static_cast<void>(output->requestBufferFrames(128));
    watched.mixer.prepare(48000);
    output->start();
    if (!test::eventually([&] { return output->isRendering(); })) {
        throw std::runtime_error("the output does not play");
    }
    std::atomic<bool> ending = false;
    std::vector<std::thread> load;
    for (int i = 0; i < busy; ++i) {
        load.push_back(threads.start({"busy", "busy"}, [&] {
            while (!ending) {
            }
        }));
    }
    const SampleBuffer click(std::vector<float>{0.5F});
    std::vector<double> taps;
    std::vector<double> byArrival;
    std::vector<double> byEvent;
    std::size_t lost = 0;
    auto tap = threads.start({"eventtap", "eventtap", ThreadPriority::userInteractive}, [&] {
        Keyboard keyboard;
        std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same run every time
        std::this_thread::sleep_for(2s);
        watched.listens = true;
        for (std::size_t i = 0; i < presses; ++i) {
            const std::size_t before = watched.heard;
            const nanoseconds pressed =
                keyboard.pressAfter(15ms + std::chrono::microseconds(random() % 6000));
            const nanoseconds arrival = watched.clock.now();
            const bool isByEvent = i % 2 == 0;
            static_cast<void>(
                watched.mixer.schedule({(isByEvent ? pressed : arrival).count(), 0, &click, 1, 1, nullptr}));
            taps.push_back(milliseconds(arrival - pressed));
            keyboard.pressAfter(20ms);
            if (watched.heard == before + 1) {
                (isByEvent ? byEvent : byArrival).push_back(milliseconds(watched.sounds[before] - pressed));
            } else {
                ++lost;
            }
        }
    });
    tap.join();
    ending = true;
    for (std::thread& thread : load) {
        thread.join();
    }
    output->stop();
    output->setRenderer(nullptr);
    watched.wakeUps.resize(watched.noted);
    printSpread("tap thread after the event, ms", taps);
    printSpread("render thread after the cycle's start, ms", watched.wakeUps);
    printSpread("event to sound, placed by the arrival, ms", byArrival);
    printSpread("event to sound, placed by the event, ms", byEvent);
    std::printf("%-44s %zu\n", "presses without a sound of their own", lost);
}

/// Measures as another user, in a process of its own: this one may still end the sound server.
void measureAs(uid_t user, int busy, std::size_t presses) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        int status = 0;
        try {
            become(user, std::getenv("XDG_RUNTIME_DIR"));
            measure(busy, presses);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "keysong-lateness: %s\n", error.what());
            status = 1;
        }
        std::fflush(nullptr);
        _exit(status);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) < 0 || status != 0) {
        throw std::runtime_error("nothing was measured as that user");
    }
}

} // namespace
} // namespace keysong::bench

int main(int count, char** words) {
    const auto number = [&](int index, int otherwise) {
        return count > index ? std::atoi(words[index]) : otherwise;
    };
    try {
        keysong::bench::StdoutSink sink;
        keysong::Logger::setSink(&sink);
        std::ifstream load("/proc/loadavg");
        std::string before;
        load >> before;
        keysong::test::PrivatePipeWire server;
        if (!server.start()) {
            throw std::runtime_error("no sound server to be had");
        }
        const int busy = number(1, 0);
        const auto presses = static_cast<std::size_t>(number(2, 500));
        if (count > 3) {
            keysong::bench::measureAs(static_cast<uid_t>(number(3, 0)), busy, presses);
        } else {
            keysong::bench::measure(busy, presses);
        }
        std::printf("load of the machine: %s before, measured on %u processors\n", before.c_str(),
                    std::thread::hardware_concurrency());
        keysong::Logger::setSink(nullptr);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "keysong-lateness: %s\n", error.what());
        return 1;
    }
    return 0;
}
