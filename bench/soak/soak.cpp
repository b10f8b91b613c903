// keysong-soak FOLDER [MINUTES] [--seed N] ...: lets the built programs in FOLDER play in a world of their
// own in which everything goes wrong, and counts what is heard. See script/soak.

#include "support/Eventually.h"
#include "support/OwnMounts.h"
#include "support/WaveFile.h"

#include <CLI/CLI.hpp>
#include <sys/mount.h>
#include <sys/prctl.h>

#include <cmath>
#include <csignal>
#include <cstdio>
#include <deque>
#include <numbers>
#include <thread>

#include "Faults.h"
#include "MonitorListener.h"
#include "Report.h"
#include "Spread.h"
#include "StallWatch.h"
#include "Typist.h"

namespace keysong::bench {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using test::eventually;

volatile std::sig_atomic_t interrupted = 0;

struct Options {
    std::string programs;
    double minutes = 5;
    std::uint64_t seed = 1;
    std::vector<std::string> only;
    std::string log;
    Bounds bounds;
};

/// Sets of sounds of some milliseconds, so that 30 a second can be told apart: nothing varies, and what
/// follows the sound is silence, which is decoded and played like any sound.
void writeSets(const test::TempFolder& home) {
    constexpr double rate = 48000;
    constexpr std::size_t loudFrames = 240;
    double hertz = 1500;
    for (const std::string set : Faults::sets) {
        std::vector<float> sound(9600, 0.0F);
        for (std::size_t i = 0; i < loudFrames; ++i) {
            const double time = static_cast<double>(i) / rate;
            const double fade = 1 - static_cast<double>(i) / loudFrames;
            sound[i] = static_cast<float>(0.5 * fade * std::cos(2 * std::numbers::pi * hertz * time));
        }
        hertz += 700;
        std::string files;
        for (int i = 0; i < 20; ++i) {
            const std::string name = "click-" + std::to_string(i) + ".wav";
            home.write(".local/share/keysong/Sounds/" + set + "/" + name, test::waveBytes(sound));
            files += (i == 0 ? "\"" : ",\"") + name + "\"";
        }
        home.write(".local/share/keysong/Sounds/" + set + "/manifest.json",
                   R"({"schema":1,"id":")" + set + R"(","name":")" + set +
                       R"(","pitchVariation":0,"gainVariation":0,"defaults":{"down":[)" + files +
                       R"(],"up":[)" + files + "]}}");
    }
}

/// A small file system of the settings' own, which only this process and its children see.
class SettingsDisk {
  public:
    SettingsDisk(const std::filesystem::path& folder, bool isAllowed) {
        std::filesystem::create_directories(folder);
        if (isAllowed && mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=256k") == 0) {
            folder_ = folder;
        }
    }
    ~SettingsDisk() {
        if (!folder_.empty()) {
            umount2(folder_.c_str(), MNT_DETACH);
        }
    }
    SettingsDisk(const SettingsDisk&) = delete;
    SettingsDisk& operator=(const SettingsDisk&) = delete;
    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }

  private:
    std::filesystem::path folder_;
};

std::vector<nanoseconds> takeAll(std::deque<MonitorListener>& listeners) {
    std::vector<nanoseconds> begins;
    for (MonitorListener& listener : listeners) {
        const auto part = listener.take();
        begins.insert(begins.end(), part.begin(), part.end());
    }
    std::sort(begins.begin(), begins.end());
    return begins;
}

/// When the machine stood still, or the sound server left cycles out for everyone who plays or listens.
std::vector<Span> stallsOf(const StallWatch& watch, const std::deque<MonitorListener>& listeners) {
    // A sink that is away for longer does not stall.
    constexpr std::chrono::milliseconds longest{500};
    auto stalls = watch.stalls();
    for (const MonitorListener& listener : listeners) {
        for (const Span& gap : listener.gaps()) {
            if (gap.end - gap.begin < longest) {
                stalls.push_back(gap);
            }
        }
    }
    std::ranges::sort(stalls, {}, &Span::begin);
    return stalls;
}

