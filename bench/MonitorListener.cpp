#include "MonitorListener.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace keysong::bench {

namespace {

constexpr std::int64_t rate = 48000;
constexpr std::int64_t second = 1'000'000'000;
constexpr std::chrono::milliseconds retryInterval{10};

std::string_view text(const spa_dict* properties, const char* key) {
    const char* value = properties == nullptr ? nullptr : spa_dict_lookup(properties, key);
    return value == nullptr ? "" : value;
}

std::int64_t now() {
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

MonitorListener::MonitorListener(std::string sink) : sink_(std::move(sink)) {
    pw_init(nullptr, nullptr);
    loop_ = pw_thread_loop_new("monitor", nullptr);
    context_ = loop_ == nullptr
                   ? nullptr
                   : pw_context_new(pw_thread_loop_get_loop(loop_),
                                    pw_properties_new(PW_KEY_CONFIG_NAME, "client-rt.conf", nullptr), 0);
    if (context_ == nullptr) {
        throw std::runtime_error("the sink cannot be listened to");
    }
    timer_ = pw_loop_add_timer(
        pw_thread_loop_get_loop(loop_),
        [](void* self, std::uint64_t) { static_cast<MonitorListener*>(self)->onTimer(); }, this);
    retryIn(std::chrono::milliseconds(1));
    if (pw_thread_loop_start(loop_) < 0) {
        throw std::runtime_error("the sink cannot be listened to");
    }
}

MonitorListener::~MonitorListener() {
    pw_thread_loop_stop(loop_);
    disconnect();
    pw_loop_destroy_source(pw_thread_loop_get_loop(loop_), timer_);
    pw_context_destroy(context_);
    pw_thread_loop_destroy(loop_);
}

bool MonitorListener::listens() const {
    return now() - lastCycle_ < second / 5;
}

void MonitorListener::retryIn(std::chrono::milliseconds delay) {
    timespec time{0, std::chrono::nanoseconds(delay).count()};
    pw_loop_update_timer(pw_thread_loop_get_loop(loop_), timer_, &time, nullptr, false);
}

void MonitorListener::onTimer() {
    if (lost_) {
        disconnect();
    }
    if (core_ == nullptr) {
        connect();
    }
}

void MonitorListener::connect() {
    core_ = pw_context_connect(context_, nullptr, 0);
    if (core_ == nullptr) {
        retryIn(retryInterval);
        return;
    }
    static constexpr pw_core_events coreEvents = [] {
        pw_core_events table{};
        table.version = PW_VERSION_CORE_EVENTS;
        table.error = [](void* self, std::uint32_t id, int, int result, const char*) {
            if (id == PW_ID_CORE && result == -EPIPE) {
                // The connection is taken down outside its own callback.
                static_cast<MonitorListener*>(self)->lost_ = true;
                static_cast<MonitorListener*>(self)->retryIn(std::chrono::milliseconds(1));
            }
        };
        return table;
    }();
    static constexpr pw_registry_events registryEvents = [] {
        pw_registry_events table{};
        table.version = PW_VERSION_REGISTRY_EVENTS;
        table.global = [](void* self, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t,
                          const spa_dict* properties) {
            static_cast<MonitorListener*>(self)->onGlobal(id, type, properties);
        };
        table.global_remove = [](void* self, std::uint32_t id) {
            static_cast<MonitorListener*>(self)->onGlobalRemoved(id);
        };
        return table;
    }();
    static constexpr pw_filter_events filterEvents = [] {
        pw_filter_events table{};
        table.version = PW_VERSION_FILTER_EVENTS;
        table.state_changed = [](void* self, pw_filter_state, pw_filter_state, const char*) {
            static_cast<MonitorListener*>(self)->link();
        };
        table.process = [](void* self, spa_io_position* position) {
            static_cast<MonitorListener*>(self)->process(*position);
        };
        return table;
    }();
    coreListener_ = registryListener_ = filterListener_ = {};
    pw_core_add_listener(core_, &coreListener_, &coreEvents, this);
    registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
    pw_registry_add_listener(registry_, &registryListener_, &registryEvents, this);
    filter_ = pw_filter_new(core_, "monitor",
                            pw_properties_new(PW_KEY_NODE_NAME, ("monitor of " + sink_).c_str(),
                                              PW_KEY_NODE_LATENCY, "128/48000", nullptr));
    pw_filter_add_listener(filter_, &filterListener_, &filterEvents, this);
    for (void*& port : ports_) {
        port = pw_filter_add_port(filter_, PW_DIRECTION_INPUT, PW_FILTER_PORT_FLAG_MAP_BUFFERS, 1,
                                  pw_properties_new(PW_KEY_FORMAT_DSP, "32 bit float mono audio", nullptr),
                                  nullptr, 0);
    }
    pw_filter_connect(filter_, PW_FILTER_FLAG_RT_PROCESS, nullptr, 0);
}

void MonitorListener::disconnect() {
    lost_ = false;
    for (Link& link : links_) {
        release(link);
    }
    if (filter_ != nullptr) {
        spa_hook_remove(&filterListener_);
        pw_filter_destroy(std::exchange(filter_, nullptr)); // waits for the data thread
    }
    if (registry_ != nullptr) {
        spa_hook_remove(&registryListener_);
        pw_proxy_destroy(reinterpret_cast<pw_proxy*>(std::exchange(registry_, nullptr)));
    }
    if (core_ != nullptr) {
        spa_hook_remove(&coreListener_);
        pw_core_disconnect(std::exchange(core_, nullptr));
    }
    sinkNode_ = PW_ID_ANY;
    portsThere_.clear();
}

void MonitorListener::onGlobal(std::uint32_t id, const char* type, const spa_dict* properties) {
    if (std::string_view(type) == PW_TYPE_INTERFACE_Node && text(properties, PW_KEY_NODE_NAME) == sink_) {
        sinkNode_ = id;
    } else if (std::string_view(type) == PW_TYPE_INTERFACE_Port) {
        portsThere_[id] = {
            static_cast<std::uint32_t>(std::strtoul(text(properties, PW_KEY_NODE_ID).data(), nullptr, 10)),
            text(properties, PW_KEY_PORT_MONITOR) == "true", text(properties, PW_KEY_PORT_DIRECTION) == "in"};
    } else {
        return;
    }
    link();
}

void MonitorListener::onGlobalRemoved(std::uint32_t id) {
    if (id == sinkNode_) {
        sinkNode_ = PW_ID_ANY;
    }
    portsThere_.erase(id);
    link();
}

void MonitorListener::link() {
    const std::uint32_t own = filter_ == nullptr ? PW_ID_ANY : pw_filter_get_node_id(filter_);
    std::vector<std::uint32_t> from;
    std::vector<std::uint32_t> to;
    for (const auto& [id, port] : portsThere_) {
        if (port.node == sinkNode_ && port.isMonitor) {
            from.push_back(id);
        } else if (port.node == own && port.isInput) {
            to.push_back(id);
        }
    }
    for (std::size_t i = 0; i < channels; ++i) {
        const bool isWhole = i < from.size() && i < to.size();
        Link& current = links_[i];
        if (isWhole && current.proxy != nullptr && current.from == from[i] && current.to == to[i]) {
            continue;
        }
        release(current);
        if (isWhole) {
            const std::string output = std::to_string(from[i]);
            const std::string input = std::to_string(to[i]);
            const std::array<spa_dict_item, 2> items{
                {{PW_KEY_LINK_OUTPUT_PORT, output.c_str()}, {PW_KEY_LINK_INPUT_PORT, input.c_str()}}};
            const spa_dict properties{0, items.size(), items.data()};
            current = {from[i], to[i],
                       static_cast<pw_proxy*>(pw_core_create_object(
                           core_, "link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, &properties, 0))};
        }
    }
}

void MonitorListener::release(Link& link) {
    if (link.proxy != nullptr) {
        pw_proxy_destroy(link.proxy);
    }
    link = {};
}

void MonitorListener::process(const spa_io_position& position) {
    const auto frames = static_cast<std::uint32_t>(position.clock.duration);
    std::array<const float*, channels> samples{};
    for (std::size_t i = 0; i < channels; ++i) {
        samples[i] = static_cast<const float*>(pw_filter_get_dsp_buffer(ports_[i], frames));
    }
    if (samples[0] == nullptr || samples[1] == nullptr) {
        return;
    }
    // The monitor is one cycle behind the sink.
    const std::int64_t period = frames * second / rate;
    const std::int64_t start = static_cast<std::int64_t>(position.clock.nsec) - period;
    if (std::abs(start - expected_) > period) {
        silentFrames_ = rate; // after a gap whatever comes is a begin
        const std::lock_guard lock(mutex_);
        gaps_.push_back({std::chrono::nanoseconds(expected_), std::chrono::nanoseconds(start)});
    }
    expected_ = start + period;
    lastCycle_ = now();
    hear(start, frames, samples);
}

void MonitorListener::hear(std::int64_t start, std::size_t frames,
                           const std::array<const float*, channels>& samples) {
    for (std::size_t i = 0; i < frames; ++i) {
        if (std::max(std::abs(samples[0][i]), std::abs(samples[1][i])) <= threshold) {
            ++silentFrames_;
            continue;
        }
        if (silentFrames_ >= silence.count() * rate / 1000) {
            const std::lock_guard lock(mutex_);
            begins_.emplace_back(start + static_cast<std::int64_t>(i) * second / rate);
        }
        silentFrames_ = 0;
    }
}

std::vector<Span> MonitorListener::gaps() const {
    const std::lock_guard lock(mutex_);
    return gaps_;
}

std::vector<std::chrono::nanoseconds> MonitorListener::take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(begins_, {});
}

} // namespace keysong::bench
