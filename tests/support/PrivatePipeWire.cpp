#include "support/PrivatePipeWire.h"

#include "support/Eventually.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

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

} // namespace

PrivatePipeWire::PrivatePipeWire() {
    folder_.write("config/pipewire/pipewire.conf.d/test.conf", serverConfiguration);
    folder_.write("config/wireplumber/main.lua.d/60-test.lua", managerConfiguration);
    folder_.write("config/wireplumber/bluetooth.lua.d/60-test.lua", "bluez_monitor.enabled = false\n");
    std::filesystem::create_directories(folder_.path() / "run");
    std::filesystem::create_directories(folder_.path() / "state");
    std::filesystem::permissions(folder_.path() / "run", std::filesystem::perms::owner_all);
}

PrivatePipeWire::~PrivatePipeWire() {
    kill();
}

void PrivatePipeWire::configure(const std::string& text) {
    folder_.write("config/pipewire/pipewire.conf.d/with.conf", text);
}

bool PrivatePipeWire::start() {
    if (!startServer()) {
        return false;
    }
    startManager();
    return eventually([] { return answers(); });
}

bool PrivatePipeWire::startServer() {
    server_.start({"pipewire"}, {});
    return eventually([&] { return std::filesystem::exists(folder_.path() / "run/pipewire-0"); });
}

bool PrivatePipeWire::answers() {
    return std::system("timeout 5 pw-metadata -n default 2>/dev/null | grep -q \"key:'default.audio.sink' "
                       "value:'{.*test.sink.a\"") == 0;
}

void PrivatePipeWire::kill() {
    killManager();
    killServer();
}

void PrivatePipeWire::killServer() {
    server_.kill();
    // A killed server leaves its socket behind, and the next start must not take it for its own.
    for (const char* name :
         {"pipewire-0", "pipewire-0.lock", "pipewire-0-manager", "pipewire-0-manager.lock"}) {
        std::error_code ignored;
        std::filesystem::remove(folder_.path() / "run" / name, ignored);
    }
}

namespace {

bool createNode(const std::string& name, const std::string& mediaClass, const std::string& channels) {
    const std::string properties = "{ factory.name=support.null-audio-sink node.name=" + name +
                                   " node.description=\"" + name + "\" media.class=" + mediaClass +
                                   " audio.position=[" + channels +
                                   "] priority.session=900 object.linger=true }";
    return std::system(
               ("timeout 20 pw-cli create-node adapter '" + properties + "' >/dev/null 2>&1").c_str()) == 0;
}

} // namespace

bool PrivatePipeWire::plug(const std::string& sink, const std::string& channels) {
    return createNode(sink, "Audio/Sink", channels);
}

bool PrivatePipeWire::plugMicrophone(const std::string& source) {
    return createNode(source, "Audio/Source/Virtual", "FL FR");
}

ChildProcess PrivatePipeWire::recordMicrophone(const std::string& source) {
    ChildProcess recorder;
    recorder.start({"pw-record", "--target", source, "/dev/null"}, {});
    return recorder;
}

bool PrivatePipeWire::unplug(const std::string& sink) {
    return std::system(("timeout 20 pw-cli destroy " + sink + " >/dev/null 2>&1").c_str()) == 0;
}

bool PrivatePipeWire::isLinkedTo(const std::string& sink) {
    const std::string command =
        "pw-link -l 2>/dev/null | grep -A4 '^" + sink + ":playback' | grep -q 'keysong:output'";
    return std::system(command.c_str()) == 0;
}

std::string PrivatePipeWire::stateOf(const std::string& sink) {
    const std::string command = "pw-cli info " + sink + " | sed -n 's/.*state: \"\\([a-z]*\\)\".*/\\1/p'";
    std::array<char, 64> word{};
    if (FILE* const answer = popen(command.c_str(), "r")) {
        std::fscanf(answer, "%63s", word.data());
        pclose(answer);
    }
    return word.data();
}

bool PrivatePipeWire::moveStream(const std::string& sink) {
    const std::string command =
        "pw-metadata $(pw-cli info keysong | sed -n 's/^\\tid: \\([0-9]*\\).*/\\1/p') target.object "
        "$(pw-cli info " +
        sink + " | sed -n 's/.*object.serial = \"\\([0-9]*\\)\".*/\\1/p') Spa:Id >/dev/null";
    return std::system(command.c_str()) == 0;
}

bool PrivatePipeWire::setDefault(const std::string& sink) {
    return std::system(("timeout 20 pw-metadata -n default 0 default.configured.audio.sink '{ \"name\": \"" +
                        sink + "\" }' Spa:String:JSON >/dev/null 2>&1")
                           .c_str()) == 0;
}

ChildProcess PrivatePipeWire::record(const std::string& sink, const std::string& file,
                                     const std::string& channels) {
    ChildProcess recorder;
    const auto count = 1 + std::count(channels.begin(), channels.end(), ',');
    recorder.start({"pw-record", "--target", sink, "-P", "{ stream.capture.sink = true }", "--rate", "48000",
                    "--channels", std::to_string(count), "--channel-map", channels, "--format", "f32", file},
                   {});
    return recorder;
}

} // namespace keysong::test