/// Shows that the ears can be believed: they hear what is typed, and nothing else.
bool tryEars(World& world, Typist& typist, std::deque<MonitorListener>& listeners, const StallWatch& watch) {
    const auto listen = [&](const char* what, std::chrono::seconds length) {
        std::this_thread::sleep_for(300ms);
        static_cast<void>(takeAll(listeners));
        const std::size_t before = typist.typed().size();
        const nanoseconds begin = now();
        std::this_thread::sleep_for(length);
        auto typed = typist.typed();
        const nanoseconds end = now();
        std::this_thread::sleep_for(300ms);
        typed.erase(typed.begin(), typed.begin() + static_cast<std::ptrdiff_t>(before));
        auto begins = takeAll(listeners);
        // What was typed while the sounds were fetched.
        std::erase_if(begins, [&](nanoseconds time) { return time < begin || time > end + onTime; });
        std::erase_if(typed, [&](const Typed& key) { return key.before < begin; });
        const auto stalls = stallsOf(watch, listeners);
        const Hearing heard = judge(typed, begins, {}, stalls, 0ms);
        std::printf("%-34s %zu typed, %zu sounds: %zu on time, %zu late, %zu lost, %zu in a stall\n", what,
                    typed.size(), begins.size(), heard.calm.asked - heard.calm.late - heard.calm.lost,
                    heard.calm.late, heard.calm.lost, heard.stalled.asked);
        return std::pair(begins.size(), heard.calm);
    };
    const auto calm = listen("before any fault", 30s).second;
    world.control({"off"});
    const auto off = listen("the sound switched off", 4s).first;
    world.control({"on"});
    typist.rest(true);
    const auto silent = listen("nothing typed", 4s).first;
    typist.rest(false);
    std::this_thread::sleep_for(500ms);
    static_cast<void>(takeAll(listeners));
    const bool isWell = calm.lost * 1000 <= calm.asked && off == 0 && silent == 0;
    if (!isWell) {
        std::printf("FAILED: what is heard before any fault is not what is typed\n");
    }
    return isWell;
}

bool soak(const Options& options, bool hasMounts) {
    World world(options.programs);
    const SettingsDisk disk(world.home().makeFolder(".config/keysong"), hasMounts);
    writeSets(world.home());
    if (disk.folder().empty()) {
        std::printf("this machine does not allow a mount: the disk of the settings is never full\n");
    }
    StallWatch watch;
    std::deque<MonitorListener> listeners;
    for (const char* sink : Faults::sinks) {
        listeners.emplace_back(sink);
    }
    world.launchAndSettle();
    world.control({"set", Faults::sets[0]});
    if (!eventually([&] { return listeners.front().listens(); }, 10s)) {
        throw std::runtime_error("the sink is not heard");
    }
    Typist typist(world.display(), options.seed);
    bool isWell = tryEars(world, typist, listeners, watch);
    const std::size_t tried = typist.typed().size();
    const nanoseconds begin = now();

    Faults faults(world, typist, options.seed, disk.folder(), [] { return interrupted != 0; });
    const auto length =
        std::chrono::duration_cast<nanoseconds>(std::chrono::duration<double>(options.minutes * 60));
    faults.runUntil(now() + length, now() + length / 3, options.only);
    typist.rest(true);
    std::this_thread::sleep_for(500ms);
    auto typed = typist.typed();
    typed.erase(typed.begin(), typed.begin() + static_cast<std::ptrdiff_t>(tried));
    const auto stalls = stallsOf(watch, listeners);
    const bool ended = world.quit();

    isWell = printHearing(judge(typed, takeAll(listeners), faults.faults(), stalls, options.bounds.back),
                          options.bounds, begin) &&
             isWell;
    isWell = printFigures(faults.samples(), options.bounds) && isWell;
    nanoseconds stalled{};
    for (const Span& stall : stalls) {
        stalled += stall.end - stall.begin;
    }
    std::printf("\nseed %llu, the machine stalled %zu times, %.0f ms in all\n",
                static_cast<unsigned long long>(options.seed), stalls.size(), milliseconds(stalled));
    if (!typist.isWell() || !ended || !faults.problems().empty()) {
        std::printf("FAILED: %s\n", !typist.isWell() ? "the display is gone"
                                    : !ended         ? "the program did not end well"
                                                     : "see the words between the faults");
        isWell = false;
    }
    if (!options.log.empty()) {
        std::ofstream(options.log) << world.wholeLog();
    }
    return isWell;
}

} // namespace
} // namespace keysong::bench

int main(int count, char** words) {
    using namespace keysong;
    bench::Options options;
    // The script has values of its own, and what is said after them counts.
    CLI::App app("Lets the program play while everything goes wrong, and counts what is heard");
    app.option_defaults()->take_last();
    app.add_option("programs", options.programs, "The folder of the built programs")->required();
    app.add_option("minutes", options.minutes, "How long")->capture_default_str();
    app.add_option("--seed", options.seed, "The same seed draws the same faults")->capture_default_str();
    app.add_option("--only", options.only, "Only these kinds of fault")
        ->delimiter(',')
        ->take_all()
        ->check(CLI::IsMember(bench::Faults::kinds()));
    app.add_option("--log", options.log, "Where to write the program's log");
    std::int64_t back = options.bounds.back.count();
    app.add_option("--back", back, "Milliseconds within which the sound is to be back")
        ->capture_default_str();
    app.add_option("--growth", options.bounds.growthKib, "KiB by which the memory may grow")
        ->capture_default_str();
    CLI11_PARSE(app, count, words);
    options.bounds.back = std::chrono::milliseconds(back);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(number, [](int) { bench::interrupted = 1; });
    }
    // First of all: it needs to be the only thread.
    const bool hasMounts = test::isolate() && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    try {
        return bench::soak(options, hasMounts) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "keysong-soak: %s\n", error.what());
        return 1;
    }
}
