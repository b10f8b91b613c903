// keysong-measure FOLDER [--quick]: measures the built programs in FOLDER from outside, in a world of their
// own: a bus, an X server with a keyboard, and a PipeWire server with a sink. See script/measure.

#include "support/Eventually.h"
#include "support/PrivateBus.h"
#include "support/PrivatePipeWire.h"
#include "support/PrivateXServer.h"
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
#include "ProcessFigures.h"

namespace keysong::bench {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;
using test::ChildProcess;
using test::eventually;
using test::XTestClient;

constexpr const char* sink = "test.sink.a";

double milliseconds(nanoseconds time) {
    return static_cast<double>(time.count()) / 1e6;
}

nanoseconds now() {
    return steady_clock::now().time_since_epoch(); // the monotonic clock, as PipeWire's
}

/// Prints a row: the least, the middle, the 99th of 100 and the greatest value.
void printSpread(const char* what, std::vector<double> values) {
    if (values.empty()) {
        std::printf("%-44s nothing was measured\n", what);
        return;
    }
    std::sort(values.begin(), values.end());
    const auto at = [&](double share) {
        return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1) + 0.5)];
    };
    std::printf("%-44s min %7.2f  median %7.2f  p99 %7.2f  max %7.2f  (n=%zu)\n", what, at(0), at(0.5),
                at(0.99), at(1), values.size());
}

/// The programs and what they run on.
class World {
  public:
    explicit World(std::filesystem::path programs) : programs_(std::move(programs)) {
        if (!bus_.start() || !sound_.start() || !display_.start()) {
            throw std::runtime_error("no bus, no sound server or no X server to be had");
        }
        hands_.emplace(display_.display());
        keyboard_ = hands_->deviceNamed("Xvfb keyboard");
        setting_.environment = {
            {"HOME", home_.path()},         {"XDG_CONFIG_HOME", ""},         {"XDG_DATA_HOME", ""},
            {"XDG_STATE_HOME", ""},         {"DISPLAY", display_.display()}, {"WAYLAND_DISPLAY", ""},
            {"KEYSONG_LOG_SINK", "stderr"}, {"KEYSONG_INPUT", "x11"},        {"LC_ALL", "C.UTF-8"}};
    }

    /// Starts the program; returns when.
    nanoseconds launch() {
        std::filesystem::remove(home_.path() / "log");
        ChildProcess::Setting logging = setting_;
        logging.output = home_.path() / "log";
        const nanoseconds start = now();
        program_.start({programs_ / "keysong"}, logging);
        return start;
    }
    [[nodiscard]] bool hasLogged(const char* text) const {
        std::ifstream file(home_.path() / "log");
        const std::string log{std::istreambuf_iterator<char>(file), {}};
        return log.find(text) != std::string::npos;
    }
    void launchAndSettle() {
        launch();
        if (!eventually([&] { return hasLogged("loaded sound set"); })) {
            throw std::runtime_error("the program did not start");
        }
        std::this_thread::sleep_for(2s);
    }
    void quit() {
        program_.signal(SIGTERM);
        program_.wait();
    }
    bool control(std::vector<std::string> words) {
        words.insert(words.begin(), programs_ / "keysongctl");
        return ChildProcess::run(words, setting_) == 0;
    }
    std::vector<std::string> sets() {
        ChildProcess::Setting listing = setting_;
        listing.output = home_.path() / "sets";
        std::filesystem::remove(listing.output);
        ChildProcess::run({programs_ / "keysong", "--list-sets"}, listing);
        std::vector<std::string> ids;
        std::ifstream file(listing.output);
        for (std::string line; std::getline(file, line);) {
            ids.push_back(line.substr(0, line.find('\t')));
        }
        return ids;
    }
    /// The windows' program, if one runs.
    [[nodiscard]] std::optional<pid_t> windows() const {
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            std::ifstream file(entry.path() / "stat");
            std::string number;
            std::string name;
            std::string state;
            pid_t parent = 0;
            if (file >> number >> name >> state >> parent && parent == program_.id() && state != "Z") {
                return static_cast<pid_t>(std::stol(number));
            }
        }
        return std::nullopt;
    }
    void press() const { hands_->key(keyboard_, KEY_A, true); }
    void release() const { hands_->key(keyboard_, KEY_A, false); }
    [[nodiscard]] ProcessFigures figures() const { return ProcessFigures::of(program_.id()); }
    [[nodiscard]] ProcessFigures serverFigures() const { return ProcessFigures::of(sound_.serverId()); }
    [[nodiscard]] const test::TempFolder& home() const { return home_; }

  private:
    const std::filesystem::path programs_;
    test::TempFolder home_;
    test::PrivateBus bus_;
    test::PrivatePipeWire sound_; // after the bus: the runtime folder is the sound server's
    test::PrivateXServer display_{"800x700x24"};
    std::optional<XTestClient> hands_;
    XTestClient::DeviceId keyboard_ = XTestClient::injected;
    ChildProcess::Setting setting_;
    ChildProcess program_;
};

