#include "World.h"

#include "support/Eventually.h"

#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace keysong::bench {

using test::ChildProcess;
using test::eventually;

std::chrono::nanoseconds now() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

namespace {

std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct Process {
    pid_t id = 0;
    pid_t parent = 0;
    bool isAlive = false;
    std::string name;
};

std::vector<Process> processes() {
    std::vector<Process> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string folder = entry.path().filename();
        if (folder.find_first_not_of("0123456789") != std::string::npos) {
            continue;
        }
        // The name stands in brackets and may hold anything.
        const std::string stat = contentOf(entry.path() / "stat");
        const auto begin = stat.find('(');
        const auto end = stat.rfind(')');
        char state = 'Z';
        Process process;
        if (begin != std::string::npos && end != std::string::npos && begin > 0 &&
            std::istringstream(stat.substr(end + 1)) >> state >> process.parent) {
            process.id = static_cast<pid_t>(std::stol(stat));
            process.isAlive = state != 'Z';
            process.name = stat.substr(begin + 1, end - begin - 1);
            found.push_back(process);
        }
    }
    return found;
}

} // namespace

World::World(std::filesystem::path programs) : programs_(std::move(programs)) {
    if (!bus_.start() || !sound_.start() || !display_.start()) {
        throw std::runtime_error("no bus, no sound server or no X server to be had");
    }
    setting_.environment = {
        {"HOME", home_.path()},         {"XDG_CONFIG_HOME", ""},         {"XDG_DATA_HOME", ""},
        {"XDG_STATE_HOME", ""},         {"DISPLAY", display_.display()}, {"WAYLAND_DISPLAY", ""},
        {"KEYSONG_LOG_SINK", "stderr"}, {"KEYSONG_INPUT", "x11"},        {"LC_ALL", "C.UTF-8"}};
}

World::~World() {
    program_.kill();
    endLeftovers();
}

std::chrono::nanoseconds World::launch() {
    const auto log = home_.path() / "log";
    earlierLog_ += contentOf(log);
    std::filesystem::remove(log);
    ChildProcess::Setting logging = setting_;
    logging.output = log;
    const auto start = now();
    program_.start({programs_ / "keysong"}, logging);
    return start;
}

bool World::hasLogged(const char* text) const {
    return contentOf(home_.path() / "log").find(text) != std::string::npos;
}

std::string World::wholeLog() const {
    return earlierLog_ + contentOf(home_.path() / "log");
}

void World::launchAndSettle() {
    launch();
    if (!eventually([&] { return hasLogged("loaded sound set"); })) {
        throw std::runtime_error("the program did not start");
    }
    std::this_thread::sleep_for(std::chrono::seconds(2));
}

bool World::quit(std::chrono::milliseconds limit) {
    program_.signal(SIGTERM);
    const bool ended = eventually([&] { return program_.hasEnded(); }, limit);
    if (!ended) {
        program_.kill();
    }
    return program_.wait() == 0 && ended;
}

bool World::control(std::vector<std::string> words) {
    const std::vector<std::string> limited{"timeout", "-k", "1", "10", programs_ / "keysongctl"};
    words.insert(words.begin(), limited.begin(), limited.end());
    ChildProcess::Setting answering = setting_;
    answering.output = home_.path() / "answer";
    std::filesystem::remove(answering.output); // the output is added to what is there
    return ChildProcess::run(words, answering) == 0;
}

std::string World::answer(std::vector<std::string> words) {
    return control(std::move(words)) ? contentOf(home_.path() / "answer") : std::string();
}

std::vector<std::string> World::sets() {
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

std::optional<pid_t> World::windows() const {
    for (const Process& process : processes()) {
        if (process.parent == program_.id() && process.isAlive) {
            return process.id;
        }
    }
    return std::nullopt;
}

std::vector<std::string> World::endLeftovers() {
    std::vector<std::string> names;
    for (const Process& process : processes()) {
        const std::string environment =
            '\0' + contentOf("/proc/" + std::to_string(process.id) + "/environ") + '\0';
        for (const std::filesystem::path& home : {home_.path(), bus_.runtimeFolder()}) {
            // What is our own child ends with its owner.
            if (process.parent != getpid() &&
                environment.find('\0' + ("HOME=" + home.string()) + '\0') != std::string::npos) {
                names.push_back(process.name);
                ::kill(process.id, SIGKILL);
            }
        }
    }
    return names;
}

} // namespace keysong::bench
