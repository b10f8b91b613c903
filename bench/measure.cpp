// keysong-measure FOLDER [--quick | --press]: measures the built programs in FOLDER from outside, in a world
// of their own: a bus, an X server with a keyboard, and a PipeWire server with a sink. See script/measure.

#include "support/Eventually.h"
#include "support/WaveFile.h"
#include "support/XTestClient.h"

#include <linux/input-event-codes.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <random>
#include <sstream>
#include <thread>

#include "MonitorListener.h"
#include "Spread.h"
#include "World.h"

namespace keysong::bench {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;
using test::eventually;

constexpr const char* sink = "test.sink.a";

/// Presses and releases a key of a keyboard.
class Hands {
  public:
    explicit Hands(const World& world) : client_(world.display()) {}
    void press() const { client_.key(keyboard_, KEY_A, true); }
    void release() const { client_.key(keyboard_, KEY_A, false); }

  private:
    const test::XTestClient client_;
    const test::XTestClient::DeviceId keyboard_ = client_.deviceNamed("Xvfb keyboard");
};

/// Somebody types from before the start on; the first sound that comes out counts.
void measureStart(World& world, const Hands& hands, int rounds) {
    MonitorListener listener(sink);
    if (!eventually([&] { return listener.listens(); })) {
        throw std::runtime_error("nothing is heard of the sink");
    }
    std::vector<double> engine;
    std::vector<double> sound;
    for (int round = 0; round < rounds; ++round) {
        static_cast<void>(listener.take());
        const nanoseconds start = world.launch();
        std::optional<nanoseconds> engineTime;
        std::vector<nanoseconds> heard;
        while (now() - start < 10s && (heard.empty() || !engineTime)) {
            hands.press();
            hands.release();
            if (!engineTime && world.hasLogged("engine started")) {
                engineTime = now();
            }
            const auto begins = listener.take();
            heard.insert(heard.end(), begins.begin(), begins.end());
            std::this_thread::sleep_for(2ms);
        }
        if (engineTime && !heard.empty()) {
            engine.push_back(milliseconds(*engineTime - start));
            sound.push_back(milliseconds(heard.front() - start));
        }
        world.quit();
    }
    printSpread("launch to running engine, ms", engine);
    printSpread("launch to first sound at the sink, ms", sound);
}

void measurePress(World& world, const Hands& hands, int presses) {
    MonitorListener listener(sink);
    world.launchAndSettle();
    std::vector<double> delays;
    int silent = 0;
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same run every time
    for (int i = 0; i < presses; ++i) {
        static_cast<void>(listener.take());
        const nanoseconds pressed = now();
        hands.press();
        std::this_thread::sleep_for(40ms + std::chrono::microseconds(random() % 5000));
        const auto begins = listener.take();
        const auto begin =
            std::find_if(begins.begin(), begins.end(), [&](nanoseconds time) { return time > pressed; });
        if (begin != begins.end()) {
            delays.push_back(milliseconds(*begin - pressed));
        } else {
            ++silent;
        }
        hands.release();
        std::this_thread::sleep_for(60ms);
    }
    printSpread("press to sound at the sink, ms", delays);
    std::printf("%-44s %d\n", "presses without a sound", silent);
    world.quit();
}

void printMemory(const char* what, const ProcessFigures& figures) {
    std::printf("%-44s PSS %6.2f MiB  private %6.2f MiB  threads %d  descriptors %d\n", what,
                static_cast<double>(figures.pssKib) / 1024, static_cast<double>(figures.privateKib) / 1024,
                figures.threads, figures.descriptors);
}

void measureMemory(World& world, int windows) {
    world.launchAndSettle();
    printMemory("after the start", world.figures());
    for (int i = 0; i < windows; ++i) {
        world.control({"settings"});
        if (!eventually([&] { return world.windows().has_value(); }, 5s)) {
            std::printf("the settings did not open\n");
            break;
        }
        std::this_thread::sleep_for(1s);
        if (i == 0) {
            printMemory("the windows' program", ProcessFigures::of(*world.windows()));
        }
        ::kill(*world.windows(), SIGTERM);
        static_cast<void>(eventually([&] { return !world.windows(); }, 5s));
    }
    printMemory("after the windows were open", world.figures());
    const auto sets = world.sets();
    for (const std::string& set : sets) {
        world.control({"preview", set});
        std::this_thread::sleep_for(700ms);
    }
    printMemory(("after " + std::to_string(sets.size()) + " sets were played").c_str(), world.figures());
    for (int i = 0; i < 3; ++i) {
        const std::string name = "pack" + std::to_string(i);
        world.home().write(name + "/a.wav", test::waveBytes(test::sine(500, 4800, 48000), {}));
        world.control({"import", world.home().path() / name});
        std::this_thread::sleep_for(500ms);
    }
    world.control({"set", sets.front()});
    std::this_thread::sleep_for(2s);
    printMemory("after the evening", world.figures());
    world.quit();
}

void printLoad(const char* what, const ProcessFigures& before, const ProcessFigures& after, double seconds) {
    std::printf("%-44s %6.2f ms of CPU a second, %5.0f wake-ups a second\n", what,
                static_cast<double>(after.cpuNanoseconds - before.cpuNanoseconds) / 1e6 / seconds,
                static_cast<double>(after.wakeups - before.wakeups) / seconds);
}

void measureLoad(World& world, const Hands& hands, int seconds) {
    world.launchAndSettle();
    hands.press();
    hands.release();
    std::this_thread::sleep_for(1s);
    ProcessFigures before = world.figures();
    ProcessFigures server = ProcessFigures::of(world.sound().serverId());
    std::this_thread::sleep_for(8s);
    printLoad("awake, nobody types", before, world.figures(), 8);
    printLoad("  the sound server meanwhile", server, ProcessFigures::of(world.sound().serverId()), 8);
    std::this_thread::sleep_for(4s);
    before = world.figures();
    server = ProcessFigures::of(world.sound().serverId());
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    printLoad("asleep", before, world.figures(), seconds);
    printLoad("  the sound server meanwhile", server, ProcessFigures::of(world.sound().serverId()), seconds);
    before = world.figures();
    for (const auto end = steady_clock::now() + std::chrono::seconds(seconds); steady_clock::now() < end;) {
        hands.press();
        std::this_thread::sleep_for(50ms);
        hands.release();
        std::this_thread::sleep_for(50ms);
    }
    printLoad("10 keys a second", before, world.figures(), seconds);
    world.quit();
}

/// The sink runs all the while, since somebody listens to it.
void measureWaking(World& world, const Hands& hands, int rounds) {
    MonitorListener listener(sink);
    world.launchAndSettle();
    std::vector<double> delays;
    for (int i = 0; i < rounds; ++i) {
        std::this_thread::sleep_for(12s);
        static_cast<void>(listener.take());
        const nanoseconds pressed = now();
        hands.press();
        std::this_thread::sleep_for(200ms);
        const auto begins = listener.take();
        if (!begins.empty()) {
            delays.push_back(milliseconds(begins.front() - pressed));
        }
        hands.release();
    }
    printSpread("first press after sleep to sound, ms", delays);
    std::printf("%-44s %d\n", "first presses without a sound", rounds - static_cast<int>(delays.size()));
    world.quit();
}

} // namespace
} // namespace keysong::bench

int main(int count, char** words) {
    const std::string_view extent = count > 2 ? words[2] : "";
    const bool isQuick = extent == "--quick";
    if (count < 2) {
        std::fputs("usage: keysong-measure FOLDER [--quick | --press]\n", stderr);
        return 2;
    }
    try {
        std::ifstream load("/proc/loadavg");
        std::string before;
        load >> before;
        keysong::bench::World world(words[1]);
        const keysong::bench::Hands hands(world);
        if (extent == "--press") {
            keysong::bench::measurePress(world, hands, 500);
        } else {
            keysong::bench::measureStart(world, hands, isQuick ? 5 : 20);
            keysong::bench::measurePress(world, hands, isQuick ? 50 : 500);
            keysong::bench::measureMemory(world, isQuick ? 2 : 10);
            keysong::bench::measureLoad(world, hands, isQuick ? 10 : 60);
            keysong::bench::measureWaking(world, hands, isQuick ? 3 : 10);
        }
        std::printf("load of the machine: %s before, measured on %u processors\n", before.c_str(),
                    std::thread::hardware_concurrency());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "keysong-measure: %s\n", error.what());
        return 1;
    }
    return 0;
}
