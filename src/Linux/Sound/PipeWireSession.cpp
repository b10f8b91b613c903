#include "Linux/Sound/PipeWireSession.h"

#include "Shared/NumberText.h"

#include <spa/utils/json.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

namespace keysong {

namespace {

/// A server that died is mostly back within seconds: it is tried often for this long. After that the
/// socket's folder tells, and the slow tries are for a folder that cannot be watched.
constexpr std::chrono::milliseconds quickInterval{100};
constexpr int quickRetries = 100;
constexpr std::chrono::milliseconds slowInterval{5000};
/// How long the session manager's metadata may say nothing, the first time and at most.
constexpr std::chrono::milliseconds firstMetadataPatience{250};
constexpr std::chrono::milliseconds longestMetadataPatience{60'000};

std::string text(const spa_dict* properties, const char* key) {
    const char* value = properties == nullptr ? nullptr : spa_dict_lookup(properties, key);
    return value == nullptr ? std::string() : std::string(value);
}

std::uint32_t number(const spa_dict* properties, const char* key) {
    return static_cast<std::uint32_t>(parseInteger<std::uint64_t>(text(properties, key)).value_or(0));
}

/// The "name" of a metadata value such as {"name":"alsa_output.x"}.
std::string nameInJson(const char* value) {
    std::array<char, 1024> key{};
    std::array<char, 1024> name{};
    std::array<spa_json, 2> json{};
    spa_json_init(json.data(), value, std::string_view(value).size());
    if (spa_json_enter_object(json.data(), &json[1]) <= 0) {
        return {};
    }
    while (spa_json_get_string(&json[1], key.data(), key.size()) > 0) {
        if (std::string_view(key.data()) == "name") {
            return spa_json_get_string(&json[1], name.data(), name.size()) > 0 ? std::string(name.data())
                                                                               : "";
        }
        const char* ignored = nullptr;
        if (spa_json_next(&json[1], &ignored) <= 0) {
            break;
        }
    }
    return {};
}

} // namespace

// The callbacks that are left out are null, as the library wants it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
const pw_core_events PipeWireSession::coreEvents = {
    .version = PW_VERSION_CORE_EVENTS,
    .done = [](void* self, std::uint32_t,
               int sequence) noexcept { static_cast<PipeWireSession*>(self)->onDone(sequence); },
    .error =
        [](void* self, std::uint32_t id, int, int result, const char*) noexcept {
            if (id == PW_ID_CORE && result == -EPIPE) {
                // The connection is taken down outside its own callback.
                auto* session = static_cast<PipeWireSession*>(self);
                session->lost_ = true;
                session->retryIn(std::chrono::milliseconds(1));
            }
        }};

const pw_registry_events PipeWireSession::registryEvents = {
    .version = PW_VERSION_REGISTRY_EVENTS,
    .global =
        [](void* self, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t,
           const spa_dict* properties) noexcept {
            static_cast<PipeWireSession*>(self)->onGlobal(id, type, properties);
        },
    .global_remove =
        [](void* self, std::uint32_t id) noexcept {
            static_cast<PipeWireSession*>(self)->onGlobalRemoved(id);
        }};

const pw_metadata_events PipeWireSession::metadataEvents = {
    .version = PW_VERSION_METADATA_EVENTS,
    .property = [](void* self, std::uint32_t subject, const char* key, const char*,
                   const char* value) noexcept {
        return static_cast<PipeWireSession*>(self)->onMetadata(subject, key, value);
    }};

#pragma GCC diagnostic pop

PipeWireSession::PipeWireSession(ChangeHandler onChange, Search search)
    : onChange_(std::move(onChange)), search_(search) {
    pw_init(nullptr, nullptr);
    pw_log_set_level(SPA_LOG_LEVEL_NONE); // its words would go to standard error
    loop_.reset(pw_thread_loop_new("pw-keysong", nullptr));
    if (loop_ == nullptr) {
        throw AudioOutputError("the sound server's loop could not be made");
    }
    timer_ = pw_loop_add_timer(
        pw_thread_loop_get_loop(loop()),
        [](void* self, std::uint64_t) noexcept { static_cast<PipeWireSession*>(self)->onTimer(); }, this);
    metadataTimer_ = pw_loop_add_timer(
        pw_thread_loop_get_loop(loop()),
        [](void* self, std::uint64_t) noexcept { static_cast<PipeWireSession*>(self)->askMetadataAgain(); },
        this);
    // Not the configuration for real time: the library would ask the portal, and wait for ever for a bus that
    // does not answer.
    context_.reset(pw_context_new(
        pw_thread_loop_get_loop(loop()),
        pw_properties_new(PW_KEY_CONFIG_NAME, "client.conf", "module.rt", "false", nullptr), 0));
    if (context_ == nullptr || timer_ == nullptr || metadataTimer_ == nullptr) {
        throw AudioOutputError("the sound server's client could not be made");
    }
}

void PipeWireSession::start() {
    if (pw_thread_loop_start(loop()) < 0) {
        throw AudioOutputError("the sound server's thread could not be started");
    }
    const PipeWireLock lock(loop());
    watchSocket();
    quickRetriesLeft_ = quickRetries;
    if (!tryConnect()) {
        retryLater();
    }
}

void PipeWireSession::watchSocket() {
    const char* folder = std::getenv("PIPEWIRE_RUNTIME_DIR");
    folder = folder != nullptr ? folder : std::getenv("XDG_RUNTIME_DIR");
    socketFolder_ = FileDescriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (folder == nullptr || !socketFolder_.isOpen() ||
        inotify_add_watch(socketFolder_.get(), folder, IN_CREATE | IN_MOVED_TO) < 0) {
        return;
    }
    socketSource_ = pw_loop_add_io(
        pw_thread_loop_get_loop(loop()), socketFolder_.get(), SPA_IO_IN, false,
        [](void* self, int, std::uint32_t) noexcept {
            static_cast<PipeWireSession*>(self)->onSocketFolder();
        },
        this);
}

void PipeWireSession::onSocketFolder() noexcept {
    std::array<char, 4096> events{};
    while (read(socketFolder_.get(), events.data(), events.size()) > 0) {
    }
    // Whatever appeared, a socket among it or soon after.
    if (core_ == nullptr) {
        quickRetriesLeft_ = std::max(quickRetriesLeft_, quickRetries / 10);
        retryIn(std::chrono::milliseconds(1));
    }
}

PipeWireSession::~PipeWireSession() {
    pw_thread_loop_stop(loop());
    disconnect();
    context_.reset();
    if (socketSource_ != nullptr) {
        pw_loop_destroy_source(pw_thread_loop_get_loop(loop()), socketSource_);
    }
    for (spa_source* const timer : {timer_, metadataTimer_}) {
        if (timer != nullptr) {
            pw_loop_destroy_source(pw_thread_loop_get_loop(loop()), timer);
        }
    }
}

bool PipeWireSession::tryConnect() {
    core_.reset(pw_context_connect(context_.get(), nullptr, 0));
    if (core_ == nullptr) {
        return false;
    }
    lost_ = false;
    coreListener_ = {};
    pw_core_add_listener(core(), &coreListener_, &coreEvents, this);
    registry_ = pw_core_get_registry(core(), PW_VERSION_REGISTRY, 0);
    registryListener_ = {};
    pw_registry_add_listener(registry_, &registryListener_, &registryEvents, this);
    syncsLeft_ = 2;
    pendingSync_ = pw_core_sync(core(), PW_ID_CORE, 0);
    return true;
}

void PipeWireSession::bindMetadata() {
    metadata_ = static_cast<pw_metadata*>(
        pw_registry_bind(registry_, metadataId_, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0));
    metadataListener_ = {};
    pw_metadata_add_listener(metadata_, &metadataListener_, &metadataEvents, this);
}

void PipeWireSession::waitForMetadata() {
    setTimer(metadataTimer_, std::chrono::steady_clock::now().time_since_epoch() + metadataPatience_);
    metadataPatience_ = std::min(2 * metadataPatience_, longestMetadataPatience);
}

void PipeWireSession::unbindMetadata() {
    if (metadata_ != nullptr) {
        spa_hook_remove(&metadataListener_);
        pw_proxy_destroy(reinterpret_cast<pw_proxy*>(metadata_));
        metadata_ = nullptr;
    }
}

void PipeWireSession::askMetadataAgain() {
    // PipeWire 1.4 says nothing, now and later, to a client that binds it while the manager is making it.
    // Without a sink there may be nothing to say; the next one asks.
    if (metadata_ != nullptr && !metadataSpeaks_ &&
        std::any_of(nodes_.begin(), nodes_.end(), [](const auto& e) { return e.second.isSink(); })) {
        unbindMetadata();
        bindMetadata();
        waitForMetadata();
    }
}

void PipeWireSession::releaseMetadata() {
    unbindMetadata();
    metadataId_ = PW_ID_ANY;
    metadataSpeaks_ = false;
    defaultSink_.clear();
}

void PipeWireSession::disconnect() {
    releaseMetadata();
    if (registry_ != nullptr) {
        spa_hook_remove(&registryListener_);
        pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
        registry_ = nullptr;
    }
    if (core_ != nullptr) {
        spa_hook_remove(&coreListener_);
        core_.reset();
    }
    ready_ = false;
    nodes_.clear();
    links_.clear();
    ports_.clear();
    ownStreams_.clear();
}

void PipeWireSession::retryLater() {
    if (quickRetriesLeft_ == 0 && search_ == Search::still && socketSource_ != nullptr) {
        return;
    }
    retryIn(quickRetriesLeft_ > 0 ? quickInterval : slowInterval);
    quickRetriesLeft_ = std::max(0, quickRetriesLeft_ - 1);
}

void PipeWireSession::retryIn(std::chrono::milliseconds delay) {
    setTimer(timer_, std::chrono::steady_clock::now().time_since_epoch() + delay);
}

void PipeWireSession::setTimer(spa_source* timer, std::optional<std::chrono::nanoseconds> time) {
    const std::chrono::nanoseconds at = time.value_or(std::chrono::nanoseconds(0)); // 0 disarms
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(at);
    timespec value{seconds.count(), (at - seconds).count()};
    pw_loop_update_timer(pw_thread_loop_get_loop(loop()), timer, &value, nullptr, true);
}

void PipeWireSession::onTimer() {
    if (lost_) {
        lost_ = false;
        quickRetriesLeft_ = quickRetries;
        ready_ = false;
        onChange_(Change::disconnected); // streams go before their connection
        disconnect();
    }
    if (core_ == nullptr && !tryConnect()) {
        retryLater();
    }
}

void PipeWireSession::onDone(int sequence) {
    if (sequence != pendingSync_ || ready_) {
        return;
    }
    if (--syncsLeft_ > 0) {
        pendingSync_ = pw_core_sync(core(), PW_ID_CORE, 0);
        return;
    }
    ready_ = true;
    pw_thread_loop_signal(loop(), false);
    onChange_(Change::connected);
}

bool PipeWireSession::waitUntilReady(std::chrono::milliseconds limit) {
    timespec deadline{};
    pw_thread_loop_get_time(loop(), &deadline, std::chrono::nanoseconds(limit).count());
    while (core_ != nullptr && !ready_) {
        if (pw_thread_loop_timed_wait_full(loop(), &deadline) < 0) {
            break;
        }
    }
    return ready_;
}

void PipeWireSession::changed(Change change) {
    if (ready_) { // before that, `connected` will tell of everything
        onChange_(change);
    }
}

void PipeWireSession::onGlobal(std::uint32_t id, const char* type, const spa_dict* properties) {
    const std::string_view kind = type;
    if (kind == PW_TYPE_INTERFACE_Node) {
        Node node{text(properties, PW_KEY_NODE_NAME), text(properties, PW_KEY_NODE_DESCRIPTION),
                  text(properties, PW_KEY_MEDIA_CLASS), number(properties, PW_KEY_OBJECT_SERIAL)};
        if (node.isDevice()) {
            if (node.isSink() && metadata_ != nullptr && !metadataSpeaks_) {
                metadataPatience_ = firstMetadataPatience;
                waitForMetadata();
            }
            nodes_[id] = std::move(node);
            changed(Change::devices);
        } else if (node.name == ownStreamName) {
            ownStreams_.insert(id);
        }
    } else if (kind == PW_TYPE_INTERFACE_Link) {
        links_[id] = {number(properties, PW_KEY_LINK_OUTPUT_NODE),
                      number(properties, PW_KEY_LINK_INPUT_NODE)};
        changed(Change::links);
    } else if (kind == PW_TYPE_INTERFACE_Port) {
        ports_[id] = {number(properties, PW_KEY_NODE_ID), text(properties, PW_KEY_PORT_DIRECTION) == "in",
                      text(properties, PW_KEY_PORT_MONITOR) == "true",
                      text(properties, PW_KEY_AUDIO_CHANNEL)};
    } else if (kind == PW_TYPE_INTERFACE_Metadata && metadata_ == nullptr &&
               text(properties, PW_KEY_METADATA_NAME) == "default") {
        metadataId_ = id;
        bindMetadata();
        metadataPatience_ = firstMetadataPatience;
        waitForMetadata();
        changed(Change::manager);
    }
}

void PipeWireSession::onGlobalRemoved(std::uint32_t id) {
    if (id == metadataId_) {
        releaseMetadata(); // a session manager that starts anew brings its own
        changed(Change::manager);
    } else if (nodes_.erase(id) > 0) {
        changed(Change::devices);
    } else if (links_.erase(id) > 0) {
        changed(Change::links);
    } else {
        ports_.erase(id);
        ownStreams_.erase(id);
    }
}

int PipeWireSession::onMetadata(std::uint32_t subject, const char* key, const char* value) {
    metadataSpeaks_ = true;
    if (subject == PW_ID_CORE && (key == nullptr || std::string_view(key) == "default.audio.sink")) {
        std::string name = value == nullptr ? std::string() : nameInJson(value);
        if (name != defaultSink_) {
            defaultSink_ = std::move(name);
            changed(Change::defaultDevice);
        }
    }
    return 0;
}

void PipeWireSession::setTarget(std::uint32_t streamNode, const std::string& sinkName) {
    if (metadata_ != nullptr) {
        // Said in so many words: newer session managers would go by the target that the stream was made with.
        constexpr const char* noTarget = "-1";
        pw_metadata_set_property(metadata_, streamNode, "target.object", "Spa:Id",
                                 sinkName.empty() ? noTarget : sinkName.c_str());
    }
}

} // namespace keysong