/// Somebody types from before the start on; the first sound that comes out counts.
void measureStart(World& world, int rounds) {
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
            world.press();
            world.release();
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

void measurePress(World& world, int presses) {
    MonitorListener listener(sink);
    world.launchAndSettle();
    std::vector<double> delays;
    int silent = 0;
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same run every time
    for (int i = 0; i < presses; ++i) {
        static_cast<void>(listener.take());
        const nanoseconds pressed = now();
        world.press();
        std::this_thread::sleep_for(40ms + std::chrono::microseconds(random() % 5000));
        const auto begins = listener.take();
        const auto begin =
            std::find_if(begins.begin(), begins.end(), [&](nanoseconds time) { return time > pressed; });
        if (begin != begins.end()) {
            delays.push_back(milliseconds(*begin - pressed));
        } else {
            ++silent;
        }
        world.release();
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

void measureLoad(World& world, int seconds) {
    world.launchAndSettle();
    world.press();
    world.release();
    std::this_thread::sleep_for(1s);
    ProcessFigures before = world.figures();
    ProcessFigures server = world.serverFigures();
    std::this_thread::sleep_for(8s);
    printLoad("awake, nobody types", before, world.figures(), 8);
    printLoad("  the sound server meanwhile", server, world.serverFigures(), 8);
    std::this_thread::sleep_for(4s);
    before = world.figures();
    server = world.serverFigures();
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    printLoad("asleep", before, world.figures(), seconds);
    printLoad("  the sound server meanwhile", server, world.serverFigures(), seconds);
    before = world.figures();
    for (const auto end = steady_clock::now() + std::chrono::seconds(seconds); steady_clock::now() < end;) {
        world.press();
        std::this_thread::sleep_for(50ms);
        world.release();
        std::this_thread::sleep_for(50ms);
    }
    printLoad("10 keys a second", before, world.figures(), seconds);
    world.quit();
}

/// The sink runs all the while, since somebody listens to it.
void measureWaking(World& world, int rounds) {
    MonitorListener listener(sink);
    world.launchAndSettle();
    std::vector<double> delays;
    for (int i = 0; i < rounds; ++i) {
        std::this_thread::sleep_for(12s);
        static_cast<void>(listener.take());
        const nanoseconds pressed = now();
        world.press();
        std::this_thread::sleep_for(200ms);
        const auto begins = listener.take();
        if (!begins.empty()) {
            delays.push_back(milliseconds(begins.front() - pressed));
        }
        world.release();
    }
    printSpread("first press after sleep to sound, ms", delays);
    std::printf("%-44s %d\n", "first presses without a sound", rounds - static_cast<int>(delays.size()));
    world.quit();
}

} // namespace
} // namespace keysong::bench

int main(int count, char** words) {
    const bool isQuick = count > 2 && std::string_view(words[2]) == "--quick";
    if (count < 2) {
        std::fputs("usage: keysong-measure FOLDER [--quick]\n", stderr);
        return 2;
    }
    try {
        std::ifstream load("/proc/loadavg");
        std::string before;
        load >> before;
        keysong::bench::World world(words[1]);
        keysong::bench::measureStart(world, isQuick ? 5 : 20);
        keysong::bench::measurePress(world, isQuick ? 50 : 500);
        keysong::bench::measureMemory(world, isQuick ? 2 : 10);
        keysong::bench::measureLoad(world, isQuick ? 10 : 60);
        keysong::bench::measureWaking(world, isQuick ? 3 : 10);
        std::printf("load of the machine: %s before, measured on %u processors\n", before.c_str(),
                    std::thread::hardware_concurrency());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "keysong-measure: %s\n", error.what());
        return 1;
    }
    return 0;
}
