#include "support/PrivatePipeWire.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <thread>

namespace keysong::test {

namespace {

constexpr const char* serverConfiguration = R"(
context.properties = {
    support.dbus = false
    default.clock.min-quantum = 32
    vm.overrides = { default.clock.min-quantum = 32 }
}
context.objects = [
    { factory = adapter args = { factory.name = support.null-audio-sink node.name = "test.sink.a"
        node.description = "Test Speakers A" media.class = Audio/Sink audio.position = [ FL FR ]
        priority.session = 1100 priority.driver = 1100 object.linger = true } }
    { factory = adapter args = { factory.name = support.null-audio-sink node.name = "test.sink.b"
        node.description = "Test Speakers B" media.class = Audio/Sink audio.position = [ FL FR ]
        priority.session = 1000 priority.driver = 1000 object.linger = true } }
]
)";

constexpr const char* managerConfiguration = R"(
alsa_monitor.enabled = false
v4l2_monitor.enabled = false
libcamera_monitor.enabled = false
default_access.properties["enable-flatpak-portal"] = false
device_defaults.properties["use-persistent-storage"] = false
stream_defaults.properties["restore-props"] = false
stream_defaults.properties["restore-target"] = false
)";

bool waitUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

} // namespace

PrivatePipeWire::PrivatePipeWire() {
    folder_.write("config/pipewire/pipewire.conf.d/test.conf", serverConfiguration);
    folder_.write("config/wireplumber/main.lua.d/60-test.lua", managerConfiguration);
    folder_.write("config/wireplumber/bluetooth.lua.d/60-test.lua", "bluez_monitor.enabled = false\n");
    std::filesystem::create_directories(folder_.path() / "run");
    std::filesystem::create_directories(folder_.path() / "state");
    std::filesystem::permissions(folder_.path() / "run", std::filesystem::perms::owner_all);
    for (const auto& [variable, place] :
         {std::pair{"XDG_RUNTIME_DIR", "run"}, {"XDG_CONFIG_HOME", "config"}, {"XDG_STATE_HOME", "state"}}) {
        const char* value = std::getenv(variable);
        before_[variable] = value != nullptr ? std::optional<std::string>(value) : std::nullopt;
        setenv(variable, (folder_.path() / place).c_str(), 1);
    }
}

PrivatePipeWire::~PrivatePipeWire() {
    kill();
    for (const auto& [variable, value] : before_) {
        if (value) {
            setenv(variable.c_str(), value->c_str(), 1);
        } else {
            unsetenv(variable.c_str());
        }
    }
}

bool PrivatePipeWire::start() {
    server_ = run({"pipewire"});
    if (!waitUntil([&] { return std::filesystem::exists(folder_.path() / "run/pipewire-0"); })) {
        return false;
    }
    manager_ = run({"wireplumber"});
    const bool ready = waitUntil([&] { return answers(); });
    defaultSeen_ = std::chrono::steady_clock::now();
    return ready;
}

bool PrivatePipeWire::answers() {
    return std::system("pw-metadata -n default 2>/dev/null | grep -q \"key:'default.audio.sink' "
                       "value:'{.*test.sink.a\"") == 0;
}

void PrivatePipeWire::kill() {
    for (pid_t* process : {&manager_, &server_}) {
        if (*process > 0) {
            ::kill(*process, SIGKILL);
            waitpid(*process, nullptr, 0);
            *process = -1;
        }
    }
    // A killed server leaves its socket behind, and the next start must not take it for its own.
    for (const char* name :
         {"pipewire-0", "pipewire-0.lock", "pipewire-0-manager", "pipewire-0-manager.lock"}) {
        std::error_code ignored;
        std::filesystem::remove(folder_.path() / "run" / name, ignored);
    }
}

namespace {

bool createNode(const std::string& name, const std::string& mediaClass) {
    const std::string properties = "{ factory.name=support.null-audio-sink node.name=" + name +
                                   " node.description=\"" + name + "\" media.class=" + mediaClass +
                                   " audio.position=[FL FR] priority.session=900 object.linger=true }";
    return std::system(("pw-cli create-node adapter '" + properties + "' >/dev/null 2>&1").c_str()) == 0;
}

} // namespace

bool PrivatePipeWire::plug(const std::string& sink) {
    return createNode(sink, "Audio/Sink");
}

bool PrivatePipeWire::plugMicrophone(const std::string& source) {
    return createNode(source, "Audio/Source/Virtual");
}

pid_t PrivatePipeWire::recordMicrophone(const std::string& source) {
    return run({"pw-record", "--target", source, "/dev/null"});
}

bool PrivatePipeWire::unplug(const std::string& sink) {
    return std::system(("pw-cli destroy " + sink + " >/dev/null 2>&1").c_str()) == 0;
}

bool PrivatePipeWire::setDefault(const std::string& sink) {
    return std::system(("pw-metadata -n default 0 default.configured.audio.sink '{ \"name\": \"" + sink +
                        "\" }' Spa:String:JSON >/dev/null 2>&1")
                           .c_str()) == 0;
}

pid_t PrivatePipeWire::record(const std::string& sink, const std::string& file) {
    return run({"pw-record", "--target", sink, "-P", "{ stream.capture.sink = true }", "--rate", "48000",
                "--channels", "2", "--format", "f32", file});
}

void PrivatePipeWire::stop(pid_t process) {
    ::kill(process, SIGINT);
    waitpid(process, nullptr, 0);
}

pid_t PrivatePipeWire::run(const std::vector<std::string>& words) {
    std::vector<char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    const pid_t parent = getpid();
    const pid_t process = fork();
    if (process == 0) {
        // A test that dies leaves no server behind.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) {
            _exit(127);
        }
        const int null = open("/dev/null", O_RDWR);
        for (const int descriptor : {0, 1, 2}) {
            dup2(null, descriptor);
        }
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    return process;
}

} // namespace keysong::test
