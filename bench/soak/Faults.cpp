#include "Faults.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <thread>

#include "PlayProbe.h"
#include "Spread.h"

namespace keysong::bench {

using namespace std::chrono_literals;

namespace {

/// How long a server may take until it can play again, before that is given up.
constexpr std::chrono::seconds ableLimit{20};

} // namespace

struct Faults::Kind {
    const char* name;
    void (Faults::*happen)();
    bool endsProgram = false;
    bool needsDisk = false;
};

const std::vector<Faults::Kind> Faults::table = {
    {"server", &Faults::killServer},
    {"manager", &Faults::killManager},
    {"manager-alone", &Faults::killManagerAlone},
    {"stop-server", &Faults::stopServer},
    {"stop-manager", &Faults::stopManager},
    {"stop-both", &Faults::stopBoth},
    {"kill-stopped", &Faults::killStoppedServer},
    {"sink", &Faults::loseSink},
    {"all-sinks", &Faults::loseAllSinks},
    {"default", &Faults::changeDefault},
    {"output", &Faults::chooseOutput},
    {"chosen-output", &Faults::loseChosenOutput},
    {"slow-sinks", &Faults::slowSinks},
    {"set", &Faults::changeSet},
    {"windows", &Faults::openWindows},
    {"disk", &Faults::fillDisk, false, true},
    {"nothing-typed", &Faults::typeNothing},
    {"restart", &Faults::restart, true},
    {"restart-alone", &Faults::restartWithoutServer, true},
};

std::vector<std::string> Faults::kinds() {
    std::vector<std::string> names;
    for (const Kind& kind : table) {
        names.emplace_back(kind.name);
    }
    return names;
}

Faults::Faults(World& world, Typist& typist, std::uint64_t seed, std::filesystem::path settingsDisk,
               std::function<bool()> isEnding)
    : world_(world), typist_(typist), seed_(seed), settingsDisk_(std::move(settingsDisk)),
      isEnding_(std::move(isEnding)) {
}

int Faults::draw(int least, int most) {
    return least + static_cast<int>(random_() % static_cast<std::uint64_t>(most - least + 1));
}

void Faults::pause(int least, int most) {
    std::this_thread::sleep_for(std::chrono::milliseconds(draw(least, most)));
}

void Faults::expect(bool done, const char* what) {
    if (!done) {
        problems_.emplace_back(what);
        std::printf("         %s\n", what);
    }
}

std::int64_t Faults::lateHits() {
    const auto status = nlohmann::json::parse(world_.answer({"status", "--json"}), nullptr, false);
    expect(!status.is_discarded(), "the program did not answer");
    return status.is_discarded() ? 0 : status.value("LateHits", std::int64_t{0});
}

void Faults::sample() {
    samples_.push_back({now(), world_.program(), world_.figures()});
}

void Faults::calm() {
    std::this_thread::sleep_for(1500ms);
    pause(0, 1500);
}

void Faults::happen(const std::string& kind, bool mayLose, Able able, const std::function<void()>& action) {
    sample();
    const std::int64_t before = lateHits();
    Fault fault;
    fault.kind = kind;
    fault.mayLose = mayLose;
    fault.begin = now();
    std::printf("%8.3f s %s", milliseconds(fault.begin - begin_) / 1000, kind.c_str());
    std::fflush(stdout);
    const pid_t program = world_.program();
    action();
    fault.lifted = now();
    fault.able = able == Able::atOnce ? fault.lifted : waitUntilPlayable(ableLimit);
    if (!fault.able) {
        mendWorld();
        fault.lifted = now();
        fault.able = waitUntilPlayable(ableLimit);
    }
    std::printf(", %.0f ms", milliseconds(fault.lifted - fault.begin));
    if (able == Able::probe) {
        std::printf(", able after %.0f ms", fault.able ? milliseconds(*fault.able - fault.lifted) : -1.0);
    }
    std::printf("\n");
    expect(fault.able.has_value(), "the server never was able again");
    calm();
    const std::int64_t after = lateHits();
    fault.dropped = program == world_.program() ? after - before : after;
    faults_.push_back(fault);
}

void Faults::runUntil(std::chrono::nanoseconds end, std::chrono::nanoseconds lastRestart,
                      const std::vector<std::string>& only) {
    for (std::uint64_t step = 0; now() < end && !isEnding_() && typist_.isWell(); ++step) {
        // Each step has numbers of its own: what one draws does not move the next.
        std::seed_seq seeds{seed_, step};
        random_.seed(seeds);
        const Kind& kind = table[static_cast<std::size_t>(draw(0, static_cast<int>(table.size()) - 1))];
        if ((!only.empty() && std::ranges::find(only, kind.name) == only.end()) ||
            (kind.endsProgram && now() > lastRestart) || (kind.needsDisk && settingsDisk_.empty())) {
            continue;
        }
        (this->*kind.happen)();
    }
    calm();
    sample();
}

} // namespace keysong::bench
